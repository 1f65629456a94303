#include "settingscore/settings/root/TreesOnDemand.hpp"

#include "settingscore/SettingsSaving.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/file/prefdirWriter.hpp"
#include "settingscore/settings/level/TreeFolders.hpp"
#include "settingscore/settings/root/ChangedDefinitions.hpp"
#include "settingscore/settings/root/DefinesHere.hpp"
#include "settingscore/settings/root/PersonalFiles.hpp"
#include "settingscore/settings/root/RootLog.hpp"
#include "settingscore/settings/root/Toolboxes.hpp"
#include "settingscore/settings/root/TreeBuilder.hpp"
#include "settingscore/settings/root/TreeStart.hpp"
#include "varnek/files/PathText.hpp"

#include <atomic>
#include <memory>

namespace settings::core::detail {

namespace {

bool isBuiltOnDemand(const RootIndex& index) {
    return index.namesTree() && index.buildsOnDemand() && index.index() == DefaultRootIndex().index();
}

/// What is about the building of trees; may be null.
std::atomic<TreeStart*> treeStart{nullptr};

/// Null for trees other than the application's.
TreeStart* startOf(const RootIndex& index) {
    return index.index() == DefaultRootIndex().index() ? treeStart.load() : nullptr;
}

std::string asking(const RootIndex& index) {
    return "getSettingsRoot(" + std::to_string(index.index()) + ")";
}

[[noreturn]] void refuse(const RootIndex& index) {
    throw VARNEK::settings::core::SettingsLibraryNotInitialized(asking(index));
}

/// Bundles that start while the tree is built must not ask for it.
void refuseWhereTreesAreBuilt(const RootIndex& index) {
    if (BuildsHere::isSo())
        refuse(index);
}

/// The personal files may be in another folder than the one that was theirs when the building began: whoever
/// moved them could not find the tree.
bool followIfMoved(const SettingsRootStateMgr& tree, const RootIndex& index, const std::u16string& before) {
    const std::u16string now = levelFolder(index, LevelIndex::user);
    if (now == before)
        return false;
    tree.files->followFolder(LevelIndex::user, varnek::files::pathFromUtf16(now));
    return true;
}

/// Of a tree that can be found already, and so goes on.
void readAgain(const SettingsRootStateMgr& tree) {
    try {
        takeOverPersonalFiles(tree, {{}, true});
        loadGroupsWithChangedDefinitions(tree);
    } catch (...) {
        VARNEK_LOG(rootLog, error) << "Exception caught: " << causeOfCurrentException();
    }
}

using Tree = boost::shared_ptr<SettingsRootStateMgr>;

/// What came into the files while the old tree was the one to be found, and what it has handed over. The
/// thread that writes that cannot wait for it: it reads once more when it has tried everything.
void readWhatWasSaved(const Tree& before, const Tree& after) {
    readAgain(*after);
    if (before == nullptr || after->files->forgetInherited(*before->files))
        return;
    try {
        if (PrefdirFileWriterQueue* const writer = prefdirWriter())
            writer->whenAllIsTried([before, after] { readWhatWasSaved(before, after); });
    } catch (const std::exception& failure) { // that thread has ended
        VARNEK_LOG(rootLog, error) << "Exception caught: " << failure.what();
    }
}

} // namespace

void setTreeStart(TreeStart* start) {
    treeStart = start;
}

void requireInitialized(const std::string& operation) {
    if (const TreeStart* start = treeStart.load(); start != nullptr && !start->isInitialized())
        throw VARNEK::settings::core::SettingsLibraryNotInitialized(operation);
}

TreesOnDemand& TreesOnDemand::instance() {
    static auto* const instance = new TreesOnDemand;
    return *instance;
}

boost::shared_ptr<SettingsRootStateMgr> TreesOnDemand::find(const RootIndex& index) {
    if (auto state = existing(index))
        return state;
    if (!isBuiltOnDemand(index))
        refuse(index);
    requireInitialized(asking(index));
    refuseWhereTreesAreBuilt(index);
    TreeStart* const start = startOf(index);
    if (start != nullptr)
        start->prepare();
    const std::u16string folder = levelFolder(index, LevelIndex::user);
    bool isNew = false;
    auto state = findOrBuild(index, folder, isNew);
    if (isNew) {
        if (followIfMoved(*state, index, folder))
            readAgain(*state);
        state->toolboxes->takeServices(); // those that came before the tree could be found
        if (start != nullptr)
            start->treeIsBuilt();
    }
    return state;
}

boost::shared_ptr<SettingsRootStateMgr> TreesOnDemand::existing(const RootIndex& index) {
    if (!index.namesTree())
        return {};
    for (;;) {
        const auto found = RootStates::instance().lookUp(index.index());
        if (!found || *found != nullptr || BuildsHere::isSo())
            return found.value_or(nullptr);
        const std::lock_guard lock(building_); // of whoever exchanges it
    }
}

boost::shared_ptr<SettingsRootStateMgr>
TreesOnDemand::findOrBuild(const RootIndex& index, const std::u16string& folder, bool& isNew) {
    RootStates& states = RootStates::instance();
    const BuildsHere here;
    const std::lock_guard lock(building_);
    if (auto state = states.find(index.index()))
        return state; // another thread has built it, or was just replacing it
    auto state = build(index, nullptr);
    followIfMoved(*state, index, folder); // before anybody can save
    states.insert(index.index(), state);
    isNew = true;
    return state;
}

boost::shared_ptr<SettingsRootStateMgr> TreesOnDemand::rebuild(const RootIndex& index) {
    requireInitialized(asking(index));
    refuseWhereTreesAreBuilt(index);
    RootStates& states = RootStates::instance();
    TreeStart* const start = startOf(index);
    if (start != nullptr)
        start->prepare();                           // it may be the first tree
    boost::shared_ptr<SettingsRootStateMgr> before; // let go last, and without the lock
    auto going = start == nullptr ? nullptr : start->treeGoes();
    waitForSettingsSaves(); // the new tree reads what the old one holds; the thread may ask for the tree
    const std::u16string folder = levelFolder(index, LevelIndex::user);
    LateEvents events; // told after the lock
    boost::shared_ptr<SettingsRootStateMgr> state;
    {
        const BuildsHere here;
        const std::lock_guard lock(building_);
        before = states.find(index.index());
        state = build(index, before == nullptr ? nullptr : before->root->treeContext()->events);
        if (before != nullptr) {
            exchange(index, *before, state, folder, events);
        } else {
            followIfMoved(*state, index, folder); // before anybody can save
            states.insert(index.index(), state);
        }
    }
    followIfMoved(*state, index, folder);
    // Listeners hear of what comes now, and may ask for the tree.
    events.tell();
    waitForSettingsSaves(); // of what the old tree has handed over, too
    readWhatWasSaved(before, state);
    state->toolboxes->takeServices(); // those that came before the tree could be found
    going.reset();
    if (start != nullptr && before == nullptr)
        start->treeIsBuilt();
    return state;
}

/// Nobody finds either tree meanwhile: what is set on the old one after it has handed over what it holds
/// would be lost, and the new one does not have that yet. Whoever looks for the tree waits for the lock.
void TreesOnDemand::exchange(const RootIndex& index, const SettingsRootStateMgr& before,
                             const boost::shared_ptr<SettingsRootStateMgr>& after,
                             const std::u16string& folder, LateEvents& events) {
    RootStates& states = RootStates::instance();
    states.replace(index.index(), nullptr);
    const auto put = [&](const void*) { states.replace(index.index(), after); };
    const std::unique_ptr<const void, decltype(put)> atLast(&before, put); // the old one cannot come back
    before.root->leaveTree();
    handOver(before, *after, events);
    followIfMoved(*after, index, folder); // before anybody can save
}

bool TreesOnDemand::createEmpty(const RootIndex& index) {
    if (!index.namesTree())
        return false;
    requireInitialized(asking(index));
    refuseWhereTreesAreBuilt(index);
    TreeStart* const start = startOf(index);
    if (start != nullptr)
        start->prepare();
    {
        const BuildsHere here;
        const std::lock_guard lock(building_);
        if (!RootStates::instance().insert(index.index(), emptyTree(index)))
            return false;
    }
    if (start != nullptr)
        start->treeIsBuilt();
    return true;
}

boost::shared_ptr<SettingsRootStateMgr> TreesOnDemand::build(const RootIndex& index,
                                                             const boost::shared_ptr<EventDelivery>& events) {
    return buildTree(index, varnek::files::pathFromUtf16(levelFolder(index, LevelIndex::factory)), events);
}

} // namespace settings::core::detail
