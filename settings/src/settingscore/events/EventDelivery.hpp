/// Hands the events of one tree on in the order of the changes.
///
/// A change reserves its place before it can be seen, completes it with the event once it is in place, both
/// under the lock under which it happens, and tells of it after the lock. A complete event is in the queue as
/// soon as all before it are complete, whatever hooks and listeners are at work. Listeners are called in the
/// order of the places: whoever finds nobody handing on does so, for all others too; the others return at
/// once. A listener may change the tree; its event follows.
///
/// Threads: thread-safe. mutex_ (rank "event delivery") may be taken under a node lock; it is not held while
/// the hook or a listener runs. A place that is not complete holds back the events behind it and whoever
/// fetches the queue: nothing may be waited for and no foreign code be called in between.
#pragma once

#include "settingscore/events/SettingsEvent.hpp"

#include <atomic>
#include <condition_variable>
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
    /// One place in the order. When it is destroyed it is told, or given up if it is not complete.
    class Place {
      public:
        Place() = default; // nobody wants the event
        Place(Place&& other) noexcept = default;
        Place& operator=(Place&& other) noexcept;
        ~Place() { tell(); }

        /// Whether there is something to complete or to tell.
        explicit operator bool() const noexcept { return delivery_ != nullptr; }
        /// Takes what `make` returns, an EventHandle; an empty one gives the place up. Calls nothing when
        /// nobody wants the event. An event that cannot be made is logged when it would be told.
        template <class Make>
        void complete(const Make& make) noexcept {
            if (delivery_ == nullptr)
                return;
            try {
                event_ = make();
            } catch (...) { // no memory: the change is made all the same
                isLost_ = true;
            }
            isComplete_ = true;
            delivery_->complete(number_, event_);
        }
        /// Calls the notification hook on this thread, then hands on what is complete. To be called without
        /// any lock of the tree; once.
        void tell() noexcept;

      private:
        friend class EventDelivery;
        Place(boost::shared_ptr<EventDelivery> delivery, std::uint64_t number) noexcept
            : delivery_(std::move(delivery)), number_(number) {}

        boost::shared_ptr<EventDelivery> delivery_;
        EventHandle event_;
        std::uint64_t number_ = 0;
        bool isComplete_ = false;
        bool isLost_ = false;
    };

    /// How many listeners the roots of trees have themselves; they want no events of changes.
    static std::atomic<std::size_t> listenersOfRoots;

    EventDelivery() = default;
    EventDelivery(const EventDelivery&) = delete;
    EventDelivery& operator=(const EventDelivery&) = delete;

    /// The next place; an empty one when nobody wants events, without a delivery, or without memory for it.
    static Place reserve(const boost::shared_ptr<EventDelivery>& delivery);

    /// Whether events of changes from now on are kept in the queue, besides being delivered; off at first.
    /// What was changed before stays, and stays until it is fetched.
    void enableQueue(bool enabled);
    /// Moves the events of all changes so far to the end of `queue`, first in, first out. When there is no
    /// memory, std::bad_alloc; what was not moved is still queued.
    void moveQueuedTo(std::queue<EventHandle>& queue);

  private:
    struct Slot {
        EventHandle event{};
        bool isForQueue = false;
        bool isComplete = false;
        bool isNotQueued = false; // for want of memory
    };

    bool isWanted() const noexcept;
    void complete(std::uint64_t number, const EventHandle& event) noexcept;
    void enqueue(Slot& slot) noexcept; // mutex_ is held
    void handOn() noexcept;

    std::mutex mutex_;
    std::condition_variable completed_;
    std::deque<Slot> slots_;
    std::uint64_t first_ = 0; // the number of slots_.front(), the next for the listeners
    std::uint64_t open_ = 0;  // of the first that is not complete; all before have been queued
    bool isHandingOn_ = false;
    std::atomic<bool> isQueueOn_{false};
    std::queue<EventHandle> queue_;
};

/// Complete places of changes that were made where hooks and listeners cannot be called; told in the end.
/// Whoever hands on meanwhile may be quicker with the listeners.
class LateEvents {
  public:
    LateEvents() = default;
    LateEvents(LateEvents&&) noexcept = default;
    LateEvents& operator=(LateEvents&&) = delete;
    ~LateEvents() { tell(); }

    void add(EventDelivery::Place place) { places_.push_back(std::move(place)); }
    /// To be called without any lock; does not throw.
    void tell() noexcept {
        for (EventDelivery::Place& place : places_)
            place.tell();
        places_.clear();
    }

  private:
    std::vector<EventDelivery::Place> places_;
};

} // namespace settings::core::detail
