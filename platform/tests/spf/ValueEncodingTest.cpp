#include "spf/ValueEncoding.hpp"
#include "spf/Limits.hpp"
#include "spf/Messages.hpp"

#include <capnp/message.h>
#include <capnp/serialize.h>
#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <bit>
#include <complex>
#include <cstring>
#include <limits>

namespace varnek::spf {
namespace {

using data::Array;
using data::Dimensions;

Value throughReply(const Value& value) {
    return decodeReply(encodeResult(value).all());
}

RemoteErrorKind kindOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const RemoteError& error) {
        return error.kind();
    }
    return RemoteErrorKind::unreachable;
}

TEST(ValueEncodings, GiveEveryValueBack) {
    const Value values[] = {
        {},
        true,
        false,
        0,
        -1,
        std::numeric_limits<std::int64_t>::min(),
        std::numeric_limits<std::int64_t>::max(),
        "",
        std::string("a\0b\xFF", 4),
        Value::List{},
        Value::List{Value::List{}, Value()},
        Array(),
        Array::scalar(true),
        Array::scalar(u'\xD800'),
        Array::scalar(-0.0),
        Array::scalar(1.5F),
        Array::scalar(std::int8_t{-5}),
        Array::scalar(std::uint16_t{65535}),
        Array::scalar(std::numeric_limits<std::uint64_t>::max()),
        Array::scalar(std::complex<double>(1, -0.0)),
        Array::scalar(std::complex<float>(1, 2)),
        Array::scalar(std::u16string(u"one")),
        Array::cellScalar(Array::scalar(1.0)),
        Array::text(u"\xDC00 unpaired \x4E2D"),
        Array::text(u""),
        Array::make<bool>({3, 3},
                          std::vector<bool>{true, false, true, false, false, false, true, true, true}),
        Array::make<double>({0, 5}, {}),
        Array::make<std::u16string>({2, 0, 3}, {}),
        Array::make<std::int64_t>({1, 2, 2}, {1, -2, std::numeric_limits<std::int64_t>::min(), 4}),
        Array::make<std::u16string>({2, 1}, {u"", u"\x4E2D\xD83D"}),
        Array::make<Array>({0, 0}, {}),
        Array::make<Array>(
            {2, 2}, {Array(), Array::text(u"x"), Array::row<float>({1, 2}), Array::cellScalar(Array())}),
        Array::structure({1, 2}, {"a", "b"},
                         {Array::scalar(1.0), Array::text(u"t"), Array(), Array::scalar(false)}),
        Array::structure({4, 5}, {}, {}),
        Array::structure({0, 1}, {"only"}, {})};
    for (const Value& value : values) {
        EXPECT_EQ(value, throughReply(value)) << value.toJson().isNull();
        const auto message = decodeMessage(encodeMessage("name \xC3\xA9", {value, value}, 1 << 20).all());
        EXPECT_EQ("name \xC3\xA9", message.name);
        EXPECT_EQ((Value::List{value, value}), message.values);
    }
}

/// Equality of arrays does not look into NaN.
TEST(ValueEncodings, KeepEveryBitOfNaN) {
    for (const std::uint64_t bits : {0x7FF0000000000001U, 0xFFF8000000000000U, 0x7FF8DEADBEEF0001U}) {
        const auto bitsOf = [](double value) { return std::bit_cast<std::uint64_t>(value); };
        const auto nan = std::bit_cast<double>(bits);
        std::vector<double> elements(2);
        std::memcpy(elements.data(), &bits, sizeof bits);
        EXPECT_EQ(bits, bitsOf(throughReply(Array::scalar(nan)).asArray().element<double>()));
        EXPECT_EQ(bits, bitsOf(throughReply(Array::row(elements)).asArray().element<double>()));
    }
}

TEST(ValueEncodings, FailuresAndErrorsAreThrownAsTheyWere) {
    try {
        decodeReply(encodeFailure({"Type", "text", {Value(7), Value("field")}}).all());
        FAIL();
    } catch (const ProviderFailure& failure) {
        EXPECT_EQ("Type", failure.type());
        EXPECT_STREQ("text", failure.what());
        EXPECT_EQ((Value::List{7, "field"}), failure.fields());
    }
    try {
        decodeReply(encodeError({RemoteErrorKind::unknownMethod, "which?"}).all());
        FAIL();
    } catch (const RemoteError& error) {
        EXPECT_EQ(RemoteErrorKind::unknownMethod, error.kind());
        EXPECT_STREQ("which?", error.what());
    }
}

TEST(ValueEncodings, ShowCallsAsJson) {
    const Call call{"getSettingMDArray", Array::scalar(1.5), {"editor", true, Value(), Value::List{3}}};
    EXPECT_EQ(R"({"arguments":["editor",true,null,[3]],"name":"getSettingMDArray",)"
              R"("return":{"qfdata":1.5,"qftype":"double"}})",
              call.toString());
    EXPECT_EQ(RemoteErrorKind::malformed, kindOf([] { Value(1).asText(); }));
    EXPECT_EQ(RemoteErrorKind::malformed, kindOf([] { Value("1").asInteger(); }));
}

TEST(ValueEncodings, SizesAndDepthsAreRefusedBeforeAnythingIsMade) {
    Array cell;
    for (std::size_t i = 0; i < limits::depth; ++i)
        cell = Array::cellScalar(cell);
    EXPECT_EQ(Value(cell), throughReply(cell));
    EXPECT_EQ(RemoteErrorKind::tooLarge, kindOf([&] { encodeResult(Array::cellScalar(cell)); }));
    EXPECT_EQ(RemoteErrorKind::tooLarge, kindOf([&] { encodeResult(Value::List{cell}); }));
    const std::size_t exact = encodeMessage("m", {"12345678"}, 1 << 20).bytes();
    EXPECT_EQ(exact, encodeMessage("m", {"12345678"}, exact).bytes());
    EXPECT_EQ(RemoteErrorKind::tooLarge, kindOf([&] { encodeMessage("m", {"12345678"}, exact - 1); }));
    EXPECT_EQ(RemoteErrorKind::tooLarge, kindOf([&] { encodeResult(Value::List(limits::values)); }));
    EXPECT_EQ(limits::values - 1, throughReply(Value::List(limits::values - 1)).asList().size());
}

/// What a sound encoder would not make, and what it is told.
TEST(ValueEncodings, MalformedArraysAreRefused) {
    using Build = std::function<void(wire::Array::Builder)>;
    const auto withDimensions = [](wire::Array::Builder array, data::TypeCode type,
                                   std::vector<std::uint64_t> extents) {
        array.setType(static_cast<std::uint8_t>(type));
        auto dimensions = array.initDimensions(static_cast<capnp::uint>(extents.size()));
        for (capnp::uint i = 0; i < dimensions.size(); ++i)
            dimensions.set(i, extents[i]);
    };
    using enum data::TypeCode;
    constexpr std::uint64_t huge = std::uint64_t{1} << 40;
    const std::pair<const char*, Build> cases[] = {
        {"too few elements",
         [&](auto array) {
             withDimensions(array, float64, {2, 2});
             array.initElements(24);
         }},
        {"part of an element",
         [&](auto array) {
             withDimensions(array, float64, {1, 1});
             array.initElements(7);
         }},
        {"many elements announced",
         [&](auto array) {
             withDimensions(array, uint8, {huge, 1000});
             array.initElements(8);
         }},
        {"overflow",
         [&](auto array) {
             withDimensions(array, uint8, {huge, huge});
             array.initElements(0);
         }},
        {"one dimension",
         [&](auto array) {
             withDimensions(array, uint8, {8});
             array.initElements(8);
         }},
        {"no logical",
         [&](auto array) {
             withDimensions(array, logical, {1, 1});
             array.initElements(1)[0] = 2;
         }},
        {"no logical scalar",
         [&](auto array) {
             withDimensions(array, logical, {});
             array.setScalar(2);
         }},
        {"scalar of cells",
         [&](auto array) {
             withDimensions(array, cell, {});
             array.setScalar(2);
         }},
        {"large scalar",
         [&](auto array) {
             withDimensions(array, complexFloat64, {});
             array.setScalar(2);
         }},
        {"unknown type",
         [&](auto array) {
             withDimensions(array, static_cast<data::TypeCode>(18), {1, 1});
             array.initElements(8);
         }},
        {"void with a type",
         [&](auto array) {
             withDimensions(array, float64, {1, 1});
         }},
        {"bytes of cells",
         [&](auto array) {
             withDimensions(array, cell, {1, 1});
             array.initElements(8);
         }},
        {"texts of numbers",
         [&](auto array) {
             withDimensions(array, float64, {1, 1});
             array.initStrings(1);
         }},
        {"too few texts",
         [&](auto array) {
             withDimensions(array, string, {1, 2});
             array.initStrings(1);
         }},
        {"half a character",
         [&](auto array) {
             withDimensions(array, string, {1, 1});
             array.initStrings(1).init(0, 3);
         }},
        {"too many cells",
         [&](auto array) {
             withDimensions(array, cell, {1, 1});
             array.initCells(2);
         }},
        {"fields without names",
         [&](auto array) {
             withDimensions(array, structure, {1, 1});
             array.initStructure().initValues(1);
         }},
        {"fields of one name",
         [&](auto array) {
             withDimensions(array, structure, {0, 1});
             auto names = array.initStructure().initNames(2);
             names.init(0, 1)[0] = 'a';
             names.init(1, 1)[0] = 'a';
         }},
        {"many structures announced",
         [&](auto array) {
             withDimensions(array, structure, {huge, 1});
             array.initStructure().initNames(1).init(0, 1)[0] = 'a';
         }},
    };
    for (const auto& [name, build] : cases) {
        capnp::MallocMessageBuilder builder;
        build(builder.initRoot<wire::Reply>().initResult().initArray());
        ASSERT_EQ(1u, builder.getSegmentsForOutput().size());
        const Words words(builder.getSegmentsForOutput()[0].asBytes());
        EXPECT_EQ(RemoteErrorKind::malformed, kindOf([&] { decodeReply(words.all()); })) << name;
    }
}

TEST(ValueEncodings, MalformedMessagesAreRefused) {
    EXPECT_EQ(RemoteErrorKind::malformed,
              kindOf([] { asWords(kj::arrayPtr(reinterpret_cast<const kj::byte*>("123"), 3)); }));
    // A list of millions of values that take no room at all.
    capnp::MallocMessageBuilder builder;
    builder.initRoot<wire::Message>().initValues(1);
    Words words(builder.getSegmentsForOutput()[0].asBytes());
    const std::uint64_t tag = std::uint64_t{1} << 28 << 2;
    std::memcpy(static_cast<void*>(&words.all()[3]), &tag, sizeof tag);
    EXPECT_EQ(RemoteErrorKind::malformed, kindOf([&] { decodeMessage(words.all()); }));
    // Every piece of a message, and every message with one word that is not its own: refused or read, nothing
    // else.
    const Words whole = encodeMessage("name", {Array::row<double>({1, 2}), Value::List{"x", 7}}, 1 << 20);
    for (std::size_t size = 0; size < whole.count(); ++size)
        kindOf([&] { decodeMessage(whole.all().slice(0, size)); });
    for (std::size_t at = 0; at < whole.count(); ++at)
        for (std::size_t byte = 0; byte < 8; ++byte) {
            Words damaged(whole.asBytes());
            reinterpret_cast<unsigned char*>(&damaged.all()[at])[byte] ^= 0xFF;
            kindOf([&] { decodeMessage(damaged.all()); });
        }
}

rc::Gen<Array> arrays(int depth);

template <class T>
rc::Gen<Array> rows() {
    return rc::gen::map(rc::gen::container<std::vector<T>>(rc::gen::arbitrary<T>()),
                        [](std::vector<T> elements) { return Array::row(std::move(elements)); });
}

rc::Gen<Array> arrays(int depth) {
    const auto texts = rc::gen::map(
        rc::gen::container<std::vector<std::vector<char16_t>>>(rc::gen::container<std::vector<char16_t>>(
            rc::gen::cast<char16_t>(rc::gen::arbitrary<std::uint16_t>()))),
        [](const std::vector<std::vector<char16_t>>& all) {
            std::vector<std::u16string> strings;
            for (const auto& one : all)
                strings.emplace_back(one.begin(), one.end());
            const std::size_t count = strings.size();
            return Array::make(Dimensions{count, 1}, std::move(strings));
        });
    if (depth == 0)
        return rc::gen::oneOf(rows<double>(), rows<float>(), rows<std::int64_t>(), rows<std::uint8_t>(),
                              texts);
    const auto cells = rc::gen::map(rc::gen::container<std::vector<Array>>(arrays(depth - 1)),
                                    [](std::vector<Array> all) { return Array::row(std::move(all)); });
    const auto structures =
        rc::gen::map(rc::gen::container<std::vector<Array>>(arrays(depth - 1)), [](std::vector<Array> all) {
            const std::size_t count = all.size();
            return Array::structure({count, 1}, {"field"}, std::move(all));
        });
    return rc::gen::oneOf(arrays(0), cells, structures);
}

rc::Gen<Value> values(int depth) {
    const auto plain =
        rc::gen::oneOf(rc::gen::map<bool>([](bool value) { return Value(value); }),
                       rc::gen::map<std::int64_t>([](std::int64_t value) { return Value(value); }),
                       rc::gen::map<std::string>([](std::string value) { return Value(std::move(value)); }),
                       rc::gen::map(arrays(2), [](Array value) { return Value(std::move(value)); }));
    if (depth == 0)
        return plain;
    return rc::gen::oneOf(plain, rc::gen::map(rc::gen::container<Value::List>(values(depth - 1)),
                                              [](Value::List list) { return Value(std::move(list)); }));
}

RC_GTEST_PROP(ValueEncodings, GiveAnyValueBack, ()) {
    const Value value = *rc::gen::resize(20, values(2));
    RC_ASSERT(throughReply(value) == value);
}

} // namespace
} // namespace varnek::spf
