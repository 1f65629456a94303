#include "files/LinkTarget.hpp"

#include "varnek/files/FileError.hpp"

#include <array>
#include <climits>
#include <fcntl.h>
#include <sys/stat.h>

namespace varnek::files::detail {
namespace {

constexpr int maxLinks = 8;

bool isSameFolder(int folder, const std::filesystem::path& other) {
    const Descriptor opened = openAt(folder, other.c_str(), O_PATH | O_DIRECTORY);
    struct stat a, b;
    return opened && ::fstat(folder, &a) == 0 && ::fstat(opened.get(), &b) == 0 && a.st_dev == b.st_dev &&
           a.st_ino == b.st_ino;
}

} // namespace

std::filesystem::path folderOf(const std::filesystem::path& path) {
    return path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
}

std::string entryBehindLinks(int folder, std::string name, const std::filesystem::path& path) {
    for (int followed = 0; followed <= maxLinks; ++followed) {
        std::array<char, PATH_MAX> text;
        const ssize_t length = ::readlinkat(folder, name.c_str(), text.data(), text.size());
        if (length < 0) // no link, or no such entry: opening it will tell
            return name;
        const std::filesystem::path link(std::string(text.data(), static_cast<std::size_t>(length)));
        if (link.has_parent_path() && !isSameFolder(folder, link.parent_path()))
            break;
        name = link.filename().native();
        if (!isPlainName(name))
            break;
    }
    throw FileError(FileErrorKind::linkLeavesFolder, "follow link", path, 0,
                    "it does not end in its own folder");
}

} // namespace varnek::files::detail
