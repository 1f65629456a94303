#include "microservices/TrackingSession.hpp"

#include <algorithm>
#include <exception>
#include <utility>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace detail {

using Call = varnek::concurrency::RunningCalls::Call;

TrackingSession::TrackingSession(BundleHandle bundle, std::shared_ptr<ContextState> context,
                                 std::shared_ptr<const TrackerCriteria> criteria,
                                 std::shared_ptr<const TrackerCalls> calls)
    : bundle_(std::move(bundle)), context_(std::move(context)), criteria_(std::move(criteria)),
      calls_(std::move(calls)) {}

void TrackingSession::listen() {
    const auto self = shared_from_this();
    ListenerToken token = bundle_->framework.listeners().add(
        context_,
        [self](const ServiceEvent& event) {
            self->update(References::registration(event.GetServiceReference()),
                         event.GetType() == ServiceEvent::SERVICE_MODIFIED);
        },
        {}, [self] { self->endListening(true); });
    {
        const std::lock_guard lock(mutex_);
        token_ = std::move(token);
        if (!closed_)
            return;
    }
    endListening(false); // another thread closed the tracker meanwhile
}

void TrackingSession::addPresent() {
    const std::string& interface =
        criteria_->interfaces.empty() ? std::string() : criteria_->interfaces.front();
    for (const auto& registration : bundle_->framework.registry().find(interface))
        update(registration, false);
}

bool TrackingSession::isOpen() const {
    const std::lock_guard lock(mutex_);
    return !closed_;
}

bool TrackingSession::fits(const Registration& registration) const {
    if (!registration.listed())
        return false;
    if (criteria_->byReference && References::registration(criteria_->reference).get() != &registration)
        return false;
    if (criteria_->byFilter && !criteria_->filter.Match(*registration.properties()))
        return false;
    return std::ranges::all_of(criteria_->interfaces,
                               [&](const std::string& id) { return registration.has(id); });
}

void TrackingSession::update(const RegistrationHandle& registration, bool modified) {
    const Call call(running_);
    Lock lock(mutex_);
    if (closed_)
        return;
    const auto item = items_.find(registration->id);
    if (item == items_.end()) {
        if (fits(*registration))
            add(std::move(lock), registration);
    } else if (item->second.adding) {
        return;
    } else if (!fits(*registration)) {
        takeAway(std::move(lock), item);
    } else if (modified) {
        const TrackedService service = item->second.service;
        ++trackingCount_;
        lock.unlock();
        calls_->modified(service.reference, service.object);
    }
}

void TrackingSession::add(Lock lock, const RegistrationHandle& registration) {
    const auto item =
        items_.emplace(registration->id, Item{registration, {References::reference(registration, {}), {}}})
            .first;
    TrackedService service = item->second.service;
    lock.unlock();
    try {
        service.object = calls_->adding(service.reference);
    } catch (...) {
        lock.lock();
        items_.erase(item);
        throw;
    }
    lock.lock();
    if (service.object == nullptr) {
        items_.erase(item);
        return;
    }
    item->second.adding = false;
    item->second.service = service;
    ++trackingCount_;
    if (closed_ || !fits(*registration)) { // events that came meanwhile were left to us
        takeAway(std::move(lock), item);
        return;
    }
    changed_.notify_all();
}

void TrackingSession::takeAway(Lock lock, Items::iterator item) {
    const TrackedService service = std::move(item->second.service);
    items_.erase(item);
    ++trackingCount_;
    lock.unlock();
    calls_->removed(service.reference, service.object);
}

void TrackingSession::remove(const Registration& registration) {
    const Call call(running_);
    Lock lock(mutex_);
    const auto item = items_.find(registration.id);
    if (item != items_.end() && !item->second.adding)
        takeAway(std::move(lock), item);
}

void TrackingSession::endListening(bool contextEnded) noexcept {
    ListenerToken token;
    {
        const std::lock_guard lock(mutex_);
        (contextEnded ? contextEnded_ : closed_) = true;
        token = std::move(token_);
        changed_.notify_all();
    }
    if (token && !contextEnded)
        bundle_->framework.listeners().remove(*context_, token, false); // our own calls are waited for
}

void TrackingSession::close() noexcept {
    {
        const Call call(running_); // threads that close at once wait for each other's calls
        endListening(false);
        running_.wait();
        while (takeAwayOne()) {
        }
    }
    running_.wait();
}

bool TrackingSession::takeAwayOne() noexcept {
    Lock lock(mutex_);
    const auto item = std::ranges::find_if(items_, [](const auto& other) { return !other.second.adding; });
    if (item == items_.end())
        return false;
    try {
        takeAway(std::move(lock), item);
    } catch (...) {
        bundle_->framework.reportThrown(context_->bundleId, "Service tracker callback threw an exception: ");
    }
    return true;
}

int TrackingSession::count() const {
    return static_cast<int>(
        std::ranges::count_if(items_, [](const auto& item) { return !item.second.adding; }));
}

std::vector<TrackedService> TrackingSession::tracked() const {
    std::map<std::pair<long, long>, TrackedService> ranked; // a ranking may change while we sort
    {
        const std::lock_guard lock(mutex_);
        for (const auto& [id, item] : items_)
            if (!closed_ && !item.adding)
                ranked.emplace(std::pair(-long{item.registration->ranking()}, id), item.service);
    }
    std::vector<TrackedService> services;
    for (auto& [rank, service] : ranked)
        services.push_back(std::move(service));
    return services;
}

int TrackingSession::size() const {
    const std::lock_guard lock(mutex_);
    return closed_ ? 0 : count();
}

int TrackingSession::trackingCount() const {
    const std::lock_guard lock(mutex_);
    return closed_ ? -1 : trackingCount_;
}

void TrackingSession::waitForOne(std::chrono::milliseconds timeout) const {
    const auto over = [this] { return closed_ || contextEnded_ || count() > 0; };
    Lock lock(mutex_);
    if (timeout.count() == 0)
        changed_.wait(lock, over);
    else
        changed_.wait_for(lock, timeout, over);
}

} // namespace detail
} // namespace varnek_platform
} // namespace cppmicroservices
