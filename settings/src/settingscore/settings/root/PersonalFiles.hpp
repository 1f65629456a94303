/// What other processes write into the personal files of a tree.
#pragma once

#include "settingscore/events/EventDelivery.hpp"
#include "settingscore/settings/root/RootStates.hpp"
#include "varnek/files/FolderWatch.hpp"

namespace settings::core::detail {

/// Takes over what has changed in the files that `changes` names, with events. Blocks on the disk; to be
/// called without locks. A file that cannot be read is logged and keeps no other one back.
void takeOverPersonalFiles(const SettingsRootStateMgr& tree, const varnek::files::FolderChanges& changes);

/// `after` is about to take the place of `before`, whose groups stand outside the tree by now: what was
/// changed in them and is not in the files yet is part of `after`. The events are left in `events`.
/// What cannot be had now comes with the files.
void handOver(const SettingsRootStateMgr& before, const SettingsRootStateMgr& after,
              LateEvents& events) noexcept;

} // namespace settings::core::detail
