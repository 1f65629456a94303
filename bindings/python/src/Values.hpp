/// Values of settings as Python objects and back.
///
/// | Python                                   | setting                                         |
/// |------------------------------------------|-------------------------------------------------|
/// | bool, int, float, str                    | one logical, number or text                     |
/// | list or tuple                            | a row; whatever its length, a vector            |
/// | nested lists                             | a matrix, row by row; more nesting, more dimensions |
/// | None                                     | no value                                        |
///
/// An int becomes an int64, or a uint64 beyond that; a float becomes a double. Back come bool, int, float,
/// str, and lists of them. Everything here needs the interpreter lock.
#pragma once

#include "varnek/data/Array.hpp"

#include <boost/any.hpp>
#include <pybind11/pybind11.h>

#include <optional>

namespace settings::python {

/// An array and whether it is a vector.
struct ShapedValue {
    varnek::data::Array array;
    bool isVector = false;
};

/// How the element type is chosen.
struct ElementType {
    /// The only one; what does not fit it raises OverflowError or TypeError.
    std::optional<varnek::data::TypeCode> wanted;
    /// For ints that all fit it exactly, and for floats when it is a single; otherwise as the table says.
    std::optional<varnek::data::TypeCode> preferred;
};

/// TypeError for an object that is no value, and for elements of different kinds; ValueError for rows of
/// different lengths; OverflowError for an int that no type holds.
ShapedValue toValue(pybind11::handle object, const ElementType& type = {});

/// The class name of an element type ("int32"), as the keyword argument `type` takes it. ValueError.
varnek::data::TypeCode elementType(const std::string& className);

/// None for a void array.
pybind11::object toPython(const varnek::data::Array& array, bool isVector);
/// With the shape that the array itself shows.
pybind11::object toPython(const varnek::data::Array& array);

} // namespace settings::python
