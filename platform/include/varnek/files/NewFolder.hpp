/// A folder that is there with everything in it, or not at all.
///
/// It is filled in a hidden directory beside its place (mode 0700), flushed to the disk and moved there as a
/// whole. What stands in its place is never replaced: of several who try at the same time, in this process or
/// others, one wins. A crash at any moment leaves the place empty or the whole folder; the hidden directory
/// of the crashed is removed by removeStaleTemporaryDirectories (FileReplacement.hpp).
///
///     NewFolder folder(place);
///     folder.addFile("a", bytes);
///     const bool isOurs = folder.publish();
#pragma once

#include "varnek/Export.hpp"

#include <filesystem>
#include <memory>
#include <string_view>

namespace varnek::files {

/// Confined to one thread at a time. Everything blocks on the disk, nothing calls user code. Errors:
/// FileError.
class VARNEK_EXPORT NewFolder {
  public:
    /// The folder above `place` must be there. Throws cannotCreateTemporaryDirectory, directoryNotWritable,
    /// invalidName.
    explicit NewFolder(const std::filesystem::path& place);
    NewFolder(const NewFolder&) = delete;
    NewFolder& operator=(const NewFolder&) = delete;
    /// Removes what was not published. Never throws.
    ~NewFolder();

    /// The hidden directory, until it is published or given up.
    const std::filesystem::path& path() const noexcept;

    /// Makes a file of that plain name, mode 0600 whatever the umask. Throws invalidName, openFailed (with
    /// EEXIST when the name is taken) and writeFailed: the file is not there. Throws flushFailed and
    /// closeFailed as flush() does: the error names a file that was added before, and the new one is not
    /// made.
    void addFile(std::string_view name, std::string_view bytes);

    /// Brings what was added so far to the disk, which publish() does for the rest. Throws flushFailed,
    /// closeFailed: the file that the error names is not there any more, the others are.
    void flush();

    /// Puts the folder in its place. False: something is there, which stays, and this folder is given up.
    /// Throws flushFailed, closeFailed, renameFailed: given up; folderFlushFailed: the folder stands, but may
    /// be lost with the power. Whatever is called afterwards throws std::logic_error.
    bool publish();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace varnek::files
