#include "varnek/files/PathText.hpp"

#include "varnek/files/FileError.hpp"

#include <cstdio>

namespace varnek::files {
namespace {

constexpr char32_t replacementCharacter = 0xFFFD;

struct Decoded {
    char32_t value;
    std::size_t length; // 0: not well-formed
};

/// The character at the front of a non-empty text.
Decoded decode(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80)
        return {lead, 1};
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length)
        return {0, 0};
    char32_t value = lead & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80)
            return {0, 0};
        value = value << 6 | (byte(i) & 0x3F);
    }
    constexpr char32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    return {value, value < least[length] || surrogate || value > 0x10FFFF ? 0 : length};
}

void append(std::u16string& text, char32_t value) {
    if (value < 0x10000) {
        text += static_cast<char16_t>(value);
    } else {
        text += static_cast<char16_t>(0xD7C0 + (value >> 10));
        text += static_cast<char16_t>(0xDC00 + (value & 0x3FF));
    }
}

void append(std::string& text, char32_t value) {
    const auto tail = [&](int shift) { text += static_cast<char>(0x80 | (value >> shift & 0x3F)); };
    if (value < 0x80) {
        text += static_cast<char>(value);
    } else if (value < 0x800) {
        text += static_cast<char>(0xC0 | value >> 6);
        tail(0);
    } else if (value < 0x10000) {
        text += static_cast<char>(0xE0 | value >> 12);
        tail(6), tail(0);
    } else {
        text += static_cast<char>(0xF0 | value >> 18);
        tail(12), tail(6), tail(0);
    }
}

std::optional<std::u16string> fromUtf8(std::string_view text, bool escape) {
    std::u16string result;
    result.reserve(text.size());
    while (!text.empty()) {
        auto [value, length] = decode(text);
        if (length == 0) {
            if (!escape)
                return std::nullopt;
            value = 0xDC00u + static_cast<unsigned char>(text.front());
            length = 1;
        }
        append(result, value);
        text.remove_prefix(length);
    }
    return result;
}

/// What to do with half a surrogate pair.
enum class Unpaired { refuse, bytesOnly, replace };

std::optional<std::string> fromUtf16(std::u16string_view text, Unpaired unpaired) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        const bool high = unit >= 0xD800 && unit < 0xDC00, low = unit >= 0xDC00 && unit < 0xE000;
        if (high && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000)
            append(result, static_cast<char32_t>((unit - 0xD7C0u) << 10 | (text[++i] - 0xDC00u)));
        else if (unpaired != Unpaired::refuse && unit >= 0xDC80 && unit <= 0xDCFF)
            result += static_cast<char>(unit - 0xDC00);
        else if ((high || low) && unpaired != Unpaired::replace)
            return std::nullopt;
        else
            append(result, high || low ? replacementCharacter : static_cast<char32_t>(unit));
    }
    return result;
}

} // namespace

bool isUtf8(std::string_view text) noexcept {
    unsigned char allBits = 0;
    for (const char c : text)
        allBits |= static_cast<unsigned char>(c);
    if (allBits < 0x80) // as nearly all are
        return true;
    while (!text.empty()) {
        const std::size_t length = decode(text).length;
        if (length == 0)
            return false;
        text.remove_prefix(length);
    }
    return true;
}

std::optional<std::u16string> utf16FromUtf8(std::string_view text) {
    return fromUtf8(text, false);
}
std::optional<std::string> utf8FromUtf16(std::u16string_view text) {
    return fromUtf16(text, Unpaired::refuse);
}

std::u16string messageUtf16(std::string_view text) {
    return *fromUtf8(text, true);
}
std::string messageUtf8(std::u16string_view text) {
    return *fromUtf16(text, Unpaired::replace);
}

std::string shownName(std::string_view name) {
    std::string result;
    result.reserve(name.size());
    while (!name.empty()) {
        auto [value, length] = decode(name);
        if (length == 0) {
            value = static_cast<unsigned char>(name.front());
            length = 1;
            value = value < 0xA0 ? value : replacementCharacter; // that is: no control character
        }
        if (value < 0x20 || (value >= 0x7F && value < 0xA0) || value == '"')
            for (const char c : name.substr(0, length)) {
                char escaped[5];
                std::snprintf(escaped, sizeof escaped, "\\x%02X",
                              static_cast<unsigned>(static_cast<unsigned char>(c)));
                result += escaped;
            }
        else
            result += name.substr(0, length);
        name.remove_prefix(length);
    }
    return result;
}

std::filesystem::path pathFromUtf16(std::u16string_view text) {
    const auto nul = text.find(u'\0');
    const auto bytes = fromUtf16(text.substr(0, nul), Unpaired::bytesOnly);
    if (!bytes || nul != text.npos)
        throw FileError(FileErrorKind::invalidName, "use name", bytes.value_or("?"), 0,
                        "NUL or unpaired surrogate in it");
    return std::filesystem::path(*bytes);
}

std::u16string utf16FromPath(const std::filesystem::path& path) {
    return *fromUtf8(path.native(), true);
}

} // namespace varnek::files
