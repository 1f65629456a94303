/// The file "prefdir.json" of a preferences directory: which release made it, when, and where its files are
/// from.
///
///     {"created": "2025-03-01T09:30:00Z", "createdBy": "R2025a",
///      "filledFrom": {"directory": "...", "files": ["editor.vksettings"], "release": "R2024b", "skipped":
///      []}}
///
/// "filledFrom" is null where no earlier release had a directory. Readers leave unknown members aside.
#pragma once

#include "settingscore/prefdir/PreferencesDirectoryReport.hpp"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace settings::core::detail {

inline constexpr std::string_view fillRecordFile = "prefdir.json";
inline constexpr std::string_view migrationMarkerFile = "migratePref.txt";

/// Indented JSON with a line break at the end.
std::string writtenRecord(const PreferencesDirectoryFill& fill);

/// Nothing when there is no record or it cannot be understood, which is logged. Blocks on the disk.
std::optional<PreferencesDirectoryFill> readFillRecord(const std::filesystem::path& prefdir);

/// Whether the directory waits for its settings to be upgraded. Blocks on the disk.
bool hasMigrationMarker(const std::filesystem::path& prefdir);

} // namespace settings::core::detail
