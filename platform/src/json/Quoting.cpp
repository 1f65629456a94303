#include "json/Quoting.hpp"

#include "json/Utf8.hpp"

#include <array>

namespace varnek::json::detail {

namespace {

constexpr std::string_view hexDigits = "0123456789abcdef";

/// For each ASCII character: 0 when it stands for itself, the letter of its short escape, or 'u'.
constexpr std::array<char, 128> escapes = [] {
    std::array<char, 128> table{};
    for (std::size_t control = 0; control < 0x20; ++control)
        table[control] = 'u';
    table['\b'] = 'b';
    table['\f'] = 'f';
    table['\n'] = 'n';
    table['\r'] = 'r';
    table['\t'] = 't';
    table['"'] = '"';
    table['\\'] = '\\';
    return table;
}();

void appendUnicodeEscape(std::string& result, char32_t unit) {
    result += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4)
        result += hexDigits[unit >> shift & 0xFU];
}

void appendEscape(std::string& result, char character) {
    const char letter = escapes[static_cast<unsigned char>(character)];
    if (letter == 'u') {
        appendUnicodeEscape(result, static_cast<unsigned char>(character));
    } else {
        result += '\\';
        result += letter;
    }
}

bool standsForItself(char character) noexcept {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x80 && escapes[byte] == 0;
}

/// Returns the bytes taken; 0 for what is no text. `afterHigh` tells whether a lone high surrogate came
/// before, which no low one may follow.
std::size_t appendOther(std::string& result, std::string_view rest, bool& afterHigh) {
    const auto [codePoint, length] = decode(rest);
    const bool partnerOfHigh = afterHigh && isLowSurrogate(codePoint);
    afterHigh = length != 0 && isHighSurrogate(codePoint);
    if (length == 0 || partnerOfHigh)
        return 0;
    if (length == 1)
        appendEscape(result, rest.front());
    else if (isSurrogate(codePoint))
        appendUnicodeEscape(result, codePoint);
    else
        result += rest.substr(0, length);
    return length;
}

template <class OnInvalid>
bool quote(std::string& result, std::string_view text, OnInvalid onInvalid) {
    result += '"';
    bool afterHigh = false;
    while (!text.empty()) {
        std::size_t plain = 0;
        while (plain < text.size() && standsForItself(text[plain]))
            ++plain;
        result += text.substr(0, plain);
        text.remove_prefix(plain);
        if (text.empty())
            break;
        afterHigh = afterHigh && plain == 0;
        std::size_t taken = appendOther(result, text, afterHigh);
        if (taken == 0) {
            if (!onInvalid())
                return false;
            taken = 1;
        }
        text.remove_prefix(taken);
    }
    result += '"';
    return true;
}

} // namespace

bool appendQuoted(std::string& result, std::string_view text) {
    return quote(result, text, [] { return false; });
}

void appendQuotedLeniently(std::string& result, std::string_view text) {
    static_cast<void>(quote(result, text, [&result] {
        result += '?';
        return true;
    }));
}

} // namespace varnek::json::detail
