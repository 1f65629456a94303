/// Whether a change is on the disk, and the failure when it is not.
#pragma once

#include "settingscore/Settings.hpp"

#include <stdexcept>
#include <string>

namespace vksettings {

/// The value is in the tree of this process but did not reach its file.
class NotSaved : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Raises NotSaved when the last save of the level's file of this node's product did not succeed.
void requireSaved(const settings::core::Settings& node, const std::string& level);

} // namespace vksettings
