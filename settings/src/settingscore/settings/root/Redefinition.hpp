/// New definitions in the place of those of a loaded group: what both have stays the same node with its
/// values, what is gone leaves its personal values in the files, what is new takes those that were kept for
/// it, and those of a node that had been added in its place.
#pragma once

#include "settingscore/events/EventDelivery.hpp"
#include "settingscore/settings/file/SettingsFileContent.hpp"
#include "settingscore/settings/settingsImpl.hpp"

#include <functional>

namespace settings::core::detail {

class LevelFileKeeper;

/// In the order in which they are read.
inline constexpr LevelIndex levelsOfFiles[] = {LevelIndex::installation, LevelIndex::user};

/// Confined to one thread; for one thread at a time per group.
class Redefinition {
  public:
    using Group = boost::shared_ptr<SettingsImpl>;

    /// `fresh` is a group outside every tree; it gives its nodes away.
    Redefinition(Group group, Group fresh, LevelFileKeeper& files);

    /// Calls `aboutToReplace`, changes the tree, and reads the group's files, through the changes between
    /// releases; what is not saved yet stays or is kept. Nobody saves the group meanwhile. The events are
    /// left in `events`. Blocks on the disk. std::logic_error, and nothing has changed, inside a save that
    /// the group's files are part of.
    void run(const std::function<void()>& aboutToReplace, LateEvents& events);

  private:
    void runInTurns(const std::function<void()>& aboutToReplace, LateEvents& events) const;
    void replace(const Group& now, const Group& fresh, LateEvents& events) const;

    const Group group_, fresh_;
    LevelFileKeeper& files_;
};

} // namespace settings::core::detail
