#include "settingscore/PersonalFileWatch.hpp"

#include "settingscore/events/UpdatePrefdirEvent.hpp"
#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/root/PersonalFiles.hpp"
#include "settingscore/settings/root/TreesOnDemand.hpp"
#include "varnek/event/EventManager.hpp"
#include "varnek/files/FolderWatch.hpp"

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

/// One folder, while the watch lives: it may become that of the personal files again.
class FollowedFolder {
  public:
    FollowedFolder(const std::filesystem::path& folder, const RootIndex& index)
        : watch_(folder, [this, index](const FolderChanges& changes) {
              isCaughtUp_.wait();
              takeOverPersonalFiles(*treeOf(index), changes);
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
        takeOverPersonalFiles(*tree, {{}, true}); // after the watch began, so that nothing falls in between
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
