#include "settingscore/exception/PublicationFailures.hpp"

namespace settings::core::exception {

FailedToPublishException::FailedToPublishException(const std::string& detail)
    : Cloneable("Failed to publish service: " + detail) {}
FailedToPublishException::~FailedToPublishException() = default;

MissingPropertyException::MissingPropertyException(const std::string& name)
    : Cloneable("Missing property: " + name) {}
MissingPropertyException::~MissingPropertyException() = default;

NoInvokableForServiceReference::NoInvokableForServiceReference(const std::string& name)
    : Cloneable("Missing invokable: " + name) {}
NoInvokableForServiceReference::~NoInvokableForServiceReference() = default;

const char* ServicePublishTimeout::what() const noexcept {
    return "Timeout publishing services";
}

} // namespace settings::core::exception
