#include "files/TemporaryDirectory.hpp"

#include "varnek/files/FileError.hpp"
#include "varnek/files/FileReplacement.hpp"

#include <chrono>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <vector>

namespace varnek::files {
namespace detail {
namespace {

constexpr std::string_view nameRandom = "XXXXXX"; // as mkdtemp wants it
constexpr int directoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;

bool isTemporaryName(std::string_view name) {
    for (const std::string_view prefix : {replacementPrefix, newFolderPrefix})
        if (name.size() == prefix.size() + nameRandom.size() && name.starts_with(prefix))
            return true;
    return false;
}

/// Takes the lock without waiting; it goes with the descriptor.
bool tryLock(const Descriptor& directory) noexcept {
    return uninterrupted([&] { return ::flock(directory.get(), LOCK_EX | LOCK_NB); }) == 0;
}

/// By descriptor: nothing outside is reached when the name is exchanged for a link meanwhile.
void removeFilesOf(const Descriptor& directory) noexcept {
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(
        ::fdopendir(::fcntl(directory.get(), F_DUPFD_CLOEXEC, 0)), &::closedir);
    while (const dirent* entry = listing ? ::readdir(listing.get()) : nullptr)
        ::unlinkat(directory.get(), entry->d_name, 0); // refuses "." and ".."
}

/// Whether the entry is still the opened directory: it may have taken its final name, and given its lock
/// back.
bool isStillNamed(int folder, const char* name, const struct stat& opened) noexcept {
    struct stat status;
    return ::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && status.st_dev == opened.st_dev &&
           status.st_ino == opened.st_ino;
}

bool removeStale(int folder, const char* name) {
    const Descriptor directory = openAt(folder, name, directoryFlags);
    struct stat status;
    if (!directory || ::fstat(directory.get(), &status) != 0 || status.st_uid != ::geteuid() ||
        !tryLock(directory) || !isStillNamed(folder, name, status))
        return false;
    removeFilesOf(directory);
    return ::unlinkat(folder, name, AT_REMOVEDIR) == 0;
}

} // namespace

void throwCannotCreate(const std::filesystem::path& folder, int error) {
    const bool denied = error == EACCES || error == EPERM || error == EROFS;
    throw FileError(denied ? FileErrorKind::directoryNotWritable
                           : FileErrorKind::cannotCreateTemporaryDirectory,
                    "create temporary directory in", folder, error);
}

TemporaryDirectory::TemporaryDirectory(const std::filesystem::path& root, std::string_view prefix) {
    // A clean-up by another process may take a directory away before it is locked, on a busy machine a
    // hundred times.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    std::string name = (root / prefix).native();
    name.append(nameRandom);
    do {
        name.replace(name.size() - nameRandom.size(), nameRandom.size(), nameRandom);
        if (!::mkdtemp(name.data()))
            throwCannotCreate(root, errno);
        path_ = name;
        if (lock())
            return;
        const int error = errno;
        remove();
        if (error != ENOENT)
            throwCannotCreate(root, error);
        std::this_thread::yield();
    } while (std::chrono::steady_clock::now() < end);
    throwCannotCreate(root, EBUSY);
}

/// Opens and locks the new directory. False with errno ENOENT when another process has cleaned it up.
bool TemporaryDirectory::lock() {
    directory_ = openAt(AT_FDCWD, path_.c_str(), directoryFlags);
    if (!directory_ && errno == EACCES &&
        ::chmod(path_.c_str(), 0700) == 0) // the umask may deny even the owner
        directory_ = openAt(AT_FDCWD, path_.c_str(), directoryFlags);
    if (!directory_)
        return false;
    if (!tryLock(directory_) && errno == EWOULDBLOCK) {
        errno = ENOENT;
        return false;
    } // a file system without locks: the clean-up then leaves our directories alone
    struct stat status;
    if (::fstat(directory_.get(), &status) != 0)
        return false;
    if (status.st_nlink == 0) {
        errno = ENOENT;
        return false;
    }
    return (status.st_mode & 0777) == 0700 || ::fchmod(directory_.get(), 0700) == 0;
}

void TemporaryDirectory::remove() noexcept {
    if (!path_.empty() && ::rmdir(path_.c_str()) == 0)
        path_.clear();
}

void TemporaryDirectory::removeFiles() noexcept {
    removeFilesOf(directory_);
}

void TemporaryDirectory::handOver() noexcept {
    ::flock(directory_.get(), LOCK_UN); // a child that was forked meanwhile holds the descriptor, too
    directory_.close();
    path_.clear();
}

} // namespace detail

std::size_t removeStaleTemporaryDirectories(const std::filesystem::path& folder) noexcept try {
    const auto opened = detail::openAt(AT_FDCWD, folder.c_str(), O_RDONLY | O_DIRECTORY);
    if (!opened)
        return 0;
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error))
        if (detail::isTemporaryName(entry->path().filename().native()))
            names.push_back(entry->path().filename().native());
    std::size_t removed = 0;
    for (const std::string& name : names)
        removed += detail::removeStale(opened.get(), name.c_str());
    return removed;
} catch (...) {
    return 0; // out of memory: the next start-up tries again
}

} // namespace varnek::files
