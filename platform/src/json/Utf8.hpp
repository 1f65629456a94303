/// Reading UTF-8 sequences one by one.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace varnek::json::detail {

struct Decoded {
    char32_t codePoint = 0;
    std::size_t length = 0; ///< bytes; 0 when the bytes are no sequence
};

/// The sequence at the start of a text that is not empty. Surrogates count as code points; overlong forms,
/// numbers above U+10FFFF and stray bytes do not.
Decoded decode(std::string_view text) noexcept;

constexpr bool isSurrogate(char32_t codePoint) noexcept {
    return codePoint >= 0xD800 && codePoint <= 0xDFFF;
}
constexpr bool isHighSurrogate(char32_t codePoint) noexcept {
    return codePoint >= 0xD800 && codePoint <= 0xDBFF;
}
constexpr bool isLowSurrogate(char32_t codePoint) noexcept {
    return codePoint >= 0xDC00 && codePoint <= 0xDFFF;
}

/// Adds the one to four bytes of a code point (a surrogate gets three).
void append(std::string& text, char32_t codePoint);

/// Offset of the first byte that does not belong to strict UTF-8 (surrogates refused), or npos.
std::size_t findInvalidUtf8(std::string_view text) noexcept;

/// The length of the run of ASCII bytes at the start.
std::size_t asciiPrefix(std::string_view text) noexcept;

} // namespace varnek::json::detail
