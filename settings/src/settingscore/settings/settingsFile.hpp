/// The save procedure: how one settings file gets from memory to the disk.
#pragma once

#include "settingscore/settings/file/FileOutcome.hpp"
#include "settingscore/settings/file/SettingsFileAccess.hpp"

namespace settings::core::detail {

/// Saves `access`: the switch for saving first, then the access's own check, then either the process's save
/// hook (files of the preferences directory, unless "SETTINGS_USERDIR" redirects them) or a temporary file
/// and a rename. The real file is replaced by a complete one only, and flushed to the disk.
///
/// Blocks on the disk and on other saves; takes the save-hook lock (SaveHook.hpp) and calls the hook under
/// it. Errors: what the check raises; CanNotCreateTempDirectory, NoWritePermissionOnDirectory;
/// ErrorWriteToTempSettingsFile while the temporary file is written, SettingsFileNotWritten afterwards and
/// for whatever the hook raises. The file is as it was.
SaveOutcome saveSettingsFile(SettingsFileAccess& access);

} // namespace settings::core::detail
