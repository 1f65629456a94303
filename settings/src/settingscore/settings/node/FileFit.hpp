/// Whether a value fits into a settings file.
#pragma once

#include "varnek/data/Array.hpp"

namespace settings::core::detail {

/// False when the value alone makes more of a part than readers take, or is nested too deep for them. Of an
/// array that a setting may hold. Cheap unless the array is very large or has very many dimensions: then it
/// is written to memory once.
bool fitsIntoFile(const varnek::data::Array& value);

} // namespace settings::core::detail
