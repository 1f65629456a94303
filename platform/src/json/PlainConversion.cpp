// Data arrays to and from plain JSON.
#include "json/ArrayConversion.hpp"
#include "json/ElementReading.hpp"

#include <algorithm>
#include <cmath>

namespace varnek::json {

namespace {

using data::TypeCode;
using detail::Place;

template <class T>
data::Array readAll(const detail::Unnested& nested, const Place& place) {
    return data::Array::make(nested.dimensions(), detail::readElements<T>(nested, place));
}

data::Array readArray(const Value& value, const Place& place) {
    const auto nested = detail::unnest(value, place);
    if (nested.leaves.empty())
        return readAll<double>(nested, place);
    const auto firstIsSameKind = [&first = *nested.leaves.front()](const Value* leaf) {
        return leaf->isNumber() ? first.isNumber() : leaf->kind() == first.kind();
    };
    const auto other = std::find_if_not(nested.leaves.begin(), nested.leaves.end(), firstIsSameKind);
    const auto number = static_cast<std::size_t>(other - nested.leaves.begin());
    if (other != nested.leaves.end())
        place.leaf(nested.lengths, number)
            .fail(ConversionFailure::elementKind, "an array may not mix " +
                                                      std::string(kindText(nested.leaves.front()->kind())) +
                                                      " and " + std::string(kindText((*other)->kind())));
    const Value& first = *nested.leaves.front();
    if (first.isNumber())
        return readAll<double>(nested, place);
    if (first.kind() == Kind::boolean)
        return readAll<bool>(nested, place);
    if (first.isString())
        return readAll<std::u16string>(nested, place);
    detail::failKind(place.leaf(nested.lengths, 0), "a number, true, false or a string", first);
}

data::Array readPlain(const Value& value, const Place& place) {
    if (value.isNumber())
        return detail::readScalar<double>(value, place);
    if (value.kind() == Kind::boolean)
        return detail::readScalar<bool>(value, place);
    if (value.isArray())
        return readArray(value, place);
    if (!value.isString())
        detail::failKind(place, "a number, true, false, a string or an array", value);
    std::u16string text;
    detail::readElement(value, place, text);
    return data::Array::text(text);
}

template <class T>
Value nestPlain(const data::Array& array, bool bareScalar) {
    const auto elements = array.elements<T>();
    return detail::nestArray(array, bareScalar,
                             [elements](std::size_t offset) -> Value { return elements[offset]; });
}

bool is0x0(const data::Array& array) noexcept {
    const auto extents = array.dimensions();
    return extents.size() == 2 && extents[0] == 0 && extents[1] == 0;
}

std::optional<Value> plainDoubles(const data::Array& array) {
    const auto elements = array.elements<double>();
    if (!std::all_of(elements.begin(), elements.end(), [](double number) { return std::isfinite(number); }))
        return std::nullopt;
    if (elements.empty() && !is0x0(array) && !detail::nestingKeepsEmpty(array.dimensions()))
        return std::nullopt;
    return nestPlain<double>(array, true);
}

std::optional<Value> plainText(const data::Array& array) {
    const auto extents = array.dimensions();
    const bool isText = extents.size() == 2 && extents[0] == 1 && extents[1] > 0;
    if (!isText && !is0x0(array))
        return std::nullopt;
    return Value(array.text());
}

} // namespace

data::Array fromPlain(const Value& value, std::string_view path) {
    return readPlain(value, Place(path));
}

std::optional<Value> toPlain(const data::Array& array) {
    if (array.type() == TypeCode::float64)
        return plainDoubles(array);
    if (array.type() == TypeCode::character)
        return plainText(array);
    if (array.numberOfElements() == 0)
        return std::nullopt;
    if (array.type() == TypeCode::logical)
        return nestPlain<bool>(array, true);
    if (array.type() == TypeCode::string)
        return nestPlain<std::u16string>(array, false); // a string alone would read back as characters
    return std::nullopt;
}

} // namespace varnek::json
