#include "TargetFile.hpp"

#include "Commands.hpp"

#include "settingscore/exception/FileFailures.hpp"
#include "varnek/files/FileReplacement.hpp"
#include "varnek/files/PathText.hpp"

#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace vksettings {

std::filesystem::path absolutePath(const std::string& file) {
    if (file.empty())
        throw WrongUsage("the name of a file must not be empty");
    const auto path = std::filesystem::absolute(file).lexically_normal();
    return path.has_filename() ? path : path.parent_path();
}

std::filesystem::path targetPath(const std::string& file) {
    auto target = absolutePath(file);
    const std::string folder = target.parent_path().string();
    if (::access(folder.c_str(), W_OK | X_OK) != 0)
        throw std::system_error(errno, std::generic_category(), "the folder " + folder);
    varnek::files::removeStaleTemporaryDirectories(target.parent_path());
    return target;
}

std::filesystem::path factoryFilePath(const std::string& file) {
    auto path = absolutePath(file);
    char first = 0;
    if (std::ifstream(path) >> first && first == '{')
        throw settings::core::exception::ErrorReadingSettingsData(
            settings::core::exception::ErrorReadingSettingsData::ErrorCode::open,
            varnek::files::utf16FromPath(path) +
                u" is no factory file; \"factory build\" makes one of a definition document");
    return path;
}

} // namespace vksettings
