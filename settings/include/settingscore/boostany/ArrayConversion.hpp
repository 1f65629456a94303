/// The mapping between the supported types and the application's data array.
///
/// | supported type                 | array                                     | vector flag |
/// |--------------------------------|-------------------------------------------|-------------|
/// | no value                       | void                                      | false       |
/// | std::u16string                 | character row, 0x0 when empty             | false       |
/// | bool, number                   | 1x1 of its element type                   | false       |
/// | std::vector of texts           | string row                                | true        |
/// | std::vector of bool or numbers | row of its element type                   | true        |
/// | an empty std::vector           | 0x0 of its element type                   | true        |
///
/// The vector flag travels with the array: it tells a vector of one element from a scalar.
///
/// Arrays that a setting may hold: character, string, logical, double, single and the eight integer types
/// with any dimensions, and cells whose elements are all character arrays. Thread-safe.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/boostany/SupportedTypes.hpp"
#include "varnek/data/Array.hpp"

#include <boost/any.hpp>

#include <cstddef>
#include <string>
#include <utility>

namespace settingscore::boostany {

/// An array and its vector flag.
using ShapedArray = std::pair<varnek::data::Array, bool>;

/// Pairs an array with its vector flag.
inline ShapedArray createMDA(varnek::data::Array&& array, bool isVector) noexcept {
    return {std::move(array), isVector};
}

/// Whether a setting may hold the array; false for the void array.
SETTINGSCORE_EXPORT bool isSupportedArray(const varnek::data::Array& array) noexcept;

/// The vector flag of an array that comes without one: false for one element and for one text (a character
/// array that is empty or has two dimensions of which one is 1), true otherwise.
SETTINGSCORE_EXPORT bool isVectorShape(const varnek::data::Array& array) noexcept;

/// The class name of the array's elements ("double", "char"), for messages.
SETTINGSCORE_EXPORT std::string typeName(const varnek::data::Array& array);

/// The position in SupportedTypes of the alternative that toVariant would give; 0 for the void array and for
/// arrays that no setting may hold.
SETTINGSCORE_EXPORT std::size_t variantIndexOf(const varnek::data::Array& array, bool isVector) noexcept;

/// UnsupportedAnyType for a holder of something else.
SETTINGSCORE_EXPORT ShapedArray toArray(const boost::any& value);
SETTINGSCORE_EXPORT ShapedArray toArray(const SupportedTypes& value);

/// One element without the flag, and one text without the flag, become a scalar alternative; everything else
/// becomes a vector, column by column. A character array gives one text per row. The void array gives an
/// empty holder. UnsupportedAnyType (of the type Array) for an array that no setting may hold.
SETTINGSCORE_EXPORT boost::any toAny(const varnek::data::Array& array, bool isVector);
SETTINGSCORE_EXPORT SupportedTypes toVariant(const varnek::data::Array& array, bool isVector);

} // namespace settingscore::boostany
