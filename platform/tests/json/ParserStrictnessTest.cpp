// What the parser takes and what it refuses, case by case.
#include "json/Limits.hpp"
#include "json/ParseError.hpp"
#include "json/Parser.hpp"
#include "json/Writer.hpp"

#include "json/FailurePrinter.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>

using namespace std::string_literals;

namespace varnek::json {

namespace {

std::optional<ParseFailure> failureOf(const std::string& text) {
    try {
        parse(text);
        return std::nullopt;
    } catch (const ParseError& error) {
        EXPECT_LE(error.offset(), text.size()) << text;
        return error.failure();
    }
}

std::string repeated(const std::string& piece, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += piece;
    return text;
}

std::string nested(std::size_t depth, const std::string& open = "[", const std::string& close = "]") {
    return repeated(open, depth) + repeated(close, depth);
}

struct Accepted {
    std::string text;
    std::string written; // what the writer makes of it
};

const Accepted acceptedTexts[] = {
    // literals and white space
    {"null", "null"},
    {"true", "true"},
    {"false", "false"},
    {" \t\r\n true \n\r\t ", "true"},
    {"[ ]", "[]"},
    {"{ }", "{}"},
    {"[\n1\t,\r2 , 3]", "[1,2,3]"},
    {" { \"a\" : [ ] , \"b\" : { } } ", R"({"a":[],"b":{}})"},
    // integers
    {"0", "0"},
    {"7", "7"},
    {"-1", "-1"},
    {"9223372036854775807", "9223372036854775807"},
    {"-9223372036854775808", "-9223372036854775808"},
    {"9223372036854775808", "9223372036854775808"},
    {"18446744073709551615", "18446744073709551615"},
    // doubles
    {"-0", "-0"},
    {"[-0]", "[-0]"},
    {"-0.0", "-0"},
    {"-0e5", "-0"},
    {"0.0", "0"},
    {"1.0", "1"},
    {"1e2", "100"},
    {"1E+2", "100"},
    {"1e-2", "0.01"},
    {"-1.5E00", "-1.5"},
    {"123.456e-789", "0"},
    {"0.1", "0.1"},
    {"1e0000000000000000000000001", "10"},
    {"1.7976931348623157e308", "1.7976931348623157e+308"},
    {"2.2250738585072014e-308", "2.2250738585072014e-308"},
    {"5e-324", "5e-324"},
    {"4.9406564584124654e-324", "5e-324"},
    {"18446744073709551616", "18446744073709551616"},
    {"-9223372036854775809", "-9223372036854775808"}, // a double from here on
    {"123456789012345678901234567890", "1.2345678901234568e+29"},
    {"1.000000000000000000000000000000000000000000000005", "1"},
    {"100000000000000000000000000000000000000000000000e-47", "1"},
    {"0." + std::string(400, '0') + "1e401", "1"},
    {"1" + std::string(400, '0') + "e-400", "1"},
    // too small becomes zero of the same sign
    {"1e-400", "0"},
    {"-1e-400", "-0"},
    {"2e-324", "0"},
    {"123e-10000000", "0"},
    {"1e-99999999999999999999", "0"},
    {"[-1e-99999999999999999999,2]", "[-0,2]"},
    {"0e99999999999999999999", "0"},
    {"-0.0e+99999999999999999999", "-0"},
    // strings
    {R"("")", R"("")"},
    {R"("a")", R"("a")"},
    {R"("\"\\\/\b\f\n\r\t")", R"("\"\\/\b\f\n\r\t")"},
    {R"("\u0000")", R"("\u0000")"},
    {R"("\u001F")", R"("\u001f")"},
    {R"("\u0022\u005C")", R"("\"\\")"},
    {R"("\u00e9\u00E9")", "\"éé\""},
    {R"("\u20AC")", "\"€\""},
    {R"("\uD83D\uDE00")", "\"😀\""},
    {R"("\ud83d\ude00\ud83d\ude00")", "\"😀😀\""},
    {R"("\\u0041")", R"("\\u0041")"},
    {R"("\uFFFF\uFFFE\uFEFF")", "\"\xEF\xBF\xBF\xEF\xBF\xBE\xEF\xBB\xBF\""},
    {R"("\uDBFF\uDFFF")", "\"\xF4\x8F\xBF\xBF\""},
    {"\"\x7F\"", "\"\x7F\""},
    {"\"é€😀\"", "\"é€😀\""},
    {"\"\xE2\x80\xA8\xE2\x80\xA9\"", "\"\xE2\x80\xA8\xE2\x80\xA9\""},
    {"\"/* no comment */ // either\"", "\"/* no comment */ // either\""},
    {"\"[1,2\"", "\"[1,2\""},
    {"\"" + std::string(5000, 'x') + "\\n" + std::string(5000, 'y') + "\"",
     "\"" + std::string(5000, 'x') + "\\n" + std::string(5000, 'y') + "\""},
    // surrogates without partner
    {R"("\uD800")", R"("\ud800")"},
    {R"("\uDFFF")", R"("\udfff")"},
    {R"("\uD800\uD800")", R"("\ud800\ud800")"},
    {R"("\uDC00\uD800")", R"("\udc00\ud800")"},
    {R"("\uD800\uD83D\uDE00")", "\"\\ud800😀\""},
    {R"("\uD83D\uDE00\uDE00")", "\"😀\\ude00\""},
    {R"("\uD800abc")", R"("\ud800abc")"},
    {R"("\uD800\n")", R"("\ud800\n")"},
    {R"("\uD800\\uDC00")", R"("\ud800\\uDC00")"},
    {R"("\\\uD800")", R"("\\\ud800")"},
    {R"(["\uD888\u1234",1e-99999999999])", "[\"\\ud888\xE1\x88\xB4\",0]"},
    {R"({"\"\\":"\uDADA"})", R"({"\"\\":"\udada"})"},
    // containers
    {"[[],[[]],{}]", "[[],[[]],{}]"},
    {"[null,true,false,0,\"\",[],{}]", "[null,true,false,0,\"\",[],{}]"},
    {R"({"b":1,"a":2,"":3})", R"({"":3,"a":2,"b":1})"},
    {"{\"a\":1,\"A\":2,\"\xC3\xA1\":3,\"a\xCC\x81\":4}",
     "{\"A\":2,\"a\":1,\"a\xCC\x81\":4,\"\xC3\xA1\":3}"}, // composed and not: two keys
    {R"({"\u0000":1,"a\u0000b":2})", R"({"\u0000":1,"a\u0000b":2})"},
    {R"({"a":{"a":{"a":1}}})", R"({"a":{"a":{"a":1}}})"},
    {R"([{"a":1},{"a":2}])", R"([{"a":1},{"a":2}])"},
    {nested(maximumDepth), nested(maximumDepth)},
    {repeated("{\"a\":", 63) + "[]" + repeated("}", 63), repeated("{\"a\":", 63) + "[]" + repeated("}", 63)},
};

TEST(ParserStrictness, AcceptsEverySoundText) {
    for (const Accepted& c : acceptedTexts) {
        try {
            const Value value = parse(c.text);
            EXPECT_EQ(write(value), c.written) << c.text;
            EXPECT_EQ(parse(c.written), value) << c.text;
        } catch (const ParseError& error) {
            ADD_FAILURE() << c.text << ": " << error.what();
        }
    }
    EXPECT_GE(std::size(acceptedTexts), 80U);
}

struct Refused {
    std::string text;
    ParseFailure failure;
};

constexpr auto syntax = ParseFailure::syntax;
constexpr auto early = ParseFailure::earlyEnd;
constexpr auto range = ParseFailure::numberRange;
constexpr auto encoding = ParseFailure::encoding;
constexpr auto trailing = ParseFailure::trailingText;
constexpr auto duplicate = ParseFailure::duplicateKey;
constexpr auto depth = ParseFailure::depth;

const Refused refusedTexts[] = {
    // literals
    {"nul", early},
    {"NULL", syntax},
    {"nulx", syntax},
    {"True", syntax},
    {"tru", early},
    {"trux", syntax},
    {"truee", trailing},
    {"fals", early},
    {"FALSE", syntax},
    {"undefined", syntax},
    {"yes", syntax},
    {"[nullnull]", syntax},
    // numbers
    {"+1", syntax},
    {"[+1]", syntax},
    {"-", early},
    {"[-]", syntax},
    {"- 1", syntax},
    {"--1", syntax},
    {"01", trailing},
    {"[01]", syntax},
    {"[-01]", syntax},
    {"[00]", syntax},
    {".5", syntax},
    {"[.5]", syntax},
    {"5.", early},
    {"[5.]", syntax},
    {"[-.5]", syntax},
    {"[1.e1]", syntax},
    {"[1e]", syntax},
    {"[1e+]", syntax},
    {"[1e-]", syntax},
    {"[1e1.5]", syntax},
    {"[1e1e1]", syntax},
    {"[1.2.3]", syntax},
    {"[1 2]", syntax},
    {"[1_000]", syntax},
    {"[1,000]", syntax},
    {"[0x10]", syntax},
    {"[1f]", syntax},
    {"[1L]", syntax},
    {"[1+2]", syntax},
    {"[\xEF\xBC\x91]", syntax}, // a full-width digit
    {"1e", early},
    {"1e+", early},
    {"NaN", syntax},
    {"[NaN]", syntax},
    {"[nan]", syntax},
    {"[-NaN]", syntax},
    {"Infinity", syntax},
    {"[Infinity]", syntax},
    {"[-Infinity]", syntax},
    {"[Inf]", syntax},
    {"1e400", range},
    {"-1e400", range},
    {"[1e309]", range},
    {"1.7976931348623159e308", range},
    {"[0.4e00669999999999999999999999999999999999999999]", range},
    {"1e99999999999999999999", range},
    {"-11111111111E1110", range},
    {"1" + std::string(400, '0'), range},
    {"{\"a\":1e999}", range},
    // strings
    {"\"", early},
    {"\"abc", early},
    {"\"abc\\", early},
    {"\"abc\\\"", early},
    {"\"\\u", early},
    {"\"\\u00", early},
    {"\"\\uD8", early},
    {"\"\\uD800", early},
    {"\"\\uD800\\", early},
    {"\"\\uD800\\u", early},
    {"\"\\uD800\\uDC0", early},
    {"'a'", syntax},
    {"['a']", syntax},
    {"abc", syntax},
    {"[\xE2\x80\x9C"
     "a\xE2\x80\x9D]",
     syntax}, // typographic quotes
    {R"("\a")", syntax},
    {R"("\x41")", syntax},
    {R"("\0")", syntax},
    {R"("\'")", syntax},
    {R"("\U0041")", syntax},
    {R"("\u12")", syntax},
    {R"("\u12G4")", syntax},
    {R"("\u 123")", syntax},
    {R"("\u+123")", syntax},
    {R"("\u-123")", syntax},
    {R"("\u0x12")", syntax},
    {R"("\uD800\u12")", syntax},
    {R"("\uD800\x")", syntax},
    {"\"\\é\"", syntax},
    {"\"\\\n\"", syntax},
    {"\"\n\"", syntax},
    {"\"\t\"", syntax},
    {"\"\x1F\"", syntax},
    {"\"a\0b\""s, syntax},
    {"\"\r\"", syntax},
    {"\"a\" \"b\"", trailing},
    {"\"a\"b\"", trailing},
    {R"({"\uD800":1})", encoding},
    {R"({"a":{"x\uDC00":1}})", encoding},
    {R"(["\uD800",{"\uD800":"\uD800"}])", encoding},
    // bytes that are no UTF-8
    {"\"\xE9\"", encoding},
    {"\"\x80\"", encoding},
    {"\"\xC3\"", encoding},
    {"\"\xC3(\"", encoding},
    {"\"\xE2\x82\"", encoding},
    {"\"\xF0\x9F\x98\"", encoding},
    {"\"\xC0\xAF\"", encoding},
    {"\"\xC1\xBF\"", encoding},
    {"\"\xE0\x80\xAF\"", encoding},
    {"\"\xF0\x80\x80\xAF\"", encoding},
    {"\"\xFC\x83\xBF\xBF\xBF\xBF\"", encoding},
    {"\"\xED\xA0\x80\"", encoding},
    {"\"\xED\xBF\xBF\"", encoding},
    {"\"\xED\xA0\xBD\xED\xB8\x80\"", encoding},
    {"\"\xF4\x90\x80\x80\"", encoding},
    {"\"\xF5\x80\x80\x80\"", encoding},
    {"\"\xFF\"", encoding},
    {"\"\xFE\xFF\"", encoding},
    {"{\"\xFF\":1}", encoding},
    {"[1,\xFF]", encoding},
    {"1\xFF", encoding},
    {"\xC3\xA9", syntax},
    // byte-order marks and UTF-16
    {"\xEF\xBB\xBF{}", encoding},
    {"\xEF\xBB\xBF", encoding},
    {"\xEF\xBB{}", encoding},
    {"\xFF\xFE[\0]\0"s, encoding},
    {"\xFE\xFF\0[\0]"s, encoding},
    {"[\0\"\0a\0\"\0]\0"s, syntax},
    {"\0[\0\"\0a\0\"\0]"s, syntax},
    {"[\xEF\xBB\xBF]", syntax},
    // white space that is none
    {"\f1", syntax},
    {"[\v1]", syntax},
    {"[1\xC2\xA0]", syntax},
    {"[\xE2\x81\xA0]", syntax},
    {"\0"s, syntax},
    {"1\0"s, trailing},
    {"[1\0]"s, syntax},
    // arrays
    {"[", early},
    {"[1", early},
    {"[1,", early},
    {"[[1]", early},
    {"]", syntax},
    {"[1]]", trailing},
    {"[,]", syntax},
    {"[,1]", syntax},
    {"[1,]", syntax},
    {"[1,,2]", syntax},
    {"[1;2]", syntax},
    {"[1:2]", syntax},
    {"[1}", syntax},
    {"[\"a\":1]", syntax},
    {"[\"a\" \"b\"]", syntax},
    {"[*]", syntax},
    {"<null>", syntax},
    // objects
    {"}", syntax},
    {"{,}", syntax},
    {"{1:2}", syntax},
    {"{a:1}", syntax},
    {"{'a':1}", syntax},
    {"{null:1}", syntax},
    {"{[1]:1}", syntax},
    {"{\"a\"}", syntax},
    {"{\"a\",1}", syntax},
    {"{\"a\" 1}", syntax},
    {"{\"a\"=1}", syntax},
    {"{\"a\"::1}", syntax},
    {"{\"a\":}", syntax},
    {"{\"a\":,}", syntax},
    {"{\"a\":1,}", syntax},
    {"{\"a\":1 , }", syntax},
    {"{\"a\":1,,\"b\":2}", syntax},
    {"{\"a\":1,b}", syntax},
    {"{\"a\":1,\"b\"}", syntax},
    {"{\"a\":[1,]}", syntax},
    {"{}}", trailing},
    {"{\"a\":1}#", trailing},
    {"{\"a\":1}{\"b\":2}", trailing},
    // keys that stand twice
    {R"({"a":1,"a":2})", duplicate},
    {R"({"a":1,"a":1})", duplicate},
    {R"({"a":1,"b":2,"a":3})", duplicate},
    {R"({"a":1,"\u0061":2})", duplicate},
    {R"({"":1,"":2})", duplicate},
    {R"([{"x":{"é":1,"\u00e9":2}}])", duplicate},
    {R"({"a":"\uD800","a":1})", duplicate},
    // comments
    {"/**/1", syntax},
    {"// x\n1", syntax},
    {"# x\n1", syntax},
    {"[1/**/]", syntax},
    {"[1,//x\n2]", syntax},
    {"1/**/", trailing},
    {"1 // x", trailing},
    {"{\"a\":/**/1}", syntax},
    {"{/**/\"a\":1}", syntax},
    {"{\"a\"/**/:1}", syntax},
    // depth
    {nested(maximumDepth + 1), depth},
    {nested(500), depth},
    {repeated("[", 100'000), depth},
    {repeated("[{\"\":", 50'000), depth},
    {repeated("{\"a\":", 65), depth},
    {repeated("[1,", 65) + "2" + repeated("]", 65), depth},
    // several things wrong: the encoding is looked at first, then the first fault counts
    {"[1e400,\"\xFF\"]", encoding},
    {"[1e400,}", range},
    {R"({"a":1,"a":2)", early},
    {R"(["\uD800",1e400])", range},
    {R"(["\uD800",})", syntax},
};

TEST(ParserStrictness, RefusesEverythingElse) {
    for (const Refused& c : refusedTexts)
        EXPECT_EQ(failureOf(c.text), c.failure) << c.text.substr(0, 80);
    EXPECT_GE(std::size(refusedTexts), 150U);
}

TEST(ParserStrictness, RefusesTextsOverTheLimit) {
    std::string text(maximumTextSize, ' ');
    text.front() = '7';
    EXPECT_EQ(failureOf(text), std::nullopt);
    text += ' ';
    EXPECT_EQ(failureOf(text), ParseFailure::tooLarge);
}

// Numbers keep their kind and their last bit.
TEST(ParserStrictness, KeepsNumbersExact) {
    EXPECT_EQ(parse("-9223372036854775808").asInt64(), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(parse("9223372036854775807").asInt64(), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(parse("9223372036854775808").kind(), Kind::uint64);
    EXPECT_EQ(parse("18446744073709551615").asUint64(), std::numeric_limits<std::uint64_t>::max());
    for (const char* text : {"18446744073709551616", "-9223372036854775809", "1.0", "1e2", "-0"})
        EXPECT_EQ(parse(text).kind(), Kind::float64) << text;
    EXPECT_TRUE(std::signbit(parse("-0").asDouble()));
    EXPECT_TRUE(std::signbit(parse("-1e-400").asDouble()));
    EXPECT_EQ(parse("9007199254740993").asDouble(), 9007199254740992.0);
    // Halfway cases and digits that a fast but careless reader gets wrong.
    EXPECT_EQ(parse("1.00000000000000011102230246251565404236316680908203125").asDouble(), 1.0);
    EXPECT_EQ(parse("1.00000000000000011102230246251565404236316680908203126").asDouble(),
              0x1.0000000000001p0);
    EXPECT_EQ(parse("2.2250738585072011e-308").asDouble(), 0x0.fffffffffffffp-1022);
    EXPECT_EQ(parse("6.02214076e23").asDouble(), 6.02214076e23);
    EXPECT_EQ(parse("8.41e21").asDouble(), 8.41e21);
    EXPECT_EQ(parse("9.5367431640625e-7").asDouble(), 0x1p-20);
}

} // namespace

} // namespace varnek::json
