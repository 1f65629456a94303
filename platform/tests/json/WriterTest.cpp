#include "json/Writer.hpp"

#include "json/FailurePrinter.hpp"
#include "json/Limits.hpp"
#include "json/ParseError.hpp"
#include "json/Parser.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace varnek::json {

namespace {

TEST(JsonWriter, WritesShortestExactNumbers) {
    const std::pair<Value, std::string> cases[] = {
        {0, "0"},
        {-0.0, "-0"},
        {14.0, "14"},
        {0.1, "0.1"},
        {1e100, "1e+100"},
        {1.0 / 3, "0.3333333333333333"},
        {5e-324, "5e-324"},
        {std::numeric_limits<double>::max(), "1.7976931348623157e+308"},
        {0x1p60, "1152921504606846976"},
        {std::numeric_limits<std::int64_t>::min(), "-9223372036854775808"},
        {std::numeric_limits<std::uint64_t>::max(), "18446744073709551615"},
    };
    for (const auto& [value, text] : cases) {
        EXPECT_EQ(write(value), text);
        EXPECT_EQ(parse(text), value);
    }
}

TEST(JsonWriter, LaysOutForPeople) {
    const Value value = Object{
        {"empty", Array{Array(), Object()}},
        {"list", Array{1, 2.5, "three", nullptr}},
        {"matrix", Array{Array{1, 2}, Array{3, 4}}},
        {"object", Object{{"flag", true}}},
    };
    EXPECT_EQ(writeIndented(value), R"({
  "empty": [
    [],
    {}
  ],
  "list": [1, 2.5, "three", null],
  "matrix": [
    [1, 2],
    [3, 4]
  ],
  "object": {
    "flag": true
  }
})");
    EXPECT_EQ(parse(writeIndented(value)), value);
    EXPECT_EQ(writeIndented(5), "5");
    EXPECT_EQ(write(Object{{"b", 1}, {"a", Array{}}}), R"({"a":[],"b":1})");
}

TEST(JsonWriter, RefusesWhatTheParserWouldRefuse) {
    Value deepest = Array();
    for (std::size_t level = 1; level < maximumDepth; ++level)
        deepest = Array{deepest};
    EXPECT_EQ(parse(write(deepest)), deepest);

    struct Case {
        Value value;
        WriteFailure failure;
        std::string path;
    };
    const std::string anyText(maximumTextSize, 'x');
    const Case cases[] = {
        {std::numeric_limits<double>::infinity(), WriteFailure::notFinite, "$"},
        {Object{{"a b", Array{1, std::numeric_limits<double>::quiet_NaN()}}}, WriteFailure::notFinite,
         R"($["a b"][1])"},
        {Array{deepest}, WriteFailure::depth, "$"},
        {Array{1, "\xFF"}, WriteFailure::encoding, "$[1]"},
        {"\xED\xA0\xBD\xED\xB8\x80", WriteFailure::encoding,
         "$"}, // a pair in two pieces reads back as one character
        {"\xE2\x82", WriteFailure::encoding, "$"},
        {Object{{"\xED\xA0\x80", 1}}, WriteFailure::encoding, R"($["\ud800"])"},
        {Object{{"\xFF", 1}}, WriteFailure::encoding, R"($["?"])"},
        {Object{{"a", anyText}}, WriteFailure::tooLarge, "$.a"},
    };
    for (const Case& c : cases) {
        try {
            write(c.value);
            ADD_FAILURE() << "written, though " << failureText(c.failure);
        } catch (const WriteError& error) {
            EXPECT_EQ(error.failure(), c.failure);
            if (c.failure == WriteFailure::depth)
                EXPECT_TRUE(error.path().starts_with("$[0][0][0]")) << error.path();
            else
                EXPECT_EQ(error.path(), c.path);
            EXPECT_NE(std::string(error.what()).find(failureText(c.failure)), std::string::npos);
            EXPECT_THROW(error.clone()->rethrow(), WriteError);
        }
    }
}

} // namespace

} // namespace varnek::json
