#include "log/StandardError.hpp"

#include "varnek/files/PathText.hpp"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>

namespace varnek::log {
namespace {

void appendHex(std::string& text, std::string_view prefix, std::uint32_t value, int digits) {
    text += prefix;
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4)
        text += "0123456789abcdef"[value >> shift & 0xF];
}

/// Bytes of the well-formed UTF-8 character at the front, 0 if there is none.
std::size_t characterLength(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned lead = byte(0);
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if ((lead >= 0x80 && lead < 0xC2) || lead > 0xF4 || text.size() < length)
        return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((byte(i) & 0xC0) != 0x80)
            return 0;
    // Overlong forms, surrogates and values beyond U+10FFFF show in the second byte.
    if ((lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xED && byte(1) > 0x9F) ||
        (lead == 0xF0 && byte(1) < 0x90) || (lead == 0xF4 && byte(1) > 0x8F))
        return 0;
    return length;
}

void appendEscaped(std::string& text, unsigned char control) {
    switch (control) {
    case '\n':
        text += "\\n";
        break;
    case '\r':
        text += "\\r";
        break;
    case '\t':
        text += "\\t";
        break;
    default:
        appendHex(text, "\\x", control, 2);
    }
}

/// The place of the first surrogate without partner, or the size.
std::size_t loneSurrogate(std::u16string_view text) {
    const auto high = [&](std::size_t i) { return text[i] >= 0xD800 && text[i] < 0xDC00; };
    const auto low = [&](std::size_t i) { return text[i] >= 0xDC00 && text[i] < 0xE000; };
    std::size_t i = 0;
    while (i < text.size() && (!high(i) || (i + 1 < text.size() && low(i + 1))) && !low(i))
        i += high(i) ? 2 : 1;
    return std::min(i, text.size());
}

} // namespace

std::string escaped(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const auto lead = static_cast<unsigned char>(text.front());
        const std::size_t length = characterLength(text);
        if (length == 0 || lead < 0x20 || lead == 0x7F)
            appendEscaped(result, lead);
        else if (lead == 0xC2 && static_cast<unsigned char>(text[1]) < 0xA0) // U+0080 to U+009F
            appendHex(result, "\\u", static_cast<unsigned char>(text[1]), 4);
        else
            result.append(text, 0, length);
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return result;
}

std::string utf8Of(std::u16string_view text) {
    std::string result;
    while (!text.empty()) {
        const std::size_t length = loneSurrogate(text);
        result += files::utf8FromUtf16(text.substr(0, length)).value_or("");
        text.remove_prefix(length);
        if (!text.empty()) {
            appendHex(result, "\\u", text.front(), 4);
            text.remove_prefix(1);
        }
    }
    return result;
}

void writeToStandardError(std::string_view text) noexcept {
    while (!text.empty()) {
        const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
        if (written > 0)
            text.remove_prefix(static_cast<std::size_t>(written));
        else if (written == 0 || errno != EINTR)
            return;
    }
}

} // namespace varnek::log
