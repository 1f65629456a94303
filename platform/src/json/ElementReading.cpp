#include "json/ElementReading.hpp"

#include "json/NumberWords.hpp"

#include <cmath>
#include <stdexcept>

namespace varnek::json::detail {

void failRange(const Place& place, std::string_view least, std::string_view most) {
    place.fail(ConversionFailure::numberRange,
               "not an exact integer from " + std::string(least) + " to " + std::string(most));
}

void failKind(const Place& place, std::string_view expected, const Value& found) {
    place.fail(ConversionFailure::elementKind,
               "expected " + std::string(expected) + ", found " + std::string(kindText(found.kind())));
}

void readElement(const Value& value, const Place& place, bool& element) {
    if (value.kind() != Kind::boolean)
        failKind(place, "true or false", value);
    element = value.asBool();
}

void readElement(const Value& value, const Place& place, double& element) {
    if (value.isNumber()) {
        element = value.asDouble();
        return;
    }
    if (!value.isString())
        failKind(place, "a number", value);
    const std::string_view word = value.asString();
    if (word == nanWord)
        element = std::numeric_limits<double>::quiet_NaN();
    else if (word == infinityWord)
        element = std::numeric_limits<double>::infinity();
    else if (word == minusInfinityWord)
        element = -std::numeric_limits<double>::infinity();
    else
        failKind(place, "a number, \"NaN\", \"Inf\" or \"-Inf\"", value);
}

void readElement(const Value& value, const Place& place, float& element) {
    double number = 0;
    readElement(value, place, number);
    // From half a unit above the largest float on, rounding would give infinity.
    constexpr double firstBeyond = 0x1.ffffffp127;
    if (std::isfinite(number) && std::abs(number) >= firstBeyond)
        place.fail(ConversionFailure::numberRange, "the number is too large for single");
    element = static_cast<float>(number);
}

void readElement(const Value& value, const Place& place, std::u16string& element) {
    if (!value.isString())
        failKind(place, "a string", value);
    try {
        element = value.asUtf16();
    } catch (const std::invalid_argument&) {
        place.fail(ConversionFailure::encoding, "the string is not Unicode text");
    }
}

} // namespace varnek::json::detail
