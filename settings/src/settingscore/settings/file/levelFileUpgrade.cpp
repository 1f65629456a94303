// How the changes between releases meet the files that the keeper of level files reads.

#include "settingscore/settings/file/LevelFileState.hpp"
#include "settingscore/settings/file/PersonalFileUpgrade.hpp"

#include <utility>

namespace settings::core::detail {

/// What is in the file, brought up to date.
std::optional<LevelFileKeeper::Found> LevelFileKeeper::readUpgraded(const Key& key, const NodePtr& group) {
    auto found = readContent(key);
    if (!found || upgrade_ == nullptr || key.second != LevelIndex::user)
        return found;
    bool isToBeSaved = false;
    switch (upgrade_->upgrade(group, fileOf(key.first, key.second), found->content)) {
    case Upgraded::nothing:
        return found;
    case Upgraded::tooNew:
        found->isOfLaterRelease = true;
        return found;
    case Upgraded::values:
        // What others change later is compared with what the changes between releases have made of the file.
        found->base = std::make_shared<GroupRecord>(found->content.tree.clone());
        isToBeSaved = !found->content.isEncrypted; // that one stays as it is
        break;
    case Upgraded::files:
        found = readContent(key);
        isToBeSaved = found && found->content.tree.isEmpty(); // so that it goes
        break;
    }
    const std::lock_guard lock(mutex_);
    stateOf(key).isUpgraded = isToBeSaved;
    return found;
}

/// Whether the values stand elsewhere than in the file that was read or written before, by changes that were
/// not made here.
bool LevelFileKeeper::isOfAnotherRelease(const Key& key, const Found& found) const {
    const auto position = [](const std::optional<VersionRecord>& of) {
        return of ? std::pair(of->upgraderIndex, of->changeIndex) : std::pair<std::uint64_t, std::uint64_t>();
    };
    const auto now = position(found.content.version);
    const std::lock_guard lock(mutex_);
    const FileState& state = stateOf(key);
    const auto then = position(state.version);
    return !state.isVersionNew && now != then && (found.isOfLaterRelease || now < then);
}

void LevelFileKeeper::upgradeAbsent(const Key& key, const NodePtr& group) {
    if (upgrade_ == nullptr || key.second != LevelIndex::user)
        return;
    auto record = upgrade_->recordOfNewFile(group, fileOf(key.first, key.second));
    const std::lock_guard lock(mutex_);
    FileState& state = stateOf(key);
    if (record && !state.isVersionNew)
        state.version = std::move(record);
}

/// Saves what an upgrade has changed in the file, and reads again what it has written into other groups'
/// files. Without the turn of any file.
void LevelFileKeeper::followUpgrades(const NodePtr& topLevelGroup) {
    if (upgrade_ == nullptr)
        return;
    const NodePtr root = topLevelGroup->getParent();
    for (const std::string& name : upgrade_->takeWrittenGroups()) {
        const NodePtr other = root == nullptr ? NodePtr() : root->getChild(name, false);
        if (other != nullptr && other != topLevelGroup &&
            status(name, LevelIndex::user).loaded != LoadOutcome::notRead)
            loadLevel(other, LevelIndex::user);
    }
    bool isUpgraded = false;
    {
        const std::lock_guard lock(mutex_);
        isUpgraded = std::exchange(stateOf({topLevelGroup->getName(), LevelIndex::user}).isUpgraded, false);
    }
    if (isUpgraded)
        requestSave(topLevelGroup, LevelIndex::user);
}

} // namespace settings::core::detail
