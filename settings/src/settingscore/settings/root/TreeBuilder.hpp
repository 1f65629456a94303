/// Builds the tree of the process from the location file: all groups at once, each with its factory
/// definitions, its installation values and its personal values.
#pragma once

#include "settingscore/SettingsRoot.hpp"
#include "settingscore/settings/root/RootStates.hpp"

#include <filesystem>
#include <vector>

namespace settings::core::detail {

struct BuiltTree {
    boost::shared_ptr<SettingsRootStateMgr> state;
    std::vector<LoadProblem> problems; // files that were left out
};

/// A tree without groups; its files are looked for in the folders of the tree's levels. `events`: where its
/// events go, empty: to a delivery of its own.
boost::shared_ptr<SettingsRootStateMgr> emptyTree(const RootIndex& index,
                                                  const boost::shared_ptr<EventDelivery>& events = {});

/// MalformedLocationFile; a single bad file is a problem, not an error. Blocks on the disk.
BuiltTree buildTree(const RootIndex& index, const std::filesystem::path& factoryFolder,
                    const boost::shared_ptr<EventDelivery>& events = {});

} // namespace settings::core::detail
