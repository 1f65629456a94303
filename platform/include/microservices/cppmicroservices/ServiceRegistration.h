/// The registering bundle's handle to its service with known interfaces.
#pragma once

#include "cppmicroservices/ServiceReference.h"
#include "cppmicroservices/ServiceRegistrationBase.h"

#include <concepts>

namespace cppmicroservices {
inline namespace varnek_platform {

template <class First, class... Others>
class ServiceRegistration : public ServiceRegistrationBase {
  public:
    ServiceRegistration() noexcept = default;
    explicit ServiceRegistration(const ServiceRegistrationBase& base) : ServiceRegistrationBase(base) {}

    /// Throws std::logic_error when the service is not registered any more.
    template <class Interface = First>
    requires(std::same_as<Interface, First> ||
             (std::same_as<Interface, Others> || ...)) ServiceReference<Interface> GetReference()
    const { return ServiceRegistrationBase::GetReference(us_service_interface_iid<Interface>()); }
};

using ServiceRegistrationU = ServiceRegistration<void>;

} // namespace varnek_platform
} // namespace cppmicroservices
