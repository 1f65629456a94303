/// The rules by which preferences directories have their places. Nothing here keeps state.
#pragma once

#include "varnek/release/Release.hpp"

#include <filesystem>
#include <string>
#include <string_view>

namespace settings::core::detail {

inline constexpr std::string_view prefdirVariable = "VARNEK_PREFDIR";
inline constexpr std::string_view stopsAtPreviousVariable = "DISABLE_PREFCOPY3RELEASES";
/// Personal files that a crash has kept from being replaced; whoever uses the directory does it.
inline constexpr std::string_view pendingUpgradeFile = "upgrade.pending";

varnek::release::ReleaseLabel currentRelease();
varnek::release::ReleaseLabel previousRelease();
/// The last one that a new directory is filled from: R2019a.
varnek::release::ReleaseLabel oldestRelease();

/// "Quillfern/VARNEK/<release>".
std::filesystem::path standardSuffix(const varnek::release::ReleaseLabel& release);
/// Throws varnek::host::HostError.
std::filesystem::path standardDirectory(const varnek::release::ReleaseLabel& release);
/// Beside `directory`.
std::filesystem::path previousDirectory(const std::filesystem::path& directory);

/// A directory as somebody gave it, without separators at its end and without ".". ".." behind other names
/// stays, because a link may lead elsewhere than the text says; at the end, where a directory needs a name,
/// it is resolved, for which alone the disk is asked. Throws RelativePreferencePathNotSupported, and
/// varnek::files::FileError for a text that is no path.
std::filesystem::path absoluteDirectory(const std::u16string& given);

} // namespace settings::core::detail
