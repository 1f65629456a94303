#include "json/Utf8.hpp"

#include "json/Encoding.hpp"

#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace varnek::json {

namespace detail {

namespace {

unsigned byteAt(std::string_view text, std::size_t index) noexcept {
    return static_cast<unsigned char>(text[index]);
}

/// Reads `length - 1` continuation bytes after a lead byte that gave `high`; `least` guards against overlong
/// forms.
Decoded decodeTail(std::string_view text, std::size_t length, char32_t high, char32_t least) noexcept {
    if (text.size() < length)
        return {};
    char32_t codePoint = high;
    for (std::size_t i = 1; i < length; ++i) {
        const unsigned byte = byteAt(text, i);
        if ((byte & 0xC0U) != 0x80U)
            return {};
        codePoint = codePoint << 6 | (byte & 0x3FU);
    }
    if (codePoint < least || codePoint > 0x10FFFF)
        return {};
    return {codePoint, length};
}

} // namespace

Decoded decode(std::string_view text) noexcept {
    const unsigned lead = byteAt(text, 0);
    if (lead < 0x80)
        return {lead, 1};
    if (lead >= 0xC2 && lead <= 0xDF)
        return decodeTail(text, 2, lead & 0x1FU, 0x80);
    if (lead >= 0xE0 && lead <= 0xEF)
        return decodeTail(text, 3, lead & 0x0FU, 0x800);
    if (lead >= 0xF0 && lead <= 0xF4)
        return decodeTail(text, 4, lead & 0x07U, 0x10000);
    return {};
}

void append(std::string& text, char32_t codePoint) {
    const auto add = [&text](char32_t byte) { text += static_cast<char>(static_cast<unsigned char>(byte)); };
    const auto addTail = [&add, codePoint](unsigned shift) { add(0x80U | (codePoint >> shift & 0x3FU)); };
    if (codePoint < 0x80) {
        add(codePoint);
    } else if (codePoint < 0x800) {
        add(0xC0U | codePoint >> 6);
        addTail(0);
    } else if (codePoint < 0x10000) {
        add(0xE0U | codePoint >> 12);
        addTail(6);
        addTail(0);
    } else {
        add(0xF0U | codePoint >> 18);
        addTail(12);
        addTail(6);
        addTail(0);
    }
}

std::size_t asciiPrefix(std::string_view text) noexcept {
    std::size_t offset = 0;
    std::uint64_t word = 0;
    for (; offset + sizeof word <= text.size(); offset += sizeof word) {
        std::memcpy(&word, text.data() + offset, sizeof word);
        if ((word & 0x8080808080808080U) != 0)
            break;
    }
    while (offset < text.size() && byteAt(text, offset) < 0x80)
        ++offset;
    return offset;
}

std::size_t findInvalidUtf8(std::string_view text) noexcept {
    std::size_t offset = 0;
    while (true) {
        offset += asciiPrefix(text.substr(offset));
        if (offset == text.size())
            return std::string_view::npos;
        const Decoded decoded = decode(text.substr(offset));
        if (decoded.length == 0 || isSurrogate(decoded.codePoint))
            return offset;
        offset += decoded.length;
    }
}

} // namespace detail

std::string fromUtf16(std::u16string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t codePoint = text[i];
        if (detail::isHighSurrogate(codePoint) && i + 1 < text.size() &&
            detail::isLowSurrogate(text[i + 1])) {
            ++i;
            codePoint = 0x10000 + ((codePoint - 0xD800) << 10) + (text[i] - 0xDC00U);
        }
        detail::append(result, codePoint);
    }
    return result;
}

std::u16string toUtf16(std::string_view text) {
    std::u16string result;
    result.reserve(text.size());
    bool afterHigh = false;
    while (!text.empty()) {
        const auto [codePoint, length] = detail::decode(text);
        if (length == 0 || (afterHigh && detail::isLowSurrogate(codePoint)))
            throw std::invalid_argument("the string is not UTF-8");
        afterHigh = detail::isHighSurrogate(codePoint);
        if (codePoint < 0x10000) {
            result += static_cast<char16_t>(codePoint);
        } else {
            result += static_cast<char16_t>(0xD800 + ((codePoint - 0x10000) >> 10));
            result += static_cast<char16_t>(0xDC00 + ((codePoint - 0x10000) & 0x3FF));
        }
        text.remove_prefix(length);
    }
    return result;
}

} // namespace varnek::json
