/// When the preferences directory and the settings tree can be used: for components that have to pause while
/// the host moves the directory.
///
/// A callback is called every time that its subject becomes ready: at the start, and after every change of
/// the preferences directory, a failed one included, so that whoever has paused goes on. Registering never
/// calls it. Callbacks are called one after the other, in the order in which they were registered, on the
/// thread that starts the library or changes the directory; what they throw is logged. Others wait meanwhile,
/// but for a thread that starts the library while another one calls callbacks: it goes on, and that one calls
/// those of the start afterwards. Callbacks may use settings, and wait for a thread that asks for the tree.
/// The functions of this header and updatePrefdir() must not be called from one: std::logic_error. Toolboxes
/// may use those of this header in the code that says or makes their definitions, even when a callback is
/// what needs them: there they wait only while the directory changes.
///
/// Thread-safe.
#pragma once

#include "settingscore/Export.hpp"

#include <functional>

namespace settings::core::detail {

using ReadinessCallback = std::function<void()>;

/// Registers a callback for good, and returns whether the directory is ready now. std::invalid_argument for
/// an empty callback. Waits while callbacks run and while the directory changes.
SETTINGSCORE_EXPORT bool isPrefdirReady(ReadinessCallback callback);
/// The same for the tree of the application, whose personal values have been read.
SETTINGSCORE_EXPORT bool isSettingsTreeReady(ReadinessCallback callback);
SETTINGSCORE_EXPORT bool isSettingsTreeReady();

/// Returns when no change of the preferences directory is under way.
SETTINGSCORE_EXPORT void waitForUpdatePrefdir();

} // namespace settings::core::detail
