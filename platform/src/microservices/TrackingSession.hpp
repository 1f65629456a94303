/// What a tracker tracks between an Open and the Close that ends it.
#pragma once

#include "cppmicroservices/ServiceTracker.h"
#include "microservices/FrameworkCore.hpp"

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace detail {

/// Thread-safe; holds no lock while it calls the customizer. Whether a service is to be tracked is decided
/// anew at each of its events, since those of several threads may arrive in any order.
class TrackingSession : public std::enable_shared_from_this<TrackingSession> {
  public:
    /// `criteria` and `calls` outlive the session's open time and every call of it.
    TrackingSession(BundleHandle bundle, std::shared_ptr<ContextState> context,
                    std::shared_ptr<const TrackerCriteria> criteria,
                    std::shared_ptr<const TrackerCalls> calls);

    /// Begins to listen. Throws IllegalStateException.
    void listen();
    /// Adds the services that are there. Lets out what the customizer throws.
    void addPresent();
    /// Ends the session, see ServiceTracker::Close. Every caller waits for the end.
    void close() noexcept;
    bool isOpen() const;

    void remove(const Registration& registration);
    std::vector<TrackedService> tracked() const; // best first
    int size() const;
    int trackingCount() const; // -1 when it is closed
    void waitForOne(std::chrono::milliseconds timeout) const;

  private:
    using Lock = std::unique_lock<std::mutex>;
    struct Item {
        RegistrationHandle registration;
        TrackedService service;
        bool adding = true; // AddingService runs; the thread inside it decides what comes of it
    };
    using Items = std::map<long, Item>; // by service id

    bool fits(const Registration& registration) const;
    void update(const RegistrationHandle& registration, bool modified);
    void add(Lock lock, const RegistrationHandle& registration);
    void takeAway(Lock lock, Items::iterator item);
    bool takeAwayOne() noexcept;
    void endListening(bool contextEnded) noexcept;
    int count() const; // of what is tracked, with mutex_ held

    const BundleHandle bundle_; // keeps the framework alive
    const std::shared_ptr<ContextState> context_;
    const std::shared_ptr<const TrackerCriteria> criteria_;
    const std::shared_ptr<const TrackerCalls> calls_;

    varnek::concurrency::RunningCalls running_;
    mutable std::mutex mutex_;                // guards all below
    mutable std::condition_variable changed_; // something is tracked, or nothing more will be
    ListenerToken token_;
    Items items_;
    int trackingCount_ = 0;
    bool closed_ = false;
    bool contextEnded_ = false;
};

} // namespace detail
} // namespace varnek_platform
} // namespace cppmicroservices
