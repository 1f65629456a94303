/// The registering bundle's handle to its service.
#pragma once

#include "cppmicroservices/ServiceProperties.h"
#include "cppmicroservices/ServiceReferenceBase.h"
#include "varnek/Export.hpp"

#include <memory>
#include <string>

namespace cppmicroservices {
inline namespace varnek_platform {

/// Cheap to copy. Dropping it leaves the service registered. Thread-safe like a pointer.
class VARNEK_EXPORT ServiceRegistrationBase {
  public:
    ServiceRegistrationBase() noexcept = default;

    /// Whether the service is registered now.
    explicit operator bool() const noexcept;

    /// This and the next two throw std::logic_error for an empty object and for a service that is not
    /// registered any more.
    ServiceReferenceBase GetReference(const std::string& interfaceId) const;
    /// Replaces all properties but those that the framework sets. Throws std::invalid_argument for a ranking
    /// that is no int, std::runtime_error for keys that differ only in case.
    void SetProperties(const ServiceProperties& properties);
    /// Service objects that are in use stay alive with their users.
    void Unregister();

    friend VARNEK_EXPORT bool operator==(const ServiceRegistrationBase& a,
                                         const ServiceRegistrationBase& b) noexcept;
    friend VARNEK_EXPORT bool operator<(const ServiceRegistrationBase& a,
                                        const ServiceRegistrationBase& b) noexcept;

  private:
    friend class BundleContext;
    explicit ServiceRegistrationBase(std::shared_ptr<detail::Registration> registration) noexcept;

    std::shared_ptr<detail::Registration> registration_;
};

} // namespace varnek_platform
} // namespace cppmicroservices
