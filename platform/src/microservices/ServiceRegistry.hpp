/// The services of one framework.
#pragma once

#include "cppmicroservices/ServiceProperties.h"
#include "microservices/Listeners.hpp"
#include "microservices/Registration.hpp"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace detail {

/// Thread-safe. Listeners are told, and services destroyed, outside of its lock. What changes is in force
/// before listeners are told.
class ServiceRegistry {
  public:
    explicit ServiceRegistry(const Listeners& listeners) : listeners_(listeners) {}

    /// Throws std::invalid_argument, std::runtime_error (see BundleContext::RegisterService) and
    /// IllegalStateException when the context ends meanwhile.
    RegistrationHandle add(const std::shared_ptr<BundleCore>& bundle, const ContextState& context,
                           InterfaceMapConstPtr services, const ServiceProperties& properties);
    /// Both throw std::logic_error when the service is not registered any more.
    void setProperties(Registration& registration, const ServiceProperties& properties);
    void remove(Registration& registration);

    /// Removes the services of a bundle whose context ends, the last ones first.
    void removeAll(const ContextState& context) noexcept;
    /// Makes a context invalid and ends its uses of services.
    void invalidate(ContextState& context) noexcept;
    /// Removes all services and tells nobody.
    void clear() noexcept;

    /// Best first; an empty id stands for all.
    std::vector<RegistrationHandle> find(const std::string& interfaceId) const;
    std::vector<RegistrationHandle> ofBundle(long bundleId) const;

  private:
    /// At its rank.
    static void insert(std::vector<RegistrationHandle>& list, const RegistrationHandle& registration);
    /// With mutex_ held.
    void takeOut(const RegistrationHandle& registration);

    const Listeners& listeners_;
    mutable std::mutex mutex_; // guards all below
    std::map<long, RegistrationHandle> all_;
    std::map<std::string, std::vector<RegistrationHandle>> byInterface_; // best first
};

} // namespace detail
} // namespace varnek_platform
} // namespace cppmicroservices
