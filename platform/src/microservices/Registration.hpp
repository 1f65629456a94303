/// One registered service.
#pragma once

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/ServiceInterface.h"
#include "cppmicroservices/ServiceReferenceBase.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace detail {

struct BundleCore;
struct ContextState;

/// Thread-safe.
class Registration : public std::enable_shared_from_this<Registration> {
  public:
    using Properties = std::shared_ptr<const AnyMap>;

    Registration(std::weak_ptr<BundleCore> bundle, long bundleId, InterfaceMapConstPtr services,
                 Properties properties);

    const long id; // service.id
    const long bundleId;
    const std::weak_ptr<BundleCore> bundle; // shares the ownership of the framework

    /// False as soon as the service begins to go: look-ups do not find it.
    bool listed() const;
    /// Until the listeners have heard that it goes.
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

    // For the registry.
    void unlist();
    /// Gives the service away and ends its uses.
    void end();
    /// Gives the old ones back.
    Properties replace(Properties properties);
    void endUses(const ContextState& context);

  private:
    struct Use;

    mutable std::mutex
        mutex_; // guards all below; taken after those of registry and trackers, no foreign code runs under it
    bool listed_ = true;
    InterfaceMapConstPtr services_;
    Properties properties_;
    int ranking_;
    std::map<const ContextState*, std::pair<std::shared_ptr<ContextState>, int>> uses_;
};

using RegistrationHandle = std::shared_ptr<Registration>;

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
