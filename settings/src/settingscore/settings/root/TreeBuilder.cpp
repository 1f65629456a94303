#include "settingscore/settings/root/TreeBuilder.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/file/prefdirWriter.hpp"
#include "settingscore/settings/level/TreeFolders.hpp"
#include "settingscore/settings/root/ChangedDefinitions.hpp"
#include "settingscore/settings/root/SettingsRenamesFile.hpp"
#include "settingscore/settings/root/Toolboxes.hpp"
#include "settingscore/settings/upgrade/UserSettingsUpgrade.hpp"
#include "varnek/files/PathText.hpp"

#include <boost/make_shared.hpp>

namespace settings::core::detail {

namespace {

void takeRenames(const std::filesystem::path& factoryFolder, LoadProblems& problems) {
    try {
        if (auto rows = readSettingsRenames(factoryFolder))
            setSettingsRenames(std::move(*rows));
    } catch (const std::exception& failure) {
        problems.add("", {renamesFileOf(factoryFolder).string(), failure.what()});
    }
}

/// Groups that have no definition but a file.
void loadAddedGroups(const SettingsRootStateMgr& tree) {
    LevelFileKeeper& files = *tree.files;
    for (const NodePtr& group : files.loadAddedGroups(tree.root, LevelIndex::installation))
        files.loadLevel(group, LevelIndex::user, LevelFileKeeper::Telling::no);
    files.loadAddedGroups(tree.root, LevelIndex::user);
    for (const LevelFileStatus& status : files.allStatuses())
        tree.toolboxes->noteFile(status);
}

} // namespace

boost::shared_ptr<SettingsRootStateMgr> emptyTree(const RootIndex& index,
                                                  const boost::shared_ptr<EventDelivery>& events) {
    auto state = boost::make_shared<SettingsRootStateMgr>();
    state->files = boost::make_shared<LevelFileKeeper>(
        [index](LevelIndex level) { return varnek::files::pathFromUtf16(levelFolder(index, level)); },
        &prefdirWriter);
    state->upgrade = std::make_shared<UserSettingsUpgrade>();
    state->files->setUpgrade(state->upgrade);
    TreeContext context;
    context.rootIndex = index;
    context.connected = true;
    context.saves = state->files;
    context.events = events;
    state->root = SettingsImplRoot::make(std::move(context));
    state->toolboxes = std::make_shared<Toolboxes>(state->files, state->upgrade, state->root);
    state->root->setToolboxes(state->toolboxes);
    state->upgrade->setFactoryChangesReader(
        [toolboxes = std::weak_ptr(state->toolboxes)](const std::string& group) {
            const auto alive = toolboxes.lock();
            return alive == nullptr ? std::nullopt : alive->changesOf(group);
        });
    return state;
}

boost::shared_ptr<SettingsRootStateMgr> buildTree(const RootIndex& index,
                                                  const std::filesystem::path& factoryFolder,
                                                  const boost::shared_ptr<EventDelivery>& events) {
    auto tree = emptyTree(index, events);
    if (!factoryFolder.empty())
        takeRenames(factoryFolder, tree->toolboxes->problems());
    tree->root->buildSettingsTree(factoryFolder);
    loadAddedGroups(*tree);
    loadGroupsWithChangedDefinitions(*tree);
    return tree;
}

std::vector<LoadProblem> problemsOf(const SettingsRootStateMgr& tree) {
    return tree.toolboxes == nullptr ? std::vector<LoadProblem>() : tree.toolboxes->problems().all();
}

} // namespace settings::core::detail
