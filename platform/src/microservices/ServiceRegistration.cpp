#include "cppmicroservices/ServiceRegistration.h"

#include "microservices/FrameworkCore.hpp"

#include <stdexcept>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace {

detail::Registration& checked(const std::shared_ptr<detail::Registration>& registration) {
    if (registration == nullptr)
        throw std::logic_error("ServiceRegistrationBase object invalid");
    return *registration;
}

/// Keeps the framework alive. Throws when the service, and be it with its framework, is gone.
detail::BundleHandle bundleOf(const detail::Registration& registration) {
    auto bundle = registration.bundle.lock();
    if (bundle == nullptr || !registration.registered())
        throw std::logic_error("Service is unregistered");
    return bundle;
}

} // namespace

ServiceRegistrationBase::ServiceRegistrationBase(std::shared_ptr<detail::Registration> registration) noexcept
    : registration_(std::move(registration)) {}

ServiceRegistrationBase::operator bool() const noexcept {
    return registration_ != nullptr && registration_->registered();
}

ServiceReferenceBase ServiceRegistrationBase::GetReference(const std::string& interfaceId) const {
    bundleOf(checked(registration_));
    return interfaceId.empty() || registration_->has(interfaceId)
               ? detail::References::reference(registration_, interfaceId)
               : ServiceReferenceBase();
}

void ServiceRegistrationBase::SetProperties(const ServiceProperties& properties) {
    const auto bundle = bundleOf(checked(registration_));
    bundle->framework.registry().setProperties(*registration_, properties);
}

void ServiceRegistrationBase::Unregister() {
    const auto bundle = bundleOf(checked(registration_));
    bundle->framework.registry().remove(*registration_);
}

bool operator==(const ServiceRegistrationBase& a, const ServiceRegistrationBase& b) noexcept {
    return a.registration_ == b.registration_;
}

bool operator<(const ServiceRegistrationBase& a, const ServiceRegistrationBase& b) noexcept {
    return a.registration_ < b.registration_;
}

} // namespace varnek_platform
} // namespace cppmicroservices
