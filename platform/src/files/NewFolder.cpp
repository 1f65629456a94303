#include "varnek/files/NewFolder.hpp"

#include "files/LinkTarget.hpp"
#include "files/TemporaryDirectory.hpp"
#include "varnek/files/FileError.hpp"

#include <cstdio>
#include <deque>
#include <fcntl.h>
#include <optional>
#include <stdexcept>
#include <sys/stat.h>

namespace varnek::files {
namespace {

constexpr std::size_t openFilesAtOnce = 32;

std::filesystem::path checkedPlace(const std::filesystem::path& place) {
    if (!detail::isPlainName(place.filename().native()) || place.native().find('\0') != std::string::npos)
        throw FileError(FileErrorKind::invalidName, "create folder", place.native().c_str(), 0,
                        "not the name of a folder");
    return place;
}

/// 0 or the error; EEXIST when anything has the name.
int moveWithoutReplacing(int folder, const char* from, const char* to) {
    if (::renameat2(folder, from, folder, to, RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS && errno != ENOTSUP)
        return errno;
    // A file system that does not know the flag. There a folder replaces nothing but an empty folder, which
    // holds nothing that could be lost.
    struct stat status;
    if (::fstatat(folder, to, &status, AT_SYMLINK_NOFOLLOW) == 0)
        return EEXIST;
    if (::renameat(folder, from, folder, to) == 0)
        return 0;
    return errno == ENOTEMPTY || errno == ENOTDIR ? EEXIST : errno;
}

} // namespace

struct NewFolder::State {
    explicit State(const std::filesystem::path& wanted)
        : place(checkedPlace(wanted)),
          parent(detail::openAt(AT_FDCWD, detail::folderOf(place).c_str(), O_RDONLY | O_DIRECTORY)) {
        if (!parent)
            detail::throwCannotCreate(detail::folderOf(place), errno);
        directory.emplace(detail::folderOf(place), detail::newFolderPrefix);
        path = directory->path();
    }
    ~State() { giveUp(); }

    void giveUp() noexcept {
        unflushed.clear();
        if (!directory)
            return;
        directory->removeFiles();
        directory.reset();
    }

    [[noreturn]] void fail(FileErrorKind kind, const char* operation, const std::filesystem::path& what,
                           int error) {
        giveUp();
        throw FileError(kind, operation, what, error);
    }

    /// The files go to the disk together, a limited number of them open.
    void flushFiles() {
        while (!unflushed.empty()) {
            auto [name, file] = std::move(unflushed.front());
            unflushed.pop_front();
            if (const int error = detail::flush(file.get()))
                lose(FileErrorKind::flushFailed, "flush file", name, error);
            if (const int error = file.close())
                lose(FileErrorKind::closeFailed, "close file", name, error);
        }
    }

    [[noreturn]] void lose(FileErrorKind kind, const char* operation, const std::string& name, int error) {
        ::unlinkat(directory->descriptor(), name.c_str(), 0);
        throw FileError(kind, operation, path / name, error);
    }

    std::filesystem::path place;
    detail::Descriptor parent;
    std::optional<detail::TemporaryDirectory> directory;
    std::filesystem::path path;
    std::deque<std::pair<std::string, detail::Descriptor>> unflushed;
};

NewFolder::NewFolder(const std::filesystem::path& place) : state_(std::make_unique<State>(place)) {}
NewFolder::~NewFolder() = default;

const std::filesystem::path& NewFolder::path() const noexcept {
    return state_->path;
}

void NewFolder::addFile(std::string_view plainName, std::string_view bytes) {
    State& s = *state_;
    const std::string name(plainName);
    const std::filesystem::path file = s.path / name;
    if (!s.directory)
        throw std::logic_error("new folder: a file for a folder that was published or given up");
    if (!detail::isPlainName(name))
        throw FileError(FileErrorKind::invalidName, "create file", file.native().c_str(), 0,
                        "not the name of a file");
    if (s.unflushed.size() == openFilesAtOnce)
        s.flushFiles();
    const int folder = s.directory->descriptor();
    auto opened = detail::openAt(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
    if (!opened)
        throw FileError(FileErrorKind::openFailed, "create file", file, errno);
    const auto refuse = [&](FileErrorKind kind, const char* operation, int error) {
        ::unlinkat(folder, name.c_str(), 0);
        throw FileError(kind, operation, file, error);
    };
    if (::fchmod(opened.get(), 0600) != 0)
        refuse(FileErrorKind::openFailed, "set permissions of file", errno);
    while (!bytes.empty()) {
        const ssize_t written =
            detail::uninterrupted([&] { return ::write(opened.get(), bytes.data(), bytes.size()); });
        if (written <= 0)
            refuse(FileErrorKind::writeFailed, "write file", written < 0 ? errno : EIO);
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    ::sync_file_range(opened.get(), 0, 0, SYNC_FILE_RANGE_WRITE); // a mere hint
    s.unflushed.emplace_back(name, std::move(opened));
}

void NewFolder::flush() {
    if (!state_->directory)
        throw std::logic_error("new folder: flushed after it was published or given up");
    state_->flushFiles();
}

bool NewFolder::publish() {
    State& s = *state_;
    if (!s.directory)
        throw std::logic_error("new folder: it was published or given up before");
    try {
        s.flushFiles();
    } catch (...) {
        s.giveUp();
        throw;
    }
    if (const int error = detail::flush(s.directory->descriptor()))
        s.fail(FileErrorKind::flushFailed, "flush folder", s.path, error);
    const int refusal =
        moveWithoutReplacing(s.parent.get(), s.path.filename().c_str(), s.place.filename().c_str());
    if (refusal == EEXIST) {
        s.giveUp();
        return false;
    }
    if (refusal != 0)
        s.fail(FileErrorKind::renameFailed, "create folder", s.place, refusal);
    s.directory->handOver();
    s.directory.reset();
    if (const int error = detail::flush(s.parent.get()))
        throw FileError(FileErrorKind::folderFlushFailed, "flush folder", detail::folderOf(s.place), error);
    return true;
}

} // namespace varnek::files
