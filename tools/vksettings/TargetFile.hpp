/// The files that people name on the command line.
#pragma once

#include <filesystem>
#include <string>

namespace vksettings {

/// std::invalid_argument for an empty name.
std::filesystem::path absolutePath(const std::string& file);

/// The same for a file that is going to be written: its folder is cleared of what an interrupted command left
/// there.
std::filesystem::path targetPath(const std::string& file);

} // namespace vksettings
