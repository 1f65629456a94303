/// Why the values of a level cannot be changed.
#pragma once

#include <string>

namespace vksettings {

/// "its folder /opt/x cannot be written"; for a level that refused a change. Asks the disk.
std::string whyReadOnly(const std::string& level);

} // namespace vksettings
