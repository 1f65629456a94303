#include "settingscore/settings/file/SettingsFileAccess.hpp"

#include "settingscore/settings/file/FileLog.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/FileReplacement.hpp"

#include <exception>

namespace settings::core::detail {

struct SettingsFileAccess::Ahead {
    std::optional<varnek::files::FileReplacement> replacement; // none: the file is to stay as it is
    SaveOutcome outcome = SaveOutcome::none;                   // then
    std::exception_ptr failure;                                // of the flush
};

SettingsFileAccess::SettingsFileAccess(std::filesystem::path filePath) : filePath_(std::move(filePath)) {}
SettingsFileAccess::~SettingsFileAccess() = default;

varnek::files::ReplacementOptions SettingsFileAccess::replacementOptions() const {
    const unsigned mode = fileMode();
    return {.temporaryDirectoryRoot = {}, .mode = mode, .keepsMode = (mode & 077) != 0};
}

void SettingsFileAccess::writeAhead(varnek::files::ReplacementFolder& folder) noexcept {
    try {
        auto ahead = std::make_unique<Ahead>();
        if (const auto bytes = content()) {
            ahead->replacement.emplace(folder, filePath_.filename().native(), replacementOptions());
            ahead->replacement->write(*bytes);
            ahead->replacement->beginFlush();
        }
        ahead->outcome = outcome_;
        ahead_ = std::move(ahead);
    } catch (...) { // writeTo() begins anew: there may be room, or a descriptor, by then
    }
}

void SettingsFileAccess::dropAhead() noexcept {
    ahead_.reset();
}

void SettingsFileAccess::letGo() noexcept {
    done_.reset();
}

/// Nothing temporary is left; what was replaced stays until nobody waits for the save.
void SettingsFileAccess::keep(std::unique_ptr<Ahead> done) noexcept {
    done->replacement->removeTemporaryDirectory();
    done_ = std::move(done);
}

void SettingsFileAccess::flushAhead() noexcept {
    if (ahead_ == nullptr || ahead_->failure != nullptr || !ahead_->replacement)
        return;
    try {
        ahead_->replacement->flush();
    } catch (...) {
        ahead_->failure = std::current_exception();
    }
}

void SettingsFileAccess::putInPlace(std::unique_ptr<Ahead> ahead) {
    if (ahead->failure != nullptr)
        std::rethrow_exception(ahead->failure);
    if (!ahead->replacement) {
        setOutcome(ahead->outcome);
        return;
    }
    aboutToReplace();
    ahead->replacement->rename();
    hasReplaced();
    leavesFolderToFlush_ = true;
    setOutcome(SaveOutcome::saved);
    keep(std::move(ahead));
}

void SettingsFileAccess::writeTo(const std::filesystem::path& path) {
    if (ahead_ != nullptr && path == filePath_)
        return putInPlace(std::move(ahead_));
    const auto bytes = content();
    if (!bytes)
        return;
    auto made = std::make_unique<Ahead>();
    auto& replacement = made->replacement.emplace(path, replacementOptions());
    replacement.write(*bytes);
    replacement.flush();
    aboutToReplace();
    replacement.rename();
    hasReplaced();
    flushFolderOf(replacement);
    setOutcome(SaveOutcome::saved);
    keep(std::move(made));
}

void flushFolderOf(varnek::files::FileReplacement& replaced) {
    try {
        replaced.flushFolder();
    } catch (const varnek::files::FileError& failure) {
        VARNEK_LOG(fileLog, warning) << failure.what() << "; the new file is in place all the same";
    }
}

} // namespace settings::core::detail
