/// Which release of the product is running. The only source of this information.
#pragma once

#include "varnek/Export.hpp"

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace varnek::release {

/// The name of a release: "R", a year of four digits, and "a" or "b" for its half ("R2025a"). Ordered by
/// time. Immutable.
class VARNEK_EXPORT ReleaseLabel {
  public:
    enum class Half : std::uint8_t { a = 0, b = 1 };

    /// Throws std::invalid_argument unless 0 <= year <= 9999.
    ReleaseLabel(int year, Half half);

    /// Empty for any other text, longer ones included. Case-sensitive.
    static std::optional<ReleaseLabel> parse(std::string_view text) noexcept;
    static std::optional<ReleaseLabel> parse(std::u16string_view text) noexcept;

    int year() const noexcept { return year_; }
    Half half() const noexcept { return half_; }
    std::string text() const;

    /// b to a of the same year, a to b of the year before. Throws std::out_of_range for the first release,
    /// R0000a.
    ReleaseLabel previous() const;

    auto operator<=>(const ReleaseLabel&) const = default; // NOLINT(modernize-use-nullptr)

  private:
    int year_;
    Half half_;
};

/// All texts are UTF-8 and constant for the life of the process.
struct ReleaseInfo {
    std::string productName; // "VARNEK"
    ReleaseLabel label;      // "R2025a"
    std::string version;     // "25.1.0": year of the century, half of the year, update
};

/// Thread-safe, usable before main().
VARNEK_EXPORT const ReleaseInfo& getCurrentVARNEKReleaseInfo();

} // namespace varnek::release
