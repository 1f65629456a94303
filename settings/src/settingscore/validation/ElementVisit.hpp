/// The elements of an array where they lie: nothing is converted or copied.
#pragma once

#include "varnek/data/Array.hpp"

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>

namespace settings::core::detail {

/// Calls `visit` with the elements as a span of their own type: double, single and the eight integer types.
/// False, and no call, for every other type.
template <class Visit>
bool visitNumbers(const varnek::data::Array& array, Visit visit) {
    using varnek::data::TypeCode;
    switch (array.type()) {
    case TypeCode::float64:
        visit(array.elements<double>());
        return true;
    case TypeCode::float32:
        visit(array.elements<float>());
        return true;
    case TypeCode::int8:
        visit(array.elements<std::int8_t>());
        return true;
    case TypeCode::uint8:
        visit(array.elements<std::uint8_t>());
        return true;
    case TypeCode::int16:
        visit(array.elements<std::int16_t>());
        return true;
    case TypeCode::uint16:
        visit(array.elements<std::uint16_t>());
        return true;
    case TypeCode::int32:
        visit(array.elements<std::int32_t>());
        return true;
    case TypeCode::uint32:
        visit(array.elements<std::uint32_t>());
        return true;
    case TypeCode::int64:
        visit(array.elements<std::int64_t>());
        return true;
    case TypeCode::uint64:
        visit(array.elements<std::uint64_t>());
        return true;
    default:
        return false;
    }
}

/// The first element that does not pass, null when all do.
template <class T, class Passes>
const T* firstFailing(std::span<const T> elements, Passes passes) {
    for (const T& element : elements)
        if (!passes(element))
            return &element;
    return nullptr;
}

/// Calls `visit` with each text of the value as a std::u16string_view. False, and no call, for what is no
/// text: everything but character arrays, string arrays and cells of character arrays.
template <class Visit>
bool visitTexts(const varnek::data::Array& value, Visit visit) {
    using varnek::data::Array;
    using varnek::data::TypeCode;
    const auto isContiguous = [](const Array& text) {
        return text.numberOfElements() == 0 || text.isRowOrColumn();
    };
    const auto visitUnits = [&](const Array& text) {
        const auto units = text.elements<char16_t>();
        visit(std::u16string_view(units.data(), units.size()));
    };
    switch (value.type()) {
    case TypeCode::character:
        if (isContiguous(value))
            visitUnits(value);
        else
            for (const std::u16string& row : value.texts())
                visit(std::u16string_view(row));
        return true;
    case TypeCode::string:
        for (const std::u16string& text : value.elements<std::u16string>())
            visit(std::u16string_view(text));
        return true;
    case TypeCode::cell: {
        const auto cells = value.elements<Array>();
        if (!std::all_of(cells.begin(), cells.end(),
                         [](const Array& cell) { return cell.type() == TypeCode::character; }))
            return false;
        for (const Array& cell : cells)
            if (isContiguous(cell))
                visitUnits(cell);
            else
                visit(std::u16string_view(cell.text()));
        return true;
    }
    default:
        return false;
    }
}

} // namespace settings::core::detail
