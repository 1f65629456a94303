/// Brings the personal files up to date whose definitions have changed since they were last used.
///
/// Groups are loaded when somebody needs them, but a change between releases may move values from one group
/// to another: who needs the other one first must find them there. So the groups that have a personal file,
/// and factory files that this folder has not been used with yet, are loaded while the tree is built. Which
/// factory files those were is noted in the folder, in ".definitions.json": at all other starts a look at the
/// files is enough.
#pragma once

#include "settingscore/settings/root/RootStates.hpp"

namespace settings::core::detail {

/// For a tree that nobody else uses yet, or whose folder of personal files has become another one. What
/// cannot be loaded, and a note that cannot be written, waits for the next start. Blocks on the disk.
void loadGroupsWithChangedDefinitions(const SettingsRootStateMgr& tree);

} // namespace settings::core::detail
