/// The process's save hook: what writes the files of the preferences directory.
///
/// One recursive lock guards the hook and the renaming of temporary files, so that no two saves replace files
/// at the same time. It is the one lock that is held during file-system work and while foreign code runs: a
/// hook may save again from inside a save, but must not wait for another thread that saves.
#pragma once

#include "settingscore/settings/file/SettingsFileAccess.hpp"

#include <filesystem>
#include <functional>

namespace settings::core::detail {

/// Called with the file that is to be saved and its path; what it raises is the cause of the failure of the
/// save.
using SaveHook = std::function<void(SettingsFileAccess& access, const std::filesystem::path& path)>;

/// Replaces the hook and returns the one before. An empty hook restores the default, which asks the access to
/// write itself. Waits while another thread saves. Thread-safe.
SaveHook setSaveHook(SaveHook hook);

/// Runs the hook under the lock.
void callSaveHook(SettingsFileAccess& access);

/// Runs `work` under the lock.
void whileNoOtherSaveReplacesFiles(const std::function<void()>& work);

/// Whether this thread is under the lock.
bool isReplacingFiles() noexcept;

/// Whether the files of the preferences directory go through the hook: "SETTINGS_USERDIR" was empty or unset
/// when this was asked for the first time in the process. Thread-safe.
bool savesGoThroughHook();

/// Whether they are written by the default hook, so that the writer may arrange the waiting for the disk.
bool defaultHookWrites();

/// Forgets the answer, for tests.
void forgetSaveRoute();

} // namespace settings::core::detail
