// From arrays to Python objects.
#include "Values.hpp"

#include "Texts.hpp"

#include "settingscore/boostany/ArrayConversion.hpp"

#include <functional>
#include <string>
#include <vector>

namespace py = pybind11;

namespace settings::python {

using varnek::data::Array;
using varnek::data::Dimensions;
using varnek::data::TypeCode;

namespace {

/// The element at a position, column by column.
using ElementAt = std::function<py::object(std::size_t)>;

template <class T>
ElementAt numbers(const Array& array) {
    return [elements = array.elements<T>()](std::size_t i) -> py::object {
        if constexpr (std::is_same_v<T, bool>)
            return py::bool_(elements[i]);
        else if constexpr (std::is_floating_point_v<T>)
            return py::float_(static_cast<double>(elements[i]));
        else
            return py::int_(elements[i]);
    };
}

/// `array` has to outlive what is returned.
ElementAt elementsOf(const Array& array) {
    switch (array.type()) {
    case TypeCode::logical:
        return numbers<bool>(array);
    case TypeCode::float64:
        return numbers<double>(array);
    case TypeCode::float32:
        return numbers<float>(array);
    case TypeCode::int8:
        return numbers<std::int8_t>(array);
    case TypeCode::uint8:
        return numbers<std::uint8_t>(array);
    case TypeCode::int16:
        return numbers<std::int16_t>(array);
    case TypeCode::uint16:
        return numbers<std::uint16_t>(array);
    case TypeCode::int32:
        return numbers<std::int32_t>(array);
    case TypeCode::uint32:
        return numbers<std::uint32_t>(array);
    case TypeCode::int64:
        return numbers<std::int64_t>(array);
    case TypeCode::uint64:
        return numbers<std::uint64_t>(array);
    default:
        return [texts = array.texts()](std::size_t i) { return pythonText(texts[i]); };
    }
}

/// The part of a nested list from dimension `depth` on; `offset` and `step` place it among the elements.
py::object nested(const ElementAt& at, const Dimensions& dimensions, std::size_t depth, std::size_t offset,
                  std::size_t step) {
    if (depth == dimensions.size())
        return at(offset);
    py::list list(dimensions[depth]);
    for (std::size_t i = 0; i < dimensions[depth]; ++i)
        list[i] = nested(at, dimensions, depth + 1, offset + i * step, step * dimensions[depth]);
    return list;
}

} // namespace

py::object toPython(const Array& array, bool isVector) {
    if (array.isVoid())
        return py::none();
    const bool isCharacters = array.type() == TypeCode::character;
    if (!isVector && isCharacters)
        return pythonText(array.text());
    if (array.numberOfElements() == 0 && !isCharacters)
        return py::list();
    const ElementAt at = elementsOf(array);
    if (!isVector && array.numberOfElements() == 1)
        return at(0);
    Dimensions dimensions(array.dimensions().begin(), array.dimensions().end());
    if (isCharacters)
        dimensions = {array.texts().size()};
    else if (dimensions.size() == 2 && dimensions[0] == 1)
        dimensions.erase(dimensions.begin());
    return nested(at, dimensions, 0, 0, 1);
}

py::object toPython(const Array& array) {
    return toPython(array, !array.isVoid() && settingscore::boostany::isVectorShape(array));
}

} // namespace settings::python
