/// What another process has changed in a file since this one read or wrote it.
#pragma once

#include "settingscore/level/LevelIndex.hpp"
#include "settingscore/settings/file/SettingsFileContent.hpp"
#include "settingscore/settings/node/SettingsNodeImpl.hpp"

namespace settings::core::detail {

/// Brings the changes from `base` to `theirs` into the group's tree: a value that this tree has not changed
/// since `base` becomes theirs, with an ordinary event when the tree is connected; one that both have changed
/// stays as it is here. Nothing is saved. Returns what is still to be loaded: nodes that the tree does not
/// know, without those that were removed here.
///
/// Listeners run in this call. For one thread at a time per file.
GroupRecord takeOverChanges(const GroupRecord& base, GroupRecord theirs, const NodePtr& group,
                            LevelIndex level);

} // namespace settings::core::detail
