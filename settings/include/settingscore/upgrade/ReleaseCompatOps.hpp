/// What a change between releases does to personal settings, and what came of it. Functions are thread-safe.
#pragma once

#include "settingscore/Export.hpp"

#include <cstdint>
#include <string_view>

namespace settings::core {

/// The kinds of operations.
enum class ReleaseCompatOps : std::uint8_t {
    move = 0,    ///< "move": a value or a group goes elsewhere
    remove = 1,  ///< "remove": the personal values of a setting or a group are dropped
    invalid = 2, ///< any other name
};

/// As files have it; empty for the invalid kind.
SETTINGSCORE_EXPORT std::string_view nameOf(ReleaseCompatOps kind) noexcept;
/// Case-sensitive; the invalid kind for a name that is neither.
SETTINGSCORE_EXPORT ReleaseCompatOps releaseCompatOpOf(std::string_view name) noexcept;

/// What came of a change. The names stand in the results log: never rename.
enum class ResultStatus : std::uint8_t {
    succeeded = 0, ///< "Succeeded"
    failed = 1,    ///< "Failed": nothing was changed
    skipped = 2,   ///< "Skipped": there was nothing to change
};

SETTINGSCORE_EXPORT std::string_view nameOf(ResultStatus status) noexcept;

} // namespace settings::core
