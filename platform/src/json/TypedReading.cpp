// Data arrays from their typed form.
#include "json/ArrayConversion.hpp"
#include "json/ElementReading.hpp"

#include <algorithm>
#include <complex>
#include <initializer_list>
#include <stdexcept>

namespace varnek::json {

namespace {

using data::TypeCode;
using detail::Place;

data::Array readTyped(const Value& value, const Place& place);

using Keys = std::initializer_list<std::string_view>;

/// Says why `value` is not an object of exactly these members.
[[noreturn]] void failMembers(const Value& value, const Place& place, Keys keys) {
    std::string names;
    for (const std::string_view key : keys)
        names.append(names.empty() ? "\"" : ", \"").append(key).append("\"");
    const Object* const object = value.ifObject();
    if (object == nullptr)
        place.fail(ConversionFailure::form,
                   "expected an object of " + names + ", found " + std::string(kindText(value.kind())));
    for (const std::string_view key : keys) {
        if (!object->contains(key))
            place.fail(ConversionFailure::form, "the member \"" + std::string(key) + "\" is missing");
    }
    place.fail(ConversionFailure::form, "the object may only have the members " + names);
}

const Object& objectOf(const Value& value, const Place& place, Keys keys) {
    const Object* const object = value.ifObject();
    const auto isMember = [object](std::string_view key) { return object->contains(key); };
    if (object == nullptr || object->size() != keys.size() ||
        !std::all_of(keys.begin(), keys.end(), isMember))
        failMembers(value, place, keys);
    return *object;
}

data::Array readCharacters(const Value& value, const Place& place) {
    const auto nested = detail::unnest(value, place);
    std::vector<std::u16string> texts;
    texts.reserve(nested.leaves.size());
    for (std::size_t i = 0; i < nested.leaves.size(); ++i) {
        const Place leaf = place.leaf(nested.lengths, i);
        detail::readElement(*nested.leaves[i], leaf, texts.emplace_back());
        if (texts[i].size() != texts.front().size())
            leaf.fail(ConversionFailure::shape, "a row of " + std::to_string(texts[i].size()) +
                                                    " characters in a matrix of rows of " +
                                                    std::to_string(texts.front().size()));
    }
    if (nested.lengths.empty())
        return data::Array::text(texts.front());
    const std::size_t length = texts.empty() ? 0 : texts.front().size();
    // The rows lie side by side: unit by unit, each in the column-major order of the rows.
    std::vector<char16_t> units;
    units.reserve(length * texts.size());
    const auto rowsInOrder = nested.inColumnOrder<const std::u16string*>(
        [&texts](const Value&, std::size_t number) { return &texts[number]; });
    for (std::size_t i = 0; i < length; ++i) {
        for (const std::u16string* const row : rowsInOrder)
            units.push_back((*row)[i]);
    }
    return data::Array::make(nested.dimensionsWith(length), std::move(units));
}

template <class T>
data::Array readFloats(const Value& value, const Place& place) {
    if (!value.isObject())
        return detail::readNested<T>(value, place);
    const Object& parts = objectOf(value, place, {"imag", "real"});
    const Place imagPlace = place.key("imag");
    const Place realPlace = place.key("real");
    const auto imagNested = detail::unnest(parts.at("imag"), imagPlace);
    const auto realNested = detail::unnest(parts.at("real"), realPlace);
    if (imagNested.lengths != realNested.lengths)
        place.fail(ConversionFailure::shape, "the imaginary parts have another shape than the real ones");
    const auto imag = detail::readElements<T>(imagNested, imagPlace);
    const auto real = detail::readElements<T>(realNested, realPlace);
    std::vector<std::complex<T>> elements(real.size());
    for (std::size_t i = 0; i < elements.size(); ++i)
        elements[i] = {real[i], imag[i]};
    return data::Array::make(realNested.dimensions(), std::move(elements));
}

data::Array readCell(const Value& value, const Place& place) {
    if (!value.isArray())
        detail::failKind(place, "an array of typed values", value);
    const auto nested = detail::unnest(value, place);
    auto elements =
        nested.inColumnOrder<data::Array>([&nested, &place](const Value& leaf, std::size_t number) {
            return readTyped(leaf, place.leaf(nested.lengths, number));
        });
    return data::Array::make(nested.dimensions(), std::move(elements));
}

const Array& arrayOf(const Value& value, const Place& place) {
    if (!value.isArray())
        place.fail(ConversionFailure::form,
                   "expected an array, found " + std::string(kindText(value.kind())));
    return value.asArray();
}

data::Array readStructure(const Value& value, const Place& place) {
    const Object& parts = objectOf(value, place, {"fields", "size", "values"});
    const Place fieldsPlace = place.key("fields");
    const Place sizePlace = place.key("size");
    const Place valuesPlace = place.key("values");

    std::vector<std::string> names;
    const Array& fields = arrayOf(parts.at("fields"), fieldsPlace);
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (!fields[i].isString())
            fieldsPlace.index(i).fail(ConversionFailure::form, "expected the name of a field");
        names.emplace_back(fields[i].asString());
    }
    data::Dimensions dimensions;
    const Array& size = arrayOf(parts.at("size"), sizePlace);
    for (std::size_t i = 0; i < size.size(); ++i)
        detail::readElement(size[i], sizePlace.index(i), dimensions.emplace_back());
    std::vector<data::Array> values;
    const Array& typedValues = arrayOf(parts.at("values"), valuesPlace);
    values.reserve(typedValues.size());
    for (std::size_t i = 0; i < typedValues.size(); ++i)
        values.push_back(readTyped(typedValues[i], valuesPlace.index(i)));
    try {
        return data::Array::structure(std::move(dimensions), std::move(names), std::move(values));
    } catch (const std::invalid_argument& error) {
        place.fail(ConversionFailure::shape, error.what());
    }
}

data::Array readVoid(const Value& value, const Place& place) {
    if (!value.isArray() || !value.asArray().empty())
        place.fail(ConversionFailure::form, "the class \"empty\" has no data");
    return {};
}

data::Array readOfType(TypeCode type, const Value& value, const Place& place) {
    switch (type) {
    case TypeCode::empty:
        return readVoid(value, place);
    case TypeCode::logical:
        return detail::readNested<bool>(value, place);
    case TypeCode::character:
        return readCharacters(value, place);
    case TypeCode::string:
        return detail::readNested<std::u16string>(value, place);
    case TypeCode::float64:
    case TypeCode::complexFloat64:
        return readFloats<double>(value, place);
    case TypeCode::float32:
    case TypeCode::complexFloat32:
        return readFloats<float>(value, place);
    case TypeCode::int8:
        return detail::readNested<std::int8_t>(value, place);
    case TypeCode::uint8:
        return detail::readNested<std::uint8_t>(value, place);
    case TypeCode::int16:
        return detail::readNested<std::int16_t>(value, place);
    case TypeCode::uint16:
        return detail::readNested<std::uint16_t>(value, place);
    case TypeCode::int32:
        return detail::readNested<std::int32_t>(value, place);
    case TypeCode::uint32:
        return detail::readNested<std::uint32_t>(value, place);
    case TypeCode::int64:
        return detail::readNested<std::int64_t>(value, place);
    case TypeCode::uint64:
        return detail::readNested<std::uint64_t>(value, place);
    case TypeCode::cell:
        return readCell(value, place);
    case TypeCode::structure:
        return readStructure(value, place);
    }
    return {};
}

data::Array readTyped(const Value& value, const Place& place) {
    // Every value of every file comes through here: two searches, no more.
    const Object* const object = value.ifObject();
    const Value* const contents = object != nullptr ? object->find(typedDataKey) : nullptr;
    const Value* const name = object != nullptr ? object->find(typedClassKey) : nullptr;
    if (contents == nullptr || name == nullptr || object->size() != 2)
        failMembers(value, place, {typedDataKey, typedClassKey});
    const Place namePlace = place.key(typedClassKey);
    if (!name->isString())
        namePlace.fail(ConversionFailure::form,
                       "expected a class name, found " + std::string(kindText(name->kind())));
    const auto type = data::typeOfClassName(name->asString());
    if (!type)
        namePlace.fail(ConversionFailure::className,
                       "unknown class \"" + std::string(name->asString()) + '"');
    return readOfType(*type, *contents, place.key(typedDataKey));
}

} // namespace

data::Array fromTyped(const Value& value, std::string_view path) {
    return readTyped(value, Place(path));
}

} // namespace varnek::json
