#include "json/Value.hpp"

#include "json/Encoding.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

namespace varnek::json {

namespace {

constexpr auto largestSigned = std::numeric_limits<std::int64_t>::max();
constexpr auto largestUnsigned = std::numeric_limits<std::uint64_t>::max();

template <class Get>
std::string typeErrorOf(const Value& value, Get get) {
    try {
        static_cast<void>(get(value));
        return "none";
    } catch (const TypeError& error) {
        EXPECT_EQ(error.found(), value.kind());
        EXPECT_THROW(error.clone()->rethrow(), TypeError);
        return error.what();
    }
}

TEST(JsonValue, KeepsWhatItIsGiven) {
    EXPECT_TRUE(Value().isNull());
    EXPECT_TRUE(Value(nullptr).isNull());
    EXPECT_EQ(Value(true).asBool(), true);
    EXPECT_EQ(Value(-5).asInt64(), -5);
    EXPECT_EQ(Value(std::uint8_t{200}).asInt64(), 200);
    EXPECT_EQ(Value(largestUnsigned).asUint64(), largestUnsigned);
    EXPECT_EQ(Value(largestUnsigned).kind(), Kind::uint64);
    EXPECT_EQ(Value(static_cast<std::uint64_t>(largestSigned)).kind(), Kind::int64);
    EXPECT_EQ(Value(2.0).kind(), Kind::float64);
    EXPECT_EQ(Value("a literal is a string, not a boolean").kind(), Kind::string);
    EXPECT_EQ(Value(u"grün").asString(), "grün");
    for (const std::size_t size : {0U, 1U, 14U, 15U, 16U, 5000U}) {
        const std::string text(size, 'x');
        const Value original(text);
        Value copy = original;
        const Value moved = std::move(copy);
        EXPECT_TRUE(copy.isNull()); // NOLINT(bugprone-use-after-move)
        EXPECT_EQ(moved.asString(), text);
        EXPECT_EQ(original, moved);
    }
}

TEST(JsonValue, ConvertsNumbersOnlyWithoutSurprise) {
    EXPECT_EQ(Value(7).asDouble(), 7.0);
    EXPECT_EQ(Value(largestUnsigned).asDouble(), 0x1p64);
    EXPECT_EQ(Value(7).asUint64(), 7U);
    const auto asInt64 = [](const Value& value) { return value.asInt64(); };
    const auto asUint64 = [](const Value& value) { return value.asUint64(); };
    EXPECT_EQ(typeErrorOf(7.0, asInt64), "expected a signed 64-bit integer, found a double");
    EXPECT_EQ(typeErrorOf(largestUnsigned, asInt64),
              "expected a signed 64-bit integer, found an unsigned 64-bit integer");
    EXPECT_EQ(typeErrorOf(-7, asUint64),
              "expected an unsigned 64-bit integer, found a signed 64-bit integer");
    EXPECT_EQ(typeErrorOf("7", [](const Value& value) { return value.asDouble(); }),
              "expected a number, found a string");
}

TEST(JsonValue, NamesExpectedAndFoundKind) {
    EXPECT_EQ(typeErrorOf(nullptr, [](const Value& v) { return v.asBool(); }),
              "expected a boolean, found null");
    EXPECT_EQ(typeErrorOf(true, [](const Value& v) { return v.asString(); }),
              "expected a string, found a boolean");
    EXPECT_EQ(typeErrorOf(Object(), [](const Value& v) { return v.asArray().size(); }),
              "expected an array, found an object");
    EXPECT_EQ(typeErrorOf(Array(), [](const Value& v) { return v.asObject().size(); }),
              "expected an object, found an array");
    EXPECT_EQ(Value(Array()).ifObject(), nullptr);
    EXPECT_NE(Value(Array()).ifArray(), nullptr);
}

TEST(JsonValue, ComparesNumbersByValue) {
    EXPECT_EQ(Value(5), Value(5.0));
    EXPECT_EQ(Value(0x1p63), Value(std::uint64_t{1} << 63));
    EXPECT_EQ(Value(-0x1p63), Value(std::numeric_limits<std::int64_t>::min()));
    EXPECT_EQ(Value(std::nan("")), Value(std::nan("")));
    const std::pair<Value, Value> different[] = {
        {0, -0.0},
        {0.0, -0.0},
        {largestSigned, 0x1p63},
        {largestUnsigned, 0x1p64},
        {9007199254740993, 9007199254740992.0},
        {largestUnsigned, -1},
        {5, 5.5},
        {1, true},
        {0, nullptr},
        {5, "5"},
        {std::uint64_t{1} << 63, -0x1p63},
        {1, std::numeric_limits<double>::infinity()},
        {Array(), Object()},
    };
    for (const auto& [a, b] : different) {
        EXPECT_FALSE(a == b);
        EXPECT_FALSE(b == a);
    }
}

TEST(JsonValue, CopiesAreDeep) {
    Value original = Array{1, "two", Object{{"three", Array{3}}}};
    const Value copy = original;
    original.asArray()[2].asObject().set("three", "changed beyond the small size");
    original.asArray().push_back(original); // a copy of itself inside
    EXPECT_EQ(copy, (Array{1, "two", Object{{"three", Array{3}}}}));
    EXPECT_EQ(original.asArray().size(), 4U);
    original = Value(original.asArray()[3]); // from within itself
    EXPECT_EQ(original.asArray().size(), 3U);
}

TEST(JsonObject, KeepsKeysSortedAndUnique) {
    Object object;
    for (const char* key : {"m", "a", "z", "", "ä", "M", "a key beyond the small size", "b"})
        object.set(key, key);
    object.set("m", 1);
    std::string order;
    for (const auto& [key, value] : object)
        order.append(key.view()).append("|");
    EXPECT_EQ(order, "|M|a|a key beyond the small size|b|m|z|ä|");
    EXPECT_EQ(object.at("m"), 1);
    EXPECT_EQ(object.find("ä")->asString(), "ä");
    EXPECT_EQ(object.find("c"), nullptr);
    EXPECT_THROW(object.at("c"), std::out_of_range);
    EXPECT_FALSE(object.erase("c"));
    EXPECT_TRUE(object.erase(""));
    EXPECT_TRUE(object.erase("ä"));
    EXPECT_EQ(object.size(), 6U);
    EXPECT_FALSE(object.contains(""));
    EXPECT_TRUE(object.contains("z"));

    EXPECT_EQ((Object{{"b", 2}, {"a", 1}}), (Object{{"a", 1}, {"b", 2}}));
    EXPECT_NE((Object{{"a", 1}}), (Object{{"a", 2}}));
    EXPECT_THROW((Object{{"a", 1}, {"b", 2}, {"a", 1}}), std::invalid_argument);
}

TEST(JsonEncoding, KeepsEveryUtf16Sequence) {
    const std::pair<std::u16string, std::string> cases[] = {
        {u"", ""},
        {u"aé€", "aé€"},
        {u"\U0001F600", "😀"},
        {u"\U0010FFFF", "\xF4\x8F\xBF\xBF"},
        {std::u16string(u"a\0b", 3), std::string("a\0b", 3)},
        {u"\xD800", "\xED\xA0\x80"},
        {u"\xDFFF", "\xED\xBF\xBF"},
        {u"\xDC00\xD800", "\xED\xB0\x80\xED\xA0\x80"},
        {u"\xD800\xD83D\xDE00\xDE00", "\xED\xA0\x80😀\xED\xB8\x80"},
        {u"\xFFFF", "\xEF\xBF\xBF"},
    };
    for (const auto& [utf16, bytes] : cases) {
        EXPECT_EQ(fromUtf16(utf16), bytes);
        EXPECT_EQ(toUtf16(bytes), utf16);
        EXPECT_EQ(Value(utf16).asUtf16(), utf16);
    }
    for (const char* bytes :
         {"\x80", "\xC0\x80", "\xED\xA0", "\xED\xA0\xBD\xED\xB8\x80", "\xF4\x90\x80\x80", "a\xFF"})
        EXPECT_THROW(toUtf16(bytes), std::invalid_argument);
}

} // namespace

} // namespace varnek::json
