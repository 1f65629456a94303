/// Reading elements of data arrays from JSON.
#pragma once

#include "varnek/data/Array.hpp"
#include "json/Nesting.hpp"
#include "json/Place.hpp"
#include "json/Value.hpp"

#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace varnek::json::detail {

// Each reads one element; ConversionError with the path of `place` when `value` is none.
void readElement(const Value& value, const Place& place, bool& element);
void readElement(const Value& value, const Place& place, double& element);
void readElement(const Value& value, const Place& place, float& element);
void readElement(const Value& value, const Place& place, std::u16string& element);

/// ConversionFailure::numberRange, naming the range.
[[noreturn]] void failRange(const Place& place, std::string_view least, std::string_view most);
[[noreturn]] void failKind(const Place& place, std::string_view expected, const Value& found);

/// Exact integers only: neither 1.0 nor 1e2 is one.
template <Integer T>
void readElement(const Value& value, const Place& place, T& element) {
    using Limits = std::numeric_limits<T>;
    if (!value.isNumber())
        failKind(place, "an integer", value);
    if (value.kind() == Kind::int64 && std::in_range<T>(value.asInt64()))
        element = static_cast<T>(value.asInt64());
    else if (value.kind() == Kind::uint64 && std::in_range<T>(value.asUint64()))
        element = static_cast<T>(value.asUint64());
    else
        failRange(place, std::to_string(Limits::min()), std::to_string(Limits::max()));
}

template <class T>
data::Array readScalar(const Value& value, const Place& place) {
    T element{};
    readElement(value, place, element);
    return data::Array::scalar(std::move(element));
}

template <class T>
std::vector<T> readElements(const Unnested& nested, const Place& place) {
    return nested.inColumnOrder<T>([&nested, &place](const Value& leaf, std::size_t number) {
        T element{};
        readElement(leaf, place.leaf(nested.lengths, number), element);
        return element;
    });
}

template <class T>
data::Array readNested(const Value& value, const Place& place) {
    if (!value.isArray())
        return readScalar<T>(value, place);
    const Unnested nested = unnest(value, place);
    return data::Array::make(nested.dimensions(), readElements<T>(nested, place));
}

} // namespace varnek::json::detail
