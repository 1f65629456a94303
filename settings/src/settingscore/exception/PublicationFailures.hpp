/// Failures of publishing groups to other processes and of reaching theirs. Outside of the library they are
/// caught as SettingsException.
#pragma once

#include "settingscore/exception/FailureShapes.hpp"

#include <string>

namespace settings::core::exception {

class FailedToPublishException : public Cloneable<FailedToPublishException, detail::BuiltTextFailure> {
  public:
    explicit FailedToPublishException(const std::string& detail);
    ~FailedToPublishException() override;
};

/// A service lacks a property that it must have.
class MissingPropertyException : public Cloneable<MissingPropertyException, detail::BuiltTextFailure> {
  public:
    explicit MissingPropertyException(const std::string& name);
    ~MissingPropertyException() override;
};

/// A service reference leads to nothing that can be called.
class NoInvokableForServiceReference
    : public Cloneable<NoInvokableForServiceReference, detail::BuiltTextFailure> {
  public:
    explicit NoInvokableForServiceReference(const std::string& name);
    ~NoInvokableForServiceReference() override;
};

class ServicePublishTimeout : public Cloneable<ServicePublishTimeout, SettingsException> {
  public:
    const char* what() const noexcept override;
};

} // namespace settings::core::exception
