/// Sources of factory settings that appear while trees are there.
#pragma once

#include "settingscore/settings/root/FactorySettingsTracker.hpp"

namespace settings::core::detail {

/// Adds a group that a service supplies to every tree that is built. Listeners hear of it.
void addToAllTrees(const FactorySettingsTracker::Service& service);
void addLoaderToAllTrees(const FactorySettingsTracker::Loader& loader);
/// A service that supplied a group has gone. Listeners hear of a group that goes with it.
void leaveAllTrees(const FactorySettingsTracker::Service& service);
/// Looks again which declared groups have a source.
void lookForSourcesInAllTrees();

} // namespace settings::core::detail
