/// Hands the events of one tree on in the order of the changes.
///
/// A change reserves its place while it holds the lock under which it happens, and fills it with the event
/// once the lock is released. Listeners and the queue receive the events in the order of their places:
/// whoever finds nobody handing on does so, for all others too; the others return at once. A listener may
/// change the tree; its event follows.
///
/// Threads: thread-safe. mutex_ (rank "event delivery") may be taken under a node lock; it is not held while
/// the hook or a listener runs. A place that is not filled yet holds back the events behind it.
#pragma once

#include "settingscore/events/SettingsEvent.hpp"

#include <atomic>
#include <cstdint>
#include <deque>
#include <mutex>
#include <queue>
#include <utility>
#include <vector>

namespace settings::core::detail {

using EventHandle = boost::shared_ptr<const SettingsEvent>;

class EventDelivery {
  public:
    /// One place in the order; given up without an event when it is destroyed unfilled.
    class Place {
      public:
        Place() = default; // nobody wants the event
        Place(Place&& other) noexcept = default;
        Place& operator=(Place&& other) noexcept;
        ~Place() { fill(nullptr); }

        /// Whether the event is worth making.
        explicit operator bool() const noexcept { return delivery_ != nullptr; }
        /// Calls the notification hook on this thread, then hands on what is complete. An empty handle gives
        /// the place up. To be called without any lock of the tree; does not throw.
        void fill(const EventHandle& event) noexcept;

      private:
        friend class EventDelivery;
        Place(boost::shared_ptr<EventDelivery> delivery, std::uint64_t number) noexcept
            : delivery_(std::move(delivery)), number_(number) {}

        boost::shared_ptr<EventDelivery> delivery_;
        std::uint64_t number_ = 0;
    };

    EventDelivery() = default;
    EventDelivery(const EventDelivery&) = delete;
    EventDelivery& operator=(const EventDelivery&) = delete;

    /// The next place; an empty one when nobody wants events, without a delivery, or without memory for it.
    static Place reserve(const boost::shared_ptr<EventDelivery>& delivery);

    /// Whether events are kept in the queue, besides being delivered; off at first. What is queued stays
    /// until it is fetched.
    void enableQueue(bool enabled);
    /// Moves what is queued to the end of `queue`, first in, first out.
    void moveQueuedTo(std::queue<EventHandle>& queue);

  private:
    struct Slot {
        EventHandle event;
        bool isComplete = false;
    };

    bool isWanted() const noexcept;
    void complete(std::uint64_t number, const EventHandle& event) noexcept;
    void handOn(std::unique_lock<std::mutex>& lock) noexcept;

    std::mutex mutex_;
    std::deque<Slot> slots_;
    std::uint64_t first_ = 0; // the number of slots_.front()
    bool isHandingOn_ = false;
    std::atomic<bool> isQueueOn_{false};
    std::queue<EventHandle> queue_;
};

/// Events that are made while listeners cannot be called yet; told in the end, each in its place.
class LateEvents {
  public:
    LateEvents() = default;
    LateEvents(LateEvents&&) noexcept = default;
    LateEvents& operator=(LateEvents&&) = delete;
    ~LateEvents() { tell(); }

    void add(EventDelivery::Place place, EventHandle event) {
        events_.emplace_back(std::move(place), std::move(event));
    }
    /// To be called without any lock; does not throw.
    void tell() noexcept {
        for (auto& [place, event] : events_)
            place.fill(event);
        events_.clear();
    }

  private:
    std::vector<std::pair<EventDelivery::Place, EventHandle>> events_;
};

} // namespace settings::core::detail
