/// The groups that other processes publish.
#pragma once

#include "Tree.hpp"

#include <stdexcept>
#include <string>
#include <vector>

namespace vksettings {

/// Processes are there that do not answer, or take no more clients.
class UnusableProcesses : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Attaches the group that the full name is in; all that are published where it is empty. Waits a little for
/// them; warns when several processes publish it. std::invalid_argument when nobody publishes it,
/// UnusableProcesses when somebody might.
void attachRemote(const std::string& fullName);

/// std::invalid_argument, which says so, for a node of another process.
void requireOwn(const settings::core::Settings& node);

/// Those that are attached, in order of their names.
std::vector<Handle> remoteGroups();

} // namespace vksettings
