/// Hands events to the notification hook.
#pragma once

#include "settingscore/events/EventNotifyFunction.hpp"

#include <exception>

namespace settings::core::detail {

/// Calls the hook, when one is installed, on this thread. What the hook throws is logged and dropped.
/// Thread-safe; to be called without any lock of the tree.
void notify(const boost::shared_ptr<const SettingsEvent>& event) noexcept;

/// Whether an event would reach a hook. Does not lock.
bool hasEventNotifyFunction() noexcept;

/// Notes in the log that an event did not reach everybody.
void logDropped(const std::exception& failure) noexcept;

} // namespace settings::core::detail
