/// What a node needs to know of the tree it stands in. The root supplies it; a standalone tree has none.
#pragma once

#include "settingscore/level/LevelIndex.hpp"
#include "settingscore/level/RootIndex.hpp"

#include <boost/shared_ptr.hpp>

#include <memory>
#include <string>
#include <vector>

namespace settings::core::detail {

class EventDelivery;
class SettingsNodeImpl;
using NodePtr = boost::shared_ptr<SettingsNodeImpl>;

/// What a tree asks of the files behind it. Thread-safe; called without any node lock, after a change is in
/// place. May write at once or later; failures do not come back through here.
class SaveRequests {
  public:
    virtual ~SaveRequests() = default;

    virtual void requestSave(const NodePtr& topLevelGroup, LevelIndex level) = 0;
    /// Whether a request is only noted here, and met by another thread.
    virtual bool areMetLater() const noexcept { return true; }
    /// The group's personal values are to be read now, unless that happened already for the current folder.
    virtual void loadUserSettings(const NodePtr& topLevelGroup) = 0;
    /// A definition has appeared in the group: values that were kept for it are to be put in place.
    virtual void adoptKeptValues(const NodePtr& /*topLevelGroup*/) {}
    /// The node at `path` below the group was removed: what was kept for nodes below it goes with it.
    virtual void forgetKeptValues(const NodePtr& /*topLevelGroup*/,
                                  const std::vector<std::string>& /*path*/) {}
    /// The top-level group is about to go: while the result lives its file brings it back no more. May be
    /// empty.
    virtual std::shared_ptr<void> removalOf(const NodePtr& /*topLevelGroup*/) { return {}; }
    /// The group is gone from its tree, below `root`: its file on `level` is to go as well, unless a group of
    /// its name stands there again.
    virtual void requestDelete(const NodePtr& topLevelGroup, const NodePtr& root, LevelIndex level) = 0;
};

/// Immutable for the life of a root, apart from what `saves` does inside.
struct TreeContext {
    RootIndex rootIndex;
    /// Part of the settings tree: changes raise events and are saved.
    bool connected = false;
    /// A tree that stands for one file; its empty groups are skipped when it is written.
    bool fileTree = false;
    boost::shared_ptr<SaveRequests> saves{};
    /// Of a connected tree: where its events go.
    boost::shared_ptr<EventDelivery> events{};
};

} // namespace settings::core::detail
