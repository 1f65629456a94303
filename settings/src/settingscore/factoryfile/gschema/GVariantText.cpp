#include "settingscore/factoryfile/gschema/GVariantText.hpp"

#include "varnek/files/PathText.hpp"

#include <charconv>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

namespace settings::core::detail {

namespace {

using settingscore::boostany::ShapedArray;
using varnek::data::Array;

constexpr std::string_view scalarTypes = "bynqiuxtds";

constexpr std::pair<std::string_view, std::string_view> typeKeywords[] = {
    {"boolean", "b"}, {"byte", "y"},  {"int16", "n"},  {"uint16", "q"}, {"int32", "i"},
    {"uint32", "u"},  {"int64", "x"}, {"uint64", "t"}, {"double", "d"}, {"string", "s"}};

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

/// Whether a decimal number without sign that no double can hold is too large, not too small.
bool isHuge(std::string_view number) {
    const auto mantissaEnd = std::min(number.find_first_of("eE"), number.size());
    long exponent = 0;
    if (mantissaEnd < number.size()) {
        std::string_view digits = number.substr(mantissaEnd + 1);
        if (digits.starts_with('+'))
            digits.remove_prefix(1);
        const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), exponent);
        if (read.ec != std::errc())
            return !digits.starts_with('-');
    }
    const std::string_view mantissa = number.substr(0, mantissaEnd);
    const auto point = static_cast<long>(std::min(mantissa.find('.'), mantissa.size()));
    const auto firstDigit = static_cast<long>(std::min(mantissa.find_first_of("123456789"), mantissa.size()));
    return point - firstDigit + exponent > 0;
}

class Reader {
  public:
    explicit Reader(std::string_view text) : text_(text) {}

    ShapedArray read(std::string_view type) {
        ShapedArray value = type.front() == 'a' ? array(type) : ShapedArray(scalar(type), false);
        skipBlanks();
        if (at_ != text_.size())
            fail("text after the value");
        return value;
    }

  private:
    [[noreturn]] void fail(const std::string& cause) const { throw GVariantError(at_, cause); }

    bool atEnd() const { return at_ == text_.size(); }
    char front() const { return atEnd() ? '\0' : text_[at_]; }
    void skipBlanks() {
        while (!atEnd() && isBlank(text_[at_]))
            ++at_;
    }
    bool takes(char c) {
        skipBlanks();
        if (atEnd() || text_[at_] != c)
            return false;
        ++at_;
        return true;
    }

    /// Letters, digits and what else a number may hold.
    std::string_view word() {
        skipBlanks();
        const std::size_t from = at_;
        while (!atEnd() &&
               (isLetter(front()) || isDigit(front()) || front() == '.' || front() == '+' || front() == '-'))
            ++at_;
        return text_.substr(from, at_ - from);
    }

    /// "@as", "uint32" in front of a value: they have to name the type that is wanted.
    void skipPrefixes(std::string_view type) {
        for (;;) {
            skipBlanks();
            const std::size_t from = at_;
            if (takes('@')) {
                while (!atEnd() && !isBlank(front()) && front() != '[')
                    ++at_;
                if (text_.substr(from + 1, at_ - from - 1) != type)
                    fail("a value of the type \"" + std::string(type) + "\" is expected");
                continue;
            }
            const std::string_view name = word();
            bool known = false;
            for (const auto& [keyword, named] : typeKeywords) {
                known = known || name == keyword;
                if (name == keyword && named != type)
                    fail("a value of the type \"" + std::string(type) + "\" is expected");
            }
            if (!known) {
                at_ = from;
                return;
            }
        }
    }

    // ---- numbers

    template <class T>
    T integer() {
        const std::size_t from = at_;
        std::string_view digits = word();
        const bool negative = digits.starts_with('-');
        if (negative || digits.starts_with('+'))
            digits.remove_prefix(1);
        int base = 10;
        if (digits.starts_with("0x") || digits.starts_with("0X")) {
            base = 16;
            digits.remove_prefix(2);
        } else if (digits.size() > 1 && digits.front() == '0') {
            base = 8;
        }
        std::uint64_t magnitude = 0;
        const auto [end, fault] =
            std::from_chars(digits.data(), digits.data() + digits.size(), magnitude, base);
        const bool whole = end == digits.data() + digits.size() && !digits.empty();
        if (!whole || fault == std::errc::invalid_argument) {
            at_ = from;
            fail("an integer is expected");
        }
        constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<T>::max());
        const std::uint64_t limit = !negative ? most : std::is_signed_v<T> ? most + 1 : 0;
        if (fault != std::errc() || magnitude > limit) {
            at_ = from;
            fail("an integer outside the range of its type");
        }
        return static_cast<T>(negative ? std::uint64_t{0} - magnitude : magnitude);
    }

    double real() {
        skipBlanks();
        const std::size_t from = at_;
        std::string_view digits = word();
        const bool isSigned = digits.starts_with('-') || digits.starts_with('+');
        const std::string_view magnitude = digits.substr(isSigned ? 1 : 0);
        if (magnitude.starts_with("0x") || magnitude.starts_with("0X")) {
            at_ = from;
            return digits.starts_with('-') ? static_cast<double>(integer<std::int64_t>())
                                           : static_cast<double>(integer<std::uint64_t>());
        }
        if (digits.starts_with('+'))
            digits.remove_prefix(1);
        double value = 0;
        const auto [end, fault] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
        const bool outOfRange = fault == std::errc::result_out_of_range;
        if (digits.empty() || magnitude.starts_with('-') || end != digits.data() + digits.size() ||
            (fault != std::errc() && !outOfRange)) {
            at_ = from;
            fail("a number is expected");
        }
        if (outOfRange && isHuge(magnitude)) {
            at_ = from;
            fail("a number that is too large");
        }
        return outOfRange ? (digits.starts_with('-') ? -0.0 : 0.0) : value;
    }

    // ---- texts

    char32_t hexadecimal(int digits) {
        char32_t value = 0;
        for (int i = 0; i < digits; ++i, ++at_) {
            const char c = front();
            const int digit = isDigit(c)               ? c - '0'
                              : (c >= 'a' && c <= 'f') ? c - 'a' + 10
                              : (c >= 'A' && c <= 'F') ? c - 'A' + 10
                                                       : -1;
            if (digit < 0)
                fail("a hexadecimal digit is expected");
            value = value << 4 | static_cast<char32_t>(digit);
        }
        if (value == 0 || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF))
            fail("an escape that stands for no character");
        return value;
    }

    static char control(char c) {
        switch (c) {
        case 'a':
            return '\a';
        case 'b':
            return '\b';
        case 'f':
            return '\f';
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        case 'v':
            return '\v';
        default:
            return c;
        }
    }

    /// Calls `plain` for each byte outside escapes and `escape` after each backslash.
    template <class Plain, class Escape>
    void quoted(Plain plain, Escape escape) {
        skipBlanks();
        const char quote = front();
        if (quote != '\'' && quote != '"')
            fail("a quoted text is expected");
        for (++at_; front() != quote;) {
            if (atEnd())
                fail("the text is not closed");
            const char c = text_[at_++];
            if (c != '\\') {
                plain(c);
                continue;
            }
            if (atEnd())
                fail("the text is not closed");
            escape(text_[at_++]);
        }
        ++at_;
    }

    std::u16string string() {
        std::string bytes;     // of the run since the last numbered character
        std::u16string result; // UTF-16 before that
        const auto flush = [&] {
            const auto units = varnek::files::utf16FromUtf8(bytes);
            if (!units)
                fail("the text is not UTF-8");
            result += *units;
            bytes.clear();
        };
        quoted([&](char c) { bytes += c; },
               [&](char c) {
                   if (c == 'u' || c == 'U') {
                       const char32_t value = hexadecimal(c == 'u' ? 4 : 8);
                       flush();
                       if (value >= 0x10000) {
                           result += static_cast<char16_t>(0xD7C0 + (value >> 10));
                           result += static_cast<char16_t>(0xDC00 + (value & 0x3FF));
                       } else {
                           result += static_cast<char16_t>(value);
                       }
                   } else if (c != '\n') { // an escaped end of line continues the text
                       bytes += control(c);
                   }
               });
        flush();
        return result;
    }

    /// b'...' and the zero byte that GVariant adds.
    std::vector<std::uint8_t> byteString() {
        std::vector<std::uint8_t> bytes;
        const auto add = [&](char c) { bytes.push_back(static_cast<std::uint8_t>(c)); };
        quoted(add, [&](char c) {
            if (c < '0' || c > '7') {
                if (c != '\n')
                    add(control(c));
                return;
            }
            unsigned value = static_cast<unsigned>(c - '0');
            for (int i = 0; i < 2 && front() >= '0' && front() <= '7'; ++i)
                value = value * 8 + static_cast<unsigned>(text_[at_++] - '0');
            if (value > 255)
                fail("an octal escape above 255");
            bytes.push_back(static_cast<std::uint8_t>(value));
        });
        bytes.push_back(0);
        return bytes;
    }

    // ---- values

    template <class T>
    T literal() {
        skipBlanks();
        if constexpr (std::is_same_v<T, bool>) {
            const std::size_t from = at_;
            const std::string_view name = word();
            if (name != "true" && name != "false") {
                at_ = from;
                fail("true or false is expected");
            }
            return name == "true";
        } else if constexpr (std::is_same_v<T, std::u16string>) {
            return string();
        } else if constexpr (std::is_same_v<T, double>) {
            return real();
        } else {
            return integer<T>();
        }
    }

    /// Calls `use` with a null pointer to the element type.
    template <class Use>
    auto withElementType(char type, Use use) {
        switch (type) {
        case 'b':
            return use(static_cast<bool*>(nullptr));
        case 'y':
            return use(static_cast<std::uint8_t*>(nullptr));
        case 'n':
            return use(static_cast<std::int16_t*>(nullptr));
        case 'q':
            return use(static_cast<std::uint16_t*>(nullptr));
        case 'i':
            return use(static_cast<std::int32_t*>(nullptr));
        case 'u':
            return use(static_cast<std::uint32_t*>(nullptr));
        case 'x':
            return use(static_cast<std::int64_t*>(nullptr));
        case 't':
            return use(static_cast<std::uint64_t*>(nullptr));
        case 'd':
            return use(static_cast<double*>(nullptr));
        default:
            return use(static_cast<std::u16string*>(nullptr));
        }
    }

    Array scalar(std::string_view type) {
        skipPrefixes(type);
        return withElementType(type.front(), [this]<class T>(T*) {
            if constexpr (std::is_same_v<T, std::u16string>)
                return Array::text(string());
            else
                return Array::scalar(literal<T>());
        });
    }

    ShapedArray array(std::string_view type) {
        const std::string_view elementType = type.substr(1);
        skipPrefixes(type);
        skipBlanks();
        if (type == "ay" && text_.substr(at_).starts_with('b')) {
            ++at_;
            return {Array::row(byteString()), true};
        }
        if (!takes('['))
            fail("an array is expected");
        return {withElementType(elementType.front(), [&]<class T>(T*) { return elements<T>(elementType); }),
                true};
    }

    template <class T>
    Array elements(std::string_view elementType) {
        std::vector<T> all;
        if (takes(']'))
            return Array::make<T>({0, 0}, std::move(all));
        do {
            skipPrefixes(elementType);
            all.push_back(literal<T>());
        } while (takes(','));
        if (!takes(']'))
            fail("\",\" or \"]\" is expected");
        return Array::row(std::move(all));
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

} // namespace

bool isReadableGVariantType(std::string_view type) noexcept {
    if (type.starts_with('a'))
        type.remove_prefix(1);
    return type.size() == 1 && scalarTypes.find(type.front()) != std::string_view::npos;
}

ShapedArray readGVariant(std::string_view text, std::string_view type) {
    if (!isReadableGVariantType(type))
        throw GVariantError(0, "values of the type \"" + std::string(type) + "\" are not read");
    return Reader(text).read(type);
}

} // namespace settings::core::detail
