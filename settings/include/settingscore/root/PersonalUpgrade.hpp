/// Upgrades of personal files, from outside: what one would do, what they did, and the way back. For tools.
///
/// The files are those of the process's level "user", the definitions those of its factory folder; no
/// settings tree is built. Functions are thread-safe and block on the disk.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/upgrade/ReleaseCompatibilityResults.hpp"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace settings::core {

/// What loading the personal file of a group would change in it.
struct UpgradePreview {
    std::filesystem::path file;
    bool isThere = false;            ///< false: there is nothing to upgrade
    std::uint64_t upgraderIndex = 0; ///< of the file: upgraders that it has been through
    std::uint64_t changeIndex = 0;   ///< and changes of the next one
    std::uint64_t upgraderCount = 0; ///< that the factory file declares
    ReleaseCompatibilityResults results;
};

/// Runs the changes on what the personal file of a top-level group holds, and writes nothing.
/// Errors: exception::InvalidNodePath for a group that is not listed; those of readFactoryFileLocations;
/// PackageCannotBeOpened and ErrorReadingSettingsData for a file that cannot be read.
SETTINGSCORE_EXPORT UpgradePreview previewUpgrade(const std::string& group);

struct LoggedResults {
    std::string group;
    ReleaseCompatibilityResults results;
};

/// The results log of the folder, in order of kinds and groups, oldest first; `group` empty: of all.
/// varnek::files::FileError when a log is there and cannot be read.
SETTINGSCORE_EXPORT std::vector<LoggedResults> loggedUpgrades(const std::string& group);

/// Copies the personal file of a group, as it was before its last upgrade, into `folder` under its own name,
/// for the older release. Returns the copy.
/// Errors: exception::FileDoesNotExist when nothing was kept; SettingsFileNotWritten, also when a file of
/// that name is there already.
SETTINGSCORE_EXPORT std::filesystem::path copyFileBeforeUpgrade(const std::string& group,
                                                                const std::filesystem::path& folder);

} // namespace settings::core
