/// What a new preferences directory is given before anybody sees it: its creation time, the settings files of
/// an earlier release, the marker that they are to be upgraded.
///
/// Functions are thread-safe and block on the disk.
#pragma once

#include "settingscore/prefdir/PreferencesDirectoryReport.hpp"
#include "varnek/files/NewFolder.hpp"
#include "varnek/release/Release.hpp"

#include <filesystem>
#include <optional>

namespace settings::core::detail {

struct FillSource {
    varnek::release::ReleaseLabel release;
    std::filesystem::path directory;
};

/// The folder of the release before: `previous`, or where that is empty the one beside `directory`. When it
/// does not exist, the standard directories of the releases before that, back to R2019a, unless
/// DISABLE_PREFCOPY3RELEASES is set (and not empty) or the user has no home folder. One that is there counts,
/// also when it is empty. Throws EarlierReleaseNotReadable where that cannot be told.
std::optional<FillSource> findFillSource(const std::filesystem::path& directory,
                                         const std::filesystem::path& previous);

/// Stamps, fills and marks `folder`, which is to become `directory`, in this order. Errors: see
/// PreferencesDirectory.hpp; a marker or record that cannot be made is a warning only.
void fillNewDirectory(varnek::files::NewFolder& folder, const std::filesystem::path& directory,
                      const std::filesystem::path& previous);

/// Stamps `folder`, which is to become `directory` while the process runs: nothing is copied into it. Errors
/// as above.
void stampNewDirectory(varnek::files::NewFolder& folder, const std::filesystem::path& directory);

/// Copies the settings files ("*.vksettings") of `source`. Links are followed within their folder; those that
/// lead out of it, and what is no file, are left out.
PreferencesDirectoryFill::Source copySettingsFiles(const FillSource& source, varnek::files::NewFolder& folder,
                                                   const std::filesystem::path& directory);

} // namespace settings::core::detail
