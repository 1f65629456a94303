/// The renames table as the application lists it beside its factory files.
#pragma once

#include "settingscore/upgrade/SettingsRenames.hpp"

#include <filesystem>
#include <optional>
#include <vector>

namespace settings::core::detail {

/// "settingsRenames.json" beside the location file.
std::filesystem::path renamesFileOf(const std::filesystem::path& factoryFolder);

/// The rows in their order; nothing when there is no such file. Errors: varnek::files::FileError;
/// varnek::json::ParseError; std::runtime_error for anything but an array of objects with the texts "OldName"
/// and "NewName". Thread-safe, blocks on the disk.
std::optional<std::vector<SettingsRename>> readSettingsRenames(const std::filesystem::path& factoryFolder);

} // namespace settings::core::detail
