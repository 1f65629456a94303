#include "settingscore/settings/root/PersonalFiles.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/root/Toolboxes.hpp"

#include <algorithm>

namespace settings::core::detail {

using varnek::files::FolderChanges;

namespace {

bool concerns(const FolderChanges& changes, const NodePtr& group) {
    return changes.isEverything ||
           std::binary_search(changes.names.begin(), changes.names.end(), fileNameOf(group->getName()));
}

} // namespace

void takeOverPersonalFiles(const SettingsRootStateMgr& tree, const FolderChanges& changes) {
    const std::vector<NodePtr> groups = tree.root->getChildren();
    for (const NodePtr& group : groups) {
        if (boost::dynamic_pointer_cast<SettingsImpl>(group) == nullptr) // of another process
            continue;
        if (!concerns(changes, group) || !tree.files->mayHaveChanged(group->getName(), LevelIndex::user))
            continue;
        try {
            tree.files->loadLevel(group, LevelIndex::user);
            if (tree.toolboxes != nullptr)
                tree.toolboxes->noteFile(tree.files->status(group->getName(), LevelIndex::user));
        } catch (...) { // the other files are read all the same
            VARNEK_LOG(fileLog, error) << "Exception caught: " << causeOfCurrentException();
        }
    }
    const auto isOfNoGroup = [&](const std::string& name) {
        return name.ends_with(Settings::settingsExtension) &&
               tree.root->getChild(groupNameOf(name), false) == nullptr;
    };
    if (changes.isEverything || std::any_of(changes.names.begin(), changes.names.end(), isOfNoGroup))
        tree.files->loadAddedGroups(tree.root, LevelIndex::user, true);
}

void handOver(const SettingsRootStateMgr& before, const SettingsRootStateMgr& after,
              LateEvents& events) noexcept {
    const auto attempt = [](const auto& step) {
        try {
            step();
        } catch (...) {
            VARNEK_LOG(fileLog, error) << "Exception caught: " << causeOfCurrentException();
        }
    };
    attempt([&] { after.files->inheritFrom(*before.files); });
    attempt([&] {
        for (const NodePtr& group : after.root->getChildren())
            if (const auto declared = boost::dynamic_pointer_cast<DeclaredGroup>(group);
                declared == nullptr || declared->isLoaded()) // others are read when somebody needs them
                attempt([&] { after.files->catchUp(group, events); });
    });
}

} // namespace settings::core::detail
