/// Validation functions as a definition names them, one class per world a function can live in.
///
/// Plain values: copyable, movable, compared by their names. Making one calls and loads nothing.
#pragma once

#include "settingscore/validation/FunctionName.hpp"
#include "varnek/data/Array.hpp"

#include <boost/blank.hpp>
#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/variant/variant.hpp>

#include <string>
#include <utility>

namespace settings::core {

class Settings;

/// A function of the application's interpreted language.
class MValidator : public detail::FunctionName {
  public:
    MValidator(std::string packageName, std::string functionName) noexcept
        : FunctionName(std::move(packageName), std::move(functionName)) {}
    bool operator==(const MValidator& other) const { return FunctionName::operator==(other); }
};

/// A C function of a plug-in library; the package name is the library's.
class CValidator : public detail::FunctionName {
  public:
    CValidator(std::string packageName, std::string functionName) noexcept
        : FunctionName(std::move(packageName), std::move(functionName)) {}
    bool operator==(const CValidator& other) const { return FunctionName::operator==(other); }
};

/// A function of the Java front end.
class JValidator : public detail::FunctionName {
  public:
    JValidator(std::string packageName, std::string functionName) noexcept
        : FunctionName(std::move(packageName), std::move(functionName)) {}
    bool operator==(const JValidator& other) const { return FunctionName::operator==(other); }
};

/// A callable of this process. Two of them are equal when their names are.
class CPPValidator : public detail::FunctionName {
  public:
    /// (the setting, its name, the value); refuses the value by throwing.
    using Function = boost::function<void(const boost::shared_ptr<const Settings>& setting,
                                          const std::string& name, const varnek::data::Array& value)>;

    CPPValidator(Function function, std::string packageName, std::string functionName)
        : FunctionName(std::move(packageName), std::move(functionName)), function_(std::move(function)) {}

    const Function& getFcn() const noexcept { return function_; }
    bool operator==(const CPPValidator& other) const { return FunctionName::operator==(other); }

  private:
    Function function_;
};

/// The validation function of a definition. The order of the alternatives is fixed.
using ValidatorVariant = boost::variant<boost::blank, MValidator, CValidator, JValidator, CPPValidator>;

} // namespace settings::core
