#include "settingscore/settings/node/LevelValues.hpp"

namespace settings::core::detail {

void LevelValues::store(LevelIndex level, ShapedArray value) {
    const varnek::concurrency::ReadSection section;
    const LevelSlots* now = read();
    auto next = now == nullptr ? std::make_unique<LevelSlots>() : std::make_unique<LevelSlots>(*now);
    const auto bit = static_cast<std::uint8_t>(1U << position(level));
    next->vectorFlags =
        static_cast<std::uint8_t>(value.second ? next->vectorFlags | bit : next->vectorFlags & ~bit);
    next->values[position(level)] = std::move(value.first);
    if (next->effectivePosition() == levelCount)
        next.reset();
    slots_.publish(std::move(next));
}

} // namespace settings::core::detail
