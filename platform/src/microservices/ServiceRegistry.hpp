/// The services of one framework.
#pragma once

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/ServiceInterface.h"
#include "cppmicroservices/ServiceProperties.h"
#include "cppmicroservices/ServiceReferenceBase.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace detail {

struct BundleCore;
struct ContextState;
class ServiceRegistry;

/// One registered service. Thread-safe.
class Registration : public std::enable_shared_from_this<Registration> {
  public:
    using Properties = std::shared_ptr<const AnyMap>;

    Registration(std::weak_ptr<ServiceRegistry> registry, std::weak_ptr<BundleCore> bundle, long bundleId,
                 InterfaceMapConstPtr services, Properties properties);

    const long id; // service.id
    const long bundleId;
    const std::weak_ptr<ServiceRegistry> registry;
    const std::weak_ptr<BundleCore> bundle; // shares the ownership of the framework

    bool registered() const;
    bool has(const std::string& interfaceId) const; // also after the service is gone
    Properties properties() const;
    int ranking() const;
    /// Null after the service is gone.
    InterfaceMapConstPtr services() const;
    /// Counts the context as a user; the result ends that. Null after the service is gone.
    std::shared_ptr<void> use(const std::string& interfaceId, const std::shared_ptr<ContextState>& context);
    std::vector<long> usingBundles() const;
    bool usedBy(long bundleId) const;

  private:
    friend class ServiceRegistry;
    struct Use;

    mutable std::mutex
        mutex_; // guards all below; taken after that of the registry, no foreign code runs under it
    InterfaceMapConstPtr services_;
    Properties properties_;
    int ranking_;
    std::map<const ContextState*, std::pair<std::shared_ptr<ContextState>, int>> uses_;
};

using RegistrationHandle = std::shared_ptr<Registration>;

/// Thread-safe. Services are destroyed outside of its lock.
class ServiceRegistry : public std::enable_shared_from_this<ServiceRegistry> {
  public:
    /// Throws std::invalid_argument, std::runtime_error (see BundleContext::RegisterService) and
    /// IllegalStateException when the context ends meanwhile.
    RegistrationHandle add(const std::shared_ptr<BundleCore>& bundle, const ContextState& context,
                           InterfaceMapConstPtr services, const ServiceProperties& properties);
    /// Both throw std::logic_error when the service is not registered any more.
    void setProperties(Registration& registration, const ServiceProperties& properties);
    void remove(Registration& registration);
    /// Ends a context, removes the services of its bundle and its uses of others.
    void close(ContextState& context) noexcept;
    /// Removes all services.
    void clear() noexcept;

    /// Best first; an empty id stands for all.
    std::vector<RegistrationHandle> find(const std::string& interfaceId) const;
    std::vector<RegistrationHandle> ofBundle(long bundleId) const;

  private:
    /// At its rank.
    static void insert(std::vector<RegistrationHandle>& list, const RegistrationHandle& registration);
    InterfaceMapConstPtr takeOut(Registration& registration); // with mutex_ held

    mutable std::mutex mutex_; // guards all below
    std::map<long, RegistrationHandle> all_;
    std::map<std::string, std::vector<RegistrationHandle>> byInterface_; // best first
};

struct References {
    static ServiceReferenceBase reference(RegistrationHandle registration, std::string interfaceId) noexcept {
        return {std::move(registration), std::move(interfaceId)};
    }
    static const RegistrationHandle& registration(const ServiceReferenceBase& reference) noexcept {
        return reference.registration_;
    }
};

/// Whether a is the better service.
bool isBetter(const Registration& a, const Registration& b);

} // namespace detail
} // namespace varnek_platform
} // namespace cppmicroservices
