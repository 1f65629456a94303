#include "varnek/files/Folder.hpp"

#include "files/Descriptor.hpp"
#include "files/LinkTarget.hpp"
#include "varnek/files/FileError.hpp"

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>

namespace varnek::files {
namespace {

FileErrorKind kindOf(int error, FileErrorKind otherwise) {
    switch (error) {
    case ENOENT:
        return FileErrorKind::notFound;
    case ENOTDIR:
        return FileErrorKind::notFolder;
    case EACCES:
    case EPERM:
    case EROFS:
        return FileErrorKind::permission;
    default:
        return otherwise;
    }
}

/// Makes one folder whose parent exists. Returns the error, 0 also when the folder was there before.
int createFolder(const std::filesystem::path& folder) {
    if (::mkdir(folder.c_str(), 0700) == 0) {
        struct stat status; // a strange umask may have taken our own access away
        if (::lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
            (status.st_mode & 0700) != 0700)
            ::chmod(folder.c_str(), 0700);
        flushFolder(detail::folderOf(folder));
        return 0;
    }
    const int error = errno;
    struct stat status;
    if (error == EEXIST && ::stat(folder.c_str(), &status) == 0)
        return S_ISDIR(status.st_mode) ? 0 : ENOTDIR;
    return error;
}

} // namespace

std::vector<std::filesystem::path> listFiles(const std::filesystem::path& folder,
                                             std::string_view extension) {
    const auto check = [&](const std::error_code& error) {
        if (error)
            throw FileError(kindOf(error.value(), FileErrorKind::readFailed), "list folder", folder,
                            error.value());
    };
    std::error_code error;
    std::filesystem::directory_iterator entry(folder, error);
    check(error);
    std::vector<std::filesystem::path> files;
    for (const std::filesystem::directory_iterator end; entry != end; entry.increment(error), check(error)) {
        std::error_code vanished; // an entry that is gone by now does not count
        if (entry->path().native().ends_with(extension) &&
            entry->symlink_status(vanished).type() == std::filesystem::file_type::regular)
            files.push_back(entry->path());
    }
    std::sort(files.begin(), files.end(),
              [](const auto& a, const auto& b) { return a.native() < b.native(); });
    return files;
}

void createFolders(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> missing{folder.has_filename() ? folder : folder.parent_path()};
    bool isParentThere = false; // and ENOENT all the same: below /proc, or of a folder that was just removed
    while (!missing.empty()) {
        const std::filesystem::path current = missing.back();
        const int error = createFolder(current);
        if (error == 0) {
            missing.pop_back();
            isParentThere = true;
        } else if (error == ENOENT && !isParentThere && missing.size() < 4096 && current.has_parent_path())
            missing.push_back(current.parent_path());
        else
            throw FileError(kindOf(error, FileErrorKind::cannotCreateFolder), "create folder", current,
                            error);
    }
}

bool probeWritable(const std::filesystem::path& folder, std::string_view fileName) {
    if (!detail::isPlainName(fileName))
        return false;
    const std::string name(fileName);
    const auto opened = detail::openAt(AT_FDCWD, folder.c_str(), O_RDONLY | O_DIRECTORY);
    if (!opened)
        return false;
    // Other processes may be asking the same question at the same time, hence the rounds.
    for (int round = 0; round < 3; ++round) {
        if (detail::openAt(opened.get(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600)) {
            ::unlinkat(opened.get(), name.c_str(), 0);
            return true;
        }
        struct stat status;
        if (errno != EEXIST)
            return false;
        if (::fstatat(opened.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            (!S_ISREG(status.st_mode) || status.st_size != 0 || status.st_uid != ::geteuid()))
            break;
        ::unlinkat(opened.get(), name.c_str(), 0);
    }
    return ::faccessat(opened.get(), ".", W_OK | X_OK, AT_EACCESS) == 0;
}

void flushFolder(const std::filesystem::path& folder) {
    const auto opened = detail::openAt(AT_FDCWD, folder.c_str(), O_RDONLY | O_DIRECTORY);
    const int error = opened ? detail::flush(opened.get()) : errno;
    if (error != 0)
        throw FileError(opened ? FileErrorKind::folderFlushFailed
                               : kindOf(error, FileErrorKind::folderFlushFailed),
                        "flush folder", folder, error);
}

} // namespace varnek::files
