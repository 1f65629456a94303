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

int rankingOf(const AnyMap& properties) {
    const auto ranking = properties.find(Constants::SERVICE_RANKING);
    return ranking != properties.end() ? any_cast<int>(ranking->second) : 0;
}

[[noreturn]] void refuseUnregistered() {
    throw std::logic_error("Service is unregistered");
}

} // namespace

bool isBetter(const Registration& a, const Registration& b) {
    const int rankingA = a.ranking(), rankingB = b.ranking();
    return rankingA != rankingB ? rankingA > rankingB : a.id < b.id;
}

RegistrationHandle ServiceRegistry::add(const std::shared_ptr<BundleCore>& bundle,
                                        const ContextState& context, InterfaceMapConstPtr services,
                                        const ServiceProperties& properties) {
    checkServices(services);
    AnyMap all = checkedProperties(properties);
    const auto names = interfacesOf(*services);
    all[Constants::OBJECTCLASS] = names;
    all[Constants::SERVICE_SCOPE] = Constants::SCOPE_SINGLETON;
    all[Constants::SERVICE_ID] = nextServiceId.fetch_add(1);
    const auto added =
        std::make_shared<Registration>(weak_from_this(), bundle, bundle->id, std::move(services),
                                       std::make_shared<const AnyMap>(std::move(all)));
    const std::lock_guard lock(mutex_);
    if (!context.valid)
        throw IllegalStateException("The bundle context is no longer valid");
    for (const std::string& name : names) // all that can fail
        if (auto& list = byInterface_[name]; list.size() == list.capacity())
            list.reserve(2 * list.size() + 1);
    all_.emplace(added->id, added);
    for (const std::string& name : names)
        insert(byInterface_.find(name)->second, added);
    return added;
}

void ServiceRegistry::setProperties(Registration& registration, const ServiceProperties& properties) {
    AnyMap all = checkedProperties(properties);
    const int ranking = rankingOf(all);
    const auto before = registration.properties();
    for (const auto& key : {Constants::OBJECTCLASS, Constants::SERVICE_ID, Constants::SERVICE_SCOPE})
        all[key] = before->at(key);
    auto next = std::make_shared<const AnyMap>(std::move(all)); // then the old ones, which go after the lock
    const RegistrationHandle kept = registration.shared_from_this();
    const std::lock_guard lock(mutex_);
    if (!all_.contains(registration.id))
        refuseUnregistered();
    {
        const std::lock_guard inner(registration.mutex_);
        registration.properties_.swap(next);
        registration.ranking_ = ranking;
    }
    for (const auto& [name, service] : *registration.services()) {
        auto& list = byInterface_.find(name)->second;
        std::erase(list, kept);
        insert(list, kept);
    }
}

void ServiceRegistry::remove(Registration& registration) {
    InterfaceMapConstPtr services; // goes after the lock
    const RegistrationHandle kept = registration.shared_from_this();
    const std::lock_guard lock(mutex_);
    if (!all_.contains(registration.id))
        refuseUnregistered();
    services = takeOut(registration);
}

void ServiceRegistry::close(ContextState& context) noexcept {
    std::map<long, RegistrationHandle> removed; // these two go after the lock
    std::vector<InterfaceMapConstPtr> services;
    const std::lock_guard lock(mutex_);
    context.valid = false;
    for (auto next = all_.begin(); next != all_.end();) {
        const auto current = next++;
        {
            const std::lock_guard inner(current->second->mutex_);
            current->second->uses_.erase(&context);
        }
        if (current->second->bundleId == context.bundleId)
            removed.insert(all_.extract(current));
    }
    services.reserve(removed.size());
    for (const auto& [id, registration] : removed)
        services.push_back(takeOut(*registration));
}

void ServiceRegistry::clear() noexcept {
    std::map<long, RegistrationHandle> removed; // these two go after the lock
    std::vector<InterfaceMapConstPtr> services;
    const std::lock_guard lock(mutex_);
    removed.swap(all_);
    services.reserve(removed.size());
    for (const auto& [id, registration] : removed)
        services.push_back(takeOut(*registration));
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

InterfaceMapConstPtr ServiceRegistry::takeOut(Registration& registration) {
    InterfaceMapConstPtr services;
    {
        const std::lock_guard inner(registration.mutex_);
        services.swap(registration.services_);
        registration.uses_.clear();
    }
    for (const auto& [name, service] : *services) {
        const auto list = byInterface_.find(name);
        std::erase_if(list->second,
                      [&](const RegistrationHandle& other) { return other.get() == &registration; });
        if (list->second.empty())
            byInterface_.erase(list);
    }
    all_.erase(registration.id);
    return services;
}

/// Ends one use when the last copy of the service pointer goes.
struct Registration::Use {
    Use(RegistrationHandle owner, std::shared_ptr<ContextState> user, std::shared_ptr<void> object)
        : registration(std::move(owner)), context(std::move(user)), service(std::move(object)) {}
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;
    ~Use() {
        const std::lock_guard lock(registration->mutex_);
        const auto use = registration->uses_.find(context.get());
        if (use != registration->uses_.end() && --use->second.second == 0)
            registration->uses_.erase(use);
    }

    RegistrationHandle registration;
    std::shared_ptr<ContextState> context;
    std::shared_ptr<void> service;
};

Registration::Registration(std::weak_ptr<ServiceRegistry> owner, std::weak_ptr<BundleCore> registering,
                           long number, InterfaceMapConstPtr services, Properties properties)
    : id(any_cast<long>(properties->at(Constants::SERVICE_ID))), bundleId(number), registry(std::move(owner)),
      bundle(std::move(registering)), services_(std::move(services)), properties_(std::move(properties)),
      ranking_(rankingOf(*properties_)) {}

bool Registration::registered() const {
    return services() != nullptr;
}

bool Registration::has(const std::string& interfaceId) const {
    const Properties current = properties();
    const auto& names = ref_any_cast<std::vector<std::string>>(current->at(Constants::OBJECTCLASS));
    return std::ranges::find(names, interfaceId) != names.end();
}

Registration::Properties Registration::properties() const {
    const std::lock_guard lock(mutex_);
    return properties_;
}

int Registration::ranking() const {
    const std::lock_guard lock(mutex_);
    return ranking_;
}

InterfaceMapConstPtr Registration::services() const {
    const std::lock_guard lock(mutex_);
    return services_;
}

std::shared_ptr<void> Registration::use(const std::string& interfaceId,
                                        const std::shared_ptr<ContextState>& context) {
    const InterfaceMapConstPtr all = services(); // keeps the service from being destroyed under the lock
    const auto found = all ? all->find(interfaceId) : InterfaceMap::const_iterator();
    if (!all || found == all->end())
        return nullptr;
    auto use = std::make_shared<Use>(shared_from_this(), context, found->second);
    void* const service = use->service.get();
    {
        const std::lock_guard lock(mutex_);
        if (!services_)
            return nullptr;
        auto& counted = uses_[context.get()];
        counted.first = context;
        ++counted.second;
    }
    return {std::move(use), service};
}

std::vector<long> Registration::usingBundles() const {
    std::vector<long> ids;
    const std::lock_guard lock(mutex_);
    for (const auto& [context, use] : uses_)
        ids.push_back(context->bundleId);
    return ids;
}

bool Registration::usedBy(long user) const {
    const auto ids = usingBundles();
    return std::ranges::find(ids, user) != ids.end();
}

} // namespace detail
} // namespace varnek_platform
} // namespace cppmicroservices
