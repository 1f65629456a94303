#include "settingscore/settings/file/PrefdirFileAccess.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/level/SettingsLevelManager.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "settingscore/settings/level/LevelFolders.hpp"
#include "settingscore/settings/node/LevelCheck.hpp"
#include "settingscore/settings/settingsPathUtil.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/Folder.hpp"
#include "varnek/files/PathText.hpp"

#include <unistd.h>

#include <cstdlib>

namespace settings::core::detail {

namespace {

bool isWritableFolder(const std::filesystem::path& folder) {
    return ::access(folder.c_str(), W_OK | X_OK) == 0;
}

/// However many separators are at its end.
std::filesystem::path normal(const std::filesystem::path& folder) {
    auto path = folder.lexically_normal();
    return path.has_filename() ? path : path.parent_path();
}

} // namespace

void createMissingFolder(const std::filesystem::path& folder) {
    std::error_code ignored;
    if (std::filesystem::exists(folder, ignored))
        return;
    requireIfPreferencesDirectory(folder); // a new one would count as filled at the next start
    try {
        varnek::files::createFolders(folder);
    } catch (const std::exception& failure) {
        VARNEK_LOG(fileLog, warning) << failure.what();
        const char* const named = std::getenv("SETTINGS_USERDIR");
        if (named != nullptr && *named != '\0' &&
            normal(folder) == normal(varnek::files::pathFromUtf16(userFolder())))
            throw VARNEK::settings::core::SettingsUserDirectoryNotExist();
    }
}

PrefdirFileAccess::PrefdirFileAccess(LevelIndex level, NodePtr group, std::filesystem::path filePath,
                                     FileWriterFunction writer, bool keepsMore)
    : SettingsFileAccess(std::move(filePath)), level_(level), group_(std::move(group)),
      writer_(std::move(writer)), keepsMore_(keepsMore) {}

bool PrefdirFileAccess::skip(SaveOutcome why) {
    setOutcome(why);
    return false;
}

bool PrefdirFileAccess::hasSomethingToPersist() const {
    if (group_->originLevel() == LevelIndex::session)
        return false; // such a group never reaches a file
    if (keepsMore_ || group_->hasAnythingToPersist(level_))
        return true;
    const auto tree = group_->treeContext();
    return tree != nullptr && tree->fileTree;
}

bool PrefdirFileAccess::checkBeforeSaving() {
    const SettingsLevel& level = SettingsLevelManager::getSettingsLevelObjs()[position(level_)];
    if (!level.canHaveFile())
        return skip(SaveOutcome::levelWithoutFile);
    checkModifiableLevel(
        level.levelName(), [this] { return involvedObject(); },
        group_ == nullptr ? RootIndex(InvalidRootIndex()) : group_->getRootIndex());
    if (group_ == nullptr) {
        VARNEK_LOG(fileLog, info) << "EXIT  SettingsFile::saveSettings(), nothing to save";
        return skip(SaveOutcome::nothingToSave);
    }
    if (!hasSomethingToPersist())
        return skip(SaveOutcome::nothingToSave);
    const std::filesystem::path folder = filePath().parent_path();
    if (level.isUserLevel())
        createMissingFolder(folder);
    if (!isWritableFolder(folder)) {
        VARNEK_LOG(fileLog, warning) << "EXIT settingsFile::saveSettingsFileAccess(), no write permission ";
        return skip(SaveOutcome::notWritable);
    }
    return true;
}

std::optional<std::string> PrefdirFileAccess::content() {
    SaveOutcome outcome = SaveOutcome::unchanged;
    auto bytes = writer_(group_, filePath(), levelName(level_), outcome);
    if (!bytes)
        setOutcome(outcome);
    return bytes;
}

std::string PrefdirFileAccess::description() const {
    return "SaveObj : " + (group_ == nullptr ? std::string() : group_->getName()) +
           "Level : " + std::string(levelName(level_));
}

unsigned PrefdirFileAccess::fileMode() const {
    // Everybody reads the installation's settings; personal ones are nobody else's business.
    return level_ == LevelIndex::user ? 0600 : 0644;
}

exception::ObjectHandle PrefdirFileAccess::involvedObject() const {
    return group_ == nullptr ? nullptr : group_->getThisObjectImpl();
}

} // namespace settings::core::detail
