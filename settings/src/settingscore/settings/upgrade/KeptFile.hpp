/// Personal files as they were before an upgrade, kept beside them: "editor.vksettings.before-R2025a" is
/// "editor.vksettings" as it was before the changes up to R2025a. Functions are thread-safe and block on the
/// disk.
#pragma once

#include "settingscore/upgrade/VersionLabel.hpp"

#include <filesystem>
#include <vector>

namespace settings::core::detail {

std::filesystem::path keptFileOf(const std::filesystem::path& file, const VersionLabel& release);

/// Keeps the present file under the other name, unless something is kept there already. A failure is logged.
void keepBeforeUpgrade(const std::filesystem::path& file, const std::filesystem::path& kept) noexcept;

struct KeptFile {
    std::filesystem::path path;
    VersionLabel release;
};

/// Oldest release first; none when the folder cannot be read.
std::vector<KeptFile> keptFilesOf(const std::filesystem::path& file);

} // namespace settings::core::detail
