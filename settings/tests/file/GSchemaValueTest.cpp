// Values in the notation of GVariant.
#include "settingscore/factoryfile/gschema/GVariantText.hpp"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace {

using settings::core::detail::GVariantError;
using settings::core::detail::isReadableGVariantType;
using settings::core::detail::readGVariant;
using varnek::data::Array;

TEST(GSchemaValue, ReadsEveryTypeWithItsPrefixes) {
    const struct {
        const char* text;
        const char* type;
        Array value;
    } table[] = {
        {"true", "b", Array::scalar(true)},
        {" boolean false ", "b", Array::scalar(false)},
        {"byte 0xff", "y", Array::scalar(std::uint8_t{255})},
        {"-32768", "n", Array::scalar(std::int16_t{-32768})},
        {"uint16 017", "q", Array::scalar(std::uint16_t{15})},
        {"@i +5", "i", Array::scalar(std::int32_t{5})},
        {"-0x80000000", "i", Array::scalar(std::numeric_limits<std::int32_t>::min())},
        {"uint32 5", "u", Array::scalar(std::uint32_t{5})},
        {"-9223372036854775808", "x", Array::scalar(std::numeric_limits<std::int64_t>::min())},
        {"18446744073709551615", "t", Array::scalar(std::numeric_limits<std::uint64_t>::max())},
        {"5", "d", Array::scalar(5.0)},
        {"-2.5e-3", "d", Array::scalar(-0.0025)},
        {"double 0x10", "d", Array::scalar(16.0)},
        {"-inf", "d", Array::scalar(-std::numeric_limits<double>::infinity())},
        {"1e-999", "d", Array::scalar(0.0)},
        {"-0.000000001e-330", "d", Array::scalar(-0.0)},
        {"''", "s", Array::text(u"")},
        {"\"it's\"", "s", Array::text(u"it's")},
        {"'it\\'s \\\\ \\n\\t\\q'", "s", Array::text(u"it's \\ \n\tq")},
        {"'one \\\nline'", "s", Array::text(u"one line")},
        {"'\\u00e9\\U0001F600 \xC3\xA9'", "s", Array::text(u"\u00e9\U0001F600 \u00e9")},
        {"[true,false]", "ab", Array::row<bool>({true, false})},
        {"[byte 1, 2]", "ay", Array::row<std::uint8_t>({1, 2})},
        {"b'a\\101\\n'", "ay", Array::row<std::uint8_t>({'a', 'A', '\n', 0})},
        {"@as []", "as", Array::make<std::u16string>({0, 0}, {})},
        {"[ ]", "ai", Array::make<std::int32_t>({0, 0}, {})},
        {"['a', \"b\"]", "as", Array::row<std::u16string>({u"a", u"b"})},
        {"[0, 0, 1.5]", "ad", Array::row<double>({0, 0, 1.5})},
    };
    for (const auto& row : table) {
        try {
            const auto [value, isVector] = readGVariant(row.text, row.type);
            EXPECT_TRUE(value == row.value) << row.text;
            EXPECT_EQ(isVector, row.type[0] == 'a') << row.text;
        } catch (const GVariantError& error) {
            ADD_FAILURE() << row.text << ": " << error.what();
        }
    }
    EXPECT_TRUE(std::isnan(readGVariant("nan", "d").first.element<double>()));
}

TEST(GSchemaValue, RefusesWhatIsNoValueOfTheType) {
    const struct {
        const char* text;
        const char* type;
        const char* cause;
    } table[] = {
        {"", "i", "an integer is expected (at byte 0)"},
        {"5 6", "i", "text after the value (at byte 2)"},
        {"256", "y", "an integer outside the range of its type (at byte 0)"},
        {"-1", "u", "an integer outside the range of its type (at byte 0)"},
        {"18446744073709551616", "t", "an integer outside the range of its type (at byte 0)"},
        {"08", "i", "an integer is expected (at byte 0)"},
        {"1.5", "i", "an integer is expected (at byte 0)"},
        {"uint32 5", "i", "a value of the type \"i\" is expected (at byte 6)"},
        {"@as []", "ai", "a value of the type \"ai\" is expected (at byte 3)"},
        {"1e999", "d", "a number that is too large (at byte 0)"},
        {"-323456789.5e300", "d", "a number that is too large (at byte 0)"},
        {"", "d", "a number is expected (at byte 0)"},
        {"+-1", "d", "a number is expected (at byte 0)"},
        {"--1", "d", "a number is expected (at byte 0)"},
        {"True", "b", "true or false is expected (at byte 0)"},
        {"'open", "s", "the text is not closed (at byte 5)"},
        {"'open\\", "s", "the text is not closed (at byte 6)"},
        {"plain", "s", "a quoted text is expected (at byte 0)"},
        {"'\\u12'", "s", "a hexadecimal digit is expected (at byte 5)"},
        {"'\\ud800'", "s", "an escape that stands for no character (at byte 7)"},
        {"'\xE9'", "s", "the text is not UTF-8 (at byte 3)"},
        {"[1, 2", "ai", "\",\" or \"]\" is expected (at byte 5)"},
        {"[1,]", "ai", "an integer is expected (at byte 3)"},
        {"5", "ai", "an array is expected (at byte 0)"},
        {"b'\\777'", "ay", "an octal escape above 255 (at byte 6)"},
        {"{}", "a{ss}", "values of the type \"a{ss}\" are not read (at byte 0)"},
    };
    for (const auto& row : table) {
        try {
            readGVariant(row.text, row.type);
            ADD_FAILURE() << "accepted: " << row.text;
        } catch (const GVariantError& error) {
            EXPECT_STREQ(error.what(), row.cause) << row.text;
        }
    }
    for (const char* type : {"", "a", "as ", "aas", "(ss)", "mi", "v", "o", "a{sv}", "h"})
        EXPECT_FALSE(isReadableGVariantType(type)) << type;
}

/// The texts as the notation has them, every unit that is no plain letter as an escape.
std::string written(const std::vector<std::string>& texts) {
    std::string result = "@as [";
    for (const std::string& text : texts) {
        result += result.back() == '[' ? "'" : ", '";
        for (const char c : text) {
            if (c == '\'' || c == '\\')
                result += '\\';
            result += c;
        }
        result += '\'';
    }
    return result + "]";
}

RC_GTEST_PROP(GSchemaValue, TextsReadBack, ()) {
    const auto texts = *rc::gen::container<std::vector<std::string>>(
        rc::gen::container<std::string>(rc::gen::inRange<char>(1, 127)));
    const auto value = readGVariant(written(texts), "as").first;
    RC_ASSERT(value.numberOfElements() == texts.size());
    for (std::size_t i = 0; i < texts.size(); ++i)
        RC_ASSERT(value.element<std::u16string>(i) == std::u16string(texts[i].begin(), texts[i].end()));
}

RC_GTEST_PROP(GSchemaValue, NumbersReadBack, (std::int64_t whole, double real)) {
    RC_ASSERT(readGVariant(std::to_string(whole), "x").first == Array::scalar(whole));
    char text[64];
    std::snprintf(text, sizeof text, "%.17g", real);
    RC_ASSERT(readGVariant(text, "d").first == Array::scalar(real));
}

} // namespace
