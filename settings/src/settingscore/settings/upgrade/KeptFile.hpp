/// Personal files as they were before an upgrade, kept beside them: "editor.vksettings.before-R2025a" is
/// "editor.vksettings" as it was before the changes up to R2025a, and "…-2", "…-3" are those that came back
/// in another state and went through them again. Functions are thread-safe and block on the disk.
#pragma once

#include "settingscore/upgrade/VersionLabel.hpp"

#include <filesystem>
#include <vector>

namespace settings::core::detail {

/// The first of them.
std::filesystem::path keptFileOf(const std::filesystem::path& file, const VersionLabel& release);

/// Keeps the present file, unless the newest one that is kept for the release says the same. A failure is
/// logged.
void keepBeforeUpgrade(const std::filesystem::path& file, const VersionLabel& release) noexcept;

struct KeptFile {
    std::filesystem::path path;
    VersionLabel release;
    unsigned number = 1;
};

/// Oldest release first, of each the first one kept; none when the folder cannot be read.
std::vector<KeptFile> keptFilesOf(const std::filesystem::path& file);

} // namespace settings::core::detail
