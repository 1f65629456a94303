#include "settingscore/startup/updatePrefdir.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/events/BroadcastEvent.hpp"
#include "settingscore/events/UpdatePrefdirEvent.hpp"
#include "settingscore/prefdir/PreferencesDirectory.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/level/LevelFolders.hpp"
#include "settingscore/settings/prefdir/PrefdirPaths.hpp"
#include "settingscore/settings/prefdir/PrefdirResolution.hpp"
#include "settingscore/settings/root/ChangedDefinitions.hpp"
#include "settingscore/settings/root/DeclaredGroup.hpp"
#include "settingscore/settings/root/RootStates.hpp"
#include "settingscore/settings/root/Toolboxes.hpp"
#include "settingscore/settings/root/TreeStart.hpp"
#include "settingscore/settings/root/TreesOnDemand.hpp"
#include "settingscore/settings/settingsPathUtil.hpp"
#include "settingscore/settings/startup/StartupLog.hpp"
#include "settingscore/settings/startup/UpdatePrefdirCallbacks.hpp"
#include "varnek/files/PathText.hpp"

#include <exception>

namespace settings::core {

namespace {

using namespace detail;
using Tree = boost::shared_ptr<SettingsRootStateMgr>;

constexpr std::string_view reloadedLast = "packages";

/// The user's level finds its folder anew from here on, and files of the trees belong to that.
void followDirectory(const std::u16string& directory) {
    const auto follow = [folder = varnek::files::pathFromUtf16(directory)] {
        for (const Tree& tree : RootStates::instance().all())
            if (tree->files != nullptr)
                tree->files->followFolder(LevelIndex::user, folder);
    };
    follow(); // before a save can find the new folder
    forgetLevelFolders();
    follow(); // a tree that has just been built and found the old one
}

/// With the readiness lock held. Whether the directory is the requested one now.
bool moveTo(const std::u16string& directory) {
    const std::u16string before = getPreferencesDirectoryUStr(false);
    const PendingPreferencesDirectory pending(directory);
    if (directory != before && makeUsable(varnek::files::pathFromUtf16(directory)))
        setPreferencesDirectoryUStr(directory);
    const bool isThere = getPreferencesDirectoryUStr(false) == directory;
    VARNEK_LOG(startupLog, info) << (isThere ? "Updated prefdir location successfully"
                                             : "Could not update prefdir location");
    if (isThere)
        followDirectory(directory);
    return isThere;
}

void reload(const SettingsRootStateMgr& tree, const NodePtr& group) {
    if (tree.toolboxes->localGroup(group->getName()) != group)
        return; // of another process
    if (const auto declared = boost::dynamic_pointer_cast<DeclaredGroup>(group);
        declared != nullptr && !declared->isLoaded())
        return; // what it needs is read when somebody needs it
    VARNEK_LOG(startupLog, info) << "Updated prefdir reload user settings for " << group->getName();
    try {
        tree.files->loadLevel(group, LevelIndex::user);
    } catch (...) { // the others are read all the same
        VARNEK_LOG(startupLog, error) << "Exception caught: " << causeOfCurrentException();
    }
}

void reloadPersonalValues(const SettingsRootStateMgr& tree) {
    NodePtr packages;
    for (const NodePtr& group : tree.root->getChildren()) {
        if (group->getName() == reloadedLast)
            packages = group;
        else
            reload(tree, group);
    }
    if (packages != nullptr)
        reload(tree, packages);
    tree.files->loadAddedGroups(tree.root, LevelIndex::user, true);
    loadGroupsWithChangedDefinitions(tree);
    for (const LevelFileStatus& file : tree.files->allStatuses())
        if (file.level == LevelIndex::user)
            tree.toolboxes->noteFile(file);
}

} // namespace

bool detail::updatePrefdirImpl(const std::string& newPath, const RootIndex& tree, bool isReload, int mode) {
    requireInitialized("updatePrefdir");
    VARNEK_LOG(startupLog, info) << "Attempting to change prefdir location";
    VARNEK_LOG(startupLog, debug) << "mode " << mode << ", reload " << isReload;
    const auto callbacks = UpdatePrefdirCallbacks::instance();
    UpdatePrefdirCallbacks::requireMayChange("updatePrefdir");
    bool isMoved = false;
    std::exception_ptr refusal;
    try {
        const auto directory =
            varnek::files::utf16FromPath(absoluteDirectory(varnek::files::utf16FromPath(newPath)));
        waitForSettingsSaves(); // what was changed so far belongs to the old directory
        const UpdatePrefdirCallbacks::Change change(*callbacks, "updatePrefdir");
        isMoved = moveTo(directory);
    } catch (...) {
        VARNEK_LOG(startupLog, warning) << "Could not update prefdir location";
        refusal = std::current_exception();
    }
    // Whoever has paused goes on.
    if (refusal != nullptr) {
        callbacks->prefdirIsAsBefore();
        std::rethrow_exception(refusal);
    }
    callbacks->prefdirIsReady();
    const Tree state = TreesOnDemand::instance().existing(tree);
    if (!isMoved || !isReload || state == nullptr)
        return isMoved;
    std::exception_ptr failure; // whoever waits for the tree goes on all the same
    try {
        reloadPersonalValues(*state);
    } catch (...) {
        failure = std::current_exception();
    }
    createAndBroadcastEvent<UpdatePrefdirEvent>(tree);
    if (failure == nullptr)
        VARNEK_LOG(startupLog, info) << "Updated settings tree with personal values successfully";
    callbacks->settingsTreeIsReady();
    if (failure != nullptr)
        std::rethrow_exception(failure);
    return true;
}

bool updatePrefdir(const std::string& newPath, const RootIndex& tree, bool reload, int mode) {
    return detail::updatePrefdirImpl(newPath, tree, reload, mode);
}

} // namespace settings::core
