#include "settingscore/events/EventDelivery.hpp"

#include "settingscore/events/Notification.hpp"
#include "varnek/event/EventManager.hpp"
#include "varnek/log/Channel.hpp"

#include <exception>
#include <new>
#include <utility>

namespace settings::core::detail {

using varnek::event::EventManager;

// ---- places ----

EventDelivery::Place& EventDelivery::Place::operator=(Place&& other) noexcept {
    if (this != &other) {
        tell();
        delivery_ = std::move(other.delivery_);
        event_ = std::move(other.event_);
        number_ = other.number_;
        isComing_ = other.isComing_;
        isHeld_ = other.isHeld_;
        isComplete_ = other.isComplete_;
        isLost_ = other.isLost_;
    }
    return *this;
}

/// What is before it may have been left to this thread: that comes first, while its own is still held back.
void EventDelivery::Place::arrive() noexcept {
    if (delivery_ == nullptr || !std::exchange(isComing_, false))
        return;
    std::unique_lock lock(delivery_->mutex_);
    --delivery_->coming_;
    delivery_->handOn(lock, number_);
}

void EventDelivery::Place::release() noexcept {
    if (delivery_ == nullptr || !std::exchange(isHeld_, false))
        return;
    std::unique_lock lock(delivery_->mutex_);
    if (std::exchange(isComing_, false)) { // as in arrive()
        --delivery_->coming_;
        delivery_->handOn(lock, number_);
    }
    delivery_->slots_[number_ - delivery_->first_].isHeld = false;
}

void EventDelivery::Place::callHook() noexcept {
    if (isLost_)
        logDropped(std::bad_alloc());
    if (const EventHandle event = std::move(event_))
        notify(event);
}

void EventDelivery::Place::handOn() noexcept {
    if (const boost::shared_ptr<EventDelivery> delivery = std::move(delivery_)) {
        std::unique_lock lock(delivery->mutex_);
        delivery->handOn(lock, number_);
    }
}

void EventDelivery::Place::tell() noexcept {
    if (delivery_ == nullptr)
        return;
    if (!isComplete_)
        delivery_->complete(number_, nullptr);
    release();
    callHook();
    handOn();
}

void EventDelivery::Place::tellAndWait(const std::stop_token& stop) noexcept {
    const boost::shared_ptr<EventDelivery> delivery = event_ != nullptr ? delivery_ : nullptr;
    tell();
    if (delivery != nullptr)
        delivery->awaitTold(number_, stop);
}

// ---- the order ----

bool EventDelivery::isWanted() const noexcept {
    return isQueueOn_.load(std::memory_order_relaxed) || hasEventNotifyFunction() ||
           EventManager::instance().hasListeners();
}

EventDelivery::Place EventDelivery::reserve(const boost::shared_ptr<EventDelivery>& delivery,
                                            Release release) {
    if (delivery == nullptr || !delivery->isWanted())
        return {};
    try {
        const std::lock_guard lock(delivery->mutex_);
        const bool isHeld = release == Release::whenTold;
        delivery->slots_.push_back(
            {.isForQueue = delivery->isQueueOn_.load(std::memory_order_relaxed), .isHeld = isHeld});
        delivery->coming_ += isHeld ? 1 : 0;
        return {delivery, delivery->first_ + delivery->slots_.size() - 1, isHeld};
    } catch (const std::bad_alloc&) { // the change is made all the same
        return {};
    }
}

void EventDelivery::complete(std::uint64_t number, const EventHandle& event) noexcept {
    const std::lock_guard lock(mutex_);
    Slot& completed = slots_[number - first_];
    completed.event = event;
    completed.isComplete = true;
    const std::uint64_t end = first_ + slots_.size();
    for (; open_ != end && slots_[open_ - first_].isComplete; ++open_)
        enqueue(slots_[open_ - first_]);
    completed_.notify_all();
}

void EventDelivery::enqueue(Slot& slot) noexcept {
    if (slot.event == nullptr || !slot.isForQueue)
        return;
    try {
        queue_.push(slot.event);
    } catch (...) { // no memory: the listeners get it all the same
        slot.isNotQueued = true;
    }
}

bool EventDelivery::isNextDue() const noexcept {
    return first_ != open_ && !slots_.front().isHeld;
}

/// Stops early only while somebody has still to arrive, and so to come here.
void EventDelivery::handOn(std::unique_lock<std::mutex>& lock, std::uint64_t own) noexcept {
    if (isHandingOn_)
        return;
    isHandingOn_ = true;
    for (std::size_t count = 0; isNextDue(); ++count) {
        if (coming_ > 0 && (first_ > own || count >= mostForOthers))
            break;
        Slot slot = std::move(slots_.front());
        slots_.pop_front();
        ++first_;
        if (slot.event == nullptr) // given up or taken back
            continue;
        isCalling_ = true;
        lock.unlock();
        if (slot.isNotQueued)
            logDropped(std::bad_alloc());
        try {
            EventManager::instance().broadcast(slot.event);
        } catch (const std::exception& failure) {
            logDropped(failure);
        }
        slot.event.reset(); // perhaps the last handle of a node
        lock.lock();
        isCalling_ = false;
        if (waiting_ > 0)
            told_.notify_all();
    }
    isHandingOn_ = false;
}

bool EventDelivery::isTold(std::uint64_t number) const noexcept {
    return number < first_ - (isCalling_ ? 1 : 0);
}

void EventDelivery::awaitTold(std::uint64_t number, const std::stop_token& stop) noexcept {
    EventHandle takenBack; // destroyed without the lock
    std::unique_lock lock(mutex_);
    ++waiting_;
    const bool isOver = told_.wait(lock, stop, [&] { return isTold(number); });
    --waiting_;
    if (!isOver && number >= first_)
        takenBack.swap(slots_[number - first_].event);
}

// ---- the queue ----

void EventDelivery::enableQueue(bool enabled) {
    isQueueOn_.store(enabled, std::memory_order_relaxed);
}

void EventDelivery::moveQueuedTo(std::queue<EventHandle>& queue) {
    std::unique_lock lock(mutex_);
    // A change of another thread may be just in front of one that is over for the caller.
    const std::uint64_t end = first_ + slots_.size();
    completed_.wait(lock, [&] { return open_ >= end; });
    if (queue.empty())
        return queue.swap(queue_);
    for (; !queue_.empty(); queue_.pop())
        queue.push(queue_.front());
}

// ---- told later ----

namespace {

thread_local LateEvents* changeBeingSaved = nullptr;

} // namespace

void LateEvents::add(EventDelivery::Place&& place) noexcept {
    if (!place)
        return;
    try {
        places_.push_back(std::move(place));
    } catch (const std::bad_alloc&) {
        place.tell();
    }
}

void LateEvents::release() noexcept {
    if (places_.size() > 1) // what was left comes before all of them
        for (EventDelivery::Place& place : places_)
            place.arrive();
    for (EventDelivery::Place& place : places_)
        place.release();
}

/// Step by step for all of them: nobody is to wait for a later one while the hook is told of the first.
void LateEvents::tell() noexcept {
    release();
    for (EventDelivery::Place& place : places_)
        place.callHook();
    for (EventDelivery::Place& place : places_)
        place.handOn();
    places_.clear();
}

void LateEvents::tellAfterTheChange() noexcept {
    if (changeBeingSaved == nullptr)
        return tell();
    for (EventDelivery::Place& place : places_)
        changeBeingSaved->add(std::move(place));
    places_.clear();
}

SavedFirst::SavedFirst(LateEvents& events) noexcept : outer_(std::exchange(changeBeingSaved, &events)) {}

SavedFirst::~SavedFirst() {
    changeBeingSaved = outer_;
}

} // namespace settings::core::detail
