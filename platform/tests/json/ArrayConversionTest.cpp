#include "json/ArrayConversion.hpp"

#include "data/ArrayPrinter.hpp"
#include "json/Parser.hpp"
#include "json/Writer.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

namespace varnek::json {

void PrintTo(ConversionFailure failure, std::ostream* out) {
    *out << static_cast<std::int32_t>(failure);
}

namespace {

using data::Dimensions;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

template <class T>
data::Array make(Dimensions dimensions, std::vector<T> elements) {
    return data::Array::make(std::move(dimensions), std::move(elements));
}

struct Form {
    data::Array array;
    std::string typed;
};

std::vector<Form> forms() {
    const data::Array one = data::Array::scalar(1.0);
    const data::Array text = data::Array::text(u"x");
    const std::string typedOne = R"({"qfdata":1,"qftype":"double"})";
    const std::string typedText = R"({"qfdata":"x","qftype":"char"})";
    return {
        {data::Array(), R"({"qfdata":[],"qftype":"empty"})"},
        // double
        {data::Array::scalar(14.0), R"({"qfdata":14,"qftype":"double"})"},
        {data::Array::scalar(-0.0), R"({"qfdata":-0,"qftype":"double"})"},
        {data::Array::scalar(nan), R"({"qfdata":"NaN","qftype":"double"})"},
        {data::Array::row<double>({1.5, infinity, -infinity}),
         R"({"qfdata":[1.5,"Inf","-Inf"],"qftype":"double"})"},
        {make<double>({2, 3}, {1, 4, 2, 5, 3, 6}), R"({"qfdata":[[1,2,3],[4,5,6]],"qftype":"double"})"},
        {make<double>({3, 1}, {1, 2, 3}), R"({"qfdata":[[1],[2],[3]],"qftype":"double"})"},
        {make<double>({1, 1, 2}, {1, 2}), R"({"qfdata":[[[1,2]]],"qftype":"double"})"},
        {make<double>({2, 1, 2}, {1, 2, 3, 4}), R"({"qfdata":[[[1,3]],[[2,4]]],"qftype":"double"})"},
        {make<double>({0, 0}, {}), R"({"qfdata":[],"qftype":"double"})"},
        {make<double>({1, 0}, {}), R"({"qfdata":[[]],"qftype":"double"})"},
        {make<double>({2, 0}, {}), R"({"qfdata":[[],[]],"qftype":"double"})"},
        // single: the fewest digits that still read back
        {data::Array::scalar(0.1F), R"({"qfdata":0.1,"qftype":"single"})"},
        {data::Array::scalar(std::numeric_limits<float>::max()),
         R"({"qfdata":3.4028235e+38,"qftype":"single"})"},
        {data::Array::scalar(std::numeric_limits<float>::denorm_min()),
         R"({"qfdata":1e-45,"qftype":"single"})"},
        // the one float whose fewest digits, taken as a double first, lead to its neighbour
        {data::Array::scalar(std::bit_cast<float>(0x15AE43FDU)),
         R"({"qfdata":7.038530691851209e-26,"qftype":"single"})"},
        {data::Array::row<float>({NAN, -0.0F}), R"({"qfdata":["NaN",-0],"qftype":"single"})"},
        // integers
        {data::Array::scalar(std::numeric_limits<std::int64_t>::min()),
         R"({"qfdata":-9223372036854775808,"qftype":"int64"})"},
        {data::Array::row<std::uint64_t>({0, std::numeric_limits<std::uint64_t>::max()}),
         R"({"qfdata":[0,18446744073709551615],"qftype":"uint64"})"},
        {make<std::int8_t>({2, 1}, {-128, 127}), R"({"qfdata":[[-128],[127]],"qftype":"int8"})"},
        {data::Array::row<std::uint16_t>({}), R"({"qfdata":[[]],"qftype":"uint16"})"},
        // logical
        {data::Array::scalar(true), R"({"qfdata":true,"qftype":"logical"})"},
        {make<bool>({2, 2}, {true, false, false, true}),
         R"({"qfdata":[[true,false],[false,true]],"qftype":"logical"})"},
        // char: the last dimension inside the strings
        {data::Array::text(u"größe"), "{\"qfdata\":\"größe\",\"qftype\":\"char\"}"},
        {data::Array::text(u"a\xD800\"\n"), R"({"qfdata":"a\ud800\"\n","qftype":"char"})"},
        {data::Array::text(u""), R"({"qfdata":"","qftype":"char"})"},
        {make<char16_t>({1, 0}, {}), R"({"qfdata":[""],"qftype":"char"})"},
        {make<char16_t>({2, 0}, {}), R"({"qfdata":["",""],"qftype":"char"})"},
        {make<char16_t>({2, 3}, {u'a', u'd', u'b', u'e', u'c', u'f'}),
         R"({"qfdata":["abc","def"],"qftype":"char"})"},
        {make<char16_t>({3, 1}, {u'a', u'b', u'c'}), R"({"qfdata":["a","b","c"],"qftype":"char"})"},
        {make<char16_t>({1, 2, 2}, {u'a', u'b', u'c', u'd'}), R"({"qfdata":[["ac","bd"]],"qftype":"char"})"},
        {make<char16_t>({2, 2}, {u'\xD83D', u'x', u'\xDE00', u'y'}),
         "{\"qfdata\":[\"😀\",\"xy\"],\"qftype\":\"char\"}"},
        {make<char16_t>({2, 1}, {u'\xD83D', u'\xDE00'}), R"({"qfdata":["\ud83d","\ude00"],"qftype":"char"})"},
        // string
        {data::Array::scalar(std::u16string(u"alone")), R"({"qfdata":"alone","qftype":"string"})"},
        {data::Array::row<std::u16string>({u"", u"b"}), R"({"qfdata":["","b"],"qftype":"string"})"},
        {make<std::u16string>({2, 1}, {u"a", u"bc"}), R"({"qfdata":[["a"],["bc"]],"qftype":"string"})"},
        // complex
        {data::Array::scalar(std::complex<double>(1, -0.0)),
         R"({"qfdata":{"imag":-0,"real":1},"qftype":"double"})"},
        {data::Array::row<std::complex<float>>({{0.1F, NAN}, {2, 3}}),
         R"({"qfdata":{"imag":["NaN",3],"real":[0.1,2]},"qftype":"single"})"},
        {make<std::complex<double>>({2, 1}, {{1, 2}, {3, 4}}),
         R"({"qfdata":{"imag":[[2],[4]],"real":[[1],[3]]},"qftype":"double"})"},
        {make<std::complex<double>>({0, 0}, {}), R"({"qfdata":{"imag":[],"real":[]},"qftype":"double"})"},
        // cell
        {data::Array::cellScalar(text), R"({"qfdata":[)" + typedText + R"(],"qftype":"cell"})"},
        {data::Array::row<data::Array>({one, data::Array()}),
         R"({"qfdata":[)" + typedOne + R"(,{"qfdata":[],"qftype":"empty"}],"qftype":"cell"})"},
        {make<data::Array>({2, 1}, {one, text}),
         R"({"qfdata":[[)" + typedOne + "],[" + typedText + R"(]],"qftype":"cell"})"},
        {data::Array::cellScalar(data::Array::cellScalar(one)),
         R"({"qfdata":[{"qfdata":[)" + typedOne + R"(],"qftype":"cell"}],"qftype":"cell"})"},
        {make<data::Array>({0, 0}, {}), R"({"qfdata":[],"qftype":"cell"})"},
        // struct
        {data::Array::structure({1, 1}, {"b", "a"}, {one, text}),
         R"({"qfdata":{"fields":["b","a"],"size":[1,1],"values":[)" + typedOne + "," + typedText +
             R"(]},"qftype":"struct"})"},
        {data::Array::structure({0, 3, 2}, {"a"}, {}),
         R"({"qfdata":{"fields":["a"],"size":[0,3,2],"values":[]},"qftype":"struct"})"},
        {data::Array::structure({2, 2}, {}, {}),
         R"({"qfdata":{"fields":[],"size":[2,2],"values":[]},"qftype":"struct"})"},
    };
}

TEST(TypedValue, EveryClassHasOneForm) {
    for (const Form& form : forms()) {
        const Value typed = toTyped(form.array);
        EXPECT_EQ(write(typed), form.typed);
        EXPECT_TRUE(isTyped(typed));
        EXPECT_EQ(fromTyped(parse(form.typed)), form.array) << form.typed;
    }
}

TEST(TypedValue, EmptyShapesWithoutAFormReadBackAs0x0) {
    for (const Dimensions& dimensions :
         {Dimensions{0, 1}, {0, 5}, {2, 0, 3}, {0, 0, 2}, {1'000'000'000, 0}}) {
        EXPECT_EQ(fromTyped(toTyped(make<double>(dimensions, {}))), make<double>({0, 0}, {}));
        EXPECT_EQ(fromTyped(toTyped(make<char16_t>(dimensions, {}))), make<char16_t>({0, 0}, {}));
        EXPECT_EQ(fromTyped(toTyped(make<std::u16string>(dimensions, {}))), make<std::u16string>({0, 0}, {}));
        EXPECT_EQ(fromTyped(toTyped(make<data::Array>(dimensions, {}))), make<data::Array>({0, 0}, {}));
        EXPECT_EQ(fromTyped(toTyped(make<std::complex<float>>(dimensions, {}))),
                  make<std::complex<float>>({0, 0}, {}));
    }
}

TEST(TypedValue, AcceptsOtherSpellingsOfTheSameArray) {
    const std::pair<std::string, std::string> cases[] = {
        {R"({"qfdata":[5],"qftype":"int32"})", R"({"qfdata":5,"qftype":"int32"})"},
        {R"({"qfdata":[[5]],"qftype":"int32"})", R"({"qfdata":5,"qftype":"int32"})"},
        {R"({"qfdata":[[1,2]],"qftype":"double"})", R"({"qfdata":[1,2],"qftype":"double"})"},
        {R"({"qfdata":[[[1]],[[2]]],"qftype":"double"})", R"({"qfdata":[[1],[2]],"qftype":"double"})"},
        {R"({"qfdata":["abc"],"qftype":"char"})", R"({"qfdata":"abc","qftype":"char"})"},
        {R"({"qfdata":[],"qftype":"char"})", R"({"qfdata":"","qftype":"char"})"},
        {R"({"qftype":"double","qfdata":1.40e1})", R"({"qfdata":14,"qftype":"double"})"},
        {R"({"qfdata":18446744073709551616,"qftype":"double"})",
         R"({"qfdata":18446744073709551616,"qftype":"double"})"},
        {R"({"qfdata":0.1,"qftype":"single"})", R"({"qfdata":0.1,"qftype":"single"})"},
        {R"({"qfdata":3.40282356e38,"qftype":"single"})", R"({"qfdata":3.4028235e+38,"qftype":"single"})"},
    };
    for (const auto& [text, usual] : cases)
        EXPECT_EQ(write(toTyped(fromTyped(parse(text)))), usual) << text;
}

struct Refused {
    std::string text;
    ConversionFailure failure;
    std::string path;
};

void expectRefused(std::span<const Refused> cases, data::Array (*convert)(const Value&, std::string_view)) {
    for (const Refused& c : cases) {
        try {
            convert(parse(c.text), "$.v");
            ADD_FAILURE() << c.text << " was accepted";
        } catch (const ConversionError& error) {
            EXPECT_EQ(error.failure(), c.failure) << c.text << ": " << error.what();
            EXPECT_EQ(error.path(), c.path) << c.text;
            EXPECT_EQ(error.code(), static_cast<std::int32_t>(c.failure));
            EXPECT_LT(error.code(), 0);
            EXPECT_FALSE(error.detail().empty());
            EXPECT_EQ(error.what(), error.detail() + " (" + error.path() + ')');
            EXPECT_THROW(error.clone()->rethrow(), ConversionError);
        }
    }
}

TEST(TypedValue, RefusesWrongForms) {
    using enum ConversionFailure;
    const Refused cases[] = {
        {"5", form, "$.v"},
        {"[]", form, "$.v"},
        {"{}", form, "$.v"},
        {R"({"qfdata":1})", form, "$.v"},
        {R"({"qftype":"double"})", form, "$.v"},
        {R"({"qfdata":1,"qftype":"double","size":[1,1]})", form, "$.v"},
        {R"({"QfData":1,"qftype":"double"})", form, "$.v"},
        {R"({"qfdata":1,"qftype":5})", form, "$.v.qftype"},
        {R"({"qfdata":1,"qftype":null})", form, "$.v.qftype"},
        {R"({"qfdata":1,"qftype":"Double"})", className, "$.v.qftype"},
        {R"({"qfdata":1,"qftype":""})", className, "$.v.qftype"},
        {R"({"qfdata":1,"qftype":"int128"})", className, "$.v.qftype"},
        {R"({"qfdata":1,"qftype":"empty"})", form, "$.v.qfdata"},
        {R"({"qfdata":[[]],"qftype":"empty"})", form, "$.v.qfdata"},
        // integers
        {R"({"qfdata":1.0,"qftype":"int8"})", numberRange, "$.v.qfdata"},
        {R"({"qfdata":1e2,"qftype":"int8"})", numberRange, "$.v.qfdata"},
        {R"({"qfdata":-0,"qftype":"int8"})", numberRange, "$.v.qfdata"},
        {R"({"qfdata":128,"qftype":"int8"})", numberRange, "$.v.qfdata"},
        {R"({"qfdata":-129,"qftype":"int8"})", numberRange, "$.v.qfdata"},
        {R"({"qfdata":-1,"qftype":"uint8"})", numberRange, "$.v.qfdata"},
        {R"({"qfdata":256,"qftype":"uint8"})", numberRange, "$.v.qfdata"},
        {R"({"qfdata":32768,"qftype":"int16"})", numberRange, "$.v.qfdata"},
        {R"({"qfdata":65536,"qftype":"uint16"})", numberRange, "$.v.qfdata"},
        {R"({"qfdata":2147483648,"qftype":"int32"})", numberRange, "$.v.qfdata"},
        {R"({"qfdata":4294967296,"qftype":"uint32"})", numberRange, "$.v.qfdata"},
        {R"({"qfdata":9223372036854775808,"qftype":"int64"})", numberRange, "$.v.qfdata"},
        {R"({"qfdata":-9223372036854775809,"qftype":"int64"})", numberRange, "$.v.qfdata"},
        {R"({"qfdata":18446744073709551616,"qftype":"uint64"})", numberRange, "$.v.qfdata"},
        {R"({"qfdata":[[1,2],[3,1e3]],"qftype":"uint64"})", numberRange, "$.v.qfdata[1][1]"},
        {R"({"qfdata":"5","qftype":"int32"})", elementKind, "$.v.qfdata"},
        {R"({"qfdata":true,"qftype":"int32"})", elementKind, "$.v.qfdata"},
        {R"({"qfdata":[1,null],"qftype":"int32"})", elementKind, "$.v.qfdata[1]"},
        // floats
        {R"({"qfdata":3.5e38,"qftype":"single"})", numberRange, "$.v.qfdata"},
        {R"({"qfdata":[0,-3.4028235677973366e38],"qftype":"single"})", numberRange, "$.v.qfdata[1]"},
        {R"({"qfdata":"inf","qftype":"double"})", elementKind, "$.v.qfdata"},
        {R"({"qfdata":"+Inf","qftype":"double"})", elementKind, "$.v.qfdata"},
        {R"({"qfdata":"5","qftype":"double"})", elementKind, "$.v.qfdata"},
        {R"({"qfdata":true,"qftype":"double"})", elementKind, "$.v.qfdata"},
        {R"({"qfdata":null,"qftype":"double"})", elementKind, "$.v.qfdata"},
        {R"({"qfdata":{"real":1},"qftype":"double"})", form, "$.v.qfdata"},
        {R"({"qfdata":{"imag":1,"real":1,"x":1},"qftype":"double"})", form, "$.v.qfdata"},
        {R"({"qfdata":{"imag":[1,2],"real":[1]},"qftype":"double"})", shape, "$.v.qfdata"},
        {R"({"qfdata":{"imag":[1,"x"],"real":[1,2]},"qftype":"double"})", elementKind, "$.v.qfdata.imag[1]"},
        {R"({"qfdata":{"imag":{},"real":1},"qftype":"double"})", elementKind, "$.v.qfdata.imag"},
        // other classes
        {R"({"qfdata":1,"qftype":"logical"})", elementKind, "$.v.qfdata"},
        {R"({"qfdata":[true,"false"],"qftype":"logical"})", elementKind, "$.v.qfdata[1]"},
        {R"({"qfdata":65,"qftype":"char"})", elementKind, "$.v.qfdata"},
        {R"({"qfdata":["ab","c"],"qftype":"char"})", shape, "$.v.qfdata[1]"},
        {R"({"qfdata":["ab",1],"qftype":"char"})", elementKind, "$.v.qfdata[1]"},
        {R"({"qfdata":[1],"qftype":"string"})", elementKind, "$.v.qfdata[0]"},
        {R"({"qfdata":{"real":1,"imag":1},"qftype":"int8"})", elementKind, "$.v.qfdata"},
        // shapes
        {R"({"qfdata":[[1,2],[3]],"qftype":"double"})", shape, "$.v.qfdata[1]"},
        {R"({"qfdata":[[1],2],"qftype":"double"})", shape, "$.v.qfdata[1]"},
        {R"({"qfdata":[1,[2]],"qftype":"double"})", shape, "$.v.qfdata[1]"},
        {R"({"qfdata":[[],[1]],"qftype":"double"})", shape, "$.v.qfdata[1]"},
        {R"({"qfdata":[[[1],[2]],[[1],[2,3]]],"qftype":"double"})", shape, "$.v.qfdata[1][1]"},
        // cells and structures
        {R"({"qfdata":{"qfdata":1,"qftype":"double"},"qftype":"cell"})", elementKind, "$.v.qfdata"},
        {R"({"qfdata":[1],"qftype":"cell"})", form, "$.v.qfdata[0]"},
        {R"({"qfdata":[[{"qfdata":[1,"x"],"qftype":"double"}]],"qftype":"cell"})", elementKind,
         "$.v.qfdata[0][0].qfdata[1]"},
        {R"({"qfdata":[],"qftype":"struct"})", form, "$.v.qfdata"},
        {R"({"qfdata":{"fields":[],"size":[1,1]},"qftype":"struct"})", form, "$.v.qfdata"},
        {R"({"qfdata":{"fields":"a","size":[1,1],"values":[]},"qftype":"struct"})", form,
         "$.v.qfdata.fields"},
        {R"({"qfdata":{"fields":[1],"size":[1,1],"values":[]},"qftype":"struct"})", form,
         "$.v.qfdata.fields[0]"},
        {R"({"qfdata":{"fields":[],"size":[1],"values":[]},"qftype":"struct"})", shape, "$.v.qfdata"},
        {R"({"qfdata":{"fields":[],"size":[1,-1],"values":[]},"qftype":"struct"})", numberRange,
         "$.v.qfdata.size[1]"},
        {R"({"qfdata":{"fields":[],"size":[5000000000,5000000000],"values":[]},"qftype":"struct"})", shape,
         "$.v.qfdata"},
        {R"({"qfdata":{"fields":["a"],"size":[1,1],"values":[]},"qftype":"struct"})", shape, "$.v.qfdata"},
        {R"({"qfdata":{"fields":["a","a"],"size":[0,0],"values":[]},"qftype":"struct"})", shape,
         "$.v.qfdata"},
        {R"({"qfdata":{"fields":["a"],"size":[1,1],"values":[5]},"qftype":"struct"})", form,
         "$.v.qfdata.values[0]"},
    };
    expectRefused(cases, fromTyped);

    const Value invalid = Object{{"qfdata", "\xFF"}, {"qftype", "char"}};
    EXPECT_THROW(fromTyped(invalid), ConversionError);
    data::Array deep = data::Array::scalar(1.0);
    for (int level = 0; level < 100; ++level)
        deep = data::Array::cellScalar(deep);
    EXPECT_THROW(toTyped(deep), ConversionError);
}

TEST(TypedValue, IsToldFromOrdinaryObjects) {
    EXPECT_TRUE(isTyped(parse(R"({"qfdata":1})")));
    EXPECT_TRUE(isTyped(parse(R"({"qftype":1,"x":2})")));
    EXPECT_FALSE(isTyped(parse(R"({"x":{"qfdata":1}})")));
    EXPECT_FALSE(isTyped(parse(R"(["qfdata","qftype"])")));
}

TEST(PlainValue, StandsForAnArrayWhereThatLosesNothing) {
    const std::pair<std::string, data::Array> cases[] = {
        {"14", data::Array::scalar(14.0)},
        {"-0", data::Array::scalar(-0.0)},
        {"true", data::Array::scalar(true)},
        {R"("text \ud800")", data::Array::text(u"text \xD800")},
        {R"("")", data::Array::text(u"")},
        {"[]", make<double>({0, 0}, {})},
        {"[[]]", make<double>({1, 0}, {})},
        {"[1,2.5]", data::Array::row<double>({1, 2.5})},
        {"[true,false]", data::Array::row<bool>({true, false})},
        {R"(["a"])", data::Array::scalar(std::u16string(u"a"))},
        {R"(["a","bc"])", data::Array::row<std::u16string>({u"a", u"bc"})},
        {"[[1,2,3],[4,5,6]]", make<double>({2, 3}, {1, 4, 2, 5, 3, 6})},
        {"[[true],[false]]", make<bool>({2, 1}, {true, false})},
        {R"([["a"],["b"]])", make<std::u16string>({2, 1}, {u"a", u"b"})},
    };
    for (const auto& [text, array] : cases) {
        EXPECT_EQ(fromPlain(parse(text)), array) << text;
        const auto plain = toPlain(array);
        ASSERT_TRUE(plain) << text;
        EXPECT_EQ(write(*plain), text);
    }
    EXPECT_EQ(fromPlain(parse("[5]")), data::Array::scalar(5.0));
    EXPECT_EQ(fromPlain(parse("18446744073709551615")), data::Array::scalar(0x1p64));
}

TEST(PlainValue, IsNothingWhereItWouldLoseSomething) {
    const data::Array arrays[] = {
        data::Array(),
        data::Array::scalar(nan),
        data::Array::row<double>({1, infinity}),
        data::Array::scalar(1.0F),
        data::Array::scalar(std::int32_t{1}),
        data::Array::scalar(std::complex<double>(1, 0)),
        data::Array::cellScalar(data::Array::scalar(1.0)),
        data::Array::structure({1, 1}, {}, {}),
        make<char16_t>({2, 1}, {u'a', u'b'}),
        make<char16_t>({1, 0}, {}),
        make<bool>({0, 0}, {}),
        make<std::u16string>({1, 0}, {}),
        make<double>({0, 5}, {}),
    };
    for (const data::Array& array : arrays)
        EXPECT_FALSE(toPlain(array)) << data::className(array.type()) << ' ' << data::dimensionsText(array);
}

TEST(PlainValue, RefusesWhatHasNoClass) {
    using enum ConversionFailure;
    const Refused cases[] = {
        {"null", elementKind, "$.v"},
        {"{}", elementKind, "$.v"},
        {"[null]", elementKind, "$.v[0]"},
        {"[{}]", elementKind, "$.v[0]"},
        {"[1,true]", elementKind, "$.v[1]"},
        {R"([[1,2],[3,"4"]])", elementKind, "$.v[1][1]"},
        {R"(["NaN",1])", elementKind, "$.v[1]"},
        {"[[1,2],[3]]", shape, "$.v[1]"},
        {"[[1],2]", shape, "$.v[1]"},
    };
    expectRefused(cases, fromPlain);
}

} // namespace

} // namespace varnek::json
