/// Whether what a tree holds has reached the disk.
#pragma once

#include "settingscore/Export.hpp"

#include <string>
#include <string_view>

namespace settings::core {

class Settings;

struct SaveReport {
    /// Nothing of the product's values on the level waits to be written.
    bool isOnDisk = true;
    std::string file;    ///< UTF-8; empty for levels without files and for trees that save nothing
    std::string outcome; ///< one word: "saved", "unchanged", "failed", "notWritable", ...
    std::string message; ///< of a failure
};

/// How the last save of the file ended that keeps the level's values of this node's product.
/// UnSupportedLevel; ConnectionToSettingsTreeCannotBeCheckedRemotely for a node of another process.
/// Thread-safe, does not block.
SETTINGSCORE_EXPORT SaveReport lastSave(const Settings& node, std::string_view level);

/// The same once everything has been tried that was changed there before the call: blocks on the disk, and
/// lets the writer begin at once. From a save hook, and from a listener that the writer's thread calls, it
/// does not wait. The errors of lastSave. Thread-safe.
SETTINGSCORE_EXPORT SaveReport awaitSave(const Settings& node, std::string_view level);

} // namespace settings::core
