/// How far a personal file has followed the changes between releases.
#pragma once

#include "settingscore/node/ReleaseChanges.hpp"

#include <compare>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace settings::core::detail {

/// What the factory file of a group declares; null where it cannot be read at the moment.
using FactoryChanges = std::shared_ptr<const std::vector<UpgraderRecord>>;

/// Changes of upgrader `upgrader` before `change` are done, and all upgraders before.
struct UpgradePosition {
    std::uint64_t upgrader = 0;
    std::uint64_t change = 0;

    auto operator<=>(const UpgradePosition&) const = default;

    static UpgradePosition of(const std::optional<VersionRecord>& record) {
        return record ? UpgradePosition{record->upgraderIndex, record->changeIndex} : UpgradePosition{};
    }
    /// The end of what is declared.
    static UpgradePosition endOf(const FactoryChanges& changes) {
        return {changes == nullptr ? 0 : changes->size(), 0};
    }
};

} // namespace settings::core::detail
