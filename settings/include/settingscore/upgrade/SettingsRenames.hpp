/// Settings and groups whose names changed between releases. The rows are data of the application: it gives
/// them in code, or lists them in "settingsRenames.json" beside the location file of its factory files.
#pragma once

#include "settingscore/Export.hpp"

#include <string>
#include <vector>

namespace settings::core {

/// Full names, UTF-8.
struct SettingsRename {
    std::string oldName;
    std::string newName;

    bool operator==(const SettingsRename&) const = default;
};

/// The table of this process; empty until somebody supplies one. Thread-safe.
SETTINGSCORE_EXPORT std::vector<SettingsRename> settingsRenames();
/// Replaces the table; so does a file that is found when a settings tree is built. Rows with an empty name
/// are left out. Thread-safe.
SETTINGSCORE_EXPORT void setSettingsRenames(std::vector<SettingsRename> rows);

} // namespace settings::core
