/// One save of one file: whether it may go ahead, where it goes, what the file is to hold.
///
/// Confined to the thread that runs the save. It lives for one save; the save procedure in settingsFile.hpp
/// calls it in a fixed order.
#pragma once

#include "settingscore/exception/SettingsException.hpp"
#include "settingscore/settings/file/FileOutcome.hpp"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace varnek::files {
class FileReplacement;
class ReplacementFolder;
struct ReplacementOptions;
} // namespace varnek::files

namespace settings::core::detail {

class SettingsFileAccess {
  public:
    virtual ~SettingsFileAccess();

    /// Whether this save may go ahead; false: skip it, outcome() says why. Raises what is worth an error.
    virtual bool checkBeforeSaving() = 0;
    /// The bytes that the file is to hold, or nothing when it is to stay as it is; then outcome() says why.
    /// May read the present file.
    virtual std::optional<std::string> content() = 0;
    /// What is saved, for the log.
    virtual std::string description() const = 0;
    /// A file of the preferences directory.
    virtual bool isPrefdirFile() const { return false; }
    /// Permission bits of a file that is new.
    virtual unsigned fileMode() const { return 0600; }
    /// A file that is there keeps the permissions that somebody has given it, unless it is personal.
    varnek::files::ReplacementOptions replacementOptions() const;
    /// The node that a failure names; may be empty.
    virtual exception::ObjectHandle involvedObject() const { return {}; }

    const std::filesystem::path& filePath() const noexcept { return filePath_; }
    SaveOutcome outcome() const noexcept { return outcome_; }
    void setOutcome(SaveOutcome outcome) noexcept { outcome_ = outcome; }

    /// Replaces the file at `path` with content(), durably, unless there is nothing to replace. What the
    /// default save hook does. varnek::files::FileError, and what content() raises.
    void writeTo(const std::filesystem::path& path);
    /// Writes content() beside the file now, and lets it start on its way to the disk; writeTo() then has
    /// only to put it in place, and the folder, which is that of the file, is left for the caller to flush.
    /// Raises nothing: where it fails, writeTo() begins anew. This, the flush and letGo() may run on other
    /// threads, one at a time.
    void writeAhead(varnek::files::ReplacementFolder& folder) noexcept;
    /// Waits until it is on the disk. Raises nothing either.
    void flushAhead() noexcept;
    /// Throws away what was written ahead and never put in place.
    void dropAhead() noexcept;
    /// Lets the file system free what the replaced file took, for which it may wait as long as for a flush.
    /// Until then, or the end, it does not.
    void letGo() noexcept;
    /// Whether the folder is still to be flushed.
    bool leavesFolderToFlush() const noexcept { return leavesFolderToFlush_; }

    /// Called when the complete new content is on the disk, right before it takes the file's place.
    void onReplacing(std::function<void()> action) { onReplacing_ = std::move(action); }
    void aboutToReplace() const {
        if (onReplacing_)
            onReplacing_();
    }
    /// Called as soon as it has taken the file's place.
    void onReplaced(std::function<void()> action) { onReplaced_ = std::move(action); }
    void hasReplaced() const {
        if (onReplaced_)
            onReplaced_();
    }

  protected:
    explicit SettingsFileAccess(std::filesystem::path filePath);
    SettingsFileAccess(const SettingsFileAccess&) = delete;
    SettingsFileAccess& operator=(const SettingsFileAccess&) = delete;

  private:
    struct Ahead; // what has been written

    void putInPlace(std::unique_ptr<Ahead> ahead);
    void keep(std::unique_ptr<Ahead> done) noexcept;

    std::filesystem::path filePath_;
    std::function<void()> onReplacing_;
    std::function<void()> onReplaced_;
    SaveOutcome outcome_ = SaveOutcome::none;
    std::unique_ptr<Ahead> ahead_;
    std::unique_ptr<Ahead> done_; // holds what was replaced
    bool leavesFolderToFlush_ = false;
};

/// The flush of the folder after a replacement. A failure is logged only: the complete file is in its place,
/// and what may be lost with the power is the way back to the one before.
void flushFolderOf(varnek::files::FileReplacement& replaced);

} // namespace settings::core::detail
