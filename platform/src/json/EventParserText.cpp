#include "json/EventParserText.hpp"

#include "json/Utf8.hpp"

#include <algorithm>
#include <charconv>
#include <optional>

namespace varnek::json::detail {

namespace {

constexpr std::size_t escapeLength = 6; // \uXXXX
constexpr std::string_view largestExponent = "999999999";

bool isDigit(char character) noexcept {
    return character >= '0' && character <= '9';
}

/// The UTF-16 unit of the escape at the start of `text`, if there is one.
std::optional<char16_t> unitOfEscape(std::string_view text) noexcept {
    if (text.size() < escapeLength || text[0] != '\\' || text[1] != 'u')
        return std::nullopt;
    unsigned unit = 0;
    const char* const end = text.data() + escapeLength;
    const auto [stop, error] = std::from_chars(text.data() + 2, end, unit, 16);
    if (error != std::errc() || stop != end)
        return std::nullopt;
    return static_cast<char16_t>(unit);
}

} // namespace

EventParserText::EventParserText(std::string_view original) : original_(original) {
    bool inString = false;
    for (std::size_t i = 0; i < original.size();) {
        const char character = original[i];
        if (character == '\\') {
            i = prepareEscape(i);
        } else if (!inString && (character == 'e' || character == 'E')) {
            i = prepareExponent(i);
        } else {
            inString = inString != (character == '"');
            ++i;
        }
    }
    if (differs())
        text_ += original.substr(copied_);
}

std::size_t EventParserText::replace(std::size_t begin, std::size_t end, std::string_view by) {
    text_ += original_.substr(copied_, begin - copied_);
    text_ += by;
    copied_ = end;
    removals_.emplace_back(text_.size(), copied_ - text_.size());
    return end;
}

std::size_t EventParserText::prepareEscape(std::size_t backslash) {
    const auto unit = unitOfEscape(original_.substr(backslash));
    if (!unit)
        return backslash + 2;
    const std::size_t end = backslash + escapeLength;
    if (!isSurrogate(*unit))
        return end;
    if (isHighSurrogate(*unit)) {
        const auto next = unitOfEscape(original_.substr(end));
        if (next && isLowSurrogate(*next))
            return end + escapeLength;
    }
    std::string bytes;
    append(bytes, *unit);
    return replace(backslash, end, bytes);
}

std::size_t EventParserText::prepareExponent(std::size_t letter) {
    std::size_t first = letter + 1;
    if (first < original_.size() && (original_[first] == '+' || original_[first] == '-'))
        ++first;
    while (first < original_.size() && original_[first] == '0')
        ++first;
    std::size_t end = first;
    while (end < original_.size() && isDigit(original_[end]))
        ++end;
    return end - first > largestExponent.size() ? replace(first, end, largestExponent) : end;
}

std::size_t EventParserText::originalOffset(std::size_t offset) const noexcept {
    const auto after =
        std::upper_bound(removals_.begin(), removals_.end(), offset,
                         [](std::size_t wanted, const auto& removal) { return wanted < removal.first; });
    return after == removals_.begin() ? offset : offset + std::prev(after)->second;
}

} // namespace varnek::json::detail
