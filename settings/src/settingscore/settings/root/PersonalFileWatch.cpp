#include "settingscore/PersonalFileWatch.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/SettingsRoot.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/root/RootStates.hpp"
#include "varnek/files/FolderWatch.hpp"

#include <algorithm>
#include <latch>
#include <optional>

namespace settings::core {

namespace {

using namespace detail;
using varnek::files::FolderChanges;
using Tree = boost::shared_ptr<SettingsRootStateMgr>;

Tree requireTree(const RootIndex& index) {
    getSettingsRoot(index); // raises what there is to raise
    return RootStates::instance().find(index.index());
}

bool concerns(const FolderChanges& changes, const NodePtr& group) {
    return changes.isEverything ||
           std::binary_search(changes.names.begin(), changes.names.end(), fileNameOf(group->getName()));
}

void takeOver(const SettingsRootStateMgr& tree, const FolderChanges& changes) {
    const std::vector<NodePtr> groups = tree.root->getChildren();
    for (const NodePtr& group : groups) {
        if (!concerns(changes, group) || !tree.files->mayHaveChanged(group->getName(), LevelIndex::user))
            continue;
        try {
            tree.files->loadLevel(group, LevelIndex::user);
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

} // namespace

struct PersonalFileWatch::State {
    explicit State(const Tree& tree) {
        const auto folder = tree->files->fileOf("any", LevelIndex::user).parent_path();
        if (!folder.empty())
            watch.emplace(folder, [this, tree](const FolderChanges& changes) {
                isCaughtUp.wait();
                takeOver(*tree, changes);
            });
        const Opening whatComesLater{isCaughtUp}; // also when this fails: the thread is to end
        takeOver(*tree, {{}, true});              // after the watch began, so that nothing falls in between
    }

    struct Opening {
        std::latch& latch;
        ~Opening() { latch.count_down(); }
    };

    std::latch isCaughtUp{1}; // one thread at a time takes changes over
    std::optional<varnek::files::FolderWatch> watch;
};

PersonalFileWatch::PersonalFileWatch(const RootIndex& index)
    : state_(std::make_unique<State>(requireTree(index))) {}
PersonalFileWatch::~PersonalFileWatch() = default;

} // namespace settings::core
