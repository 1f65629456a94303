/// The values of one setting on the four levels, and the one place that knows their order of precedence.
#pragma once

#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/level/LevelIndex.hpp"
#include "varnek/concurrency/Epoch.hpp"
#include "varnek/data/Array.hpp"

#include <array>
#include <cstdint>
#include <utility>

namespace settings::core::detail {

using settingscore::boostany::ShapedArray;

/// What a setting holds at one moment. Immutable once published. A void array means: no value on that level.
struct LevelSlots {
    std::array<varnek::data::Array, levelCount> values;
    std::uint8_t vectorFlags = 0; // bit n: the shape flag of level n

    bool holds(LevelIndex level) const noexcept { return !values[position(level)].isVoid(); }
    bool isVector(LevelIndex level) const noexcept { return (vectorFlags >> position(level) & 1U) != 0; }
    ShapedArray on(LevelIndex level) const { return {values[position(level)], isVector(level)}; }

    /// The first level in order of precedence that holds a value; levelCount when none does.
    std::size_t effectivePosition() const noexcept {
        std::size_t at = 0;
        while (at < levelCount && values[at].isVoid())
            ++at;
        return at;
    }
};

/// Readers see one consistent state without a lock; writers hold the lock of the parent group.
class LevelValues {
  public:
    /// The state now, or null when no level holds a value. Only inside a read section.
    const LevelSlots* read() const noexcept { return slots_.read(); }

    ShapedArray on(LevelIndex level) const {
        const varnek::concurrency::ReadSection section;
        const LevelSlots* slots = read();
        return slots == nullptr ? ShapedArray{} : slots->on(level);
    }
    ShapedArray effective() const {
        const varnek::concurrency::ReadSection section;
        const LevelSlots* slots = read();
        const std::size_t at = slots == nullptr ? levelCount : slots->effectivePosition();
        return at == levelCount ? ShapedArray{} : slots->on(static_cast<LevelIndex>(at));
    }

    /// Replaces the value of one level; a void value clears it. Strong guarantee. Caller holds the writers'
    /// lock.
    void store(LevelIndex level, ShapedArray value);

  private:
    varnek::concurrency::Snapshot<LevelSlots> slots_;
};

} // namespace settings::core::detail
