#include "varnek/files/FileAccess.hpp"

#include "files/Descriptor.hpp"
#include "files/LinkTarget.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/Folder.hpp"

#include <fcntl.h>
#include <sys/stat.h>

namespace varnek::files {
namespace {

constexpr auto operation = "read file";
// Nothing that waits (a pipe) or acts (a terminal) is opened by accident.
constexpr int readFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK;

[[noreturn]] void throwOpenError(const std::filesystem::path& path, int error) {
    switch (error) {
    case ENOENT:
    case ENOTDIR:
        throw FileError(FileErrorKind::notFound, operation, path, error);
    case EACCES:
    case EPERM:
        throw FileError(FileErrorKind::permission, operation, path, error);
    case ENXIO: // a socket, or a device that is not there
        throw FileError(FileErrorKind::notRegularFile, operation, path, error, "not a regular file");
    default:
        throw FileError(FileErrorKind::openFailed, operation, path, error);
    }
}

detail::Descriptor openForReading(const std::filesystem::path& path) {
    if (path.native().find('\0') != std::string::npos)
        throw FileError(FileErrorKind::invalidName, operation, path, 0, "the name contains a NUL character");
    if (auto file = detail::openAt(AT_FDCWD, path.c_str(), readFlags))
        return file;
    if (errno != ELOOP)
        throwOpenError(path, errno);
    const auto folder = detail::openAt(AT_FDCWD, detail::folderOf(path).c_str(), O_RDONLY | O_DIRECTORY);
    if (!folder)
        throwOpenError(path, errno);
    const std::string name = detail::entryBehindLinks(folder.get(), path.filename().native(), path);
    if (auto file = detail::openAt(folder.get(), name.c_str(), readFlags))
        return file;
    throwOpenError(path, errno);
}

} // namespace

std::string readFile(const std::filesystem::path& path, std::uint64_t maxBytes) {
    const detail::Descriptor file = openForReading(path);
    struct stat status;
    if (::fstat(file.get(), &status) != 0)
        throw FileError(FileErrorKind::readFailed, operation, path, errno);
    if (!S_ISREG(status.st_mode))
        throw FileError(FileErrorKind::notRegularFile, operation, path, 0, "not a regular file");

    const auto refuse = [&] {
        throw FileError(FileErrorKind::tooLarge, operation, path, 0,
                        "larger than " + std::to_string(maxBytes) + " bytes");
    };
    if (static_cast<std::uint64_t>(status.st_size) > maxBytes)
        refuse();
    // One byte more than announced, so that the end is seen without another round when nothing changed
    // meanwhile.
    std::string bytes(static_cast<std::size_t>(status.st_size) + 1, '\0');
    std::size_t length = 0;
    for (;;) {
        const ssize_t got = detail::uninterrupted(
            [&] { return ::read(file.get(), bytes.data() + length, bytes.size() - length); });
        if (got < 0)
            throw FileError(FileErrorKind::readFailed, operation, path, errno);
        if (got == 0)
            break;
        length += static_cast<std::size_t>(got);
        if (length > maxBytes)
            refuse();
        if (length == bytes.size())
            bytes.resize(bytes.size() + bytes.size() / 2 + 4096);
    }
    bytes.resize(length);
    return bytes;
}

bool removeFile(const std::filesystem::path& path, FolderFlush flush) {
    if (::unlink(path.c_str()) != 0) {
        if (errno == ENOENT || errno == ENOTDIR)
            return false;
        const bool denied = errno == EACCES || errno == EPERM || errno == EROFS;
        throw FileError(errno == EISDIR ? FileErrorKind::notRegularFile
                        : denied        ? FileErrorKind::permission
                                        : FileErrorKind::removeFailed,
                        "remove file", path, errno);
    }
    if (flush == FolderFlush::now)
        flushFolder(detail::folderOf(path));
    return true;
}

} // namespace varnek::files
