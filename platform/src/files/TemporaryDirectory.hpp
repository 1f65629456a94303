// The hidden directory in which one replacement prepares its file. While its creator lives it is locked; that
// is how the clean-up at start-up tells a leftover from work in progress.
#pragma once

#include "files/Descriptor.hpp"

#include <filesystem>
#include <string>

namespace varnek::files::detail {

class TemporaryDirectory {
  public:
    /// Makes the directory below `root`. Throws FileError (cannotCreateTemporaryDirectory,
    /// directoryNotWritable).
    explicit TemporaryDirectory(const std::filesystem::path& root);
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory() { remove(); }

    const std::filesystem::path& path() const noexcept { return path_; }
    int descriptor() const noexcept { return directory_.get(); }
    /// Removes the directory, which must be empty. Again: does nothing.
    void remove() noexcept;

  private:
    bool lock();

    std::filesystem::path path_;
    Descriptor directory_;
};

/// Throws the error of an operation that needs to create entries in `folder`.
[[noreturn]] void throwCannotCreate(const std::filesystem::path& folder, int error);

} // namespace varnek::files::detail
