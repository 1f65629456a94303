/// When changed values reach the disk.
///
/// One thread of this library, "PrefdirWriter", writes the settings files; it starts with the first change.
/// Changes of one group that follow each other closely go with one write. When the process ends by exit() or
/// by returning from main, what is still to be written is written first, also when a listener calls exit() on
/// that thread.
///
/// The switch stops all saving in this process; it is on at first. Turning it off waits for what was changed
/// before. While it is off, values change in memory only; files stay as they are and are not deleted either.
/// What was not saved stays marked, and is saved together with the next change after saving has been turned
/// on again.
///
/// A fork() waits for the saves that are being made. The child has no writer: there the threads that change
/// values write. A fork() while another thread is inside this library is not supported: the child inherits
/// the locks of that thread, and nobody to release them. It may call exec() only.
///
/// All functions are thread-safe. How a save ended: SaveReport.hpp.
#pragma once

#include "settingscore/Export.hpp"

namespace settings::core {

SETTINGSCORE_EXPORT void turnOnSettingsSaving() noexcept;
SETTINGSCORE_EXPORT void turnOffSettingsSaving() noexcept;
SETTINGSCORE_EXPORT bool isSettingsSavingTurnedOn() noexcept;

/// Waits until everything that was changed before the call has been written, or could not be. From a save
/// hook, and from a listener that the writer's thread calls, it returns at once.
SETTINGSCORE_EXPORT void waitForSettingsSaves();

/// The same, and the thread ends; changes made later are written by the threads that make them. For hosts
/// that end in another way than by exit(). From a save hook, or a listener on that thread, it does not wait.
/// Hooks, listeners and log sinks may be called until then, at exit by a function that was registered with
/// atexit() at the first change.
SETTINGSCORE_EXPORT void endSettingsWriter();

} // namespace settings::core
