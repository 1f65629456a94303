/// Who listens to which event type.
#pragma once

#include "varnek/concurrency/RunningCalls.hpp"
#include "varnek/event/EventManager.hpp"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace varnek::event::detail {

/// One listener with the types that it listens to. Thread-safe.
class Subscription {
  public:
    Subscription(std::uint64_t order, std::vector<std::u16string> types, Listener listener, bool counts,
                 std::weak_ptr<SubscriptionTable> table);

    bool counts() const noexcept { return counts_; }
    std::uint64_t order() const noexcept { return order_; } // of subscribing
    const std::vector<std::u16string>& types() const noexcept { return types_; }
    bool connected() const noexcept { return connected_.load(); }
    std::shared_ptr<SubscriptionTable> table() const noexcept { return table_.lock(); }

    /// Calls the listener unless disconnected. Never throws.
    void deliver(const EventHandle& event) noexcept;
    /// False when it was disconnected before.
    bool endCalls() noexcept { return connected_.exchange(false); }
    /// Until no other thread is inside the listener, except threads that wait for this one in turn; after
    /// endCalls().
    void waitForCalls() const noexcept { calls_.wait(); }

  private:
    std::uint64_t order_;
    std::vector<std::u16string> types_;
    Listener listener_;
    bool counts_;
    std::weak_ptr<SubscriptionTable> table_;
    std::atomic<bool> connected_{true};
    concurrency::RunningCalls calls_;
};

using SubscriptionHandle = std::shared_ptr<Subscription>;

/// Lists are replaced, never changed, so that a broadcast goes on with the list that it found. Thread-safe.
class SubscriptionTable : public std::enable_shared_from_this<SubscriptionTable> {
  public:
    /// `counts`: events are wanted for its sake.
    SubscriptionHandle add(std::vector<std::u16string> types, Listener listener, bool counts);
    void remove(const SubscriptionHandle& subscription) noexcept;
    void clear() noexcept;
    bool empty() const noexcept { return size_.load(std::memory_order_acquire) == 0; }
    /// Each once, in the order of subscribing.
    std::vector<SubscriptionHandle> listenersOf(const Event& event) const;

  private:
    using List = std::shared_ptr<const std::vector<SubscriptionHandle>>;

    mutable std::mutex mutex_;                       // guards lists_; no foreign code runs under it
    std::unordered_map<std::u16string, List> lists_; // an empty handle is an empty list
    std::atomic<std::uint64_t> nextOrder_{0};
    std::atomic<std::size_t> size_{
        0}; // subscriptions that count, so that a broadcast without listeners takes no lock
};

} // namespace varnek::event::detail
