/// Finds the preferences directory, and makes it when it is not there.
#pragma once

#include "settingscore/prefdir/PreferencesDirectoryReport.hpp"
#include "varnek/files/SessionFolder.hpp"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace settings::core::detail {

/// What others have said before the directory is found; empty: nothing.
struct PrefdirWishes {
    std::u16string blessed;
    std::u16string previousDirectory; // of the self-checks
};

struct ResolvedPrefdir {
    std::filesystem::path directory;
    PreferencesDirectoryOrigin origin = PreferencesDirectoryOrigin::standard;
    std::vector<InvalidPrefdir> findings;
    TempMessage tempMessage;
    std::shared_ptr<varnek::files::SessionFolder> temporary; // to be kept as long as it is in use
};

/// Reads the environment; blocks on the disk. Errors: see PreferencesDirectory.hpp. Thread-safe; several at
/// the same time agree on one directory.
ResolvedPrefdir resolvePreferencesDirectory(const PrefdirWishes& wishes);

/// The checks of a directory that is there, each finding logged: whether it can be written, whether it can be
/// read.
std::vector<InvalidPrefdir> checkPreferencesDirectory(const std::filesystem::path& directory);

/// Makes a directory usable to which the process is to move: one that is there is checked, one that is not is
/// made and stamped. False, with a log line: it cannot be made. Errors: that of the stamp.
bool makeUsable(const std::filesystem::path& directory);

bool isWritableDirectory(const std::filesystem::path& directory);
bool isReadableDirectory(const std::filesystem::path& directory);

} // namespace settings::core::detail
