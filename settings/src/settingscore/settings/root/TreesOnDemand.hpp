/// Finds, builds and replaces the trees of the process.
///
/// Thread-safe. One tree is built at a time; the disk is read under the lock of this class (rank "building"),
/// so that the first callers wait for one.
#pragma once

#include "settingscore/events/EventDelivery.hpp"
#include "settingscore/settings/root/RootStates.hpp"

#include <mutex>
#include <string>

namespace settings::core::detail {

class TreesOnDemand {
  public:
    static TreesOnDemand& instance(); // never destroyed

    /// As getSettingsRoot; never empty.
    boost::shared_ptr<SettingsRootStateMgr> find(const RootIndex& index);
    /// Empty when nobody has asked for the tree yet. Waits while it is exchanged for another one, except on
    /// the thread that does so: not to be called with a lock.
    boost::shared_ptr<SettingsRootStateMgr> existing(const RootIndex& index);
    /// Puts a new tree in place of the one of a tree that is built on demand. When it cannot be built,
    /// nothing changes.
    boost::shared_ptr<SettingsRootStateMgr> rebuild(const RootIndex& index);
    /// A tree without groups. False when the index is taken or names no tree.
    bool createEmpty(const RootIndex& index);

  private:
    TreesOnDemand() = default;
    boost::shared_ptr<SettingsRootStateMgr> findOrBuild(const RootIndex& index, const std::u16string& folder,
                                                        bool& isNew);
    /// building_ is held.
    boost::shared_ptr<SettingsRootStateMgr> build(const RootIndex& index,
                                                  const boost::shared_ptr<EventDelivery>& events);

    /// building_ is held.
    void exchange(const RootIndex& index, const SettingsRootStateMgr& before,
                  const boost::shared_ptr<SettingsRootStateMgr>& after, const std::u16string& folder,
                  LateEvents& events);

    std::mutex building_;
};

} // namespace settings::core::detail
