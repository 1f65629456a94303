// How the keeper of level files follows: to another folder, and, for a tree that takes the place of another
// one, what that one has not saved yet.

#include "settingscore/settings/file/ExternalChanges.hpp"
#include "settingscore/settings/file/LevelFileState.hpp"
#include "settingscore/settings/file/TreeLoader.hpp"
#include "settingscore/settings/file/TreeSnapshot.hpp"

#include <utility>

namespace settings::core::detail {

// ---- another folder ----

/// What was taken from the file in the old folder is what the file in the new one is compared with.
void LevelFileKeeper::moveBase(const Key& key, const std::filesystem::path& file) {
    auto taken = takenBefore(key);
    const auto folder = varnek::files::FileStamp::of(file.parent_path());
    const std::lock_guard lock(mutex_);
    FileState& state = stateOf(key);
    state.forgetContent();
    state.base = std::make_shared<const GroupRecord>(taken ? std::move(*taken) : GroupRecord());
    state.folder = folder;
    if (state.status.isMarked) // whatever kept it from the old folder
        anySkipped_ = state.isSkipped = true;
}

void LevelFileKeeper::followFolder(LevelIndex level, const std::filesystem::path& folder) {
    const std::lock_guard lock(mutex_);
    followed_[level] = folder;
}

/// The file's turn is the caller's.
void LevelFileKeeper::followIfMoved(const Key& key, const NodePtr& group, LateEvents& events) {
    const std::filesystem::path file = fileOf(key.first, key.second);
    {
        const std::lock_guard lock(mutex_);
        const auto followed = followed_.find(key.second);
        std::filesystem::path& isOf = stateOf(key).isOf;
        if (isOf.empty()) // nobody has read it, so that it is written here first
            isOf = file;
        if (followed == followed_.end() || followed->second != file.parent_path() || isOf == file)
            return;
    }
    readForTheFolder(key, group, events, Telling::yes);
}

// ---- another tree ----

std::shared_ptr<const LevelFileKeeper::Inherited> LevelFileKeeper::unsavedIn(const Key& key,
                                                                             const NodePtr& group) const {
    auto base = takenBefore(key); // first: what is saved meanwhile counts as unsaved, not the other way round
    return std::make_shared<const Inherited>(
        Inherited{base ? std::move(*base) : GroupRecord(), snapshotOf(group, key.second)});
}

/// The groups whose saves have been asked for and not tried.
std::map<LevelFileKeeper::Key, NodePtr> LevelFileKeeper::pendingSaves() const {
    std::map<Key, NodePtr> pending;
    const std::lock_guard lock(mutex_);
    for (const auto& [key, state] : states_)
        if (state->group != nullptr && !state->isRemoval && state->attempted < state->requested)
            pending.emplace(key, state->group);
    return pending;
}

/// The same, and no others come.
std::map<LevelFileKeeper::Key, NodePtr> LevelFileKeeper::endRequests() {
    {
        const std::lock_guard lock(mutex_);
        isReplaced_ = true;
    }
    return pendingSaves();
}

void LevelFileKeeper::inheritFrom(LevelFileKeeper& before) {
    for (const auto& [key, group] : before.endRequests()) {
        auto unsaved = before.unsavedIn(key, group);
        const std::lock_guard lock(mutex_);
        stateOf(key).inherited = std::move(unsaved);
    }
}

std::shared_ptr<const LevelFileKeeper::Inherited> LevelFileKeeper::inheritedOf(const Key& key) const {
    const std::lock_guard lock(mutex_);
    return stateOf(key).inherited;
}

/// Where there is no file yet.
void LevelFileKeeper::loadInherited(const Key& key, const NodePtr& group, LateEvents* events) {
    const auto inherited = inheritedOf(key);
    if (inherited == nullptr)
        return;
    const LoadRules rules{
        .level = key.second, .isSecret = false, .makeNode = makePlainNode, .events = events};
    loadIntoTree(withChanges({}, inherited->base, inherited->tree), group, rules);
}

void LevelFileKeeper::catchUp(const NodePtr& topLevelGroup, LateEvents& events) {
    for (const LevelIndex level : {LevelIndex::user, LevelIndex::installation}) {
        const Key key(topLevelGroup->getName(), level);
        inTurn(key, [&] {
            if (mayHaveChanged(key.first, level))
                readForTheFolder(key, topLevelGroup, events, Telling::yes);
            const auto inherited = inheritedOf(key);
            if (inherited == nullptr)
                return;
            // The file may hold what is being saved at the moment: the changes count on top of that.
            const GroupRecord now = takenBefore(key).value_or(GroupRecord());
            GroupRecord rest =
                takeOverChanges(now, withChanges(now.clone(), inherited->base, inherited->tree),
                                topLevelGroup, level, events);
            takeUp(topLevelGroup, level, std::move(rest), events);
        });
    }
}

bool LevelFileKeeper::forgetInherited(const LevelFileKeeper& before) {
    const auto pending = before.pendingSaves();
    bool isAllForgotten = true;
    const std::lock_guard lock(mutex_);
    for (const auto& [key, state] : states_) {
        if (!pending.contains(key))
            state->inherited = nullptr;
        isAllForgotten = isAllForgotten && state->inherited == nullptr;
    }
    return isAllForgotten;
}

} // namespace settings::core::detail
