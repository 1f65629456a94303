#include "settingscore/settings/root/ChangedDefinitions.hpp"

#include "opc/Limits.hpp"
#include "settingscore/Settings.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/root/RootLog.hpp"
#include "settingscore/settings/root/Toolboxes.hpp"
#include "settingscore/settings/upgrade/UserSettingsUpgrade.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/FileReplacement.hpp"
#include "varnek/files/FileStamp.hpp"
#include "varnek/files/Folder.hpp"
#include "json/Parser.hpp"
#include "json/Writer.hpp"

namespace settings::core::detail {

namespace {

namespace files = varnek::files;
namespace json = varnek::json;

constexpr std::string_view noteFile = ".definitions.json";

/// What tells one state of the group's factory files from another.
std::string stampOf(const std::vector<ToolboxSources::FactoryFile>& factoryFiles) {
    std::string text;
    for (const ToolboxSources::FactoryFile& file : factoryFiles) {
        const auto stamp = files::FileStamp::of(file.path);
        text += std::to_string(stamp.fileNumber) + ':' + std::to_string(stamp.bytes) + ':' +
                std::to_string(stamp.modified) + ';';
    }
    return text;
}

/// Nothing for a note that is missing or wrong: everything counts as changed then.
json::Object readNote(const std::filesystem::path& folder) {
    try {
        return json::parseObject(files::readFile(folder / noteFile, opc::limits::partBytes));
    } catch (const std::exception&) {
        return {};
    }
}

/// What the next start compares with is there for the next start's sake only.
void writeNote(const std::filesystem::path& folder, const json::Object& note) {
    if (!isSettingsSavingTurnedOn())
        return;
    try {
        files::replaceFile(folder / noteFile, json::writeIndented(json::Value(note)) + "\n",
                           {.temporaryDirectoryRoot = {}, .mode = 0600});
    } catch (const std::exception& failure) {
        VARNEK_LOG(rootLog, debug) << failure.what();
    }
}

class Pass {
  public:
    Pass(const SettingsRootStateMgr& tree, std::filesystem::path folder)
        : tree_(tree), folder_(std::move(folder)), note_(readNote(folder_)) {}

    void run() {
        bool isChanged = false;
        for (const std::filesystem::path& file : files::listFiles(folder_, Settings::settingsExtension))
            isChanged = take(groupNameOf(file)) || isChanged;
        if (isChanged)
            writeNote(folder_, note_);
    }

  private:
    /// Whether the note has changed.
    bool take(const std::string& group) {
        const auto factoryFiles = tree_.toolboxes->sources().factoryFiles(group);
        if (factoryFiles.empty())
            return false;
        const std::string stamp = stampOf(factoryFiles);
        const json::Value* before = note_.find(group);
        if (before != nullptr && before->isString() && before->asString() == stamp)
            return false;
        if (!load(group))
            return false;
        note_.set(group, stamp);
        return true;
    }

    bool load(const std::string& group) const {
        try {
            if (tree_.root->getChild(group, true) == nullptr)
                return false;
        } catch (...) { // it is known for whoever needs the group
            return false;
        }
        return tree_.files->status(group, LevelIndex::user).loaded == LoadOutcome::ok &&
               tree_.upgrade->isComplete(group, tree_.files->versionRecord(group, LevelIndex::user));
    }

    const SettingsRootStateMgr& tree_;
    const std::filesystem::path folder_;
    json::Object note_;
};

} // namespace

void loadGroupsWithChangedDefinitions(const SettingsRootStateMgr& tree) {
    const std::filesystem::path folder = tree.files->fileOf("any", LevelIndex::user).parent_path();
    try {
        if (!folder.empty())
            Pass(tree, folder).run();
    } catch (const files::FileError& failure) {
        if (failure.kind() != files::FileErrorKind::notFound)
            VARNEK_LOG(rootLog, error) << failure.what();
    }
}

} // namespace settings::core::detail
