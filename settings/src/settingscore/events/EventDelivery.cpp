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
        fill(nullptr);
        delivery_ = std::move(other.delivery_);
        number_ = other.number_;
    }
    return *this;
}

void EventDelivery::Place::fill(const EventHandle& event) noexcept {
    const boost::shared_ptr<EventDelivery> delivery = std::move(delivery_);
    if (delivery == nullptr)
        return;
    if (event != nullptr)
        notify(event);
    delivery->complete(number_, event);
}

// ---- the order ----

bool EventDelivery::isWanted() const noexcept {
    return isQueueOn_.load(std::memory_order_relaxed) || hasEventNotifyFunction() ||
           EventManager::instance().hasListeners();
}

EventDelivery::Place EventDelivery::reserve(const boost::shared_ptr<EventDelivery>& delivery) {
    if (delivery == nullptr || !delivery->isWanted())
        return {};
    try {
        const std::lock_guard lock(delivery->mutex_);
        delivery->slots_.emplace_back();
        return {delivery, delivery->first_ + delivery->slots_.size() - 1};
    } catch (const std::bad_alloc&) { // the change is made all the same
        return {};
    }
}

void EventDelivery::complete(std::uint64_t number, const EventHandle& event) noexcept {
    std::unique_lock lock(mutex_);
    Slot& slot = slots_[number - first_];
    slot.event = event;
    slot.isComplete = true;
    if (!isHandingOn_)
        handOn(lock);
}

void EventDelivery::handOn(std::unique_lock<std::mutex>& lock) noexcept {
    isHandingOn_ = true;
    while (!slots_.empty() && slots_.front().isComplete) {
        EventHandle event = std::move(slots_.front().event);
        slots_.pop_front();
        ++first_;
        if (event == nullptr)
            continue;
        std::exception_ptr notQueued;
        try {
            if (isQueueOn_.load(std::memory_order_relaxed))
                queue_.push(event);
        } catch (...) { // no memory: the listeners get it all the same
            notQueued = std::current_exception();
        }
        lock.unlock();
        try {
            if (notQueued)
                std::rethrow_exception(notQueued);
        } catch (const std::exception& failure) {
            logDropped(failure);
        }
        try {
            EventManager::instance().broadcast(event);
        } catch (const std::exception& failure) {
            logDropped(failure);
        }
        event.reset(); // perhaps the last handle of a node
        lock.lock();
    }
    isHandingOn_ = false;
}

// ---- the queue ----

void EventDelivery::enableQueue(bool enabled) {
    isQueueOn_.store(enabled, std::memory_order_relaxed);
}

void EventDelivery::moveQueuedTo(std::queue<EventHandle>& queue) {
    std::queue<EventHandle> queued;
    {
        const std::lock_guard lock(mutex_);
        queued.swap(queue_);
    }
    for (; !queued.empty(); queued.pop())
        queue.push(std::move(queued.front()));
}

} // namespace settings::core::detail
