#include "settingscore/settings/root/TreesOnDemand.hpp"

#include "settingscore/SettingsSaving.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/level/TreeFolders.hpp"
#include "settingscore/settings/root/TreeBuilder.hpp"
#include "varnek/files/PathText.hpp"

namespace settings::core::detail {

namespace {

bool isBuiltOnDemand(const RootIndex& index) {
    return index.namesTree() && index.buildsOnDemand() && index.index() == DefaultRootIndex().index();
}

} // namespace

TreesOnDemand& TreesOnDemand::instance() {
    static auto* const instance = new TreesOnDemand;
    return *instance;
}

boost::shared_ptr<SettingsRootStateMgr> TreesOnDemand::find(const RootIndex& index) {
    RootStates& states = RootStates::instance();
    if (index.namesTree())
        if (auto state = states.find(index.index()))
            return state;
    if (!isBuiltOnDemand(index))
        throw VARNEK::settings::core::SettingsLibraryNotInitialized("getSettingsRoot(" +
                                                                    std::to_string(index.index()) + ")");
    const std::lock_guard lock(building_);
    if (auto state = states.find(index.index()))
        return state; // another thread has built it, or was just replacing it
    auto state = build(index, nullptr);
    states.insert(index.index(), state);
    return state;
}

boost::shared_ptr<SettingsRootStateMgr> TreesOnDemand::rebuild(const RootIndex& index) {
    RootStates& states = RootStates::instance();
    waitForSettingsSaves(); // the new tree reads what the old one holds; the thread may ask for the tree
    boost::shared_ptr<SettingsRootStateMgr> before; // let go after the lock
    const std::lock_guard lock(building_);
    before = states.find(index.index());
    auto state = build(index, before == nullptr ? nullptr : before->root->treeContext()->events);
    states.erase(index.index()); // whoever finds nothing waits for the lock
    states.insert(index.index(), state);
    return state;
}

bool TreesOnDemand::createEmpty(const RootIndex& index) {
    if (!index.namesTree())
        return false;
    const std::lock_guard lock(building_);
    return RootStates::instance().insert(index.index(), emptyTree(index));
}

boost::shared_ptr<SettingsRootStateMgr> TreesOnDemand::build(const RootIndex& index,
                                                             const boost::shared_ptr<EventDelivery>& events) {
    BuiltTree tree =
        buildTree(index, varnek::files::pathFromUtf16(levelFolder(index, LevelIndex::factory)), events);
    const std::lock_guard lock(problemsMutex_);
    problems_[index.index()] = std::move(tree.problems);
    return std::move(tree.state);
}

std::vector<LoadProblem> TreesOnDemand::problems(const RootIndex& index) {
    const std::lock_guard lock(problemsMutex_);
    const auto found = problems_.find(index.index());
    return found == problems_.end() ? std::vector<LoadProblem>() : found->second;
}

} // namespace settings::core::detail
