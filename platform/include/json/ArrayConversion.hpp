/// Data arrays as JSON: the typed form, which keeps class and shape, and plain JSON where that loses nothing.
///
/// The typed form is an object of exactly two members, "qftype" (the class name) and "qfdata":
///
///  | class | "qfdata" |
///  |---|---|
///  | double, single | numbers; "NaN", "Inf", "-Inf" |
///  | the same, complex | {"imag": numbers, "real": numbers} |
///  | int8 ... uint64 | exact integers, never read through a double |
///  | logical | true, false |
///  | string | strings |
///  | char | strings: the last dimension lies inside them, a surrogate without partner included |
///  | cell | typed forms |
///  | struct | {"fields": names, "size": extents, "values": typed forms, all fields of the first element
///  first} | | empty | [] (the void array) |
///
/// A 1x1 array is its element alone (in a cell: an array of it), a 1xn array a flat array, any other array is
/// nested with its first dimension outside; a 1xn char array is one string, and the string "" is 0x0. Empty
/// arrays: [] is 0x0; where only the last extent is zero the nesting keeps the shape ([[]] is 1x0); every
/// other empty array reads back as 0x0. Structures keep every shape.
///
/// All functions are thread-safe. They throw ConversionError (json/ConversionError.hpp).
#pragma once

#include "varnek/Export.hpp"
#include "varnek/data/Array.hpp"
#include "json/ConversionError.hpp"
#include "json/Value.hpp"

#include <optional>
#include <string_view>

namespace varnek::json {

inline constexpr std::string_view typedDataKey = "qfdata";
inline constexpr std::string_view typedClassKey = "qftype";

/// True for an object that has one of the two keys: it is meant as a typed form, sound or not.
VARNEK_EXPORT bool isTyped(const Value& value) noexcept;

/// Fails only where cells or dimensions are nested so deep that the text could not be read back.
VARNEK_EXPORT Value toTyped(const data::Array& array);

/// `path` is the place of `value` in its document, for the error.
VARNEK_EXPORT data::Array fromTyped(const Value& value, std::string_view path = "$");

/// Number = double, true and false = logical, string = char text; an array of one kind = a row vector
/// (strings: of class string), [] = 0x0 double; nested arrays of equal length = a matrix. null, objects and
/// mixed kinds are refused.
VARNEK_EXPORT data::Array fromPlain(const Value& value, std::string_view path = "$");

/// The plain value from which fromPlain makes an equal array; nothing where there is none (other classes, NaN
/// and infinities, char matrices, empty arrays that are not double).
VARNEK_EXPORT std::optional<Value> toPlain(const data::Array& array);

} // namespace varnek::json
