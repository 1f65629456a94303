/// A handle to a registered service with a known interface.
#pragma once

#include "cppmicroservices/ServiceInterface.h"
#include "cppmicroservices/ServiceReferenceBase.h"

#include <cstddef>
#include <functional>

namespace cppmicroservices {
inline namespace varnek_platform {

/// ServiceReference<void> stands for the service as a whole.
template <class Interface>
class ServiceReference : public ServiceReferenceBase {
  public:
    using ServiceType = Interface;

    ServiceReference() noexcept = default;
    /// Invalid when the service is not registered with the interface.
    ServiceReference(const ServiceReferenceBase& reference)
        : ServiceReferenceBase(reference, us_service_interface_iid<Interface>()) {}

    ServiceReference& operator=(std::nullptr_t) noexcept {
        *this = ServiceReference();
        return *this;
    }
};

using ServiceReferenceU = ServiceReference<void>;

} // namespace varnek_platform
} // namespace cppmicroservices

template <class Interface>
struct std::hash<cppmicroservices::ServiceReference<Interface>>
    : std::hash<cppmicroservices::ServiceReferenceBase> {};
