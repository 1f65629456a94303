#include "varnek/event/EventManager.hpp"

#include "event/SubscriptionTable.hpp"

#include <stdexcept>

namespace varnek::event {

Connection::Connection(std::weak_ptr<detail::Subscription> subscription) noexcept
    : subscription_(std::move(subscription)) {}

bool Connection::connected() const noexcept {
    const auto subscription = subscription_.lock();
    return subscription && subscription->connected();
}

void Connection::disconnect() const noexcept {
    const auto subscription = subscription_.lock();
    if (!subscription || !subscription->endCalls())
        return;
    if (const auto table = subscription->table())
        table->remove(subscription);
}

void Connection::disconnectAndWait() const noexcept {
    disconnect();
    if (const auto subscription = subscription_.lock())
        subscription->waitForCalls();
}

ScopedConnection& ScopedConnection::operator=(ScopedConnection&& other) noexcept {
    if (this != &other) {
        connection_.disconnect();
        connection_ = other.release();
    }
    return *this;
}

EventManager& EventManager::instance() {
    static EventManager* const manager = new EventManager;
    return *manager;
}

EventManager::EventManager() : table_(std::make_shared<detail::SubscriptionTable>()) {}

EventManager::~EventManager() {
    table_->clear();
}

namespace {

void check(const std::vector<std::u16string>& eventTypes, const Listener& listener) {
    if (eventTypes.empty())
        throw std::invalid_argument("a listener needs at least one event type");
    if (!listener)
        throw std::invalid_argument("cannot subscribe an empty listener");
}

} // namespace

Connection EventManager::subscribe(std::vector<std::u16string> eventTypes, Listener listener) {
    check(eventTypes, listener);
    return Connection(table_->add(std::move(eventTypes), std::move(listener), true));
}

Connection EventManager::observe(std::vector<std::u16string> eventTypes, Listener listener) {
    check(eventTypes, listener);
    return Connection(table_->add(std::move(eventTypes), std::move(listener), false));
}

bool EventManager::hasListeners() const noexcept {
    return !table_->empty();
}

void EventManager::broadcast(const EventHandle& event) const {
    if (!event)
        throw std::invalid_argument("cannot broadcast an empty event handle");
    // A listener may drop the caller's handle.
    const EventHandle kept = event; // NOLINT(performance-unnecessary-copy-initialization)
    for (const auto& subscription : table_->listenersOf(*kept))
        subscription->deliver(kept);
}

} // namespace varnek::event
