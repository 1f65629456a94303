/// Whether one class of values has a place for every value of another one.
#pragma once

#include "varnek/data/Array.hpp"

namespace settings::core::detail {

/// True when every value of the class `narrow` converts to the class `wide` without loss: what was stored
/// with the one can be read as the other. Texts: a character array is one text or several of one length, a
/// string array any texts. Thread-safe.
bool holdsAllValues(varnek::data::TypeCode wide, varnek::data::TypeCode narrow) noexcept;

} // namespace settings::core::detail
