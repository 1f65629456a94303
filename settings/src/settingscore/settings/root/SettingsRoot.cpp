#include "settingscore/SettingsRoot.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/level/SettingsLevelManager.hpp"
#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/root/TreeBuilder.hpp"
#include "varnek/files/PathText.hpp"

#include <map>
#include <mutex>

namespace settings::core::detail {

namespace {

/// Builds trees on demand, one at a time; the disk is read under its lock, so that the first callers wait for
/// one.
class OnDemand {
  public:
    boost::shared_ptr<SettingsRootStateMgr> find(const RootIndex& index) {
        if (index.namesTree())
            if (auto state = RootStates::instance().find(index.index()))
                return state;
        if (!index.namesTree() || !index.buildsOnDemand() || index.index() != DefaultRootIndex().index())
            throw VARNEK::settings::core::SettingsLibraryNotInitialized("getSettingsRoot(" +
                                                                        std::to_string(index.index()) + ")");
        const std::lock_guard lock(building_);
        if (auto state = RootStates::instance().find(index.index()))
            return state;
        const auto& factory = SettingsLevelManager::getSettingsLevelObjs()[position(LevelIndex::factory)];
        BuiltTree tree = buildTree(index, varnek::files::pathFromUtf16(factory.levelRootPath()));
        {
            const std::lock_guard problemsLock(problemsMutex_);
            problems_[index.index()] = std::move(tree.problems);
        }
        RootStates::instance().insert(index.index(), tree.state);
        return tree.state;
    }

    std::vector<LoadProblem> problems(const RootIndex& index) {
        const std::lock_guard lock(problemsMutex_);
        const auto found = problems_.find(index.index());
        return found == problems_.end() ? std::vector<LoadProblem>() : found->second;
    }

  private:
    std::mutex building_;
    std::mutex problemsMutex_;
    std::map<std::int32_t, std::vector<LoadProblem>> problems_;
};

OnDemand& trees() {
    static auto* const instance = new OnDemand; // never destroyed
    return *instance;
}

} // namespace

boost::shared_ptr<Settings> getSettingsRoot(const RootIndex& index) {
    return trees().find(index)->root->getThisObject();
}

std::vector<LoadProblem> getLoadProblems(const RootIndex& index) {
    return trees().problems(index);
}

} // namespace settings::core::detail

namespace settings::standalone {

boost::shared_ptr<core::Settings> getSettingsRoot() {
    static const auto& root = *new auto([] {
        core::detail::TreeContext context;
        context.rootIndex = core::DefaultRootIndex();
        return core::detail::SettingsImplRoot::make(std::move(context));
    }());
    return root->getThisObject();
}

} // namespace settings::standalone
