/// What another process has changed in a file since this one read or wrote it.
#pragma once

#include "settingscore/events/EventDelivery.hpp"
#include "settingscore/level/LevelIndex.hpp"
#include "settingscore/settings/file/SettingsFileContent.hpp"
#include "settingscore/settings/node/SettingsNodeImpl.hpp"

namespace settings::core::detail {

/// Brings the changes from `base` to `theirs` into the group's tree: a value that this tree has not changed
/// since `base` becomes theirs, a node that a user added goes when it is gone there and as it was here; what
/// both have changed stays as it is here. Nothing is saved; the events are left in `events`. Returns what is
/// still to be loaded: nodes that the tree does not know, without those that were removed here.
///
/// For one thread at a time per file.
GroupRecord takeOverChanges(const GroupRecord& base, GroupRecord theirs, const NodePtr& group,
                            LevelIndex level, LateEvents& events);

/// What definitions have made in the tree was not added by a user, whatever `base` says: when it goes with
/// them, no user has removed it.
void countAsDefined(GroupRecord& base, const NodePtr& group);

/// Takes out of `base` what was never in the tree but is kept for definitions that may still appear.
void removeKept(GroupRecord& base, const GroupRecord& kept);

/// `theirs` with the changes from `base` to `mine`, which win where both have changed.
GroupRecord withChanges(GroupRecord theirs, const GroupRecord& base, const GroupRecord& mine);

/// Where `theirs` is as `known`, `base` becomes so: it is no news.
void countAsKnown(GroupRecord& base, const GroupRecord& theirs, const GroupRecord& known);

/// Takes out of `base` what `theirs` does not have.
void keepCommon(GroupRecord& base, const GroupRecord& theirs);

/// takeOverChanges() when the whole file is gone; a group that a user added goes with it when it is as it
/// was.
void takeOverRemoval(const GroupRecord& base, const NodePtr& group, LevelIndex level, LateEvents& events);

} // namespace settings::core::detail
