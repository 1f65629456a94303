// The hidden directory in which a new file or folder is prepared. While its creator lives it is locked; that
// is how the clean-up at start-up tells a leftover from work in progress.
#pragma once

#include "files/Descriptor.hpp"

#include <filesystem>
#include <string>
#include <string_view>

namespace varnek::files::detail {

/// What the names of the directories begin with.
inline constexpr std::string_view replacementPrefix = ".varnek-replace-";
inline constexpr std::string_view newFolderPrefix = ".varnek-new-";

class TemporaryDirectory {
  public:
    /// Makes the directory below `root`. Throws FileError (cannotCreateTemporaryDirectory,
    /// directoryNotWritable).
    explicit TemporaryDirectory(const std::filesystem::path& root,
                                std::string_view prefix = replacementPrefix);
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory() { remove(); }

    const std::filesystem::path& path() const noexcept { return path_; }
    int descriptor() const noexcept { return directory_.get(); }
    /// Removes the directory; one that is not empty stays for another try. The descriptor is kept until the
    /// end, since closing it may take as long as a flush.
    void remove() noexcept;
    /// Removes the files in it, however they came there.
    void removeFiles() noexcept;
    /// Gives the lock back and leaves the directory, which bears another name by now, to its future.
    void handOver() noexcept;

  private:
    bool lock();

    std::filesystem::path path_;
    Descriptor directory_;
};

/// Throws the error of an operation that needs to create entries in `folder`.
[[noreturn]] void throwCannotCreate(const std::filesystem::path& folder, int error);

} // namespace varnek::files::detail
