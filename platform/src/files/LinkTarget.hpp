// The entry that a path stands for, when symbolic links are followed only within their own folder.
#pragma once

#include "files/Descriptor.hpp"

#include <filesystem>
#include <string>

namespace varnek::files::detail {

/// The folder part of a path, "." when it has none.
std::filesystem::path folderOf(const std::filesystem::path& path);

/// The name of the entry in the opened folder `folder` that `name` leads to. It need not exist. Throws
/// FileError (linkLeavesFolder) about `path` when a link ends elsewhere, or nowhere.
std::string entryBehindLinks(int folder, std::string name, const std::filesystem::path& path);

} // namespace varnek::files::detail
