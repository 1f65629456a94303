/// Builds the tree of the process: a group below the root for everything that is declared, and the groups
/// that administrators and users added. Definitions and values are read when a group is needed.
#pragma once

#include "settingscore/SettingsRoot.hpp"
#include "settingscore/settings/root/RootStates.hpp"

#include <filesystem>
#include <vector>

namespace settings::core::detail {

/// A tree without groups; its files are looked for in the folders of the tree's levels. `events`: where its
/// events go, empty: to a delivery of its own.
boost::shared_ptr<SettingsRootStateMgr> emptyTree(const RootIndex& index,
                                                  const boost::shared_ptr<EventDelivery>& events = {});

/// MalformedLocationFile; a single bad file is a problem (SettingsRootStateMgr::problems), not an error.
/// Blocks on the disk, starts bundles.
boost::shared_ptr<SettingsRootStateMgr> buildTree(const RootIndex& index,
                                                  const std::filesystem::path& factoryFolder,
                                                  const boost::shared_ptr<EventDelivery>& events = {});

/// What could not be used so far.
std::vector<LoadProblem> problemsOf(const SettingsRootStateMgr& tree);

} // namespace settings::core::detail
