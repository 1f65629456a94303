// How the parser tells one fault from another, and where it found it.
#include "json/ParseError.hpp"
#include "json/Parser.hpp"

#include "json/FailurePrinter.hpp"

#include <gtest/gtest.h>

#include <map>

using namespace std::string_literals;

namespace varnek::json {

namespace {

constexpr auto syntax = ParseFailure::syntax;
constexpr auto early = ParseFailure::earlyEnd;
constexpr auto range = ParseFailure::numberRange;
constexpr auto encoding = ParseFailure::encoding;
constexpr auto trailing = ParseFailure::trailingText;
constexpr auto duplicate = ParseFailure::duplicateKey;
constexpr auto separator = ParseFailure::memberSeparator;

struct Refused {
    std::string text;
    ParseFailure failure;
};

// The three faults of an object's frame, each told from the other two and from everything else.
const Refused frameFaults[] = {
    {"[]", ParseFailure::objectStart},
    {" [1]", ParseFailure::objectStart},
    {"\"a\":1}", ParseFailure::objectStart},
    {"\"a\"", ParseFailure::objectStart},
    {"a:1}", ParseFailure::objectStart},
    {"1", ParseFailure::objectStart},
    {"-1e400", ParseFailure::objectStart},
    {"null", ParseFailure::objectStart},
    {"true", ParseFailure::objectStart},
    {"}", ParseFailure::objectStart},
    {",{}", ParseFailure::objectStart},
    {"({})", ParseFailure::objectStart},
    {"//\n{}", ParseFailure::objectStart},
    {"\n\n x{}", ParseFailure::objectStart},
    {"\0{}"s, ParseFailure::objectStart},

    {R"({"a":1 "b":2})", separator},
    {R"({"a":1;"b":2})", separator},
    {R"({"a":1:"b":2})", separator},
    {R"({"a":"x" "b":2})", separator},
    {R"({"a":"x"y})", separator},
    {R"({"a":null null})", separator},
    {R"({"a":truefalse})", separator},
    {R"({"a":1])", separator},
    {R"({"a":[]])", separator},
    {R"({"a":{}{}})", separator},
    {R"({"a":01})", separator},
    {R"({"a":1x})", separator},
    {R"({"a":1/**/})", separator},
    {R"({"a":1,"b":2 "c":3})", separator},
    {R"({"a":{"b":1 "c":2}})", separator},
    {R"([{"a":1]])", ParseFailure::objectStart},
    {"{\"a\":1\0}"s, separator},
    {R"({"a":"\uD800" "b":2})", separator},

    {"", early},
    {" \n\t ", early},
    {"{", early},
    {"{ ", early},
    {"{\"", early},
    {"{\"a", early},
    {"{\"a\"", early},
    {"{\"a\":", early},
    {"{\"a\":1", early},
    {"{\"a\":-", early},
    {"{\"a\":1.", early},
    {"{\"a\":1e", early},
    {"{\"a\":tru", early},
    {"{\"a\":\"x\\", early},
    {"{\"a\":\"\\uD800", early},
    {"{\"a\":1,", early},
    {"{\"a\":1 , ", early},
    {"{\"a\":[1", early},
    {"{\"a\":[1]", early},
    {"{\"a\":{}", early},

    {"{\"a\":1,}", syntax},
    {"{\"a\":1}}", trailing},
    {"{\"a\" 1}", syntax},
};

TEST(ParserFailures, TellsTheThreeFrameFaultsApart) {
    std::map<ParseFailure, int> counts;
    for (const Refused& c : frameFaults) {
        try {
            parseObject(c.text);
            ADD_FAILURE() << c.text << " was accepted";
        } catch (const ParseError& error) {
            EXPECT_EQ(error.failure(), c.failure) << c.text;
            ++counts[error.failure()];
        }
    }
    for (const ParseFailure failure : {ParseFailure::objectStart, separator, early})
        EXPECT_GE(counts[failure], 10) << failureText(failure);
    EXPECT_EQ(parseObject(" {\"a\":[]} "), (Object{{"a", Array()}}));
}

// Three faults share a code.
TEST(ParserFailures, SaysWhatIsWrongWithTheEncoding) {
    const std::pair<std::string, std::string> table[] = {
        {"\xEF\xBB\xBF{}", "the text begins with a byte-order mark, at byte 0 ($)"},
        {"{\"a\":\"\xEF\"}", "the text is not UTF-8, at byte 6 ($)"},
        {R"({"a":{"\uD800":1}})", "half a surrogate pair in a key, at byte"},
    };
    for (const auto& [text, words] : table) {
        try {
            parseObject(text);
            ADD_FAILURE() << text << " was accepted";
        } catch (const ParseError& error) {
            EXPECT_EQ(error.failure(), encoding);
            EXPECT_TRUE(std::string(error.what()).starts_with(words)) << error.what();
        }
    }
}

TEST(ParserFailures, SaysWhere) {
    struct Case {
        std::string text;
        ParseFailure failure;
        std::size_t offset;
        std::string path;
    };
    const Case cases[] = {
        {"", early, 0, "$"},
        {"{\"a\":1} x", trailing, 8, "$"},
        {"[1,2,x]", syntax, 5, "$[2]"},
        {R"({"s":[{"n":1},{"n":tru}]})", syntax, 19, "$.s[1].n"},
        {R"({"a b":{"":x}})", syntax, 11, R"($["a b"][""])"},
        {R"({"a":{"b":1 "c":2}})", separator, 12, "$.a.b"},
        {R"([{"k":1,"k":2}])", duplicate, 13, "$[0].k"},
        {R"([[1],[1e400]])", range, 11, "$[1][0]"},
        {"[\"é\xFF\"]", encoding, 4, "$"},
        {R"({"v":["\uD800","\uDC00\uDC00",x]})", syntax, 30, "$.v[2]"}, // counted in the text as given
        {R"([1e-9999999999999,1e-99999999999,])", syntax, 33, "$[2]"},
        {"[[[]", early, 4, "$[0][1]"},
    };
    for (const Case& c : cases) {
        try {
            parse(c.text);
            ADD_FAILURE() << c.text << " was accepted";
        } catch (const ParseError& error) {
            EXPECT_EQ(error.failure(), c.failure) << c.text;
            EXPECT_EQ(error.offset(), c.offset) << c.text;
            EXPECT_EQ(error.path(), c.path) << c.text;
            const std::string message = error.what();
            EXPECT_NE(message.find(failureText(c.failure)), std::string::npos) << message;
            EXPECT_NE(message.find(c.path), std::string::npos) << message;
            EXPECT_THROW(error.clone()->rethrow(), ParseError);
        }
    }
}

TEST(ParserFailures, EveryTruncationIsAnEarlyEnd) {
    const std::string text =
        R"( { "name" : "x\u00e9\uD83D\uDE00\uD800\n" , "list":[ 1 , -2.5e+10 , true,false,null,[{}]],"o":{"k" :""} } )";
    const std::size_t end = text.rfind('}');
    for (std::size_t size = 0; size <= end; ++size) {
        try {
            parse(text.substr(0, size));
            ADD_FAILURE() << text.substr(0, size) << " was accepted";
        } catch (const ParseError& error) {
            EXPECT_EQ(error.failure(), early) << text.substr(0, size);
        }
    }
    EXPECT_NO_THROW(parse(text.substr(0, end + 1)));
}

} // namespace

} // namespace varnek::json
