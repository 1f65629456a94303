#include "varnek/files/SessionFolder.hpp"

#include "files/TemporaryDirectory.hpp"
#include "varnek/files/FileError.hpp"

#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <vector>

namespace varnek::files {
namespace {

constexpr std::string_view lockSuffix = "_lock";
constexpr std::string_view nameRandom = "XXXXXX"; // as mkdtemp wants it
constexpr int lockFlags = O_RDWR | O_NOFOLLOW | O_NONBLOCK;

std::filesystem::path lockOf(const std::filesystem::path& folder) {
    return std::filesystem::path(folder).concat(lockSuffix);
}

/// Takes the lock of a file that still has its name. It goes with the descriptor.
bool tryLock(const detail::Descriptor& file, const std::filesystem::path& path) noexcept {
    struct stat opened, named;
    return detail::uninterrupted([&] { return ::flock(file.get(), LOCK_EX | LOCK_NB); }) == 0 &&
           ::fstat(file.get(), &opened) == 0 && ::lstat(path.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino && S_ISREG(named.st_mode) &&
           named.st_uid == ::geteuid();
}

/// To be called by whoever has the lock.
void removeIfEmpty(const std::filesystem::path& folder) noexcept {
    if (::rmdir(folder.c_str()) == 0 || errno == ENOENT)
        ::unlink(lockOf(folder).c_str());
}

void removeLeftovers(const std::filesystem::path& parent, std::string_view namePart) {
    std::vector<std::filesystem::path> folders;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(parent, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().native();
        if (name.size() == namePart.size() + nameRandom.size() + lockSuffix.size() &&
            name.starts_with(namePart) && name.ends_with(lockSuffix))
            folders.push_back(parent / name.substr(0, name.size() - lockSuffix.size()));
    }
    for (const auto& folder : folders) {
        const auto lock = detail::openAt(AT_FDCWD, lockOf(folder).c_str(), lockFlags);
        if (lock && tryLock(lock, lockOf(folder)))
            removeIfEmpty(folder);
    }
}

} // namespace

struct SessionFolder::State {
    State(const std::filesystem::path& parent, std::string_view namePart) {
        // Others who clean up may take an empty folder away before it is locked.
        constexpr int attempts = 100;
        for (int attempt = 0; attempt < attempts; ++attempt)
            if (make(parent, namePart))
                return;
        detail::throwCannotCreate(parent, EBUSY);
    }

    bool make(const std::filesystem::path& parent, std::string_view namePart) {
        std::string name = (parent / namePart).concat(nameRandom).native();
        if (::mkdtemp(name.data()) == nullptr)
            detail::throwCannotCreate(parent, errno);
        path = name;
        lockPath = lockOf(path);
        ::chmod(path.c_str(), 0700); // a strange umask may have taken our own access away
        lock = detail::openAt(AT_FDCWD, lockPath.c_str(), lockFlags | O_CREAT | O_EXCL, 0600);
        if (!lock) {
            const int error = errno;
            ::rmdir(path.c_str());
            detail::throwCannotCreate(parent, error);
        }
        ::fchmod(lock.get(), 0600);
        if (tryLock(lock, lockPath) && std::filesystem::is_directory(path))
            return true;
        ::rmdir(path.c_str());
        ::unlink(lockPath.c_str());
        return false;
    }

    std::filesystem::path path, lockPath;
    detail::Descriptor lock;
};

SessionFolder::SessionFolder(const std::filesystem::path& parent, std::string_view namePart) {
    removeLeftovers(parent, namePart);
    state_ = std::make_unique<State>(parent, namePart);
}

SessionFolder::~SessionFolder() {
    removeIfEmpty(state_->path);
}

const std::filesystem::path& SessionFolder::path() const noexcept {
    return state_->path;
}
const std::filesystem::path& SessionFolder::lockFile() const noexcept {
    return state_->lockPath;
}

} // namespace varnek::files
