/// Work that waits for the file-writer thread: one file is to be written or to go.
///
/// An operation belongs to the queue from the request until it has run. It runs in steps, so that the
/// operations of one pass can wait for the disk together. Each step is called once, in this order, and on the
/// writer's thread but for flush(); a failure is the operation's own affair, and what a step raises all the
/// same is logged.
#pragma once

#include "settingscore/level/LevelIndex.hpp"

#include <filesystem>
#include <memory>
#include <utility>

namespace settings::core::detail {

class FileOperation {
  public:
    virtual ~FileOperation() = default;
    FileOperation(const FileOperation&) = delete;
    FileOperation& operator=(const FileOperation&) = delete;

    LevelIndex level() const noexcept { return level_; }
    const std::filesystem::path& path() const noexcept { return path_; }
    /// Whose file it is: two trees may have files in one folder.
    const void* owner() const noexcept { return owner_; }

    /// Makes the new content; with `ahead` it also starts on its way to the disk, beside the file.
    virtual void prepare(bool ahead) = 0;
    /// After prepare(true): waits until the content is on the disk. On any thread, while the writer waits.
    virtual void flush() noexcept = 0;
    /// Puts the content in the file's place, or removes the file. True: the folder is still to be flushed.
    virtual bool execute() = 0;
    /// It is durable now: notes how it went, and tells whoever waits.
    virtual void finish() = 0;

    /// An operation of another owner on the same file that this one must not make forgotten.
    void runAfter(std::unique_ptr<FileOperation> before) noexcept { before_ = std::move(before); }
    std::unique_ptr<FileOperation> takeBefore() noexcept { return std::move(before_); }

  protected:
    FileOperation(LevelIndex level, std::filesystem::path path, const void* owner)
        : level_(level), path_(std::move(path)), owner_(owner) {}

  private:
    const LevelIndex level_;
    const std::filesystem::path path_;
    const void* const owner_;
    std::unique_ptr<FileOperation> before_;
};

} // namespace settings::core::detail
