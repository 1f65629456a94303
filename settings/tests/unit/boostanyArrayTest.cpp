// The three forms of a value - holder, variant, data array - and the ways between them.

#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/boostany/TypedArray.hpp"
#include "settingscore/boostany/UnconvertibleType.hpp"
#include "support/AllocationCount.hpp"

#include <boost/core/demangle.hpp>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cmath>
#include <complex>

namespace {

using namespace settingscore::boostany;
using varnek::data::Array;
using varnek::data::Dimensions;

// ---- generators ----

rc::Gen<std::u16string> anyText() {
    return rc::gen::container<std::u16string>(
        rc::gen::element(u'a', u'\0', u'\xE4', u'\xD800', u'\xDC00', u'\xFFFF'));
}

template <class T>
rc::Gen<T> anyElement() {
    if constexpr (std::is_same_v<T, std::u16string>)
        return anyText();
    else if constexpr (std::is_floating_point_v<T>)
        return rc::gen::oneOf(rc::gen::arbitrary<T>(),
                              rc::gen::element<T>(0, 1, T(-1), T(INFINITY), T(1e300 * 0)));
    else
        return rc::gen::oneOf(rc::gen::arbitrary<T>(), rc::gen::element<T>(T(0), T(1)));
}

template <class T>
rc::Gen<SupportedTypes> alternative() {
    using E = detail::Element<T>;
    if constexpr (detail::isVectorType<T>)
        return rc::gen::map(rc::gen::container<std::vector<E>>(anyElement<E>()),
                            [](std::vector<E> value) { return SupportedTypes(std::move(value)); });
    else
        return rc::gen::map(anyElement<T>(), [](T value) { return SupportedTypes(std::move(value)); });
}

template <class... All>
rc::Gen<SupportedTypes> anyAlternative(detail::AlternativeList<boost::blank, All...>) {
    return rc::gen::oneOf(alternative<All>()...);
}

/// Shown by its position alone.
struct Picked {
    SupportedTypes value;
    friend std::ostream& operator<<(std::ostream& out, const Picked& picked) {
        return out << "alternative " << picked.value.which();
    }
};

rc::Gen<Picked> anySupported() {
    return rc::gen::map(
        rc::gen::oneOf(rc::gen::just(SupportedTypes()), anyAlternative(detail::Alternatives())),
        [](SupportedTypes value) { return Picked{std::move(value)}; });
}

template <class E>
Array arrayOf(const Dimensions& dimensions) {
    std::size_t count = 1;
    for (const std::size_t extent : dimensions)
        count *= extent;
    return Array::make<E>(dimensions, *rc::gen::container<std::vector<E>>(count, anyElement<E>()));
}

rc::Gen<Array> anyArray() {
    return rc::gen::exec([] {
        const auto extent = [](int most) {
            return rc::gen::inRange<std::size_t>(0, static_cast<std::size_t>(most));
        };
        Dimensions dimensions = {*extent(3), *extent(4)};
        if (*rc::gen::inRange(0, 4) == 0)
            dimensions.push_back(*extent(3));
        switch (*rc::gen::inRange(0, 9)) {
        case 0:
            return arrayOf<double>(dimensions);
        case 1:
            return arrayOf<float>(dimensions);
        case 2:
            return arrayOf<bool>(dimensions);
        case 3:
            return arrayOf<unsigned char>(dimensions);
        case 4:
            return arrayOf<std::int64_t>(dimensions);
        case 5:
            return arrayOf<char16_t>(dimensions);
        case 6:
            return arrayOf<std::u16string>(dimensions);
        case 7:
            return Array::row<Array>({Array::text(u"a"), arrayOf<char16_t>({1, 2})});
        default:
            return *rc::gen::element(Array(), Array::scalar(std::complex<double>(1, 2)),
                                     Array::cellScalar(Array()), Array::cellScalar(Array::text(u"x")),
                                     Array::structure({1, 1}, {}, {}));
        }
    });
}

// ---- properties ----

RC_GTEST_PROP(BoostAnyArray, HolderAndVariantAreTheSameValue, ()) {
    const SupportedTypes value = (*anySupported()).value;
    const boost::any held = convertVariantToAny(value);
    const SupportedTypes back = convertAnyToVariant(held);
    RC_ASSERT(back.which() == value.which());
    const bool isEqualBack = back == value;
    RC_ASSERT(isEqualBack);
    RC_ASSERT(isSupported(held));
    RC_ASSERT(isEqual(held, boost::any(held)));
}

RC_GTEST_PROP(BoostAnyArray, EveryValueSurvivesTheArray, ()) {
    const SupportedTypes value = (*anySupported()).value;
    const auto [array, isVector] = toArray(value);
    RC_ASSERT(isVector == (value.which() >= 13));
    RC_ASSERT(variantIndexOf(array, isVector) == static_cast<std::size_t>(value.which()));
    RC_ASSERT(isSupportedArray(array) == (value.which() != 0));
    const SupportedTypes back = toVariant(array, isVector);
    RC_ASSERT(back.which() == value.which());
    const bool isEqualBack = back == value;
    RC_ASSERT(isEqualBack);
    RC_ASSERT(isEqual(toAny(array, isVector), convertVariantToAny(value)));
    const ShapedArray fromHolder = toArray(convertVariantToAny(value));
    RC_ASSERT(fromHolder.second == isVector);
    RC_ASSERT(fromHolder.first == array);
}

template <class T>
std::string outcome(T (*read)(const Array&), const Array& array) {
    try {
        return varnek::data::dimensionsText(arrayFrom(read(array)).first) + " " +
               std::to_string(toArray(boost::any(read(array))).first == arrayFrom(read(array)).first);
    } catch (const std::exception& failure) {
        return boost::core::demangle(typeid(failure).name());
    }
}

/// The direct way must give what the way through the holder gives, errors included.
template <class T>
void expectDirectIsTheSame(const Array& array) {
    const auto throughHolder = [](const Array& from) {
        return get<T>(toAny(from, isVectorShape(from)), true);
    };
    const std::string direct = outcome<T>(&fromArray<T>, array);
    RC_ASSERT(direct == outcome<T>(throughHolder, array));
    if (direct.ends_with(" 1"))
        RC_ASSERT(arrayFrom(fromArray<T>(array)).first == arrayFrom<T>(throughHolder(array)).first);
}

template <class... All>
void expectDirectIsTheSame(const Array& array, detail::AlternativeList<boost::blank, All...>) {
    (expectDirectIsTheSame<All>(array), ...);
}

RC_GTEST_PROP(BoostAnyArray, DirectReadingChangesNothing, ()) {
    expectDirectIsTheSame(*anyArray(), detail::Alternatives());
}

RC_GTEST_PROP(BoostAnyArray, IndexAndSupportAgreeWithTheConversion, ()) {
    const Array array = *anyArray();
    for (const bool isVector : {false, true}) {
        if (isSupportedArray(array) || array.isVoid()) {
            RC_ASSERT(variantIndexOf(array, isVector) ==
                      static_cast<std::size_t>(toVariant(array, isVector).which()));
        } else {
            RC_ASSERT(variantIndexOf(array, isVector) == 0U);
            RC_ASSERT_THROWS_AS(toAny(array, isVector), UnsupportedAnyType);
        }
    }
}

// ---- cases ----

std::vector<std::u16string> texts(std::initializer_list<const char16_t*> all) {
    return {all.begin(), all.end()};
}

TEST(BoostAnyArray, AnArrayIsPairedWithItsVectorFlag) {
    for (const bool isVector : {false, true}) {
        Array array = Array::scalar(1.5);
        const ShapedArray pair = createMDA(std::move(array), isVector);
        EXPECT_EQ(pair.first, Array::scalar(1.5));
        EXPECT_EQ(pair.second, isVector);
        EXPECT_TRUE(toVariant(pair.first, pair.second) ==
                    (isVector ? SupportedTypes(std::vector<double>{1.5}) : SupportedTypes(1.5)));
    }
}

TEST(BoostAnyArray, TextsInTheirForms) {
    const Array row = Array::text(u"abc");
    const Array column = Array::make<char16_t>({3, 1}, {u'a', u'b', u'c'});
    const Array matrix = Array::make<char16_t>({2, 2}, {u'a', u'c', u'b', u'd'});
    const Array pages = Array::make<char16_t>({1, 1, 2}, {u'a', u'b'});
    const Array strings = Array::row<std::u16string>({u"a", u"bc"});
    const Array one = Array::scalar(std::u16string(u"a"));
    const Array cell = Array::row<Array>({Array::text(u"a"), Array::text(u"")});

    const std::tuple<const char*, Array, bool, boost::any> table[] = {
        {"row", row, false, std::u16string(u"abc")},
        {"flagged row", row, true, texts({u"abc"})},
        {"column", column, false, std::u16string(u"abc")},
        {"matrix", matrix, true, texts({u"ab", u"cd"})},
        {"flagged matrix", matrix, false, texts({u"ab", u"cd"})},
        {"pages", pages, true, texts({u"a", u"b"})},
        {"empty", Array::text(u""), false, std::u16string()},
        {"strings", strings, true, texts({u"a", u"bc"})},
        {"one string", one, false, std::u16string(u"a")},
        {"flagged string", one, true, texts({u"a"})},
        {"no string", Array::make<std::u16string>({0, 0}, {}), true, texts({})},
        {"cell", cell, true, texts({u"a", u""})},
        {"cell of one", Array::cellScalar(row), false, std::u16string(u"abc")},
    };
    for (const auto& [name, array, isVector, want] : table) {
        EXPECT_TRUE(isEqual(toAny(array, isVector), want)) << name;
        const bool ownFlag = std::string_view(name).starts_with("flagged") ? !isVector : isVector;
        EXPECT_EQ(isVectorShape(array), ownFlag) << name;
    }
    EXPECT_EQ(fromArray<std::u16string>(one), u"a");
    EXPECT_EQ(fromArray<std::vector<std::u16string>>(row), texts({u"abc"}));
    EXPECT_THROW(fromArray<std::u16string>(matrix), detail::EmptyVectorCastToScalar);
}

TEST(BoostAnyArray, ShapesOfNumbers) {
    const Array cube = Array::make<double>({2, 1, 2}, {1, 2, 3, 4});
    EXPECT_EQ(fromArray<std::vector<int>>(cube), (std::vector<int>{1, 2, 3, 4}));
    EXPECT_TRUE(isVectorShape(cube));
    EXPECT_FALSE(isVectorShape(Array::scalar(1.0)));
    EXPECT_EQ(variantIndexOf(Array::scalar(1.0), true), 24U);
    EXPECT_EQ(variantIndexOf(Array::scalar(1.0), false), 12U);

    const ShapedArray empty = toArray(boost::any(std::vector<double>()));
    EXPECT_FALSE(empty.first.isVoid());
    EXPECT_TRUE(isVectorShape(empty.first));
    EXPECT_EQ(fromArray<std::vector<double>>(empty.first), std::vector<double>());
    EXPECT_THROW(fromArray<double>(empty.first), detail::EmptyVectorCastToScalar);
    EXPECT_EQ(empty.first, Array::make<double>({0, 0}, {}));

    EXPECT_EQ(fromArray<double>(Array::scalar(std::uint64_t{5})), 5.0);
    EXPECT_EQ(fromArray<std::vector<double>>(Array::scalar(std::int64_t{5})), std::vector<double>{5.0});
    EXPECT_THROW(fromArray<double>(Array()), boost::bad_any_cast);
    EXPECT_THROW(fromArray<double>(Array::text(u"1")), VARNEK::settings::core::UnconvertibleType);
}

/// The allocations of reading a T from its holder and from its array, which must be those of copying it.
template <class T>
void expectOnlyTheResultIsAllocated(const T& value) {
    const boost::any held = value;
    const Array array = arrayFrom(value).first;
    const auto allocationsOf = [&](auto read) {
        return varnek::test::allocationsOf([&] { EXPECT_TRUE(read() == value); });
    };
    const std::size_t copy = allocationsOf([&] { return T(value); });
    EXPECT_EQ(allocationsOf([&] { return get<T>(held, true); }), copy) << typeid(T).name();
    EXPECT_EQ(allocationsOf([&] { return get<T>(held, false); }), copy) << typeid(T).name();
    EXPECT_EQ(allocationsOf([&] { return fromArray<T>(array); }), copy) << typeid(T).name();
}

TEST(BoostAnyArray, ReadingAStoredTypeAllocatesOnlyTheResult) {
    expectOnlyTheResultIsAllocated(2.5);
    expectOnlyTheResultIsAllocated(true);
    expectOnlyTheResultIsAllocated(std::uint64_t{7});
    expectOnlyTheResultIsAllocated(std::u16string(u"short"));
    expectOnlyTheResultIsAllocated(std::u16string(100, u'x'));
    expectOnlyTheResultIsAllocated(std::vector<double>(100, 1.5));
    expectOnlyTheResultIsAllocated(std::vector<bool>(100, true));
    expectOnlyTheResultIsAllocated(std::vector<std::u16string>(3, std::u16string(100, u'x')));
    EXPECT_EQ(varnek::test::allocationsOf([] { EXPECT_FALSE(arrayFrom(2.5).second); }), 0U);
}

TEST(BoostAnyArray, OneTextUnit) {
    for (const char16_t unit : {u'x', u'\0', u'\xD800'}) {
        const auto [array, isVector] = arrayFrom(unit);
        EXPECT_FALSE(isVector);
        EXPECT_EQ(array, Array::text({&unit, 1}));
        EXPECT_EQ(fromArray<char16_t>(array), unit);
        EXPECT_EQ(fromArray<char16_t>(Array::scalar(std::u16string(1, unit))), unit);
    }
    EXPECT_THROW(fromArray<char16_t>(Array::text(u"")), detail::EmptyVectorCastToScalar);
    EXPECT_THROW(fromArray<char16_t>(Array::text(u"ab")), detail::EmptyVectorCastToScalar);
    EXPECT_THROW(fromArray<char16_t>(Array::scalar(1.0)), VARNEK::settings::core::UnconvertibleType);
}

TEST(BoostAnyArray, WhatASettingMayHold) {
    const Array one = Array::scalar(1.0);
    const std::pair<Array, bool> table[] = {
        {Array(), false},
        {one, true},
        {Array::make<double>({0, 0}, {}), true},
        {Array::make<bool>({2, 1, 2}, {true, false, true, false}), true},
        {Array::text(u""), true},
        {Array::scalar(std::u16string()), true},
        {Array::scalar(std::uint64_t{1}), true},
        {Array::scalar(std::complex<double>(1, 0)), false},
        {Array::scalar(std::complex<float>(1, 0)), false},
        {Array::structure({1, 1}, {"a"}, {one}), false},
        {Array::cellScalar(one), false},
        {Array::row<Array>({Array::text(u"a"), Array::scalar(std::u16string(u"a"))}), false},
        {Array::row<Array>({Array::text(u"a"), Array::text(u"")}), true},
        {Array::make<Array>({0, 0}, {}), true},
    };
    for (const auto& [array, supported] : table) {
        SCOPED_TRACE(typeName(array) + " " + varnek::data::dimensionsText(array));
        EXPECT_EQ(isSupportedArray(array), supported);
        EXPECT_EQ(variantIndexOf(array, false) != 0, supported);
        if (!supported && !array.isVoid()) {
            EXPECT_THROW(toAny(array, false), UnsupportedAnyType);
        }
    }
}

} // namespace
