/// Hands the events of one tree on in the order of the changes.
///
/// A change reserves its place before it can be seen, completes it with the event once it is in place, both
/// under the lock under which it happens, and tells of it after the lock, when its save has been asked for. A
/// complete event is in the queue as soon as all before it are complete, whatever hooks and listeners are at
/// work. Listeners are called in the order of the places: whoever finds nobody handing on does so, for all
/// others too; the others return at once. A listener may change the tree; its event follows.
///
/// Whoever hands on for others need not do so to their end: when its own events are through, or
/// `mostForOthers` of one turn, it stops as soon as somebody else is between reserving a place and releasing
/// it, who goes on in its stead. No thread waits for another, but in tellAndWait.
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
#include <stop_token>
#include <utility>
#include <vector>

namespace settings::core::detail {

using EventHandle = boost::shared_ptr<const SettingsEvent>;

class EventDelivery {
  public:
    /// When the listeners of a change may be called.
    enum class Release {
        /// When the change says so, at the latest when it tells. Until then the events behind it are held
        /// back, and others may leave the handing on to it: neither the disk nor foreign code in between.
        whenTold,
        /// As soon as its event is complete, by anybody.
        whenComplete
    };

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
        /// The save of the change has been asked for: listeners may be called. Hands on what others have left
        /// to it, which comes before it. To be called without any lock of the tree.
        void release() noexcept;
        /// Releases it, calls the notification hook on this thread, then hands on what is complete. To be
        /// called without any lock of the tree; once.
        void tell() noexcept;
        /// The same; returns when its listeners have been called, by whomever. When a stop is asked for they
        /// need not be any more: the event is taken back if that is still possible. Not inside of a listener.
        void tellAndWait(const std::stop_token& stop) noexcept;

      private:
        friend class EventDelivery;
        friend class LateEvents;
        Place(boost::shared_ptr<EventDelivery> delivery, std::uint64_t number, bool isHeld) noexcept
            : delivery_(std::move(delivery)), number_(number), isComing_(isHeld), isHeld_(isHeld) {}

        // The steps of telling.
        void arrive() noexcept;
        void callHook() noexcept;
        void handOn() noexcept;

        boost::shared_ptr<EventDelivery> delivery_;
        EventHandle event_;
        std::uint64_t number_ = 0;
        bool isComing_ = false; // counted by the delivery
        bool isHeld_ = false;
        bool isComplete_ = false;
        bool isLost_ = false;
    };

    /// Events that one turn hands on, its own included, before it may stop.
    static constexpr std::size_t mostForOthers = 16;

    EventDelivery() = default;
    EventDelivery(const EventDelivery&) = delete;
    EventDelivery& operator=(const EventDelivery&) = delete;

    /// The next place; an empty one when nobody wants events, without a delivery, or without memory for it.
    static Place reserve(const boost::shared_ptr<EventDelivery>& delivery,
                         Release release = Release::whenComplete);

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
        bool isHeld = false; // not released yet
        bool isComplete = false;
        bool isNotQueued = false; // for want of memory
    };

    bool isWanted() const noexcept;
    void complete(std::uint64_t number, const EventHandle& event) noexcept;
    void enqueue(Slot& slot) noexcept; // mutex_ is held
    void handOn(std::unique_lock<std::mutex>& lock, std::uint64_t own) noexcept;
    void awaitTold(std::uint64_t number, const std::stop_token& stop) noexcept;
    bool isNextDue() const noexcept;                  // mutex_ is held
    bool isTold(std::uint64_t number) const noexcept; // mutex_ is held

    std::mutex mutex_;
    std::condition_variable completed_;
    std::condition_variable_any told_;
    std::deque<Slot> slots_;
    std::uint64_t first_ = 0; // the number of slots_.front(), the next for the listeners
    std::uint64_t open_ = 0;  // of the first that is not complete; all before have been queued
    bool isHandingOn_ = false;
    bool isCalling_ = false;  // the listeners of the one before first_
    std::size_t waiting_ = 0; // threads, for listeners
    std::size_t coming_ = 0;  // held places whose threads are still to arrive, and hand on if nobody does
    std::atomic<bool> isQueueOn_{false};
    std::queue<EventHandle> queue_;
};

/// Complete places of changes, to be told later: when the saves of all of them have been asked for, or where
/// hooks and listeners can be called. Told in their order when it is destroyed.
class LateEvents {
  public:
    LateEvents() = default;
    LateEvents(LateEvents&&) noexcept = default;
    LateEvents& operator=(LateEvents&&) = delete;
    ~LateEvents() { tell(); }

    /// Told at once when there is no memory to keep it. An empty place is nothing.
    void add(EventDelivery::Place&& place) noexcept;
    /// As Place::release, for all of them.
    void release() noexcept;
    /// To be called without any lock.
    void tell() noexcept;
    /// Leaves them to the change for whose sake this thread saves (SavedFirst); tells them where there is
    /// none.
    void tellAfterTheChange() noexcept;

  private:
    std::vector<EventDelivery::Place> places_;
};

/// While it lives this thread asks for the saves of changes whose events are in `events`. A save that is made
/// on the spot may take over what others have changed: those events follow them.
class SavedFirst {
  public:
    explicit SavedFirst(LateEvents& events) noexcept;
    SavedFirst(const SavedFirst&) = delete;
    SavedFirst& operator=(const SavedFirst&) = delete;
    ~SavedFirst();

  private:
    LateEvents* const outer_;
};

} // namespace settings::core::detail
