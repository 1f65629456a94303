#include "microservices/ServiceRegistry.hpp"

#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/Constants.h"
#include "microservices/FrameworkCore.hpp"

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <utility>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace detail {
namespace {

std::atomic<long> nextServiceId{1}; // of all frameworks

void checkServices(const InterfaceMapConstPtr& services) {
    if (!services || services->empty())
        throw std::invalid_argument("Can't register empty InterfaceMap as a service");
    if (std::ranges::any_of(*services, [](const auto& entry) { return entry.second == nullptr; }))
        throw std::invalid_argument("Can't register as null class");
}

std::vector<std::string> interfacesOf(const InterfaceMap& services) {
    std::vector<std::string> names;
    for (const auto& [name, service] : services)
        names.push_back(name);
    std::ranges::sort(names);
    return names;
}

/// What the caller gave, without what the framework sets itself.
AnyMap checkedProperties(const ServiceProperties& given) {
    AnyMap properties(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    for (const auto& property : given)
        if (!properties.insert(property).second)
            throw std::runtime_error("Properties contain case variants of the key: " + property.first);
    const auto ranking = properties.find(Constants::SERVICE_RANKING);
    if (ranking != properties.end() && any_cast<int>(&ranking->second) == nullptr)
        throw std::invalid_argument("The property " + Constants::SERVICE_RANKING + " must be an int");
    for (const auto& key : {Constants::OBJECTCLASS, Constants::SERVICE_ID, Constants::SERVICE_SCOPE})
        properties.erase(key);
    return properties;
}

[[noreturn]] void refuseUnregistered() {
    throw std::logic_error("Service is unregistered");
}

} // namespace

RegistrationHandle ServiceRegistry::add(const std::shared_ptr<BundleCore>& bundle,
                                        const ContextState& context, InterfaceMapConstPtr services,
                                        const ServiceProperties& properties) {
    checkServices(services);
    AnyMap all = checkedProperties(properties);
    const auto names = interfacesOf(*services);
    all[Constants::OBJECTCLASS] = names;
    all[Constants::SERVICE_SCOPE] = Constants::SCOPE_SINGLETON;
    all[Constants::SERVICE_ID] = nextServiceId.fetch_add(1);
    const auto added = std::make_shared<Registration>(bundle, bundle->id, std::move(services),
                                                      std::make_shared<const AnyMap>(std::move(all)));
    {
        const std::lock_guard lock(mutex_);
        if (context.ending)
            throw IllegalStateException("The bundle context is no longer valid");
        for (const std::string& name : names) // all that can fail
            if (auto& list = byInterface_[name]; list.size() == list.capacity())
                list.reserve(2 * list.size() + 1);
        all_.emplace(added->id, added);
        for (const std::string& name : names)
            insert(byInterface_.find(name)->second, added);
    }
    listeners_.tell(ServiceEvent::SERVICE_REGISTERED, added);
    return added;
}

void ServiceRegistry::setProperties(Registration& registration, const ServiceProperties& properties) {
    AnyMap all = checkedProperties(properties);
    const auto before = registration.properties();
    for (const auto& key : {Constants::OBJECTCLASS, Constants::SERVICE_ID, Constants::SERVICE_SCOPE})
        all[key] = before->at(key);
    const auto next = std::make_shared<const AnyMap>(std::move(all));
    const RegistrationHandle kept = registration.shared_from_this();
    Registration::Properties replaced;
    {
        const std::lock_guard lock(mutex_);
        if (!all_.contains(registration.id))
            refuseUnregistered();
        replaced = registration.replace(next);
        for (const auto& [name, service] : *registration.services()) {
            auto& list = byInterface_.find(name)->second;
            std::erase(list, kept);
            insert(list, kept);
        }
    }
    listeners_.tell(ServiceEvent::SERVICE_MODIFIED, kept, replaced);
}

void ServiceRegistry::remove(Registration& registration) {
    const RegistrationHandle kept = registration.shared_from_this();
    {
        const std::lock_guard lock(mutex_);
        if (!all_.contains(registration.id))
            refuseUnregistered();
        takeOut(kept);
    }
    listeners_.tell(ServiceEvent::SERVICE_UNREGISTERING, kept);
    kept->end();
}

void ServiceRegistry::removeAll(const ContextState& context) noexcept {
    for (;;) {
        RegistrationHandle last;
        {
            const std::lock_guard lock(mutex_);
            const auto found = std::find_if(all_.rbegin(), all_.rend(), [&](const auto& entry) {
                return entry.second->bundleId == context.bundleId;
            });
            if (found == all_.rend())
                return;
            last = found->second;
            takeOut(last);
        }
        listeners_.tell(ServiceEvent::SERVICE_UNREGISTERING, last);
        last->end();
    }
}

void ServiceRegistry::invalidate(ContextState& context) noexcept {
    const std::lock_guard lock(mutex_);
    context.valid = false;
    for (const auto& [id, registration] : all_)
        registration->endUses(context);
}

void ServiceRegistry::clear() noexcept {
    std::map<long, RegistrationHandle> removed;
    {
        const std::lock_guard lock(mutex_);
        removed.swap(all_);
        byInterface_.clear();
    }
    for (const auto& [id, registration] : removed)
        registration->end();
}

std::vector<RegistrationHandle> ServiceRegistry::find(const std::string& interfaceId) const {
    std::vector<RegistrationHandle> found;
    const std::lock_guard lock(mutex_);
    if (!interfaceId.empty()) {
        const auto list = byInterface_.find(interfaceId);
        return list != byInterface_.end() ? list->second : found;
    }
    for (const auto& [id, registration] : all_)
        found.push_back(registration);
    std::ranges::sort(found, [](const auto& a, const auto& b) { return isBetter(*a, *b); });
    return found;
}

std::vector<RegistrationHandle> ServiceRegistry::ofBundle(long bundleId) const {
    std::vector<RegistrationHandle> found;
    const std::lock_guard lock(mutex_);
    for (const auto& [id, registration] : all_)
        if (registration->bundleId == bundleId)
            found.push_back(registration);
    return found;
}

void ServiceRegistry::insert(std::vector<RegistrationHandle>& list, const RegistrationHandle& registration) {
    const auto better = [](const auto& a, const auto& b) { return isBetter(*a, *b); };
    list.insert(std::ranges::upper_bound(list, registration, better), registration);
}

void ServiceRegistry::takeOut(const RegistrationHandle& registration) {
    registration->unlist();
    for (const auto& [name, service] : *registration->services()) {
        const auto list = byInterface_.find(name);
        std::erase(list->second, registration);
        if (list->second.empty())
            byInterface_.erase(list);
    }
    all_.erase(registration->id);
}

} // namespace detail
} // namespace varnek_platform
} // namespace cppmicroservices
