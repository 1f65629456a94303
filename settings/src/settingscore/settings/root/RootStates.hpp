/// The settings trees of this process, by their root index.
#pragma once

#include "settingscore/settings/root/SettingsImplRoot.hpp"

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace settings::core::detail {

class LevelFileKeeper;
class Toolboxes;
class UserSettingsUpgrade;

/// The state of one tree: its root and the files behind it. Immutable once in the map.
struct SettingsRootStateMgr {
    boost::shared_ptr<SettingsImplRoot> root;
    boost::shared_ptr<LevelFileKeeper> files;
    std::shared_ptr<UserSettingsUpgrade> upgrade; // of the files of level "user"
    std::shared_ptr<Toolboxes> toolboxes;
};

/// Thread-safe without an outer lock.
class RootStates {
  public:
    static RootStates& instance();

    /// Empty when there is no tree of that index, or another one is about to take its place.
    boost::shared_ptr<SettingsRootStateMgr> find(std::int32_t index) const;
    /// Tells the two apart: nothing when there is none, empty when it is being replaced.
    std::optional<boost::shared_ptr<SettingsRootStateMgr>> lookUp(std::int32_t index) const;
    /// False, and nothing changed, when the index is taken.
    bool insert(std::int32_t index, boost::shared_ptr<SettingsRootStateMgr> state);
    /// Of a tree that is there. Empty: nobody finds it until another one is put in its place.
    void replace(std::int32_t index, boost::shared_ptr<SettingsRootStateMgr> state) noexcept;
    bool erase(std::int32_t index);
    /// In no order; what comes or goes meanwhile may be missing.
    std::vector<boost::shared_ptr<SettingsRootStateMgr>> all() const;

  private:
    RootStates();
    ~RootStates();
    struct Map;
    Map* const map_;
};

} // namespace settings::core::detail
