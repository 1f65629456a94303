/// The process-wide hook that sees every event of every settings tree.
#pragma once

#include "settingscore/Export.hpp"

#include <boost/shared_ptr.hpp>

#include <functional>

namespace settings::core {

class SettingsEvent;

namespace detail {

using EventNotifyFunction = std::function<void(boost::shared_ptr<const SettingsEvent>)>;

/// Installs the hook in place of the one before; an empty one takes it away. Thread-safe.
///
/// The hook runs on the thread that made the change, after the change is in place, with no lock of this
/// library held; changes on different threads call it at the same time, and listeners may have been called by
/// another thread already. What it throws is logged and dropped; it must not end its thread. A call that
/// began before the hook was replaced may end after it.
SETTINGSCORE_EXPORT void setEventNotifyFunction(EventNotifyFunction notify);

} // namespace detail
} // namespace settings::core
