#include "settingscore/settings/settingsFile.hpp"

#include "settingscore/SettingsSaving.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "settingscore/settings/file/SaveHook.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/FileReplacement.hpp"
#include "varnek/files/PathText.hpp"

#include <filesystem>
#include <string>

namespace settings::core::detail {

using varnek::files::FileError;
using varnek::files::FileErrorKind;
using varnek::files::FileReplacement;

namespace {

/// Extension of an earlier format, removed beside a saved file.
constexpr const char* earlierExtension = ".settings";

/// A fresh temporary directory below the target's own folder, since only there a rename is atomic.
FileReplacement openReplacement(const SettingsFileAccess& access) {
    const std::string root = access.filePath().parent_path().string();
    VARNEK_LOG(fileLog, info) << "getTempDirectory: "
                              << "\ttempDirRoot = " << root;
    try {
        return FileReplacement(access.filePath(), access.replacementOptions());
    } catch (const FileError& failure) {
        if (failure.kind() == FileErrorKind::cannotCreateTemporaryDirectory)
            throw VARNEK::settings::core::CanNotCreateTempDirectory(root);
        if (failure.kind() == FileErrorKind::directoryNotWritable)
            throw VARNEK::settings::core::NoWritePermissionOnDirectory(root, failure.what());
        throwNotWritten(access.filePath(), failure.what());
    }
}

/// Inside a handler only: reports the exception being handled.
[[noreturn]] void throwTemporaryFileFailed(const SettingsFileAccess& access,
                                           const std::filesystem::path& temporaryFile) {
    const std::string text = notWrittenText(causeOfCurrentException());
    VARNEK_LOG(fileLog, error) << text;
    int errorNumber = 0;
    try {
        throw;
    } catch (const FileError& failure) {
        errorNumber = failure.errorNumber();
    } catch (...) { // the system reported no number
    }
    throw exception::ErrorWriteToTempSettingsFile(
        access.involvedObject(), varnek::files::utf16FromPath(temporaryFile), errorNumber, shownText(text));
}

void removeEarlierFormat(std::filesystem::path file) {
    try {
        varnek::files::removeFile(file.replace_extension(earlierExtension));
    } catch (const FileError& failure) {
        VARNEK_LOG(fileLog, warning) << failure.what(); // the values are saved all the same
    }
}

void moveIntoPlace(const SettingsFileAccess& access, FileReplacement& replacement) {
    whileNoOtherSaveReplacesFiles([&] {
        access.aboutToReplace();
        VARNEK_LOG(fileLog, info) << "Renaming tmp file: "
                                  << "\ttmpFilePath = " << replacement.temporaryFile().string()
                                  << "\trealFilePath = " << replacement.target().string();
        replacement.rename();
        access.hasReplaced();
    });
    flushFolderOf(replacement);
}

void saveThroughTemporaryFile(SettingsFileAccess& access) {
    std::optional<std::string> bytes;
    try {
        bytes = access.content();
    } catch (...) {
        throwTemporaryFileFailed(access, access.filePath());
    }
    if (!bytes)
        return;
    FileReplacement replacement = openReplacement(access);
    try {
        replacement.write(*bytes);
        replacement.flush();
    } catch (...) {
        throwTemporaryFileFailed(access, replacement.temporaryFile());
    }
    try {
        moveIntoPlace(access, replacement);
    } catch (...) {
        throwNotWritten(access.filePath(), causeOfCurrentException());
    }
    access.setOutcome(SaveOutcome::saved);
    VARNEK_LOG(fileLog, info) << "EXIT  SettingsFile::saveSettings(), I think it's all good - ";
    removeEarlierFormat(access.filePath());
    replacement.removeTemporaryDirectory();
}

void saveThroughHook(SettingsFileAccess& access) {
    access.setOutcome(SaveOutcome::saved); // unless the access finds that there is nothing to write
    try {
        callSaveHook(access);
    } catch (...) {
        throwNotWritten(access.filePath(), causeOfCurrentException());
    }
}

} // namespace

SaveOutcome saveSettingsFile(SettingsFileAccess& access) {
    if (!isSettingsSavingTurnedOn()) {
        access.setOutcome(SaveOutcome::switchedOff);
        return access.outcome();
    }
    VARNEK_LOG(fileLog, info) << "ENTER SettingsFile::saveSettingsFile() ";
    if (!access.checkBeforeSaving())
        return access.outcome();
    const bool throughHook = savesGoThroughHook(); // asks the environment on first use, whatever the file
    if (throughHook && access.isPrefdirFile()) {
        saveThroughHook(access);
    } else {
        saveThroughTemporaryFile(access);
    }
    return access.outcome();
}

} // namespace settings::core::detail
