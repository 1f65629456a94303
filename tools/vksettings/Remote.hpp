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

/// Attaches the group that the full name is in, and waits a little for it; warns when several processes
/// publish it. What is asked of the handle is asked of that process, or fails: when the process ends, the own
/// group is back in the tree. std::invalid_argument when nobody publishes it, UnusableProcesses when somebody
/// might.
Handle attachRemote(const std::string& fullName);
/// The same of all groups that are published, in order of their names.
std::vector<Handle> attachAllRemote();

/// std::invalid_argument, which says so, for a node of another process.
void requireOwn(const settings::core::Settings& node);

} // namespace vksettings
