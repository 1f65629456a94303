/// Reads JSON texts, strictly: RFC 8259 and nothing else.
#pragma once

#include "varnek/Export.hpp"
#include "json/Value.hpp"

#include <string_view>

namespace varnek::json {

/// Reads one value from a whole UTF-8 text; throws ParseError (json/ParseError.hpp) and keeps nothing.
///
/// Integers that fit 64 bits stay exact; every other number is the nearest double (-0 is one), too small ones
/// are zeros of their sign, too large ones are refused. A surrogate without partner that is written as an
/// escape stays as it is in a string, and is refused in a key. White space may surround the value.
///
/// Thread-safe. Needs less than 64 KiB of stack whatever the text; time grows with its length.
VARNEK_EXPORT Value parse(std::string_view text);

/// The same for a text that must be an object: anything else at its start is ParseFailure::objectStart.
VARNEK_EXPORT Object parseObject(std::string_view text);

} // namespace varnek::json
