/// What other processes write into the personal files of a tree.
#pragma once

#include "settingscore/settings/root/RootStates.hpp"
#include "varnek/files/FolderWatch.hpp"

namespace settings::core::detail {

/// Takes over what has changed in the files that `changes` names, with events. Blocks on the disk; to be
/// called without locks. A file that cannot be read is logged and keeps no other one back.
void takeOverPersonalFiles(const SettingsRootStateMgr& tree, const varnek::files::FolderChanges& changes);

} // namespace settings::core::detail
