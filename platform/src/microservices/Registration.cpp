#include "microservices/Registration.hpp"

#include "cppmicroservices/Constants.h"
#include "microservices/FrameworkCore.hpp"

#include <algorithm>
#include <utility>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace detail {
namespace {

int rankingOf(const AnyMap& properties) {
    const auto ranking = properties.find(Constants::SERVICE_RANKING);
    return ranking != properties.end() ? any_cast<int>(ranking->second) : 0;
}

} // namespace

bool isBetter(const Registration& a, const Registration& b) {
    const int rankingA = a.ranking(), rankingB = b.ranking();
    return rankingA != rankingB ? rankingA > rankingB : a.id < b.id;
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

Registration::Registration(std::weak_ptr<BundleCore> registering, long number, InterfaceMapConstPtr services,
                           Properties properties)
    : id(any_cast<long>(properties->at(Constants::SERVICE_ID))), bundleId(number),
      bundle(std::move(registering)), services_(std::move(services)), properties_(std::move(properties)),
      ranking_(rankingOf(*properties_)) {}

bool Registration::listed() const {
    const std::lock_guard lock(mutex_);
    return listed_;
}

void Registration::unlist() {
    const std::lock_guard lock(mutex_);
    listed_ = false;
}

void Registration::end() {
    InterfaceMapConstPtr services; // goes after the lock
    const std::lock_guard lock(mutex_);
    listed_ = false;
    services.swap(services_);
    uses_.clear();
}

Registration::Properties Registration::replace(Properties properties) {
    const std::lock_guard lock(mutex_);
    ranking_ = rankingOf(*properties);
    properties_.swap(properties);
    return properties;
}

void Registration::endUses(const ContextState& context) {
    const std::lock_guard lock(mutex_);
    uses_.erase(&context);
}

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
