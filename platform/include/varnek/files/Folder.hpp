/// Folders: listing, creating, flushing, and the question whether one can be written. Functions are
/// thread-safe and block on the disk. Errors: FileError.
#pragma once

#include "varnek/Export.hpp"

#include <filesystem>
#include <string_view>
#include <vector>

namespace varnek::files {

/// Paths of the regular files in `folder` whose name ends with `extension` (".vksettings"; empty = all),
/// sorted by the bytes of their names. Links, folders and devices do not count. Throws notFound, notFolder,
/// permission, readFailed.
VARNEK_EXPORT std::vector<std::filesystem::path> listFiles(const std::filesystem::path& folder,
                                                           std::string_view extension);

/// Creates a folder and what is missing above it, each with mode 0700 whatever the umask, durably. Existing
/// folders keep their mode. Throws notFolder, permission, cannotCreateFolder, folderFlushFailed.
VARNEK_EXPORT void createFolders(const std::filesystem::path& folder);

/// Tells whether files can be created in `folder` by creating the empty file `fileName` there and removing it
/// again. An empty file of that name that a crash left is removed; any other is left alone, and the
/// permissions decide. `fileName` is a plain name. Does not throw FileError: every failure is a no.
VARNEK_EXPORT bool probeWritable(const std::filesystem::path& folder, std::string_view fileName);

/// Makes created, renamed and removed entries of `folder` permanent. Throws notFound, permission,
/// folderFlushFailed; file systems that cannot flush folders count as done.
VARNEK_EXPORT void flushFolder(const std::filesystem::path& folder);

} // namespace varnek::files
