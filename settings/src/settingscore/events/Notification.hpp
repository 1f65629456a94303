/// Hands events to the notification hook.
#pragma once

#include "settingscore/events/EventNotifyFunction.hpp"

#include <concepts>
#include <functional>

namespace settings::core::detail {

/// Calls the hook, when one is installed, on this thread. What the hook throws is logged and dropped.
/// Thread-safe; to be called without any lock of the tree.
void notify(const boost::shared_ptr<const SettingsEvent>& event);

/// Whether an event would reach anybody. Does not lock.
bool hasEventNotifyFunction() noexcept;

/// The same for an event that is made only when it would reach somebody. What `make` throws passes through.
template <std::invocable Make>
void notify(const Make& make) {
    if (hasEventNotifyFunction())
        notify(boost::shared_ptr<const SettingsEvent>(make()));
}

} // namespace settings::core::detail
