/// Personal values that get into each other's way while a file follows the changes between two releases.
#pragma once

#include "settingscore/settings/file/SettingsFileContent.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace settings::core::detail {

/// A move that fails for users who have set what stands in its way. Names are those of the released file.
struct MoveCollision {
    std::string moved; // the setting, or the group as the change names it
    std::string to;
    std::string inTheWay; // the first setting
    std::size_t others = 0;

    friend bool operator==(const MoveCollision&, const MoveCollision&) = default;
};

/// What the upgraders from `first` on do to values of the settings that `released` defines, each of which a
/// user may have set. Thread-safe.
std::vector<MoveCollision> collisionsOf(const GroupRecord& released,
                                        const std::vector<UpgraderRecord>& upgraders, std::size_t first);

} // namespace settings::core::detail
