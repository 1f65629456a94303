#include "settingscore/validation/InWords.hpp"

#include "varnek/files/PathText.hpp"

#include <boost/variant/apply_visitor.hpp>

#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

namespace settings::core {

namespace {

template <class Number>
std::string decimal(Number value) {
    std::array<char, 32> text{};
    const auto written = std::to_chars(text.data(), text.data() + text.size(), value);
    return {text.data(), written.ptr};
}

std::u16string escapedUnit(char16_t unit) {
    constexpr std::u16string_view digits = u"0123456789ABCDEF";
    std::u16string escape = u"\\u";
    for (int shift = 12; shift >= 0; shift -= 4)
        escape += digits[static_cast<std::size_t>(unit >> shift & 0xF)];
    return escape;
}

/// In quotes; quotes, backslashes, control characters and halves of surrogate pairs are escaped.
std::string inQuotes(std::u16string_view text) {
    const auto isHigh = [](char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; };
    const auto isLow = [](char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; };
    std::u16string clean = u"\"";
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        if (isHigh(unit) && i + 1 < text.size() && isLow(text[i + 1]))
            clean.append(text.substr(i++, 2));
        else if (unit < 0x20 || (unit >= 0x7F && unit < 0xA0) || isHigh(unit) || isLow(unit))
            clean += escapedUnit(unit);
        else if (unit == u'"' || unit == u'\\')
            (clean += u'\\') += unit;
        else
            clean += unit;
    }
    return varnek::files::utf8FromUtf16(clean += u'"').value();
}

/// ", 2 to 5 elements"; a bound of 0 is none.
std::string countWords(boost::optional<std::uint64_t> minimum, boost::optional<std::uint64_t> maximum,
                       std::string_view unit) {
    const std::uint64_t from = minimum.value_or(0);
    const std::uint64_t to = maximum.value_or(0);
    if (from == 0 && to == 0)
        return {};
    std::string words;
    if (from == to)
        words = ", exactly " + decimal(to);
    else if (to == 0)
        words = ", at least " + decimal(from);
    else if (from == 0)
        words = ", at most " + decimal(to);
    else
        words = ", " + decimal(from) + " to " + decimal(to);
    words.append(" ").append(unit);
    return (to == 0 ? from : to) == 1 ? words : words += 's';
}

std::string rangeWords(boost::optional<double> minimum, boost::optional<double> maximum) {
    const bool hasFrom = minimum && *minimum != -HUGE_VAL;
    const bool hasTo = maximum && *maximum != HUGE_VAL;
    if (hasFrom && hasTo)
        return ", from " + decimal(*minimum) + " to " + decimal(*maximum);
    if (hasFrom)
        return ", at least " + decimal(*minimum);
    return hasTo ? ", at most " + decimal(*maximum) : std::string();
}

std::string shapeWords(const MustBeScalar&) {
    return " scalar";
}
std::string shapeWords(const MustBeVector& shape) {
    return " vector" + countWords(shape.getMinNumberOfElements(), shape.getMaxNumberOfElements(), "element");
}
std::string shapeWords(const AnyShape&) {
    return " of any shape";
}

struct Words {
    template <class Shape>
    std::string operator()(const NumericMetaData<Shape>& numeric) const {
        return "numeric" + shapeWords(numeric) + (numeric.isIntegerRequired() ? ", integer" : "") +
               rangeWords(numeric.getMinValue(), numeric.getMaxValue());
    }

    template <class Shape>
    std::string operator()(const StringMetaData<Shape>& text) const {
        std::string words = "text" + shapeWords(text);
        std::string_view before = ", one of ";
        for (const std::u16string& allowed : text.getAllowedValues()) {
            words.append(before).append(inQuotes(allowed));
            before = ", ";
        }
        words += countWords(text.getMinStringSize(), text.getMaxStringSize(), "character");
        return text.isStoredAsCharVector() ? words + ", stored as character vector" : words;
    }

    template <class Shape>
    std::string operator()(const MustBeLogical<Shape>& logical) const {
        return "logical" + shapeWords(logical);
    }
};

} // namespace

std::string inWords(const SettingValueValidator::ConfigData& validator) {
    return boost::apply_visitor([](const auto& one) { return Words()(one); }, validator);
}

} // namespace settings::core
