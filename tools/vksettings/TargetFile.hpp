/// The files that people name on the command line.
#pragma once

#include <filesystem>
#include <string>

namespace vksettings {

/// std::invalid_argument for an empty name.
std::filesystem::path absolutePath(const std::string& file);

/// The same for a file that is going to be written: its folder is cleared of what an interrupted command left
/// there. std::system_error for a folder that is not there or cannot be written.
std::filesystem::path targetPath(const std::string& file);

/// The same for a factory file that is to be read. ErrorReadingSettingsData for a definition document, which
/// stands beside it and is easily taken for it.
std::filesystem::path factoryFilePath(const std::string& file);

} // namespace vksettings
