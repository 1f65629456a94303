/// Work that waits for the file-writer thread: one file is to be written or to go.
///
/// An operation belongs to the queue from the request until it has run. It runs in steps, so that the
/// operations of one pass can wait for the disk together. Each step is called once, in this order, and on the
/// thread of the pass but for write(), flush() and letGo(), which may run on any thread while the pass waits.
/// A failure is the operation's own affair.
#pragma once

#include "settingscore/level/LevelIndex.hpp"

#include <cstdint>
#include <filesystem>
#include <utility>

namespace varnek::files {
class ReplacementFolder;
}

namespace settings::core::detail {

/// What the operations of a pass share on one folder.
struct FolderTurn {
    varnek::files::ReplacementFolder* together = nullptr; ///< contents go to the disk together, from here
    bool isLocked = false;    ///< the folder is there, and other processes are kept out of it
    bool isWaitedFor = false; ///< they were asked to keep out in vain: no use in asking again
};

class FileOperation {
  public:
    virtual ~FileOperation() = default;
    FileOperation(const FileOperation&) = delete;
    FileOperation& operator=(const FileOperation&) = delete;

    LevelIndex level() const noexcept { return level_; }
    /// Where the file was at the time of the request.
    const std::filesystem::path& path() const noexcept { return path_; }
    /// Whose file it is: two trees may have files in one folder. Of two operations on one file that of the
    /// lower number runs first.
    std::uint64_t owner() const noexcept { return owner_; }

    /// Waits until nobody else works on the file.
    virtual void begin() = 0;
    /// Takes over what others have written. The folder's turn lasts until execute() has returned.
    virtual void prepare(const FolderTurn& folder) = 0;
    /// Where contents go to the disk together: writes the new one beside the file, and lets it start on its
    /// way.
    virtual void write() noexcept = 0;
    /// Waits until it is on the disk.
    virtual void flush() noexcept = 0;
    /// Puts the content in the file's place, or removes the file. True: the folder is still to be flushed.
    virtual bool execute() = 0;
    /// It is durable now: notes how it went, wakes whoever waits, and lets others work on the file.
    virtual void finish() = 0;
    /// Tells the events of what was taken over from the file.
    virtual void tell() = 0;
    /// Gives back what the file system has to clear up after the replaced file.
    virtual void letGo() noexcept = 0;

  protected:
    FileOperation(LevelIndex level, std::filesystem::path path, std::uint64_t owner)
        : level_(level), path_(std::move(path)), owner_(owner) {}

  private:
    const LevelIndex level_;
    const std::filesystem::path path_;
    const std::uint64_t owner_;
};

} // namespace settings::core::detail
