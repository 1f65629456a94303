/// What one release changed.
#pragma once

#include "settingscore/upgrade/SettingsFileChange.hpp"
#include "settingscore/upgrade/VersionLabel.hpp"

#include <vector>

namespace settings::core {

/// In the order in which they are applied.
using VersionChanges = std::vector<SettingsFileChange>;

struct Upgrader {
    VersionLabel versionLabel; ///< the release that introduced the changes
    VersionChanges versionChanges;

    bool operator==(const Upgrader&) const = default;
};

} // namespace settings::core
