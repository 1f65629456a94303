/// The element types of a data array.
#pragma once

#include "varnek/Export.hpp"

#include <cstdint>
#include <optional>
#include <string_view>

namespace varnek::data {

/// Files and other processes keep these numbers: never renumber, only append.
enum class TypeCode : std::uint8_t {
    empty = 0, ///< the void array: no type, no elements
    logical = 1,
    character = 2, ///< UTF-16 code units; one row is one text
    string = 3,    ///< every element is a UTF-16 text
    float64 = 4,
    float32 = 5,
    int8 = 6,
    uint8 = 7,
    int16 = 8,
    uint16 = 9,
    int32 = 10,
    uint32 = 11,
    int64 = 12,
    uint64 = 13,
    complexFloat64 = 14,
    complexFloat32 = 15,
    cell = 16,      ///< every element is an array of its own
    structure = 17, ///< named fields, every field of every element is an array
};

/// The class name users see: "logical", "char", "string", "double", "single", "int8" ... "uint64", "cell",
/// "struct"; complex types answer "double" and "single", the void array "empty".
VARNEK_EXPORT std::string_view className(TypeCode type) noexcept;

/// The real type of that class name, or nothing. "empty" names the void array.
VARNEK_EXPORT std::optional<TypeCode> typeOfClassName(std::string_view name) noexcept;

constexpr bool isInteger(TypeCode type) noexcept {
    return type >= TypeCode::int8 && type <= TypeCode::uint64;
}
constexpr bool isFloat(TypeCode type) noexcept {
    return type == TypeCode::float64 || type == TypeCode::float32;
}

} // namespace varnek::data
