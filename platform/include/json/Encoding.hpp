/// Conversions between UTF-16 and the encoding of JSON strings in memory.
///
/// Strings are generalised UTF-8: plain UTF-8, except that a surrogate without partner is kept as the three
/// bytes that its number would have. Every sequence of UTF-16 units, well formed or not, has exactly one such
/// form.
#pragma once

#include "varnek/Export.hpp"

#include <string>
#include <string_view>

namespace varnek::json {

VARNEK_EXPORT std::string fromUtf16(std::u16string_view text);

/// The exact inverse. std::invalid_argument when `text` is not generalised UTF-8 (a surrogate pair written as
/// two three-byte sequences is not).
VARNEK_EXPORT std::u16string toUtf16(std::string_view text);

} // namespace varnek::json
