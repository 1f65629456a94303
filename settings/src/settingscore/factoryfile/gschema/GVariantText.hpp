/// Values in the text notation of GVariant, as GSettings schemas write defaults, ranges and overrides.
///
/// Read are the types that a setting can hold: b, y, n, q, i, u, x, t, d, s and arrays of one of them, with
/// type prefixes ("@as []", "uint32 5"), all escapes, hexadecimal and octal numbers and byte strings.
/// Thread-safe.
#pragma once

#include "settingscore/boostany/ArrayConversion.hpp"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace settings::core::detail {

/// The text is no value of the type. what() tells why and, in bytes from 0, where.
class GVariantError : public std::runtime_error {
  public:
    GVariantError(std::size_t offset, const std::string& cause)
        : std::runtime_error(cause + " (at byte " + std::to_string(offset) + ")") {}
};

/// Whether values of the type can be read here.
bool isReadableGVariantType(std::string_view type) noexcept;

/// The value that `text` (UTF-8) writes down, which has to be of `type`, a readable one: text as a character
/// array, an array of texts as a string row, everything else as its own element type. An array type sets the
/// vector flag; an empty array is 0x0. GVariantError.
settingscore::boostany::ShapedArray readGVariant(std::string_view text, std::string_view type);

} // namespace settings::core::detail
