#include "cppmicroservices/ServiceTracker.h"

#include "microservices/TrackingSession.hpp"

#include <mutex>
#include <stdexcept>
#include <utility>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace detail {

struct TrackerState {
    const BundleContext context;
    const std::shared_ptr<const TrackerCriteria> criteria;
    const std::shared_ptr<const TrackerCalls> calls;
    std::mutex mutex; // guards session; taken before that of the session
    std::shared_ptr<TrackingSession> session;
};

Tracker::Tracker(BundleContext context, TrackerCriteria criteria, TrackerCalls calls)
    : state_(new TrackerState{std::move(context),
                              std::make_shared<const TrackerCriteria>(std::move(criteria)),
                              std::make_shared<const TrackerCalls>(std::move(calls)),
                              {},
                              {}}) {}

Tracker::~Tracker() = default;

std::shared_ptr<TrackingSession> Tracker::session() const {
    const std::lock_guard lock(state_->mutex);
    return state_->session;
}

void Tracker::open() {
    if (state_->criteria->byFilter && !state_->criteria->filter)
        throw std::runtime_error("cannot track services with an empty filter");
    const auto& [bundle, context] = Handles::valid(state_->context);
    const auto opened = std::make_shared<TrackingSession>(bundle, context, state_->criteria, state_->calls);
    {
        const std::lock_guard lock(state_->mutex);
        if (state_->session && state_->session->isOpen())
            return;
        state_->session = opened;
    }
    try {
        opened->listen();
    } catch (...) {
        opened->close();
        throw;
    }
    opened->addPresent();
}

void Tracker::close() noexcept {
    if (const auto current = session())
        current->close();
}

void Tracker::remove(const ServiceReferenceBase& reference) {
    const auto current = session();
    if (const auto& registration = References::registration(reference); current && registration)
        current->remove(*registration);
}

std::vector<TrackedService> Tracker::tracked() const {
    const auto current = session();
    return current ? current->tracked() : std::vector<TrackedService>();
}

int Tracker::size() const {
    const auto current = session();
    return current ? current->size() : 0;
}

int Tracker::trackingCount() const {
    const auto current = session();
    return current ? current->trackingCount() : -1;
}

void Tracker::waitForOne(std::chrono::milliseconds timeout) const {
    if (const auto current = session())
        current->waitForOne(timeout);
}

const BundleContext& Tracker::context() const noexcept {
    return state_->context;
}

} // namespace detail
} // namespace varnek_platform
} // namespace cppmicroservices
