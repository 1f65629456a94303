#include "spf/EndpointFolder.hpp"

#include "varnek/files/FileError.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <set>

namespace varnek::spf {
namespace {

using files::FileError;
using files::FileErrorKind;

constexpr std::string_view socketEnding = ".socket";
constexpr std::string_view newEnding = ".new"; // a socket that does not listen yet
constexpr std::string_view lockEnding = ".lock";
constexpr int backlog = 128;

/// Repeats a call while it is interrupted.
template <class Call>
int uninterrupted(Call call) noexcept {
    int result = 0;
    do
        result = call();
    while (result == -1 && errno == EINTR);
    return result;
}

Descriptor openAt(int folder, const char* path, int flags) noexcept {
    return Descriptor(uninterrupted([&] { return ::openat(folder, path, flags | O_CLOEXEC, 0600); }));
}

std::string with(const std::string& name, std::string_view ending) {
    return name + std::string(ending);
}

[[noreturn]] void fail(const char* operation, const std::filesystem::path& path, FileErrorKind kind,
                       int error) {
    throw FileError(kind, operation, path, error);
}

/// Paths that do not fit are reached through the open folder.
sockaddr_un addressOf(int folder, const std::filesystem::path& path, const std::string& entry) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::string name = (path / entry).native();
    if (name.size() >= sizeof address.sun_path)
        name = "/proc/self/fd/" + std::to_string(folder) + '/' + entry;
    if (name.size() >= sizeof address.sun_path)
        throw FileError(FileErrorKind::invalidName, "connect to", path / entry, ENAMETOOLONG);
    std::memcpy(address.sun_path, name.c_str(), name.size() + 1);
    return address;
}

const sockaddr* plain(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

bool isSame(const struct stat& a, const struct stat& b) noexcept {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

/// Whether the open file still has the name.
bool isNamed(int file, int folder, const char* name) noexcept {
    struct stat opened, named;
    return ::fstat(file, &opened) == 0 && ::fstatat(folder, name, &named, AT_SYMLINK_NOFOLLOW) == 0 &&
           isSame(opened, named);
}

bool tryLock(int file) noexcept {
    return uninterrupted([&] { return ::flock(file, LOCK_EX | LOCK_NB); }) == 0;
}

void removeFiles(int folder, const std::string& name) {
    // The lock goes last: as long as it is there, nobody else takes the name for free.
    for (const std::string_view ending : {socketEnding, newEnding, lockEnding})
        ::unlinkat(folder, with(name, ending).c_str(), 0);
}

/// Whether nothing is there to be removed.
bool isFree(int folder, const std::string& name) {
    struct stat status;
    const auto isThere = [&](std::string_view ending) {
        return ::fstatat(folder, with(name, ending).c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
    };
    return !isThere(socketEnding) && !isThere(newEnding);
}

/// Throws FileError where the folder cannot be read to its end: some of its entries would be none.
template <class Take>
void forEachEntry(int folder, const std::filesystem::path& path, Take take) {
    const int copy = ::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* const entries = copy >= 0 ? ::fdopendir(copy) : nullptr;
    if (entries == nullptr) {
        const int error = errno;
        if (copy >= 0)
            ::close(copy);
        if (error == ENOENT) // it has been removed
            return;
        fail("read folder", path, FileErrorKind::openFailed, error);
    }
    const std::unique_ptr<DIR, int (*)(DIR*)> closing(entries, ::closedir);
    for (;;) {
        errno = 0;
        const dirent* const entry = ::readdir(entries);
        if (entry == nullptr && errno != 0 && errno != ENOENT)
            fail("read folder", path, FileErrorKind::readFailed, errno);
        if (entry == nullptr)
            return;
        take(std::string_view(entry->d_name));
    }
}

std::string withoutEnding(std::string_view entry, std::string_view ending) {
    if (entry.size() <= ending.size() || !entry.ends_with(ending) || entry.starts_with('.'))
        return {};
    return std::string(entry.substr(0, entry.size() - ending.size()));
}

} // namespace

/// Not open when there is no folder.
Descriptor EndpointFolder::open() const {
    Descriptor folder = openAt(AT_FDCWD, folder_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    if (!folder) {
        if (errno == ENOENT)
            return folder;
        const bool isOther = errno == ENOTDIR || errno == ELOOP;
        fail("use folder", folder_, isOther ? FileErrorKind::notFolder : FileErrorKind::openFailed, errno);
    }
    struct stat status;
    if (::fstat(folder.get(), &status) != 0)
        fail("use folder", folder_, FileErrorKind::openFailed, errno);
    if (status.st_uid != ::geteuid())
        throw FileError(FileErrorKind::permission, "use folder", folder_, 0, "it belongs to another user");
    if ((status.st_mode & 0077) != 0)
        throw FileError(FileErrorKind::permission, "use folder", folder_, 0, "it is open to other users");
    return folder;
}

std::vector<std::string> EndpointFolder::names() const {
    std::vector<std::string> names;
    if (const Descriptor folder = open())
        forEachEntry(folder.get(), folder_, [&](std::string_view entry) {
            if (std::string name = withoutEnding(entry, socketEnding); !name.empty())
                names.push_back(std::move(name));
        });
    return names;
}

bool EndpointFolder::has(const std::string& name) const noexcept {
    struct stat status;
    try {
        return ::lstat((folder_ / with(name, socketEnding)).c_str(), &status) == 0;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

int EndpointFolder::connect(int socket, const std::string& name) const {
    const Descriptor folder = open();
    if (!folder)
        return ENOENT;
    const sockaddr_un address = addressOf(folder.get(), folder_, with(name, socketEnding));
    const int result = uninterrupted([&] { return ::connect(socket, plain(address), sizeof address); });
    return result == 0 || errno == EISCONN ? 0 : errno;
}

bool EndpointFolder::removeStale(const std::string& name) const {
    const Descriptor folder = open();
    if (!folder)
        return true;
    const std::string lockName = with(name, lockEnding);
    const char* const lockEntry = lockName.c_str();
    Descriptor lock = openAt(folder.get(), lockEntry, O_RDWR | O_NOFOLLOW | O_NONBLOCK);
    if (!lock && errno != ENOENT)
        return false;
    if (!lock && isFree(folder.get(), name))
        return true;
    if (!lock) // nobody owns the name, or is to while its files are removed
        lock = openAt(folder.get(), lockEntry, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW);
    if (!lock || !tryLock(lock.get()) || !isNamed(lock.get(), folder.get(), lockEntry))
        return false;
    removeFiles(folder.get(), name);
    return true;
}

void EndpointFolder::removeStale() const {
    std::set<std::string> names;
    if (const Descriptor folder = open())
        forEachEntry(folder.get(), folder_, [&](std::string_view entry) {
            if (std::string name = withoutEnding(entry, lockEnding); !name.empty())
                names.insert(std::move(name));
        });
    for (const std::string& name : names)
        removeStale(name);
}

std::unique_ptr<Endpoint> EndpointFolder::create(const std::string& name) const {
    if (::mkdir(folder_.c_str(), 0700) == 0)
        ::chmod(folder_.c_str(), 0700); // a strange umask may have taken our own access away
    const Descriptor folder = open();
    if (!folder)
        fail("create folder", folder_, FileErrorKind::cannotCreateFolder, ENOENT);
    std::unique_ptr<Endpoint> endpoint(new Endpoint(folder_, name));
    endpoint->lock();
    endpoint->listen(folder.get(), name);
    return endpoint;
}

void Endpoint::lock() {
    // Somebody who cleans up may take a new file for a stale one before it is locked.
    constexpr int attempts = 100;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        lock_ = GuardedDescriptor::open([this] {
            return ::open(lockFile_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        });
        if (!lock_ && errno != EEXIST)
            fail("create file", lockFile_, FileErrorKind::openFailed, errno);
        if (lock_ && tryLock(lock_.get()) && isNamed(lock_.get(), AT_FDCWD, lockFile_.c_str()))
            return;
        ::poll(nullptr, 0, 1);
    }
    lock_ = {};
    fail("create file", lockFile_, FileErrorKind::openFailed, EEXIST);
}

void Endpoint::listen(int folder, const std::string& name) {
    const std::string newName = with(name, newEnding);
    const sockaddr_un address = addressOf(folder, folder_, newName);
    listener_ = GuardedDescriptor::open(
        [] { return ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0); });
    if (!listener_)
        fail("create socket", socket_, FileErrorKind::openFailed, errno);
    ::unlinkat(folder, newName.c_str(), 0);
    ::fchmod(listener_.get(), 0600); // of the file that bind() makes
    if (::bind(listener_.get(), plain(address), sizeof address) != 0 ||
        ::fchmodat(folder, newName.c_str(), 0600, 0) != 0 ||
        ::fstatat(folder, newName.c_str(), &made_, AT_SYMLINK_NOFOLLOW) != 0 ||
        ::listen(listener_.get(), backlog) != 0)
        fail("create socket", socket_, FileErrorKind::openFailed, errno);
    if (::renameat(folder, newName.c_str(), folder, with(name, socketEnding).c_str()) != 0)
        fail("create socket", socket_, FileErrorKind::renameFailed, errno);
}

bool Endpoint::isInPlace() const noexcept {
    struct stat status;
    return ::lstat(socket_.c_str(), &status) == 0 && isSame(status, made_) &&
           isNamed(lock_.get(), AT_FDCWD, lockFile_.c_str());
}

Endpoint::~Endpoint() {
    if (!lock_ || isForkChild() || !isNamed(lock_.get(), AT_FDCWD, lockFile_.c_str()))
        return;
    ::unlink(socket_.c_str());
    ::unlink(newSocket_.c_str());
    ::unlink(lockFile_.c_str());
}

} // namespace varnek::spf
