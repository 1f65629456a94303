#include "varnek/data/Array.hpp"

#include "data/ArrayPrinter.hpp"
#include "support/AllocationCount.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <thread>

using namespace std::string_literals;

namespace varnek::data {

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

std::vector<double> counted(std::size_t count) {
    std::vector<double> numbers(count);
    std::iota(numbers.begin(), numbers.end(), 1.0);
    return numbers;
}

Dimensions dimensionsOf(const Array& array) {
    return {array.dimensions().begin(), array.dimensions().end()};
}

/// One value of every element type, none of them the type's default.
template <class T>
T sample() {
    if constexpr (std::is_same_v<T, std::u16string>)
        return u"text beyond the small size \U0001F600";
    else if constexpr (std::is_same_v<T, Array>)
        return Array::text(u"inner");
    else
        return T(1);
}

template <class T>
class EveryElementType : public testing::Test {};

using ElementTypes = testing::Types<bool, char16_t, std::u16string, double, float, std::int8_t, std::uint8_t,
                                    std::int16_t, std::uint16_t, std::int32_t, std::uint32_t, std::int64_t,
                                    std::uint64_t, std::complex<double>, std::complex<float>, Array>;
TYPED_TEST_SUITE(EveryElementType, ElementTypes);

TYPED_TEST(EveryElementType, KeepsElementsContiguouslyAndSurvivesItsCopies) {
    // Sizes on both sides of the border between elements behind the block and elements of their own.
    for (const std::size_t count : {0U, 1U, 2U, 16U, 300U, 5000U}) {
        std::vector<TypeParam> elements(count, sample<TypeParam>());
        if (count > 1)
            elements[1] = TypeParam();
        auto original = Array::row(elements);
        EXPECT_EQ(original.type(), typeCodeOf<TypeParam>);
        EXPECT_EQ(original.isInline(), count == 1 && InlineScalar<TypeParam>);
        EXPECT_EQ(dimensionsOf(original), (Dimensions{1, count}));

        const Array copy = original; // NOLINT(performance-unnecessary-copy-initialization)
        original = Array();
        const std::span<const TypeParam> kept = copy.template elements<TypeParam>();
        ASSERT_EQ(kept.size(), count);
        EXPECT_TRUE(std::equal(kept.begin(), kept.end(), elements.begin()));
        EXPECT_EQ(copy, (Array::make<TypeParam>({1, count}, elements)));
        if (count > 1) {
            EXPECT_FALSE(copy == Array::row(std::vector<TypeParam>(count, sample<TypeParam>())));
            EXPECT_FALSE(copy == (Array::make<TypeParam>({count, 1}, elements)));
        }
        EXPECT_THROW(copy.element<TypeParam>(count), std::out_of_range);
    }
}

TYPED_TEST(EveryElementType, RefusesAccessAsAnyOtherType) {
    const Array array = Array::row(std::vector<TypeParam>(2, sample<TypeParam>()));
    const auto tryAs = [&array]<class Other>(std::type_identity<Other>) {
        if constexpr (std::is_same_v<Other, TypeParam>)
            EXPECT_NO_THROW(array.elements<Other>());
        else
            EXPECT_THROW(array.elements<Other>(), std::invalid_argument);
    };
#define VARNEK_TRY_AS(T) tryAs(std::type_identity<T>());
    VARNEK_DATA_ELEMENT_TYPES(VARNEK_TRY_AS)
#undef VARNEK_TRY_AS
}

TEST(Array, InlineScalarsNeverTouchTheHeap) {
    const auto work = [] {
        const Array number = Array::scalar(2.5);
        const Array flag = Array::scalar(true);
        Array copy = number; // NOLINT(performance-unnecessary-copy-initialization)
        Array moved = std::move(copy);
        moved = flag;
        swap(moved, copy);
        EXPECT_EQ(moved, Array());
        EXPECT_EQ(copy.element<bool>(), true);
        EXPECT_EQ(number.element<double>(), 2.5);
        EXPECT_EQ(number.dimensions()[0], 1U);
        EXPECT_EQ(number, Array::scalar(2.5));
        EXPECT_NE(number, flag);
    };
    EXPECT_EQ(test::allocationsOf(work), 0U);
    // A shared block costs at its making only; short texts make one allocation.
    EXPECT_EQ(test::allocationsOf([] { EXPECT_EQ(Array::text(u"dark").numberOfElements(), 4U); }), 1U);
    const Array text = Array::text(u"dark");
    EXPECT_EQ(test::allocationsOf([&text] { EXPECT_EQ(Array(text).dimensions()[1], 4U); }), 0U);
}

TEST(Array, InlineScalarsKeepTheirBits) {
    EXPECT_EQ(Array::scalar(std::numeric_limits<std::int64_t>::min()).element<std::int64_t>(),
              std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(Array::scalar(std::numeric_limits<std::uint64_t>::max()).element<std::uint64_t>(),
              std::numeric_limits<std::uint64_t>::max());
    EXPECT_TRUE(std::signbit(Array::scalar(-0.0F).element<float>()));
    EXPECT_EQ(Array::scalar(u'\xD800').text(), u"\xD800");
}

TEST(Array, NormalisesShapes) {
    struct Case {
        Dimensions given;
        Dimensions kept; // empty: refused
        std::string text;
    };
    const std::size_t huge = std::size_t{1} << 33;
    const Case cases[] = {
        {{2, 3}, {2, 3}, "2x3"},
        {{6, 1}, {6, 1}, "6x1"},
        {{2, 3, 1, 1}, {2, 3}, "2x3"},
        {{1, 1, 6}, {1, 1, 6}, "1x1x6"},
        {{1, 2, 1, 3, 1}, {1, 2, 1, 3}, "1x2x1x3"},
        {{6}, {}, ""},
        {{}, {}, ""},
        {{2, 2}, {}, ""},
        {{0, 6}, {}, ""},
        {{huge, huge}, {}, ""},
        {{huge, huge, huge}, {}, ""},
    };
    for (const Case& c : cases) {
        if (c.kept.empty()) {
            EXPECT_THROW(Array::make(c.given, counted(6)), std::invalid_argument)
                << testing::PrintToString(c.given);
            continue;
        }
        const Array array = Array::make(c.given, counted(6));
        EXPECT_EQ(dimensionsOf(array), c.kept);
        EXPECT_EQ(dimensionsText(array), c.text);
        EXPECT_EQ(array.isRowOrColumn(), c.text == "6x1");
    }
    // 1x1 is the inline form whichever way it was made.
    EXPECT_TRUE(Array::make<double>({1, 1, 1}, {7}).isInline());
    EXPECT_EQ(Array::make<double>({1, 1, 1}, {7}), Array::scalar(7.0));
    // A zero extent makes the product zero, however large the others are.
    EXPECT_EQ(Array::make<double>({huge, huge, 0}, {}).numberOfElements(), 0U);
    EXPECT_EQ(Array::row(std::vector<double>()), (Array::make<double>({1, 0}, {})));
}

TEST(Array, VoidIsNoValue) {
    const Array nothing;
    EXPECT_TRUE(nothing.isVoid());
    EXPECT_EQ(nothing.type(), TypeCode::empty);
    EXPECT_TRUE(nothing.dimensions().empty());
    EXPECT_EQ(dimensionsText(nothing), "");
    EXPECT_EQ(nothing.numberOfElements(), 0U);
    EXPECT_EQ(nothing, Array());
    const Array empty = Array::make<double>({0, 0}, {});
    EXPECT_FALSE(empty.isVoid());
    EXPECT_NE(empty, nothing);
    EXPECT_NE(empty, (Array::make<double>({0, 1}, {})));
    EXPECT_NE(empty, (Array::make<float>({0, 0}, {})));

    Array source = Array::row(counted(3));
    const Array target = std::move(source);
    EXPECT_TRUE(source.isVoid()); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(target.numberOfElements(), 3U);
}

TEST(Array, ComparesFloatsByValueAndSign) {
    EXPECT_EQ(Array::scalar(nan), Array::scalar(-nan));
    EXPECT_NE(Array::scalar(0.0), Array::scalar(-0.0));
    EXPECT_NE(Array::scalar(nan), Array::scalar(infinity));
    EXPECT_NE(Array::scalar(1.0), Array::scalar(1.0F));
    EXPECT_EQ(Array::row(std::vector<float>{NAN, -0.0F}), Array::row(std::vector<float>{NAN, -0.0F}));
    EXPECT_NE(Array::row(std::vector<float>{1, 0.0F}), Array::row(std::vector<float>{1, -0.0F}));
    EXPECT_EQ(Array::scalar(std::complex<double>(nan, 1)), Array::scalar(std::complex<double>(nan, 1)));
    EXPECT_NE(Array::scalar(std::complex<double>(1, 0.0)), Array::scalar(std::complex<double>(1, -0.0)));
    EXPECT_EQ(Array::cellScalar(Array::scalar(nan)), Array::cellScalar(Array::scalar(nan)));
    EXPECT_NE(Array::cellScalar(Array()), Array::cellScalar(Array::scalar(nan)));
}

TEST(Array, GivesTexts) {
    using Texts = std::vector<std::u16string>;
    EXPECT_EQ(Array::text(u"héllo").text(), u"héllo");
    EXPECT_EQ(Array::text(u"a"), Array::scalar(u'a'));
    EXPECT_EQ(Array::text(u"").dimensions()[1], 0U);
    EXPECT_EQ(dimensionsText(Array::text(u"")), "0x0");
    EXPECT_EQ(Array::text(u"").texts(), Texts{u""});

    // Column by column: the rows read "abc" and "def".
    const Array matrix = Array::make<char16_t>({2, 3}, {u'a', u'd', u'b', u'e', u'c', u'f'});
    EXPECT_EQ(matrix.text(), u"abcdef");
    EXPECT_EQ(matrix.texts(), (Texts{u"abc", u"def"}));
    const std::u16string letters = u"abcdefgh";
    const Array pages = Array::make<char16_t>({2, 2, 2}, {letters.begin(), letters.end()});
    EXPECT_EQ(pages.texts(), (Texts{u"ac", u"bd", u"eg", u"fh"}));
    EXPECT_EQ(pages.text(), u"acbdegfh");
    EXPECT_EQ((Array::make<char16_t>({3, 0}, {})).texts(), (Texts{u"", u"", u""}));
    EXPECT_EQ((Array::make<char16_t>({0, 3}, {})).texts(), Texts{});

    EXPECT_EQ(Array::row<std::u16string>({u"x", u""}).texts(), (Texts{u"x", u""}));
    EXPECT_EQ(Array::row<Array>({Array::text(u"x"), Array::text(u"")}).texts(), (Texts{u"x", u""}));
    EXPECT_THROW(Array::row<Array>({Array::text(u"x"), Array::scalar(1.0)}).texts(), std::invalid_argument);
    EXPECT_THROW(Array::scalar(1.0).texts(), std::invalid_argument);
    EXPECT_THROW(Array::scalar(std::u16string(u"x")).text(), std::invalid_argument);
    EXPECT_THROW(Array().text(), std::invalid_argument);
}

TEST(Array, HoldsStructures) {
    const Array one = Array::scalar(1.0);
    const Array two = Array::text(u"two");
    const Array array = Array::structure({1, 2}, {"b", "a"}, {one, two, two, Array()});
    EXPECT_EQ(array.numberOfElements(), 2U);
    EXPECT_EQ(std::vector<std::string>(array.fieldNames().begin(), array.fieldNames().end()),
              (std::vector<std::string>{"b", "a"}));
    EXPECT_EQ(array.field("b"), one);
    EXPECT_EQ(array.field("a"), two);
    EXPECT_EQ(array.field("b", 1), two);
    EXPECT_TRUE(array.field("a", 1).isVoid());
    EXPECT_THROW(array.field("c"), std::out_of_range);
    EXPECT_THROW(array.field("a", 2), std::out_of_range);
    EXPECT_THROW(one.field("a"), std::invalid_argument);

    EXPECT_EQ(array, Array::structure({1, 2, 1}, {"b", "a"}, {one, two, two, Array()}));
    EXPECT_NE(array, Array::structure({2, 1}, {"b", "a"}, {one, two, two, Array()}));
    EXPECT_NE(array, Array::structure({1, 2}, {"a", "b"}, {one, two, two, Array()}));
    EXPECT_NE(array, Array::structure({1, 2}, {"b", "a"}, {one, two, two, one}));
    EXPECT_EQ(Array::structure({5, 7}, {}, {}).numberOfElements(), 35U);
    EXPECT_EQ(Array::structure({0, 3}, {"a"}, {}).fieldNames().size(), 1U);

    EXPECT_THROW(Array::structure({1, 1}, {"a", "a"}, {one, one}), std::invalid_argument);
    EXPECT_THROW(Array::structure({1, 1}, {""}, {one}), std::invalid_argument);
    EXPECT_THROW(Array::structure({1, 1}, {"a"}, {one, one}), std::invalid_argument);
    EXPECT_THROW(Array::structure({1, 2}, {"a", "b"}, {one, two, one}), std::invalid_argument);
    EXPECT_THROW(Array::structure({1, 1}, {}, {one}), std::invalid_argument);
    EXPECT_THROW(Array::structure({1}, {"a"}, {one}), std::invalid_argument);
}

TEST(Array, ThreadsShareBlocksAndTheLastOneFreesThem) {
    const Array cell =
        Array::row<Array>({Array::text(u"shared"), Array::row(counted(200)), Array::scalar(4.0)});
    std::vector<std::thread> threads;
    std::atomic<int> wrong = 0;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&wrong, mine = cell, thread]() mutable {
            for (int round = 0; round < 2000; ++round) {
                Array copy = mine.element<Array>(static_cast<std::size_t>(round + thread) % 3);
                Array other = copy; // NOLINT(performance-unnecessary-copy-initialization)
                copy = mine;
                mine = Array(copy);
                if (copy != mine || other.isVoid())
                    ++wrong;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(cell.element<Array>(0).text(), u"shared");
}

TEST(TypeCode, NamesClassesAndKeepsItsNumbers) {
    const std::pair<int, std::string> codes[] = {
        {0, "empty"},  {1, "logical"}, {2, "char"},  {3, "string"},  {4, "double"}, {5, "single"},
        {6, "int8"},   {7, "uint8"},   {8, "int16"}, {9, "uint16"},  {10, "int32"}, {11, "uint32"},
        {12, "int64"}, {13, "uint64"}, {16, "cell"}, {17, "struct"},
    };
    for (const auto& [code, name] : codes) {
        EXPECT_EQ(className(static_cast<TypeCode>(code)), name);
        EXPECT_EQ(typeOfClassName(name), static_cast<TypeCode>(code));
        EXPECT_EQ(isInteger(static_cast<TypeCode>(code)), name.find("int") != std::string::npos);
        EXPECT_EQ(isFloat(static_cast<TypeCode>(code)), name == "double" || name == "single");
    }
    EXPECT_EQ(className(TypeCode::complexFloat64), "double");
    EXPECT_EQ(className(TypeCode::complexFloat32), "single");
    for (const std::string_view name : {"", "Double", "int7", "int", "character", "unknown"})
        EXPECT_FALSE(typeOfClassName(name)) << name;
}

} // namespace

} // namespace varnek::data
