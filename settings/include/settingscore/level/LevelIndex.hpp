/// The four levels as data: order, names and flags stand here and nowhere else.
///
/// Everything is constexpr; nothing allocates, blocks or throws.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace settings::core {

/// In order of precedence: a value of an earlier level hides those of the later ones. Positions never change.
enum class LevelIndex : std::uint8_t { session = 0, user = 1, installation = 2, factory = 3 };

inline constexpr std::size_t levelCount = 4;

inline constexpr std::array<LevelIndex, levelCount> levelsInOrder = {
    LevelIndex::session, LevelIndex::user, LevelIndex::installation, LevelIndex::factory};

constexpr std::size_t position(LevelIndex level) noexcept {
    return static_cast<std::size_t>(level);
}

struct LevelDescription {
    std::string_view name;
    bool canBeModified;
    std::uint64_t fileSlot; ///< 0: values stay in memory
    bool isFactoryLevel;
    bool isWorkgroupLevel; ///< the workgroup folder belongs to no level
    bool isUserLevel;
    bool isInstallationLevel;
};

inline constexpr std::array<LevelDescription, levelCount> levelTable = {{
    {"session", true, 0, false, false, false, false},
    {"user", true, 1, false, false, true, false},
    {"installation", true, 1, false, false, false, true},
    {"factory", false, ~std::uint64_t{0}, true, false, false, false},
}};

constexpr std::string_view levelName(LevelIndex level) noexcept {
    return levelTable[position(level)].name;
}

/// The level of exactly that name, or nothing.
constexpr std::optional<LevelIndex> levelIndexOf(std::string_view name) noexcept {
    for (const LevelIndex level : levelsInOrder)
        if (levelName(level) == name)
            return level;
    return std::nullopt;
}

} // namespace settings::core
