/// Sources of factory settings that appear while trees are there.
#pragma once

#include "settingscore/factoryfile/FactorySettings.hpp"

#include <memory>

namespace settings::core::detail {

/// Adds a group that a service supplies to every tree that is built. Listeners hear of it.
void addToAllTrees(const std::shared_ptr<const varnek::settings::FactorySettings>& service);
void addLoaderToAllTrees(const std::shared_ptr<const varnek::settings::TopLevelFactoryFileLoader>& loader);
/// Looks again for groups that were declared without a source.
void lookForSourcesInAllTrees();

} // namespace settings::core::detail
