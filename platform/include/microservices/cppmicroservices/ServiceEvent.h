/// What happened to a service.
#pragma once

#include "cppmicroservices/ServiceReference.h"
#include "varnek/Export.hpp"

#include <cstdint>

namespace cppmicroservices {
inline namespace varnek_platform {

/// Immutable. A default-constructed event is invalid.
class VARNEK_EXPORT ServiceEvent {
  public:
    enum Type : std::uint32_t {
        /// The service can be found.
        SERVICE_REGISTERED = 0x1,
        /// Its properties are others now.
        SERVICE_MODIFIED = 0x2,
        /// It cannot be found any more; its reference stays valid, and gives the service, until all listeners
        /// have heard.
        SERVICE_UNREGISTERING = 0x4,
        /// Its properties do not fit the listener's filter any more.
        SERVICE_MODIFIED_ENDMATCH = 0x8,
    };

    ServiceEvent() noexcept = default;
    ServiceEvent(Type type, const ServiceReferenceBase& reference) : type_(type), reference_(reference) {}

    explicit operator bool() const noexcept { return type_ != 0; }
    Type GetType() const noexcept { return type_; }

    ServiceReferenceU GetServiceReference() const { return reference_; }
    /// Invalid when the service does not have the interface.
    template <class Interface>
    ServiceReference<Interface> GetServiceReference() const {
        return reference_;
    }

  private:
    Type type_{};
    ServiceReferenceU reference_;
};

} // namespace varnek_platform
} // namespace cppmicroservices
