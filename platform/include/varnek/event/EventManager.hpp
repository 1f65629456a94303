/// Delivers events to the listeners of their types.
///
///     ScopedConnection connection = EventManager::instance().subscribe(
///         u"settings::core::SettingsValueChangeEvent", [](const EventHandle& event) { … });
///     EventManager::instance().broadcast(event);
///
/// Lifetime: disconnecting does not wait for a call of the listener that is running on another thread. A
/// listener that refers to an object must therefore keep it alive itself (capture a weak handle and lock it),
/// or the object's destructor ends the subscription with disconnectAndWait().
///
///     UNSAFE: ~Panel() { connection_.disconnect(); }          // a call may still be using this panel
///     SAFE:   ~Panel() { connection_.disconnectAndWait(); }   // while holding no lock that the listener
///     takes
#pragma once

#include "varnek/Export.hpp"
#include "varnek/event/Event.hpp"

#include <concepts>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace varnek::event {

/// Called on the broadcasting thread, several at once when several threads broadcast, with no lock of the
/// event manager held. It may subscribe, disconnect (itself too) and broadcast. What it throws is logged on
/// the channel "varnek::event::EventManager" and goes no further.
using Listener = std::function<void(const EventHandle&)>;

namespace detail {
class Subscription;
class SubscriptionTable;
} // namespace detail

/// Names one subscription; a default-constructed one names none. Copies name the same. Thread-safe like a
/// pointer. May outlive the manager. Dropping it ends nothing.
class VARNEK_EXPORT Connection {
  public:
    Connection() = default;
    explicit Connection(std::weak_ptr<detail::Subscription> subscription) noexcept;

    bool connected() const noexcept;
    /// From now on no call of the listener begins.
    void disconnect() const noexcept;
    /// The same, and returns when every running call of the listener has ended, except those that cannot end
    /// before: calls that this thread itself is inside of, and calls inside which another thread waits here
    /// for a call of this thread. Two threads inside one listener may thus both call it; an object that the
    /// other one still uses must then be kept alive by its listener.
    void disconnectAndWait() const noexcept;

  private:
    std::weak_ptr<detail::Subscription> subscription_;
};

/// Disconnects when destroyed, without waiting. Movable.
class VARNEK_EXPORT ScopedConnection {
  public:
    ScopedConnection() = default;
    ScopedConnection(Connection connection) noexcept : connection_(std::move(connection)) {}
    ScopedConnection(ScopedConnection&& other) noexcept : connection_(other.release()) {}
    ScopedConnection& operator=(ScopedConnection&& other) noexcept;
    ScopedConnection(const ScopedConnection&) = delete;
    ScopedConnection& operator=(const ScopedConnection&) = delete;
    ~ScopedConnection() { connection_.disconnect(); }

    bool connected() const noexcept { return connection_.connected(); }
    void disconnect() const noexcept { connection_.disconnect(); }
    void disconnectAndWait() const noexcept { connection_.disconnectAndWait(); }
    /// Gives the connection up without ending it.
    Connection release() noexcept { return std::exchange(connection_, Connection()); }

  private:
    Connection connection_;
};

/// Thread-safe. Takes one mutex for the length of a table look-up, never while a listener runs or is
/// destroyed.
class VARNEK_EXPORT EventManager {
  public:
    /// The manager of the process, never destroyed.
    static EventManager& instance();

    EventManager();
    /// Disconnects all; must not run while another thread uses the manager.
    ~EventManager();
    EventManager(const EventManager&) = delete;
    EventManager& operator=(const EventManager&) = delete;

    /// The listener receives every event that is broadcast from now on and has one of the types; an event
    /// that has several of them reaches it once. Throws std::invalid_argument for an empty listener or no
    /// type.
    [[nodiscard]] Connection subscribe(std::vector<std::u16string> eventTypes, Listener listener);
    template <std::convertible_to<std::u16string_view> Text>
    [[nodiscard]] Connection subscribe(const Text& eventType, Listener listener) {
        return subscribe(std::vector<std::u16string>{std::u16string(std::u16string_view(eventType))},
                         std::move(listener));
    }

    /// As subscribe(), for somebody who only looks on: no event is made for him, so that hasListeners() does
    /// not count him, and he hears what is broadcast while others listen.
    [[nodiscard]] Connection observe(std::vector<std::u16string> eventTypes, Listener listener);

    /// False when a broadcast would reach nobody whatever the event. Does not lock.
    bool hasListeners() const noexcept;

    /// Calls the listeners of the event's types and of the qualified names of its class and base classes, in
    /// the order in which they subscribed. A listener that is disconnected meanwhile is left out, one that
    /// subscribes meanwhile is not called. Throws std::invalid_argument for an empty handle.
    void broadcast(const EventHandle& event) const;

  private:
    std::shared_ptr<detail::SubscriptionTable> table_;
};

} // namespace varnek::event
