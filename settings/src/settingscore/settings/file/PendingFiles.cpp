#include "settingscore/settings/file/PendingFiles.hpp"

#include "opc/PackageError.hpp"
#include "opc/model/Package.hpp"
#include "opc/qfservices/CorePropertiesManager.hpp"
#include "opc/qfservices/FileSystemManager.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "settingscore/settings/file/PresentFile.hpp"
#include "settingscore/settings/file/SettingsFileAccess.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/prefdir/PrefdirPaths.hpp"
#include "settingscore/settings/settingsFile.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/FileReplacement.hpp"
#include "varnek/files/FolderLock.hpp"
#include "varnek/files/PathText.hpp"

#include <unistd.h>

#include <stdexcept>

namespace settings::core::detail {

namespace {

using opc::model::Package;
using opc::qfservices::FileSystemManager;
using varnek::files::FolderLock;

/// A personal file with the content that is given, whatever the tree holds.
class GivenFileAccess : public SettingsFileAccess {
  public:
    GivenFileAccess(const std::filesystem::path& file, std::string bytes)
        : SettingsFileAccess(file), bytes_(std::move(bytes)) {}

    bool checkBeforeSaving() override {
        if (::access(filePath().parent_path().c_str(), W_OK | X_OK) == 0)
            return true;
        setOutcome(SaveOutcome::notWritable);
        return false;
    }
    std::optional<std::string> content() override { return bytes_; }
    std::string description() const override {
        return "SaveObj : " + groupNameOf(filePath()) + "Level : " + std::string(levelName(LevelIndex::user));
    }
    bool isPrefdirFile() const override { return true; }

  private:
    std::string bytes_;
};

// ---- what is due ----

struct DueFile {
    std::string bytes;
    std::uint64_t revision = 0;
};
using DueFiles = std::map<std::string, DueFile>;

/// opc::OpenError.
DueFiles readOnce(const std::filesystem::path& pending) {
    DueFiles files;
    const Package package = Package::open(pending);
    const FileSystemManager parts(package);
    for (const auto& part : parts.getChildren(u"/")) {
        const std::string name = varnek::files::messageUtf8(part.getPathName()).substr(1);
        if (part.isFolder() || fileNameOf(groupNameOf(name)) != name)
            continue;
        DueFile file{*parts.getFileContentSource(part.getPathName()), 0};
        const Package due = Package::openBytes(file.bytes, pending);
        file.revision = opc::qfservices::CorePropertiesManager(due).getCoreProperties().revision;
        files[groupNameOf(name)] = std::move(file);
    }
    return files;
}

/// The same; a fault of the moment, such as too many open files, may be over.
DueFiles readDue(const std::filesystem::path& pending) {
    try {
        return readOnce(pending);
    } catch (const opc::OpenError& failure) {
        if (failure.kind() != opc::ErrorKind::ioFault)
            throw;
    }
    return readOnce(pending);
}

/// Whether it may be read later: what is due is not given up for that.
bool mayPass(const opc::OpenError& failure) {
    return failure.kind() == opc::ErrorKind::ioFault || failure.kind() == opc::ErrorKind::permission;
}

/// It is of no use to anybody, and must stop nobody.
void setPendingAside(const std::filesystem::path& pending) {
    try {
        setAside(pending);
    } catch (...) { // somebody else's file: it says nothing either way
        VARNEK_LOG(fileLog, warning) << causeOfCurrentException();
    }
}

/// All groups that are named in it, for one reason. None where it cannot be read.
PendingOutcome allStayDue(const std::filesystem::path& folder, const std::string& why) {
    PendingOutcome outcome;
    outcome.stamp = varnek::files::FileStamp::of(pendingFileOf(folder));
    try {
        for (const auto& [group, file] : readDue(pendingFileOf(folder)))
            outcome.due[group] = why;
    } catch (const opc::OpenError& failure) {
        VARNEK_LOG(fileLog, warning) << failure.what();
    }
    return outcome;
}

// ---- one file ----

enum class Replacement { done, overtaken, encrypted };

void saveNow(GivenFileAccess& access) {
    switch (saveSettingsFile(access)) {
    case SaveOutcome::saved:
        return;
    case SaveOutcome::switchedOff:
        throw std::runtime_error("saving is switched off");
    case SaveOutcome::notWritable:
        throw std::runtime_error("the folder allows no writing");
    default:
        throw std::runtime_error("it was not written");
    }
}

/// Raises what keeps it from being done. Every new content has a higher revision than the one that it
/// replaces.
Replacement replace(const std::filesystem::path& file, const DueFile& due) {
    const PresentFile present = PresentFile::at(file);
    GivenFileAccess access(file, due.bytes);
    switch (present.state) {
    case PresentFile::State::absent:
        break;
    case PresentFile::State::plain:
        if (present.revision >= due.revision)
            return Replacement::overtaken;
        break;
    case PresentFile::State::encrypted:
        VARNEK_LOG(fileLog, warning) << "Don't write file because it was previously encrypted: "
                                     << file.string();
        return Replacement::encrypted;
    case PresentFile::State::damaged:
        access.onReplacing([&] { keepAside(file); });
        break;
    case PresentFile::State::unreadable:
        throw std::runtime_error(present.message);
    }
    saveNow(access);
    return Replacement::done;
}

/// Takes away what is done, so that a file that is removed later does not come back.
void keepDue(const std::filesystem::path& folder, const DueFiles& files, const PendingOutcome& outcome) {
    if (outcome.due.size() == files.size() && !files.empty())
        return;
    try {
        NewFiles rest;
        for (const auto& [group, why] : outcome.due)
            rest[group] = files.at(group).bytes;
        if (rest.empty())
            varnek::files::removeFile(pendingFileOf(folder));
        else
            makeDue(folder, rest);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (...) { // done twice does no harm
        VARNEK_LOG(fileLog, warning) << causeOfCurrentException();
    }
}

/// A save hook may load or save other files on the way.
thread_local bool isFinishing = false;

struct Finishing {
    Finishing() noexcept { isFinishing = true; }
    Finishing(const Finishing&) = delete;
    Finishing& operator=(const Finishing&) = delete;
    ~Finishing() { isFinishing = false; }
};

} // namespace

std::optional<std::string> PendingOutcome::whyHeld(const std::string& group) const {
    if (!whyNobody.empty())
        return "files that an upgrade has left to be replaced cannot be read: " + whyNobody;
    const auto found = due.find(group);
    if (found == due.end() || found->second.empty())
        return std::nullopt;
    return "an upgrade has left this file to be replaced first, which is not possible: " + found->second;
}

std::filesystem::path pendingFileOf(const std::filesystem::path& folder) {
    return folder / pendingUpgradeFile;
}

void makeDue(const std::filesystem::path& folder, const NewFiles& files) {
    const Package package = Package::create();
    FileSystemManager parts(package);
    for (const auto& [group, bytes] : files)
        parts.addFile(varnek::files::messageUtf16("/" + fileNameOf(group)), bytes,
                      "application/octet-stream");
    varnek::files::replaceFile(pendingFileOf(folder), package.toBytes());
}

bool hasPendingFiles(const std::filesystem::path& folder) {
    return !folder.empty() && ::access(pendingFileOf(folder).c_str(), F_OK) == 0;
}

PendingOutcome finishPendingFiles(const std::filesystem::path& folder) {
    PendingOutcome outcome;
    if (isFinishing)
        return outcome;
    const Finishing finishing;
    const std::filesystem::path pending = pendingFileOf(folder);
    DueFiles files;
    try {
        files = readDue(pending);
    } catch (const opc::OpenError& failure) {
        if (failure.kind() == opc::ErrorKind::notFound)
            return outcome; // somebody was quicker
        logCaught(failure.what(), pending);
        if (mayPass(failure))
            outcome.whyNobody = causeOf(failure);
        else
            setPendingAside(pending);
        return outcome;
    }
    for (const auto& [group, file] : files)
        try {
            const Replacement done = replace(folder / fileNameOf(group), file);
            if (done == Replacement::encrypted)
                outcome.due[group]; // which no save replaces either
            else if (done == Replacement::done)
                outcome.replaced.push_back(group);
        } catch (const std::bad_alloc&) {
            throw;
        } catch (...) {
            const std::string cause = causeOfCurrentException();
            logCaught(cause, folder / fileNameOf(group));
            outcome.due[group] = cause.empty() ? "Unknown" : cause;
        }
    keepDue(folder, files, outcome);
    outcome.stamp = varnek::files::FileStamp::of(pending);
    return outcome;
}

PendingOutcome finishPendingFilesAlone(const std::filesystem::path& folder) {
    if (isFinishing)
        return {};
    if (!isSettingsSavingTurnedOn())
        return allStayDue(folder, "saving is switched off");
    const FolderLock othersOut(folder); // where a file system knows no locks, it goes on without
    if (othersOut.isTimeUp())
        return allStayDue(folder, "other files of \"" + folder.string() + "\" are being saved");
    return finishPendingFiles(folder);
}

} // namespace settings::core::detail
