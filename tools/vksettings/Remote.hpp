/// The groups that other processes publish.
#pragma once

#include "Tree.hpp"

#include <string>
#include <vector>

namespace vksettings {

/// Attaches the group that the full name is in; all that are published where it is empty. Waits a little for
/// them. std::invalid_argument when nobody publishes it.
void attachRemote(const std::string& fullName);

/// Those that are attached, in order of their names.
std::vector<Handle> remoteGroups();

} // namespace vksettings
