// From Python objects to arrays.
#include "Values.hpp"

#include "Gil.hpp"
#include "Texts.hpp"

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace py = pybind11;

namespace settings::python {

using varnek::data::Array;
using varnek::data::Dimensions;
using varnek::data::TypeCode;

namespace {

using Element = std::variant<bool, std::int64_t, std::uint64_t, double, std::u16string>;

constexpr std::size_t deepest = 32; // dimensions

/// Elements row by row, the last dimension fastest.
struct Elements {
    Dimensions dimensions; // none: a single value
    std::vector<Element> values;

    template <class T>
    bool anyIs() const {
        for (const Element& value : values)
            if (std::holds_alternative<T>(value))
                return true;
        return false;
    }
};

[[noreturn]] void refuse(PyObject* type, const std::string& text) {
    PyErr_SetString(type, text.c_str());
    throw py::error_already_set();
}

std::string typeNameOf(py::handle object) {
    return py::str(py::type::handle_of(object).attr("__name__"));
}

bool isText(py::handle object) {
    return PyUnicode_Check(object.ptr()) != 0;
}

bool isSequence(py::handle object) {
    return PySequence_Check(object.ptr()) != 0 && !isText(object) && PyBytes_Check(object.ptr()) == 0 &&
           PyByteArray_Check(object.ptr()) == 0;
}

Element integer(py::handle object) {
    int overflow = 0;
    const auto index =
        py::reinterpret_steal<py::object>(orSleep([&] { return PyNumber_Index(object.ptr()); }));
    if (!index)
        throw py::error_already_set();
    const long long number = PyLong_AsLongLongAndOverflow(index.ptr(), &overflow);
    if (overflow == 0)
        return std::int64_t{number};
    if (overflow < 0)
        refuse(PyExc_OverflowError, "the number is below those that a setting can hold");
    const unsigned long long large = PyLong_AsUnsignedLongLong(index.ptr());
    if (PyErr_Occurred() != nullptr)
        throw py::error_already_set();
    return std::uint64_t{large};
}

Element element(py::handle object) {
    if (PyBool_Check(object.ptr()))
        return object.ptr() == Py_True;
    if (isText(object))
        return utf16(object);
    if (PyIndex_Check(object.ptr()))
        return integer(object);
    if (PyFloat_Check(object.ptr()) ||
        orSleep([&] { return PyObject_HasAttrString(object.ptr(), "__float__"); }) != 0) {
        const double number = orSleep([&] { return PyFloat_AsDouble(object.ptr()); });
        if (number == -1.0 && PyErr_Occurred() != nullptr)
            throw py::error_already_set();
        return number;
    }
    refuse(PyExc_TypeError, "a setting cannot hold a value of type " + typeNameOf(object));
}

/// `depth` 0 is the outermost; the first element of a depth says how long those of that depth are.
void collect(py::handle object, std::size_t depth, Elements& to, bool& isLeafDepthKnown) {
    if (!isSequence(object)) {
        if (depth != to.dimensions.size())
            refuse(PyExc_ValueError, "values and lists stand beside each other");
        isLeafDepthKnown = true;
        to.values.push_back(element(object));
        return;
    }
    if (depth == deepest)
        refuse(PyExc_ValueError, "the lists are nested too deeply");
    const auto items = py::reinterpret_steal<py::object>(
        orSleep([&] { return PySequence_Fast(object.ptr(), "not a sequence"); }));
    if (!items)
        throw py::error_already_set();
    const auto count = static_cast<std::size_t>(PySequence_Fast_GET_SIZE(items.ptr()));
    if (depth == to.dimensions.size() && !isLeafDepthKnown)
        to.dimensions.push_back(count);
    else if (depth >= to.dimensions.size())
        refuse(PyExc_ValueError, "values and lists stand beside each other");
    if (to.dimensions[depth] != count)
        refuse(PyExc_ValueError, "rows of different lengths make no array");
    for (std::size_t i = 0; i < count; ++i) {
        // A Python conversion of an element may change the list.
        if (i >= static_cast<std::size_t>(PySequence_Fast_GET_SIZE(items.ptr())))
            refuse(PyExc_RuntimeError, "the list changed while it was read");
        const auto item =
            py::reinterpret_borrow<py::object>(PySequence_Fast_GET_ITEM(items.ptr(), Py_ssize_t(i)));
        collect(item, depth + 1, to, isLeafDepthKnown);
    }
}

/// The type for elements that are not told theirs.
TypeCode naturalType(const Elements& elements) {
    const bool isLogical = elements.anyIs<bool>();
    const bool isNumber =
        elements.anyIs<std::int64_t>() || elements.anyIs<std::uint64_t>() || elements.anyIs<double>();
    const bool isTextual = elements.anyIs<std::u16string>();
    if (isLogical + isNumber + isTextual > 1)
        refuse(PyExc_TypeError, "a list for a setting holds bools, numbers or texts, not several of these");
    if (isLogical)
        return TypeCode::logical;
    if (isTextual)
        return elements.dimensions.empty() ? TypeCode::character : TypeCode::string;
    if (elements.values.empty() || elements.anyIs<double>())
        return TypeCode::float64;
    if (!elements.anyIs<std::uint64_t>())
        return TypeCode::int64;
    for (const Element& value : elements.values)
        if (const auto* number = std::get_if<std::int64_t>(&value); number != nullptr && *number < 0)
            refuse(PyExc_OverflowError, "no integer type holds all of the numbers");
    return TypeCode::uint64;
}

/// The number as a T; nothing when it does not fit. `exactly`: without rounding.
template <class T>
std::optional<T> numberAs(const Element& element, bool exactly) {
    return std::visit(
        [&](const auto& value) -> std::optional<T> {
            using Value = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<Value, std::u16string>) {
                return std::nullopt;
            } else if constexpr (std::is_same_v<T, bool>) {
                return value == Value(0) || value == Value(1) ? std::optional(value == Value(1))
                                                              : std::nullopt;
            } else if constexpr (std::is_same_v<Value, bool>) {
                return exactly ? std::nullopt : std::optional(static_cast<T>(value));
            } else if constexpr (std::is_floating_point_v<T>) {
                const T number = static_cast<T>(value);
                if constexpr (std::is_same_v<Value, double>) {
                    return std::isfinite(number) == std::isfinite(value) ? std::optional(number)
                                                                         : std::nullopt;
                } else {
                    constexpr auto largest = std::int64_t{1} << std::numeric_limits<T>::digits;
                    const bool isExact =
                        std::cmp_less_equal(value, largest) && std::cmp_greater_equal(value, -largest);
                    return exactly && !isExact ? std::nullopt : std::optional(number);
                }
            } else if constexpr (std::is_same_v<Value, double>) {
                // Bounds that a double holds exactly; the upper one is one too large.
                const double low = static_cast<double>(std::numeric_limits<T>::min());
                const double end = std::ldexp(1.0, std::numeric_limits<T>::digits);
                if (exactly || !(value >= low) || !(value < end) || value != std::trunc(value))
                    return std::nullopt;
                return static_cast<T>(value);
            } else {
                return std::in_range<T>(value) ? std::optional(static_cast<T>(value)) : std::nullopt;
            }
        },
        element);
}

/// Column by column, as arrays are stored.
template <class T>
Array arranged(const Elements& from, std::vector<T> rowByRow) {
    if (from.values.empty())
        return Array::make<T>({0, 0}, {});
    if (from.dimensions.empty())
        return Array::make<T>({1, 1}, std::move(rowByRow));
    if (from.dimensions.size() == 1)
        return Array::row<T>(std::move(rowByRow));
    std::vector<T> columnByColumn;
    columnByColumn.reserve(rowByRow.size());
    std::vector<std::size_t> index(from.dimensions.size(), 0);
    for (std::size_t n = 0; n < rowByRow.size(); ++n) {
        std::size_t position = 0;
        for (std::size_t d = 0; d < index.size(); ++d)
            position = position * from.dimensions[d] + index[d];
        columnByColumn.push_back(rowByRow[position]);
        for (std::size_t d = 0; d < index.size() && ++index[d] == from.dimensions[d]; ++d)
            index[d] = 0;
    }
    return Array::make<T>(from.dimensions, std::move(columnByColumn));
}

template <class T>
std::optional<Array> numbers(const Elements& from, bool exactly) {
    std::vector<T> converted;
    converted.reserve(from.values.size());
    for (const Element& value : from.values) {
        const auto number = numberAs<T>(value, exactly);
        if (!number)
            return std::nullopt;
        converted.push_back(*number);
    }
    return arranged(from, std::move(converted));
}

std::optional<Array> texts(const Elements& from) {
    std::vector<std::u16string> all;
    for (const Element& value : from.values) {
        const auto* text = std::get_if<std::u16string>(&value);
        if (text == nullptr)
            return std::nullopt;
        all.push_back(*text);
    }
    return arranged(from, std::move(all));
}

std::optional<Array> character(const Elements& from) {
    const auto* text = from.dimensions.empty() ? std::get_if<std::u16string>(&from.values.front()) : nullptr;
    return text == nullptr ? std::nullopt : std::optional(Array::text(*text));
}

std::optional<Array> arrayOf(TypeCode type, const Elements& from, bool exactly) {
    switch (type) {
    case TypeCode::logical:
        return numbers<bool>(from, exactly);
    case TypeCode::character:
        return character(from);
    case TypeCode::string:
        return texts(from);
    case TypeCode::float64:
        return numbers<double>(from, exactly);
    case TypeCode::float32:
        return numbers<float>(from, exactly);
    case TypeCode::int8:
        return numbers<std::int8_t>(from, exactly);
    case TypeCode::uint8:
        return numbers<std::uint8_t>(from, exactly);
    case TypeCode::int16:
        return numbers<std::int16_t>(from, exactly);
    case TypeCode::uint16:
        return numbers<std::uint16_t>(from, exactly);
    case TypeCode::int32:
        return numbers<std::int32_t>(from, exactly);
    case TypeCode::uint32:
        return numbers<std::uint32_t>(from, exactly);
    case TypeCode::int64:
        return numbers<std::int64_t>(from, exactly);
    case TypeCode::uint64:
        return numbers<std::uint64_t>(from, exactly);
    default:
        return std::nullopt;
    }
}

bool isNumeric(TypeCode type) {
    return varnek::data::isInteger(type) || varnek::data::isFloat(type);
}

/// Whether elements of that natural type may take the preferred one.
bool mayBecome(TypeCode natural, TypeCode preferred) {
    return (varnek::data::isInteger(natural) && isNumeric(preferred)) ||
           (natural == TypeCode::float64 && preferred == TypeCode::float32);
}

Array arrayOf(const Elements& from, const ElementType& type) {
    if (type.wanted) {
        if (auto array = arrayOf(*type.wanted, from, false))
            return *array;
        const bool isNumber =
            !from.anyIs<std::u16string>() && (isNumeric(*type.wanted) || *type.wanted == TypeCode::logical);
        refuse(isNumber ? PyExc_OverflowError : PyExc_TypeError,
               "the value does not fit the type " + std::string(varnek::data::className(*type.wanted)));
    }
    const TypeCode natural = naturalType(from);
    if (type.preferred && (from.values.empty() || mayBecome(natural, *type.preferred)))
        if (auto array = arrayOf(*type.preferred, from, true))
            return *array;
    return *arrayOf(natural, from, false);
}

} // namespace

ShapedValue toValue(py::handle object, const ElementType& type) {
    if (object.is_none())
        return {};
    Elements elements;
    bool isLeafDepthKnown = false;
    collect(object, 0, elements, isLeafDepthKnown);
    return {arrayOf(elements, type), !elements.dimensions.empty()};
}

TypeCode elementType(const std::string& className) {
    const auto type = varnek::data::typeOfClassName(className);
    const bool isHeld = type && (*type == TypeCode::character || arrayOf(*type, Elements{{0}, {}}, false));
    if (!isHeld)
        throw py::value_error("a setting holds no values of type \"" + className + "\"");
    return *type;
}

} // namespace settings::python
