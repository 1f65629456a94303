#include "settingscore/settings/upgrade/PendingFiles.hpp"

#include "opc/PackageError.hpp"
#include "opc/model/Package.hpp"
#include "opc/qfservices/CorePropertiesManager.hpp"
#include "opc/qfservices/FileSystemManager.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/PresentFile.hpp"
#include "settingscore/settings/file/SettingsFileAccess.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/settingsFile.hpp"
#include "settingscore/settings/upgrade/UpgradeLog.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/FileReplacement.hpp"
#include "varnek/files/PathText.hpp"

#include <unistd.h>

namespace settings::core::detail {

namespace {

using opc::model::Package;
using opc::qfservices::FileSystemManager;

std::filesystem::path pendingIn(const std::filesystem::path& folder) {
    return folder / "upgrade.pending";
}

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

/// Every new content has a higher revision than the one that it replaces.
bool isStillDue(const std::filesystem::path& file, const std::string& bytes) {
    const PresentFile present = PresentFile::at(file);
    switch (present.state) {
    case PresentFile::State::absent:
        return true;
    case PresentFile::State::plain:
        break;
    case PresentFile::State::unreadable:
        throw std::runtime_error(present.message);
    default:
        return false; // somebody else has put something there
    }
    const Package due = Package::openBytes(bytes, file);
    return present.revision < opc::qfservices::CorePropertiesManager(due).getCoreProperties().revision;
}

/// Whether it is done; false: not now. Raises what keeps it from being done.
bool replace(const std::filesystem::path& file, const std::string& bytes, std::vector<std::string>& groups) {
    if (!isStillDue(file, bytes))
        return true;
    GivenFileAccess access(file, bytes);
    if (saveSettingsFile(access) != SaveOutcome::saved)
        return false;
    groups.push_back(groupNameOf(file));
    return true;
}

} // namespace

void makeDue(const std::filesystem::path& folder, const NewFiles& files) {
    const Package package = Package::create();
    FileSystemManager parts(package);
    for (const auto& [group, bytes] : files)
        parts.addFile(varnek::files::messageUtf16("/" + fileNameOf(group)), bytes,
                      "application/octet-stream");
    varnek::files::replaceFile(pendingIn(folder), package.toBytes());
}

bool hasPendingFiles(const std::filesystem::path& folder) {
    return !folder.empty() && ::access(pendingIn(folder).c_str(), F_OK) == 0;
}

std::vector<std::string> finishPendingFiles(const std::filesystem::path& folder) {
    const std::filesystem::path pending = pendingIn(folder);
    std::vector<std::string> groups;
    bool isDone = true;
    try {
        const Package package = Package::open(pending);
        const FileSystemManager parts(package);
        for (const auto& part : parts.getChildren(u"/")) {
            const std::string name = varnek::files::messageUtf8(part.getPathName()).substr(1);
            if (part.isFolder() || fileNameOf(groupNameOf(name)) != name)
                continue;
            isDone =
                replace(folder / name, *parts.getFileContentSource(part.getPathName()), groups) && isDone;
        }
    } catch (const opc::OpenError& failure) {
        if (failure.kind() == opc::ErrorKind::notFound)
            return groups; // somebody was quicker
        isDone = !failure.isPassing();
        VARNEK_LOG(upgradeLog, error) << "Exception caught: " << failure.what();
    } catch (...) {
        isDone = false;
        VARNEK_LOG(upgradeLog, error) << "Exception caught: " << causeOfCurrentException();
    }
    try {
        if (isDone)
            varnek::files::removeFile(pending);
    } catch (...) { // done twice does no harm
        VARNEK_LOG(upgradeLog, warning) << causeOfCurrentException();
    }
    return groups;
}

} // namespace settings::core::detail
