#include "settingscore/PersonalFileWatch.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/events/UpdatePrefdirEvent.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/root/RootStates.hpp"
#include "settingscore/settings/root/Toolboxes.hpp"
#include "settingscore/settings/root/TreesOnDemand.hpp"
#include "varnek/event/EventManager.hpp"
#include "varnek/files/FolderWatch.hpp"

#include <algorithm>
#include <filesystem>
#include <latch>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace settings::core {

namespace {

using namespace detail;
using varnek::files::FolderChanges;

/// The tree as it is now: another one may be built in its place.
boost::shared_ptr<SettingsRootStateMgr> treeOf(const RootIndex& index) {
    return TreesOnDemand::instance().find(index);
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

/// One folder, while the watch lives: it may become that of the personal files again.
class FollowedFolder {
  public:
    FollowedFolder(const std::filesystem::path& folder, const RootIndex& index)
        : watch_(folder, [this, index](const FolderChanges& changes) {
              isCaughtUp_.wait();
              takeOver(*treeOf(index), changes);
          }) {}
    FollowedFolder(const FollowedFolder&) = delete;
    FollowedFolder& operator=(const FollowedFolder&) = delete;
    ~FollowedFolder() { catchUp(); } // also when that has failed: the thread is to end

    /// From now on the thread takes changes over.
    void catchUp() noexcept {
        if (!std::exchange(isOpen_, true))
            isCaughtUp_.count_down();
    }

  private:
    std::latch isCaughtUp_{1}; // one thread at a time takes over what there is at the beginning
    bool isOpen_ = false;
    varnek::files::FolderWatch watch_;
};

} // namespace

struct PersonalFileWatch::State {
    explicit State(const RootIndex& of) : index(of) {
        treeOf(index); // raises what there is to raise
        moves = varnek::event::EventManager::instance().subscribe(
            u"settings::core::UpdatePrefdirEvent", [this](const varnek::event::EventHandle& event) {
                const auto* move = dynamic_cast<const UpdatePrefdirEvent*>(event.get());
                if (move != nullptr && move->getRootIndex().index() == index.index())
                    follow();
            });
        try {
            follow();
        } catch (...) {
            moves.disconnectAndWait();
            throw;
        }
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() { moves.disconnectAndWait(); }

    void follow() {
        const auto tree = treeOf(index);
        const auto folder = tree->files->fileOf("any", LevelIndex::user).parent_path();
        auto fresh = folder.empty() ? nullptr : std::make_unique<FollowedFolder>(folder, index);
        takeOver(*tree, {{}, true}); // after the watch began, so that nothing falls in between
        if (fresh == nullptr)
            return;
        fresh->catchUp();
        const std::lock_guard lock(mutex);
        folders.try_emplace(folder, std::move(fresh)); // one that is there goes on
    }

    const RootIndex index;
    std::mutex mutex;                                                         // rank "followed folders"
    std::map<std::filesystem::path, std::unique_ptr<FollowedFolder>> folders; // guarded by mutex
    varnek::event::Connection moves;
};

PersonalFileWatch::PersonalFileWatch(const RootIndex& index) : state_(std::make_unique<State>(index)) {}
PersonalFileWatch::~PersonalFileWatch() = default;

} // namespace settings::core
