#include "settingscore/settings/node/FileFit.hpp"

#include "json/ArrayConversion.hpp"
#include "json/Limits.hpp"
#include "json/Writer.hpp"

#include <exception>
#include <new>
#include <string>

namespace settings::core::detail {

using varnek::data::Array;
using varnek::data::TypeCode;
namespace json = varnek::json;

namespace {

/// For the names and flags around the value.
constexpr std::size_t rest = std::size_t{64} << 10;
constexpr std::size_t most = json::maximumTextSize - rest;

/// Levels that the file nests around the value: the group, its settings, the setting.
constexpr int around = 3;
constexpr std::size_t fewDimensions = 32;

constexpr std::size_t longestNumber = 26; // with the comma
constexpr std::size_t longestUnit = 6;    // \uXXXX
constexpr std::size_t quotes = 3;         // with the comma
constexpr std::size_t typedElement = 40;  // {"qfdata":"","qftype":"char"} with comma and brackets

/// Not less than the bytes that the elements take.
std::size_t boundOfElements(const Array& value, std::size_t places) {
    std::size_t bytes = 0;
    switch (value.type()) {
    case TypeCode::character:
        return places * (longestUnit + quotes);
    case TypeCode::string:
        for (const std::u16string& text : value.elements<std::u16string>())
            bytes += text.size() * longestUnit + quotes;
        return bytes;
    case TypeCode::cell:
        for (const Array& element : value.elements<Array>())
            bytes += element.numberOfElements() * (longestUnit + quotes) + typedElement;
        return bytes;
    default:
        return places * longestNumber;
    }
}

/// Every place of a nested array may open and close as many brackets as there are dimensions; an extent of
/// zero leaves those of the dimensions before it.
bool surelyFits(const Array& value) {
    const auto extents = value.dimensions();
    if (extents.size() > fewDimensions)
        return false;
    std::size_t places = 1;
    for (const std::size_t extent : extents) {
        if (extent > most)
            return false;
        places *= extent == 0 ? 1 : extent;
        if (places > most)
            return false;
    }
    return boundOfElements(value, places) + places * 3 * extents.size() <= most;
}

} // namespace

bool fitsIntoFile(const Array& value) {
    if (surelyFits(value))
        return true;
    try {
        json::Value nested = json::toTyped(value);
        for (int i = 0; i < around; ++i) {
            json::Array outer;
            outer.push_back(std::move(nested));
            nested = std::move(outer);
        }
        return json::write(nested).size() <= most;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) { // larger or deeper than the writer goes
        return false;
    }
}

} // namespace settings::core::detail
