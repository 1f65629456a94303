/// The part of a tree that a file holds, taken from its nodes.
#pragma once

#include "settingscore/level/LevelIndex.hpp"
#include "settingscore/settings/file/SettingsFileContent.hpp"
#include "settingscore/settings/node/SettingsNodeImpl.hpp"

namespace settings::core::detail {

/// `group` with its subtree as the file of `level` holds it: the settings that have a value on the level or
/// were added on it; at "factory" all that factory definitions made, with their definitions, and outside any
/// tree what was added, with its value. Groups that exist for this session only are left out with everything
/// below them, and, in a tree that stands for one file, groups that have nothing to persist.
///
/// Thread-safe and without locks: each value is taken as it stands when it is reached.
GroupRecord snapshotOf(const NodePtr& group, LevelIndex level);

/// The group itself without settings and child groups.
GroupRecord shellOf(const NodePtr& group, LevelIndex level);

/// One setting, or nothing when the file of that level has nothing to say about it.
std::optional<SettingRecord> snapshotOfSetting(const NodePtr& setting, LevelIndex level);

} // namespace settings::core::detail
