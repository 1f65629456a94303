#include "TargetFile.hpp"

#include "varnek/files/FileReplacement.hpp"

#include <stdexcept>

namespace vksettings {

std::filesystem::path absolutePath(const std::string& file) {
    if (file.empty())
        throw std::invalid_argument("the name of a file must not be empty");
    return std::filesystem::absolute(file).lexically_normal();
}

std::filesystem::path targetPath(const std::string& file) {
    auto target = absolutePath(file);
    varnek::files::removeStaleTemporaryDirectories(target.parent_path());
    return target;
}

} // namespace vksettings
