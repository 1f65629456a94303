/// Work that waits for the file-writer thread: one file is to be written or to go.
///
/// An operation belongs to the queue from the request until it has run. It runs in steps, so that the
/// operations of one pass can wait for the disk together. Each step is called once, in this order, and on the
/// thread of the pass but for flush(). A failure is the operation's own affair.
#pragma once

#include "settingscore/level/LevelIndex.hpp"

#include <filesystem>
#include <utility>

namespace settings::core::detail {

/// What the operations of a pass share on one folder.
struct FolderTurn {
    bool sharesFlushes = false; ///< contents go to the disk together
    bool isWaitedFor = false;   ///< other processes were asked to keep out: no use in asking again
};

class FileOperation {
  public:
    virtual ~FileOperation() = default;
    FileOperation(const FileOperation&) = delete;
    FileOperation& operator=(const FileOperation&) = delete;

    LevelIndex level() const noexcept { return level_; }
    /// Where the file was at the time of the request.
    const std::filesystem::path& path() const noexcept { return path_; }
    /// Whose file it is: two trees may have files in one folder.
    const void* owner() const noexcept { return owner_; }

    /// Waits until nobody else works on the file.
    virtual void begin() = 0;
    /// Makes the new content; when flushes are shared it also starts on its way to the disk, beside the file.
    virtual void prepare(const FolderTurn& folder) = 0;
    /// Waits until that is on the disk. On any thread, while the pass waits.
    virtual void flush() noexcept = 0;
    /// Puts the content in the file's place, or removes the file. True: the folder is still to be flushed.
    virtual bool execute() = 0;
    /// It is durable now: notes how it went, wakes whoever waits, and lets others work on the file.
    virtual void finish() = 0;
    /// Tells the events of what was taken over from the file.
    virtual void tell() = 0;

  protected:
    FileOperation(LevelIndex level, std::filesystem::path path, const void* owner)
        : level_(level), path_(std::move(path)), owner_(owner) {}

  private:
    const LevelIndex level_;
    const std::filesystem::path path_;
    const void* const owner_;
};

} // namespace settings::core::detail
