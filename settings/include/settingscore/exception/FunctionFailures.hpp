/// Failures around validation functions and run-time defaults.
#pragma once

#include "settingscore/exception/FailureShapes.hpp"

#include <string>
#include <typeindex>
#include <typeinfo>

namespace settings::core::exception {

/// The validation function of a new setting cannot be found or run.
class SETTINGSCORE_EXPORT InvalidValidator : public Cloneable<InvalidValidator, SettingsException> {
  public:
    const char* what() const noexcept override;
};

/// (causing object): two definitions give the setting a run-time default.
class SETTINGSCORE_EXPORT MultipleRuntimeFuncError
    : public Cloneable<MultipleRuntimeFuncError, detail::CausingObjectFailure> {
  public:
    using Cloneable::Cloneable;
    const char* what() const noexcept override;
};

/// (package name, function name, cause): a run-time default could not be evaluated.
class SETTINGSCORE_EXPORT RunTimeFuncInvokingError
    : public Cloneable<RunTimeFuncInvokingError, detail::FunctionCallFailure> {
  public:
    using Cloneable::Cloneable;
    const char* what() const noexcept override;
};

/// A run-time default returned an array that no setting can hold.
class SETTINGSCORE_EXPORT RuntimeFuncErrorConvertingVxArrayToAny
    : public Cloneable<RuntimeFuncErrorConvertingVxArrayToAny, detail::FunctionFailure> {
  public:
    /// `valueType`: the type information of the returned value, as UnsupportedAnyType::heldType gives it.
    RuntimeFuncErrorConvertingVxArrayToAny(std::string packageName, std::string functionName,
                                           const std::type_info& valueType);
    const char* what() const noexcept override;
    std::type_index getValueType() const { return valueType_; }

  private:
    std::type_index valueType_;
};

/// (package name, function name, cause): a validation function could not be called.
class SETTINGSCORE_EXPORT ValidationFunctionInvokingError
    : public Cloneable<ValidationFunctionInvokingError, detail::FunctionCallFailure> {
  public:
    using Cloneable::Cloneable;
    const char* what() const noexcept override;
};

} // namespace settings::core::exception
