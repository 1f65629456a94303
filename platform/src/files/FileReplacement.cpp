#include "varnek/files/FileReplacement.hpp"

#include "files/LinkTarget.hpp"
#include "files/TemporaryDirectory.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/FileError.hpp"

#include <fcntl.h>
#include <optional>
#include <sys/stat.h>

namespace varnek::files {
namespace {

enum class Stage { prepared, writing, flushed, renamed, done, failed };

constexpr std::size_t maxNameBytes = 255;
constexpr std::string_view temporaryExtension = ".tmp";

/// `<name>.tmp`, cut where no file could have that name.
std::string temporaryName(const std::string& name) {
    return name.substr(0, maxNameBytes - temporaryExtension.size()).append(temporaryExtension);
}

/// `target`, a file called `name`.
const std::filesystem::path& checked(const std::filesystem::path& target, const std::string& name) {
    if (!detail::isPlainName(name) || target.native().find('\0') != std::string::npos)
        throw FileError(FileErrorKind::invalidName, "replace file", target.native().c_str(), 0,
                        "not the name of a file");
    return target;
}

detail::Descriptor openFolder(const std::filesystem::path& folder) {
    auto opened = detail::openAt(AT_FDCWD, folder.c_str(), O_RDONLY | O_DIRECTORY);
    if (!opened)
        detail::throwCannotCreate(folder, errno);
    return opened;
}

} // namespace

/// Where the files are replaced; one replacement has it alone, or several share it.
struct ReplacementFolder::Place {
    /// The temporary directory is made below `root`; empty: in the folder.
    Place(const std::filesystem::path& path, const std::filesystem::path& temporaryRoot, bool canBeShared)
        : folder(openFolder(path)), root(temporaryRoot.empty() ? path : temporaryRoot),
          isShared(canBeShared) {}

    detail::TemporaryDirectory& temporary() {
        if (!directory)
            directory.emplace(root);
        return *directory;
    }

    const detail::Descriptor folder;
    const std::filesystem::path root;
    const bool isShared;
    std::optional<detail::TemporaryDirectory> directory;
};

ReplacementFolder::ReplacementFolder(std::filesystem::path folder) : path_(std::move(folder)) {}
ReplacementFolder::~ReplacementFolder() = default;

std::shared_ptr<ReplacementFolder::Place> ReplacementFolder::place() {
    const std::lock_guard lock(mutex_);
    if (place_ == nullptr)
        place_ = std::make_shared<Place>(path_, std::filesystem::path(), true);
    place_->temporary(); // by one of those who share it
    return place_;
}

void ReplacementFolder::removeTemporaryDirectory() noexcept {
    const std::lock_guard lock(mutex_);
    if (place_ != nullptr && place_->directory)
        place_->directory->remove();
}

struct FileReplacement::State {
    State(const std::filesystem::path& wanted, std::shared_ptr<ReplacementFolder::Place> where,
          const ReplacementOptions& options)
        : place(std::move(where)), folder(place->folder),
          name(detail::entryBehindLinks(folder.get(), wanted.filename().native(), wanted)),
          target(wanted.parent_path() / name), mode(options.mode) {
        takeOverAttributes(options.keepsMode);
        directory = &place->temporary();
        temporaryFileName = temporaryName(name);
        directoryPath = directory->path();
        filePath = directoryPath / temporaryFileName;
    }
    ~State() { discard(); }

    void takeOverAttributes(bool keepsMode) {
        replaced = detail::openAt(folder.get(), name.c_str(), O_PATH | O_NOFOLLOW);
        if (!replaced && errno == ENOENT)
            return;
        if (!replaced || ::fstat(replaced.get(), &existing) != 0)
            throw FileError(FileErrorKind::openFailed, "replace file", target, errno);
        if (!S_ISREG(existing.st_mode))
            throw FileError(FileErrorKind::notRegularFile, "replace file", target, 0, "not a regular file");
        exists = true;
        mode = (keepsMode ? 0777 : mode) & existing.st_mode & 0777;
    }

    void open() {
        file = detail::openAt(directory->descriptor(), temporaryFileName.c_str(),
                              O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
        if (!file)
            fail(FileErrorKind::openFailed, "create file", filePath, errno);
        isMade = true;
        if (exists && !keepOwners())
            fail(FileErrorKind::openFailed, "keep the group of file", target, EPERM);
        if (::fchmod(file.get(), mode) != 0)
            fail(FileErrorKind::openFailed, "set permissions of file", filePath, errno);
        stage = Stage::writing;
    }

    /// An administrator's save leaves a user's file to the user. Others may not give files away, but keep the
    /// group if it is theirs. False: members of another group would get what the group of the file has.
    bool keepOwners() const {
        struct stat made = {};
        if (::fstat(file.get(), &made) != 0)
            return false;
        if (made.st_uid == existing.st_uid && made.st_gid == existing.st_gid)
            return true;
        const bool isGroupKept = ::fchown(file.get(), existing.st_uid, existing.st_gid) == 0 ||
                                 made.st_gid == existing.st_gid ||
                                 ::fchown(file.get(), static_cast<uid_t>(-1), existing.st_gid) == 0;
        return isGroupKept || ((mode >> 3) & 7) == (mode & 7);
    }

    [[noreturn]] void fail(FileErrorKind kind, const char* operation, const std::filesystem::path& path,
                           int error) {
        discard();
        throw FileError(kind, operation, path, error);
    }

    void expect(bool inOrder) const {
        if (!inOrder)
            throw std::logic_error("file replacement: step out of order, or after a failed one");
    }

    void discard() noexcept {
        if (directory == nullptr)
            return;
        file.close();
        if (stage != Stage::renamed && stage != Stage::done) {
            if (isMade)
                ::unlinkat(directory->descriptor(), temporaryFileName.c_str(), 0);
            stage = Stage::failed;
        }
        if (!place->isShared)
            directory->remove();
        directory = nullptr;
    }

    const std::shared_ptr<ReplacementFolder::Place> place;
    const detail::Descriptor& folder;
    std::string name;
    std::filesystem::path target;
    unsigned mode;
    struct stat existing = {};
    bool exists = false;
    // The system frees the old file's blocks when nobody holds it any more, which takes as long as a flush.
    detail::Descriptor replaced;
    detail::TemporaryDirectory* directory = nullptr; // none: there is nothing temporary any more
    std::string temporaryFileName;
    std::filesystem::path directoryPath, filePath;
    detail::Descriptor file;
    bool isMade = false;
    Stage stage = Stage::prepared;
};

FileReplacement::FileReplacement(const std::filesystem::path& target, const ReplacementOptions& options)
    : state_(std::make_unique<State>(target,
                                     std::make_shared<ReplacementFolder::Place>(
                                         detail::folderOf(checked(target, target.filename().native())),
                                         options.temporaryDirectoryRoot, false),
                                     options)) {}
FileReplacement::FileReplacement(ReplacementFolder& folder, const std::string& name,
                                 const ReplacementOptions& options)
    : state_(std::make_unique<State>(checked(folder.path() / name, name), folder.place(), options)) {}
FileReplacement::FileReplacement(FileReplacement&&) noexcept = default;
FileReplacement& FileReplacement::operator=(FileReplacement&&) noexcept = default;
FileReplacement::~FileReplacement() = default;

const std::filesystem::path& FileReplacement::target() const noexcept {
    return state_->target;
}
const std::filesystem::path& FileReplacement::temporaryDirectory() const noexcept {
    return state_->directoryPath;
}
const std::filesystem::path& FileReplacement::temporaryFile() const noexcept {
    return state_->filePath;
}

void FileReplacement::write(std::string_view bytes) {
    State& s = *state_;
    s.expect(s.stage == Stage::prepared || s.stage == Stage::writing);
    if (s.stage == Stage::prepared)
        s.open();
    while (!bytes.empty()) {
        const ssize_t written =
            detail::uninterrupted([&] { return ::write(s.file.get(), bytes.data(), bytes.size()); });
        if (written <= 0) // a write of nothing would go on for ever
            s.fail(FileErrorKind::writeFailed, "write file", s.filePath, written < 0 ? errno : EIO);
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

void FileReplacement::beginFlush() noexcept {
    if (state_->file)
        ::sync_file_range(state_->file.get(), 0, 0, SYNC_FILE_RANGE_WRITE);
}

void FileReplacement::flush() {
    State& s = *state_;
    if (s.stage == Stage::prepared)
        write({}); // an empty file is a content too
    s.expect(s.stage == Stage::writing);
    if (const int error = detail::flush(s.file.get()))
        s.fail(FileErrorKind::flushFailed, "flush file", s.filePath, error);
    if (const int error = s.file.close())
        s.fail(FileErrorKind::closeFailed, "close file", s.filePath, error);
    s.stage = Stage::flushed;
}

void FileReplacement::rename() {
    State& s = *state_;
    if (s.stage == Stage::prepared || s.stage == Stage::writing)
        flush();
    s.expect(s.stage == Stage::flushed);
    if (::renameat(s.directory->descriptor(), s.temporaryFileName.c_str(), s.folder.get(), s.name.c_str()) !=
        0)
        s.fail(FileErrorKind::renameFailed, "rename file onto", s.target, errno);
    s.stage = Stage::renamed;
}

void FileReplacement::flushFolder() {
    State& s = *state_;
    s.expect(s.stage == Stage::renamed);
    if (const int error = detail::flush(s.folder.get())) {
        s.discard();
        s.stage = Stage::failed; // the system reports a lost write once: a second flush would seem to succeed
        throw FileError(FileErrorKind::folderFlushFailed, "flush folder", detail::folderOf(s.target), error);
    }
    s.stage = Stage::done;
}

void FileReplacement::commit() {
    if (state_->stage != Stage::renamed)
        rename();
    flushFolder();
}

void FileReplacement::removeTemporaryDirectory() noexcept {
    state_->discard();
}

void replaceFile(const std::filesystem::path& target, std::string_view bytes,
                 const ReplacementOptions& options) {
    FileReplacement replacement(target, options);
    replacement.write(bytes);
    replacement.commit();
}

void copyFile(const std::filesystem::path& from, const std::filesystem::path& to, std::uint64_t maxBytes,
              const ReplacementOptions& options) {
    replaceFile(to, readFile(from, maxBytes), options);
}

} // namespace varnek::files
