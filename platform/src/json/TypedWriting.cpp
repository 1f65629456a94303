// Data arrays to their typed form.
#include "json/ArrayConversion.hpp"
#include "json/Limits.hpp"
#include "json/Nesting.hpp"
#include "json/NumberWords.hpp"

#include <array>
#include <charconv>
#include <cmath>
#include <complex>

namespace varnek::json {

namespace {

using data::TypeCode;

Value typed(const data::Array& array, std::size_t depth);

Value leafValue(double number) {
    if (std::isfinite(number))
        return number;
    return std::isnan(number) ? detail::nanWord
           : number > 0       ? detail::infinityWord
                              : detail::minusInfinityWord;
}

/// The double with the fewest digits that reads back as this float: 0.1, not 0.10000000149011612.
Value leafValue(float number) {
    if (!std::isfinite(number))
        return leafValue(static_cast<double>(number));
    std::array<char, 32> digits;
    const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    double shortest = 0;
    const auto [stop, error] = std::from_chars(digits.data(), end, shortest);
    return error == std::errc() && static_cast<float>(shortest) == number ? shortest
                                                                          : static_cast<double>(number);
}

template <class T>
Value nestElements(const data::Array& array) {
    const auto elements = array.elements<T>();
    return detail::nestArray(array, true, [elements](std::size_t offset) -> Value {
        if constexpr (std::is_floating_point_v<T>)
            return leafValue(elements[offset]);
        else
            return elements[offset];
    });
}

template <class T>
Value complexData(const data::Array& array) {
    const auto elements = array.elements<std::complex<T>>();
    Object parts;
    parts.set("imag", detail::nestArray(array, true, [elements](std::size_t offset) {
                  return leafValue(elements[offset].imag());
              }));
    parts.set("real", detail::nestArray(array, true, [elements](std::size_t offset) {
                  return leafValue(elements[offset].real());
              }));
    return parts;
}

/// All extents but the last become nesting, the last one lies inside the strings.
Value characterData(const data::Array& array) {
    const auto units = array.elements<char16_t>();
    const auto extents = array.dimensions();
    if (units.empty() && !detail::nestingKeepsEmpty(extents))
        return "";
    if (extents.size() == 2 && extents[0] == 1 && !units.empty())
        return std::u16string_view(units.data(), units.size());
    const std::size_t length = extents.back();
    const std::size_t stride = length == 0 ? 1 : units.size() / length;
    return detail::nest(extents.first(extents.size() - 1),
                        [units, length, stride](std::size_t offset) -> Value {
                            std::u16string text(length, u'\0');
                            for (std::size_t i = 0; i < length; ++i)
                                text[i] = units[offset + i * stride];
                            return text;
                        });
}

Value cellData(const data::Array& array, std::size_t depth) {
    const auto elements = array.elements<data::Array>();
    return detail::nestArray(
        array, false, [elements, depth](std::size_t offset) { return typed(elements[offset], depth + 1); });
}

Value structureData(const data::Array& array, std::size_t depth) {
    Array fields;
    for (const std::string& name : array.fieldNames())
        fields.push_back(name);
    Array size;
    for (const std::size_t extent : array.dimensions())
        size.push_back(extent);
    Array values;
    if (!fields.empty()) {
        for (std::size_t i = 0; i < array.numberOfElements(); ++i) {
            for (const std::string& name : array.fieldNames())
                values.push_back(typed(array.field(name, i), depth + 1));
        }
    }
    Object parts;
    parts.set("fields", std::move(fields));
    parts.set("size", std::move(size));
    parts.set("values", std::move(values));
    return parts;
}

Value dataOf(const data::Array& array, std::size_t depth) {
    switch (array.type()) {
    case TypeCode::empty:
        return Array();
    case TypeCode::logical:
        return nestElements<bool>(array);
    case TypeCode::character:
        return characterData(array);
    case TypeCode::string:
        return nestElements<std::u16string>(array);
    case TypeCode::float64:
        return nestElements<double>(array);
    case TypeCode::float32:
        return nestElements<float>(array);
    case TypeCode::int8:
        return nestElements<std::int8_t>(array);
    case TypeCode::uint8:
        return nestElements<std::uint8_t>(array);
    case TypeCode::int16:
        return nestElements<std::int16_t>(array);
    case TypeCode::uint16:
        return nestElements<std::uint16_t>(array);
    case TypeCode::int32:
        return nestElements<std::int32_t>(array);
    case TypeCode::uint32:
        return nestElements<std::uint32_t>(array);
    case TypeCode::int64:
        return nestElements<std::int64_t>(array);
    case TypeCode::uint64:
        return nestElements<std::uint64_t>(array);
    case TypeCode::complexFloat64:
        return complexData<double>(array);
    case TypeCode::complexFloat32:
        return complexData<float>(array);
    case TypeCode::cell:
        return cellData(array, depth);
    case TypeCode::structure:
        return structureData(array, depth);
    }
    return nullptr;
}

Value typed(const data::Array& array, std::size_t depth) {
    if (depth + array.dimensions().size() > maximumDepth)
        throw ConversionError(ConversionFailure::shape, "cells or dimensions are nested too deep", "$");
    Object object;
    object.reserve(2);
    object.set(typedDataKey, dataOf(array, depth));
    object.set(typedClassKey, data::className(array.type()));
    return object;
}

} // namespace

bool isTyped(const Value& value) noexcept {
    const Object* const object = value.ifObject();
    return object != nullptr && (object->contains(typedDataKey) || object->contains(typedClassKey));
}

Value toTyped(const data::Array& array) {
    return typed(array, 0);
}

} // namespace varnek::json
