/// What a definition says about changing a node.
#pragma once

#include <cstdint>

namespace settings::core {

enum class ReadOnlyState : std::uint8_t {
    inherited = 0, ///< nothing is said: a setting can be changed, a group is as its parents are
    writable = 1,
    readOnly = 2,
};

} // namespace settings::core
