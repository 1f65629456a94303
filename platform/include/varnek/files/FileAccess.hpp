/// Reading and removing single files. Functions are thread-safe and block on the disk. Errors: FileError.
#pragma once

#include "varnek/Export.hpp"

#include <cstdint>
#include <filesystem>
#include <string>

namespace varnek::files {

/// The bytes of a regular file of at most `maxBytes`. A symbolic link is followed only within its own folder;
/// a pipe or a device is refused without waiting for it. Throws notFound, permission, notRegularFile,
/// linkLeavesFolder, tooLarge, openFailed, readFailed.
VARNEK_EXPORT std::string readFile(const std::filesystem::path& path, std::uint64_t maxBytes);

/// Whether a removal waits until it is permanent, or leaves that to a later flushFolder.
enum class FolderFlush : bool { later = false, now = true };

/// Removes a file (a symbolic link itself, not what it names). Returns false when there is none. Throws
/// permission, notRegularFile (it is a folder), removeFailed, folderFlushFailed.
VARNEK_EXPORT bool removeFile(const std::filesystem::path& path, FolderFlush flush = FolderFlush::now);

} // namespace varnek::files
