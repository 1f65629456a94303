/// The one routine that replaces a file: a crash or a power failure at any moment leaves the old content or
/// the new one, never a mixture, and what was committed stays committed.
///
/// The new content is written to `<file name>.tmp` in a fresh hidden directory inside the target's own
/// folder, flushed to the disk, renamed onto the target, and the folder is flushed. The steps are separate,
/// so that a caller can write log lines between them, or share the waiting for the disk between many files:
///
///     ReplacementFolder folder(path); // one temporary directory for all
///     for (const auto& name : names)
///         replacements.emplace_back(folder, name).write(content);
///     for (auto& r : replacements)
///         r.beginFlush(); // the contents go to the disk together
///     for (auto& r : replacements)
///         r.flush(); // best by several threads at once
///     for (auto& r : replacements)
///         r.rename();
///     folder.removeTemporaryDirectory();
///     flushFolder(path); // once per folder
///     replacements.clear(); // frees the old files' blocks, which may take as long as a flush for each
///
/// Links: a target that is a symbolic link is followed only within its own folder. Hard-linked files are
/// replaced, not written through.
#pragma once

#include "varnek/Export.hpp"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace varnek::files {

struct ReplacementOptions {
    /// Folder below which the temporary directory is made; empty = the target's own folder. It must lie on
    /// the target's file system, or the rename fails.
    std::filesystem::path temporaryDirectoryRoot = {};
    /// Permission bits of the file, whatever the process's umask. What the existing file denies stays denied.
    unsigned mode = 0600;
    /// An existing file keeps its own permission bits instead, those that `mode` would not give included.
    bool keepsMode = false;
};

/// What the replacements of several files of one folder share: the opened folder and one temporary directory
/// in it, which is made for the first of them. Thread-safe; may go before they do. Holds two descriptors.
class VARNEK_EXPORT ReplacementFolder {
  public:
    explicit ReplacementFolder(std::filesystem::path folder);
    ReplacementFolder(const ReplacementFolder&) = delete;
    ReplacementFolder& operator=(const ReplacementFolder&) = delete;
    ~ReplacementFolder();

    const std::filesystem::path& path() const noexcept { return path_; }
    /// Once the files are in their places. Without it the directory goes with the last replacement.
    void removeTemporaryDirectory() noexcept;

  private:
    friend class FileReplacement;
    struct Place;

    std::shared_ptr<Place> place();

    const std::filesystem::path path_;
    std::mutex mutex_;
    std::shared_ptr<Place> place_;
};

/// One replacement under way. Move-only; confined to one thread at a time; holds four descriptors, two of
/// them as long as the object lives, and no lock that another replacement waits for; one that shares its
/// folder holds two, of which one as long. Everything blocks on the disk, nothing calls user code.
///
/// Errors: FileError. A step that fails throws the temporary file away, so that nothing is ever retried on
/// it; the old file is untouched unless the kind is folderFlushFailed. A step after a failed one, or out of
/// order, throws std::logic_error. Interrupted calls and short writes are invisible.
class VARNEK_EXPORT FileReplacement {
  public:
    /// Creates the temporary directory (mode 0700). Throws cannotCreateTemporaryDirectory,
    /// directoryNotWritable, linkLeavesFolder, notRegularFile (the target is something else than a file),
    /// invalidName.
    explicit FileReplacement(const std::filesystem::path& target, const ReplacementOptions& options = {});
    /// One of several in a folder. `name`: of the file there; of `options`, what concerns the mode. Errors as
    /// above.
    FileReplacement(ReplacementFolder& folder, const std::string& name,
                    const ReplacementOptions& options = {});
    FileReplacement(FileReplacement&&) noexcept;
    FileReplacement& operator=(FileReplacement&&) noexcept;
    /// Removes what is temporary; an uncommitted replacement leaves the old file. Never throws.
    ~FileReplacement();

    /// The file that will be replaced, links resolved.
    const std::filesystem::path& target() const noexcept;
    const std::filesystem::path& temporaryDirectory() const noexcept;
    const std::filesystem::path& temporaryFile() const noexcept;

    /// Appends to the new content. Throws openFailed, also where the existing file gives its group rights of
    /// its own and this user cannot give the new one to that group; writeFailed.
    void write(std::string_view bytes);
    /// Asks the system to start writing the content to the disk, and does not wait. A mere hint: cannot fail.
    void beginFlush() noexcept;
    /// Waits until the content is on the disk and closes the temporary file. Throws flushFailed, closeFailed.
    void flush();
    /// Puts the flushed content in the target's place (flushes first if that is due). Throws renameFailed.
    void rename();
    /// Makes the rename permanent. Throws folderFlushFailed.
    void flushFolder();
    /// All steps that are still due: flush, rename, flushFolder.
    void commit();
    /// Removes the temporary file, and the directory unless it is shared; what the destructor does, earlier.
    void removeTemporaryDirectory() noexcept;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

/// Replaces (or creates) `target` with `bytes`, durably. Errors as FileReplacement.
VARNEK_EXPORT void replaceFile(const std::filesystem::path& target, std::string_view bytes,
                               const ReplacementOptions& options = {});

/// Replaces (or creates) `to` with the content of the regular file `from`, durably. Errors as readFile and
/// FileReplacement; `to` is untouched when `from` cannot be read.
VARNEK_EXPORT void copyFile(const std::filesystem::path& from, const std::filesystem::path& to,
                            std::uint64_t maxBytes, const ReplacementOptions& options = {});

/// Removes what crashed replacements, and crashed makers of a NewFolder, left in `folder`: temporary
/// directories of our naming that belong to this user and that no living process uses. Stray content in them
/// is never promoted. Meant for start-up; best effort, returns the number of directories removed, 0 when the
/// folder cannot be read.
VARNEK_EXPORT std::size_t removeStaleTemporaryDirectories(const std::filesystem::path& folder) noexcept;

} // namespace varnek::files
