// Random values and arrays survive the way through a text.
#include "json/ArrayConversion.hpp"
#include "json/Encoding.hpp"
#include "json/Parser.hpp"
#include "json/Writer.hpp"

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace varnek::data {

void showValue(const Array& array, std::ostream& out) {
    out << json::write(json::toTyped(array));
}

} // namespace varnek::data

namespace varnek::json {

void showValue(const Value& value, std::ostream& out) {
    out << write(value);
}

namespace {

/// A number below `end`, all equally likely from the first test case on.
template <class T>
T choice(T end) {
    return *rc::gen::resize(rc::kNominalSize, rc::gen::inRange<T>(0, end));
}

/// Any bit pattern, so that every exponent, subnormals, zeros of both signs, NaN and infinities come up.
template <class Float, class Bits>
rc::Gen<Float> anyFloat() {
    using Limits = std::numeric_limits<Float>;
    const auto bits = rc::gen::map(rc::gen::resize(rc::kNominalSize, rc::gen::arbitrary<Bits>()),
                                   [](Bits b) { return std::bit_cast<Float>(b); });
    const auto special = rc::gen::element<Float>(
        0, Float(-0.0), Limits::denorm_min(), -Limits::denorm_min(), Limits::min(), Limits::max(),
        Limits::lowest(), Limits::epsilon(), Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity());
    const auto whole =
        rc::gen::map(rc::gen::arbitrary<std::int32_t>(), [](std::int32_t i) { return Float(i); });
    return rc::gen::oneOf(bits, special, whole);
}

rc::Gen<double> anyDouble() {
    return anyFloat<double, std::uint64_t>();
}

template <class T>
rc::Gen<T> anyInteger() {
    using Limits = std::numeric_limits<T>;
    return rc::gen::oneOf(rc::gen::resize(rc::kNominalSize, rc::gen::arbitrary<T>()),
                          rc::gen::element<T>(Limits::min(), Limits::max(), 0, 1));
}

/// UTF-16 units with many surrogates, in and out of pairs.
rc::Gen<std::u16string> anyText() {
    const auto in = [](unsigned first, unsigned end) {
        return rc::gen::resize(rc::kNominalSize, rc::gen::inRange(first, end));
    };
    const auto unit = rc::gen::oneOf(in(0, 0x80), in(0, 0x10000), in(0xD7FF, 0xE001));
    return rc::gen::map(
        rc::gen::container<std::vector<unsigned>>(unit),
        [](const std::vector<unsigned>& units) { return std::u16string(units.begin(), units.end()); });
}

rc::Gen<std::string> anyKey() {
    return rc::gen::map(anyText(), [](std::u16string text) {
        std::erase_if(text, [](char16_t unit) { return unit >= 0xD800 && unit <= 0xDFFF; });
        return fromUtf16(text);
    });
}

Value anyValue(int depth) {
    switch (choice(depth > 0 ? 10 : 6)) {
    case 0:
        return nullptr;
    case 1:
        return *rc::gen::arbitrary<bool>();
    case 2:
        return *anyInteger<std::int64_t>();
    case 3:
        return *anyInteger<std::uint64_t>();
    case 4:
        return *rc::gen::suchThat(anyDouble(), [](double number) { return std::isfinite(number); });
    case 5:
        return *anyText();
    case 6:
    case 7: {
        Array array;
        for (int i = choice(5); i > 0; --i)
            array.push_back(anyValue(depth - 1));
        return array;
    }
    default: {
        Object object;
        for (int i = choice(5); i > 0; --i)
            object.set(*anyKey(), anyValue(depth - 1));
        return object;
    }
    }
}

RC_GTEST_PROP(JsonProperty, ValuesSurviveBothLayouts, ()) {
    const Value value = anyValue(4);
    const std::string text = write(value);
    RC_ASSERT(parse(text) == value);
    RC_ASSERT(write(parse(text)) == text);
    RC_ASSERT(parse(writeIndented(value)) == value);
}

// The reference is the C library's correctly rounding reader.
RC_GTEST_PROP(JsonProperty, DecimalsAreTheNearestDouble, ()) {
    std::string text = *rc::gen::arbitrary<bool>() ? "-" : "";
    text += std::to_string(*anyInteger<std::uint64_t>());
    if (*rc::gen::arbitrary<bool>())
        text +=
            "." + std::to_string(*anyInteger<std::uint64_t>()) + std::to_string(*anyInteger<std::uint64_t>());
    text += "e" + std::to_string(choice(615) - 345);
    const double expected = std::strtod(text.c_str(), nullptr);
    RC_ASSERT(parse(text) == Value(expected));
}

RC_GTEST_PROP(JsonProperty, TextsSurvive, ()) {
    const std::u16string text = *anyText();
    RC_ASSERT(toUtf16(fromUtf16(text)) == text);
    RC_ASSERT(parse(write(Value(text))).asUtf16() == text);
}

// Damage is refused with an error or gives another sound value; nothing else happens.
RC_GTEST_PROP(JsonProperty, DamagedTextsNeverBreakTheParser, ()) {
    std::string text = write(anyValue(3));
    for (int i = 1 + choice(3); i > 0 && !text.empty(); --i) {
        const auto position = choice(text.size());
        switch (choice(3)) {
        case 0:
            text[position] = static_cast<char>(choice(256));
            break;
        case 1:
            text.erase(position, 1);
            break;
        default:
            text.insert(position, 1, *rc::gen::elementOf(std::string("[]{}\",:\\u0eE-.1 ")));
        }
    }
    try {
        const Value value = parse(text);
        RC_ASSERT(parse(write(value)) == value);
    } catch (const exception::Exception& error) {
        RC_ASSERT(std::string(error.what()).find(" (") != std::string::npos);
    }
}

/// Extents whose empty shapes have a typed form.
data::Dimensions anyDimensions() {
    data::Dimensions dimensions;
    for (int i = 2 + choice(3); i > 0; --i)
        dimensions.push_back(1 + choice<std::size_t>(3));
    if (choice(8) == 0)
        dimensions.back() = 0;
    return choice(16) == 0 ? data::Dimensions{0, 0} : dimensions;
}

std::size_t countOf(const data::Dimensions& dimensions) {
    std::size_t count = 1;
    for (const std::size_t extent : dimensions)
        count *= extent;
    return count;
}

template <class T>
data::Array anyArrayOf(const rc::Gen<T>& element) {
    const data::Dimensions dimensions = anyDimensions();
    std::vector<T> elements;
    for (std::size_t i = countOf(dimensions); i > 0; --i)
        elements.push_back(*element);
    return data::Array::make(dimensions, std::move(elements));
}

template <class T, class Bits>
data::Array anyComplexArray() {
    return anyArrayOf(rc::gen::map(
        rc::gen::pair(anyFloat<T, Bits>(), anyFloat<T, Bits>()),
        [](const std::pair<T, T>& parts) { return std::complex<T>(parts.first, parts.second); }));
}

constexpr int numberOfTypes = 18;

data::Array anyArrayOfType(int type, int depth);

data::Array anyArray(int depth) {
    return anyArrayOfType(choice(depth > 0 ? numberOfTypes : numberOfTypes - 2), depth);
}

/// Types 16 and 17 hold arrays; `depth` says how far down these may hold more.
data::Array anyArrayOfType(int type, int depth) {
    switch (type) {
    case 0:
        return {};
    case 1:
        return anyArrayOf<bool>(rc::gen::arbitrary<bool>());
    case 2:
        return anyArrayOf<char16_t>(
            rc::gen::map(rc::gen::resize(rc::kNominalSize, rc::gen::inRange<unsigned>(0, 0x10000)),
                         [](unsigned unit) { return static_cast<char16_t>(unit); }));
    case 3:
        return anyArrayOf(anyText());
    case 4:
        return anyArrayOf(anyDouble());
    case 5:
        return anyArrayOf(anyFloat<float, std::uint32_t>());
    case 6:
        return anyArrayOf(anyInteger<std::int8_t>());
    case 7:
        return anyArrayOf(anyInteger<std::uint8_t>());
    case 8:
        return anyArrayOf(anyInteger<std::int16_t>());
    case 9:
        return anyArrayOf(anyInteger<std::uint16_t>());
    case 10:
        return anyArrayOf(anyInteger<std::int32_t>());
    case 11:
        return anyArrayOf(anyInteger<std::uint32_t>());
    case 12:
        return anyArrayOf(anyInteger<std::int64_t>());
    case 13:
        return anyArrayOf(anyInteger<std::uint64_t>());
    case 14:
        return anyComplexArray<double, std::uint64_t>();
    case 15:
        return anyComplexArray<float, std::uint32_t>();
    case 16:
        return anyArrayOf<data::Array>(rc::gen::exec([depth] { return anyArray(depth - 1); }));
    default: {
        const data::Dimensions dimensions = anyDimensions();
        std::vector<std::string> fields;
        for (int i = choice(3); i > 0; --i)
            fields.push_back("feld " + std::to_string(i) + "é"); // not in ascending order
        std::vector<data::Array> values;
        for (std::size_t i = countOf(dimensions) * fields.size(); i > 0; --i)
            values.push_back(anyArray(0));
        return data::Array::structure(dimensions, std::move(fields), std::move(values));
    }
    }
}

RC_GTEST_PROP(JsonProperty, ArraysSurviveTheTypedForm, ()) {
    for (int type = 0; type < numberOfTypes; ++type) {
        const data::Array array = anyArrayOfType(type, 2);
        RC_ASSERT(static_cast<int>(array.type()) == type);
        const Value typed = toTyped(array);
        RC_ASSERT(typed.asObject().size() == 2U);
        RC_ASSERT(fromTyped(typed) == array);
        RC_ASSERT(fromTyped(parse(write(typed))) == array);
    }
}

RC_GTEST_PROP(JsonProperty, SinglesSurviveTheirShortDigits, ()) {
    const float number = *anyFloat<float, std::uint32_t>();
    const data::Array array = data::Array::scalar(number);
    RC_ASSERT(fromTyped(parse(write(toTyped(array)))) == array);
}

RC_GTEST_PROP(JsonProperty, PlainFormsLoseNothing, ()) {
    const data::Array array = anyArray(1);
    if (const auto plain = toPlain(array)) {
        RC_ASSERT(fromPlain(*plain) == array);
        RC_ASSERT(fromPlain(parse(write(*plain))) == array);
    }
}

RC_GTEST_PROP(JsonProperty, PlainTextsBecomeArraysOrErrors, ()) {
    const Value value = anyValue(3);
    try {
        const data::Array array = fromPlain(value);
        RC_ASSERT(fromTyped(parse(write(toTyped(array)))) == array);
    } catch (const ConversionError& error) {
        RC_ASSERT(error.path().starts_with("$"));
    }
}

} // namespace

} // namespace varnek::json
