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
        isComplete_ = other.isComplete_;
        isLost_ = other.isLost_;
    }
    return *this;
}

void EventDelivery::Place::tell() noexcept {
    const boost::shared_ptr<EventDelivery> delivery = std::move(delivery_);
    if (delivery == nullptr)
        return;
    const EventHandle event = std::move(event_);
    if (!isComplete_)
        delivery->complete(number_, nullptr);
    if (isLost_)
        logDropped(std::bad_alloc());
    if (event != nullptr)
        notify(event);
    delivery->handOn();
}

// ---- the order ----

std::atomic<std::size_t> EventDelivery::listenersOfRoots{0};

bool EventDelivery::isWanted() const noexcept {
    return isQueueOn_.load(std::memory_order_relaxed) || hasEventNotifyFunction() ||
           EventManager::instance().listenerCount() > listenersOfRoots.load(std::memory_order_relaxed);
}

EventDelivery::Place EventDelivery::reserve(const boost::shared_ptr<EventDelivery>& delivery) {
    if (delivery == nullptr || !delivery->isWanted())
        return {};
    try {
        const std::lock_guard lock(delivery->mutex_);
        delivery->slots_.push_back({.isForQueue = delivery->isQueueOn_.load(std::memory_order_relaxed)});
        return {delivery, delivery->first_ + delivery->slots_.size() - 1};
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

void EventDelivery::handOn() noexcept {
    std::unique_lock lock(mutex_);
    if (isHandingOn_)
        return;
    isHandingOn_ = true;
    while (first_ != open_) {
        Slot slot = std::move(slots_.front());
        slots_.pop_front();
        ++first_;
        if (slot.event == nullptr)
            continue;
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
    }
    isHandingOn_ = false;
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

} // namespace settings::core::detail
