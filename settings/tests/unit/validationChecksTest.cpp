// Declarative validators: which values each kind over each shape accepts, what it stores, why it refuses.

#include "support/AllocationCount.hpp"
#include "support/ValidationHandles.hpp"

#include "settingscore/exception/ValidationFailures.hpp"
#include "settingscore/validation/SettingValueValidator.hpp"

#include <boost/variant/get.hpp>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cmath>
#include <complex>
#include <limits>

namespace {

using namespace settings::core;
using settings::test::ValidationHandles;
using varnek::data::Array;
using varnek::data::Dimensions;
using ConfigData = SettingValueValidator::ConfigData;
using Text = std::u16string;
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

template <class Config, class... Setters>
ConfigData made(Setters... setters) {
    Config config;
    (setters(config), ...);
    return config;
}

/// The refusal's code, or "." when the value is accepted. Whoever refuses names the setting and its group and
/// leaves the value alone.
std::string verdict(const ConfigData& config, const Array& value) {
    const ValidationHandles handles;
    Array stored = value;
    try {
        SettingValueValidator(config).validateValue(handles.setting, handles.parent, stored);
        return ".";
    } catch (const exception::ValidationException& refusal) {
        EXPECT_EQ(refusal.getCausingObject(), handles.setting);
        EXPECT_EQ(refusal.getCausingObjectParent(), handles.parent);
        EXPECT_EQ(stored, value);
        return std::to_string(static_cast<int>(refusal.getErrorCode()));
    }
}

Array stored(const ConfigData& config, Array value) {
    const ValidationHandles handles;
    SettingValueValidator(config).validateValue(handles.setting, handles.parent, value);
    return value;
}

template <class Failure>
Failure refusal(const ConfigData& config, const Array& value) {
    try {
        stored(config, value);
    } catch (const Failure& failure) {
        return failure;
    }
    throw std::logic_error("the value is not refused in that way");
}

Array texts(Dimensions dimensions, std::vector<Text> values) {
    return Array::make<Text>(std::move(dimensions), std::move(values));
}
Array cell(Dimensions dimensions, std::vector<Array> values) {
    return Array::make<Array>(std::move(dimensions), std::move(values));
}

TEST(ValidationChecks, KindsOverShapes) {
    const std::vector<ConfigData> configs = {
        NumericMetaData<MustBeScalar>(), NumericMetaData<MustBeVector>(), NumericMetaData<AnyShape>(),
        StringMetaData<MustBeScalar>(),  StringMetaData<MustBeVector>(),  StringMetaData<AnyShape>(),
        MustBeLogical<MustBeScalar>(),   MustBeLogical<MustBeVector>(),   MustBeLogical<AnyShape>()};
    const Array a = Array::text(u"a");
    const struct {
        const char* name;
        Array value;
        const char* verdicts; // numeric, string, logical; each as scalar, vector, any shape
    } table[] = {
        {"3.0", Array::scalar(3.0), ". . . 8 8 8 9 9 9 "},
        {"1.0", Array::scalar(1.0), ". . . 8 8 8 . . . "},
        {"-0.0", Array::scalar(-0.0), ". . . 8 8 8 . . . "},
        {"NaN", Array::scalar(notANumber), ". . . 8 8 8 9 9 9 "},
        {"[0 1]", Array::row<double>({0, 1}), "7 . . 7 8 8 7 . . "},
        {"2x2", Array::make<double>({2, 2}, {1, 1, 1, 1}), "7 0 . 7 0 8 7 0 . "},
        {"1x1x2", Array::make<double>({1, 1, 2}, {1, 1}), "7 0 . 7 0 8 7 0 . "},
        {"0x0", Array::make<double>({0, 0}, {}), "7 . . 7 8 8 7 . . "},
        {"true", Array::scalar(true), "10 10 10 8 8 8 . . . "},
        {"single", Array::scalar(1.0F), ". . . 8 8 8 . . . "},
        {"int8 2", Array::scalar(std::int8_t{2}), ". . . 8 8 8 9 9 9 "},
        {"uint64 1", Array::scalar(std::uint64_t{1}), ". . . 8 8 8 . . . "},
        {"'a'", a, "10 10 10 . . . 9 9 9 "},
        {"ten characters", Array::text(u"ten digits"), "10 10 10 . . . 9 9 9 "},
        {"empty text", Array::text(u""), "10 10 10 . . . 9 9 9 "},
        {"a column of characters", Array::make<char16_t>({2, 1}, {u'a', u'b'}), "10 10 10 . . . 9 9 9 "},
        {"2x3 characters", Array::make<char16_t>({2, 3}, std::vector<char16_t>(6, u'a')),
         "10 0 10 . 0 . 9 0 9 "},
        {"string", Array::scalar(Text(u"a")), "10 10 10 . . . 9 9 9 "},
        {"two strings", Array::row<Text>({u"a", u"b"}), "7 10 10 7 . . 7 9 9 "},
        {"2x2 strings", texts({2, 2}, {u"a", u"b", u"c", u"d"}), "7 0 10 7 0 . 7 0 9 "},
        {"cell of a text", Array::cellScalar(a), "10 10 10 . . . 9 9 9 "},
        {"cell of text and number", cell({1, 2}, {a, Array::scalar(1.0)}), "7 10 10 7 8 8 7 9 9 "},
        {"cell of a string", Array::cellScalar(Array::scalar(Text(u"a"))), "10 10 10 8 8 8 9 9 9 "},
        {"empty cell", cell({0, 0}, {}), "7 10 10 7 . . 7 9 9 "},
        {"complex", Array::scalar(std::complex<double>(1, 0)), "10 10 10 8 8 8 9 9 9 "},
        {"structure", Array::structure({1, 1}, {"f"}, {a}), "10 10 10 8 8 8 9 9 9 "},
    };
    for (const auto& row : table) {
        std::string verdicts;
        for (const ConfigData& config : configs)
            verdicts += verdict(config, row.value) + " ";
        EXPECT_EQ(row.verdicts, verdicts) << row.name;
    }
}

TEST(ValidationChecks, NumberOfElements) {
    const auto bounds = [](std::uint64_t minimum, std::uint64_t maximum) {
        return made<NumericMetaData<MustBeVector>>([&](auto& c) { c.setMinNumberOfElements(minimum); },
                                                   [&](auto& c) { c.setMaxNumberOfElements(maximum); });
    };
    const Array none = Array::make<double>({0, 0}, {});
    const Array three = Array::make<double>({3, 1}, {1, 2, 3});
    EXPECT_EQ(verdict(bounds(0, 2), none), ".");
    EXPECT_EQ(verdict(bounds(1, 0), none), "0");
    EXPECT_EQ(verdict(bounds(3, 3), three), ".");
    EXPECT_EQ(verdict(bounds(4, 0), three), "0");
    EXPECT_EQ(verdict(bounds(0, 2), three), "0");
    EXPECT_EQ(verdict(bounds(0, 0), three), "."); // an explicit maximum of 0 forbids nothing
    const auto failure = refusal<exception::DataArraySizeOutOfRange>(bounds(1, 2), three);
    EXPECT_EQ(failure.getMinArraySize(), 1U);
    EXPECT_EQ(failure.getMaxArraySize(), 2U);
    EXPECT_EQ(failure.getActualArraySize(), 3U);
    const auto text = made<StringMetaData<MustBeVector>>([](auto& c) { c.setMinNumberOfElements(2); });
    EXPECT_EQ(refusal<exception::DataArraySizeOutOfRange>(text, Array::text(u"abc")).getActualArraySize(),
              1U);
    EXPECT_EQ(refusal<exception::DataArraySizeOutOfRange>(text, Array::text(u"")).getActualArraySize(), 1U);
}

TEST(ValidationChecks, Integers) {
    const auto integer = made<NumericMetaData<AnyShape>>([](auto& c) { c.mustBeInteger(); });
    const struct {
        Array value, stored; // void: refused
    } table[] = {
        {Array::scalar(3.0), Array::scalar(std::int64_t{3})},
        {Array::scalar(-0.0), Array::scalar(std::int64_t{0})},
        {Array::scalar(-9223372036854775808.0), Array::scalar(std::numeric_limits<std::int64_t>::min())},
        {Array::scalar(4503599627370497.0), Array::scalar(std::int64_t{4503599627370497})},
        {Array::scalar(2.0F), Array::scalar(std::int64_t{2})},
        {Array::make<double>({1, 2, 2}, {1, 2, 3, 4}), Array::make<std::int64_t>({1, 2, 2}, {1, 2, 3, 4})},
        {Array::make<float>({0, 3}, {}), Array::make<std::int64_t>({0, 3}, {})},
        {Array::scalar(std::uint64_t{18446744073709551615U}),
         Array::scalar(std::uint64_t{18446744073709551615U})},
        {Array::scalar(std::int8_t{-1}), Array::scalar(std::int8_t{-1})},
        {Array::scalar(3.5), {}},
        {Array::scalar(4503599627370495.5), {}},
        {Array::scalar(std::numeric_limits<double>::denorm_min()), {}},
        {Array::scalar(0.5F), {}},
        {Array::scalar(notANumber), {}},
        {Array::scalar(true), {}},
        {Array::text(u"3"), {}},
        // The check lets these pass, 64 bits do not hold them.
        {Array::scalar(infinity), {}},
        {Array::row<double>({1, -infinity}), {}},
        {Array::scalar(9223372036854775808.0), {}},
        {Array::scalar(-1e19F), {}},
    };
    for (const auto& row : table)
        if (row.stored.isVoid())
            EXPECT_EQ(verdict(integer, row.value), "11") << &row - table;
        else
            EXPECT_EQ(stored(integer, row.value), row.stored) << &row - table;

    std::vector<SettingValueValidator::CheckFunction> checks;
    boost::get<NumericMetaData<AnyShape>>(integer).addValidators(checks);
    ASSERT_EQ(checks.size(), 2U); // integer, range
    EXPECT_NO_THROW(checks[0]({}, {}, Array::scalar(infinity)));
}

ConfigData between(boost::optional<double> minimum, boost::optional<double> maximum) {
    NumericMetaData<AnyShape> config;
    if (minimum)
        config.setMinValue(*minimum);
    if (maximum)
        config.setMaxValue(*maximum);
    return config;
}

TEST(ValidationChecks, Ranges) {
    const struct {
        ConfigData config;
        std::vector<Array> accepted, refused;
    } table[] = {
        {between(0, 100),
         {Array::scalar(0.0), Array::scalar(-0.0), Array::scalar(100.0F), Array::scalar(std::uint8_t{100}),
          Array::make<double>({0, 0}, {})},
         {Array::scalar(100.5), Array::scalar(-1e-300), Array::scalar(notANumber), Array::scalar(infinity),
          Array::scalar(std::int8_t{-1}), Array::scalar(std::numeric_limits<std::uint64_t>::max())}},
        {between(0, {}), {Array::scalar(infinity)}, {Array::scalar(notANumber), Array::scalar(-infinity)}},
        {between({}, 0), {Array::scalar(-infinity)}, {Array::scalar(notANumber), Array::scalar(0.1F)}},
        {between({}, {}), {Array::scalar(notANumber), Array::scalar(infinity)}, {}},
        {between(0.5, 1.5),
         {Array::scalar(std::int32_t{1})},
         {Array::scalar(std::int32_t{0}), Array::scalar(std::int32_t{2})}},
        {between(0.2, 0.8), {}, {Array::scalar(std::int16_t{0}), Array::scalar(std::int16_t{1})}},
        {between(0.1, 0.1), {Array::scalar(0.1)}, {Array::scalar(0.1F)}},
        {between(notANumber, {}),
         {Array::make<double>({0, 0}, {})},
         {Array::scalar(1.0), Array::scalar(std::int8_t{1})}},
        {between({}, 9007199254740992.0),
         {Array::scalar(std::int64_t{9007199254740992})},
         {Array::scalar(std::int64_t{9007199254740993})}},
        {between(300, {}), {}, {Array::scalar(std::uint8_t{255}), Array::scalar(std::int8_t{127})}},
        {between(-infinity, infinity), {Array::scalar(std::int8_t{-128}), Array::scalar(infinity)}, {}},
    };
    for (const auto& row : table) {
        for (const Array& value : row.accepted)
            EXPECT_EQ(verdict(row.config, value), ".") << &row - table << "/" << &value - row.accepted.data();
        for (const Array& value : row.refused)
            EXPECT_EQ(verdict(row.config, value), "3") << &row - table << "/" << &value - row.refused.data();
    }
    // That a number is no integer is found before that it is outside.
    EXPECT_EQ(verdict(made<NumericMetaData<AnyShape>>([](auto& c) { c.mustBeInteger(); },
                                                      [](auto& c) { c.setMaxValue(100); }),
                      Array::scalar(150.5)),
              "11");
    // The first element outside is named.
    std::vector<float> elements(5000, 1.0F);
    elements[4321] = 0.1F;
    elements[4400] = -7;
    const auto failure = refusal<exception::ValueIsNotInRange>(between(0.5, {}), Array::row(elements));
    EXPECT_EQ(failure.getValueToSetStr(), u"0.1");
    EXPECT_EQ(failure.getMinValueStr(), u"0.5");
    EXPECT_EQ(failure.getMaxValueStr(), u"");
    EXPECT_EQ(
        refusal<exception::ValueIsNotInRange>(between({}, 1e100), Array::scalar(infinity)).getMaxValueStr(),
        u"1e+100");
}

RC_GTEST_PROP(ValidationChecks, IntegersCompareWithBoundsExactly, ()) {
    const auto element = *rc::gen::arbitrary<std::int64_t>();
    const auto distance = *rc::gen::inRange(-3, 4);
    const double bound = static_cast<double>(element) + distance;
    const auto exact = static_cast<long double>(element); // 64 bits of mantissa
    RC_ASSERT((verdict(between(bound, {}), Array::scalar(element)) == ".") == (exact >= bound));
    RC_ASSERT((verdict(between({}, bound), Array::scalar(element)) == ".") == (exact <= bound));
}

TEST(ValidationChecks, Texts) {
    const auto choices = made<StringMetaData<AnyShape>>([](auto& c) {
        c.mustBeMember({u"on", u"off", u"", u"\x00E4"});
    });
    const auto sizes = [](std::uint64_t minimum, std::uint64_t maximum) {
        return made<StringMetaData<AnyShape>>([&](auto& c) { c.setMinStringSize(minimum); },
                                              [&](auto& c) { c.setMaxStringSize(maximum); });
    };
    const auto both = made<StringMetaData<AnyShape>>(
        [](auto& c) {
            c.mustBeMember({u"a", u"abc"});
        },
        [](auto& c) { c.setMaxStringSize(2); });
    const Array rows = Array::make<char16_t>({2, 2}, {u'o', u'o', u'n', u'n'}); // "on" twice
    const Array column = Array::make<char16_t>({2, 1}, {u'o', u'n'});           // "on" once
    const struct {
        ConfigData config;
        Array value;
        const char* verdict;
    } table[] = {
        {choices, Array::text(u"on"), "."},
        {choices, Array::text(u"On"), "2"},
        {choices, Array::text(u"o"), "2"},
        {choices, Array::text(u""), "."},
        {choices, Array::make<char16_t>({3, 0}, {}), "."},
        {choices, Array::text(u"\x00E4"), "."},
        {choices, Array::text(u"a\x0308"), "2"}, // looks the same
        {choices, rows, "."},
        {choices, column, "."},
        {choices, Array::row<Text>({u"on", u"off"}), "."},
        {choices, Array::row<Text>({u"on", u"of"}), "2"},
        {choices, cell({1, 2}, {Array::text(u"on"), Array::text(u"")}), "."},
        {choices, cell({1, 2}, {Array::text(u"no"), Array::scalar(1.0)}), "8"},
        {choices, Array::row<Text>({}), "."},
        {choices, Array::scalar(1.0), "8"},
        {sizes(2, 3), Array::text(u"ab"), "."},
        {sizes(2, 3), Array::text(u"abc"), "."},
        {sizes(2, 3), Array::text(u"abcd"), "3"},
        {sizes(2, 3), rows, "."},
        {sizes(3, 0), rows, "3"},
        {sizes(2, 2), Array::text(u"\U0001F600"), "."}, // two units
        {sizes(1, 0), Array::text(u""), "3"},
        {sizes(0, 0), Array::text(u"any"), "."},
        {sizes(0, 0), Array::scalar(true), "8"},
        {both, Array::text(u"a"), "."},
        {both, Array::text(u"abc"), "3"},
        {both, Array::text(u"b"), "2"},
    };
    for (const auto& row : table)
        EXPECT_EQ(row.verdict, verdict(row.config, row.value)) << &row - table;

    const auto noChoice = refusal<exception::ValueIsNotOneOfTheChoicesAndNotInRange>(
        both, Array::row<Text>({u"a", u"x y", u"z"}));
    EXPECT_EQ(noChoice.getValueToSetStr(), u"x y");
    EXPECT_EQ(noChoice.getChoicesStr(), u"a, abc");
    EXPECT_EQ(noChoice.getMinValueStr(), u"");
    EXPECT_EQ(noChoice.getMaxValueStr(), u"");
    const auto tooLong = refusal<exception::ValueIsNotInRange>(sizes(0, 3), Array::text(u"abcd"));
    EXPECT_EQ(tooLong.getValueToSetStr(), u"4");
    EXPECT_EQ(tooLong.getMinValueStr(), u"");
    EXPECT_EQ(tooLong.getMaxValueStr(), u"3");
}

TEST(ValidationChecks, WhatIsStored) {
    const ConfigData logical = MustBeLogical<AnyShape>();
    EXPECT_EQ(stored(logical, Array::row<double>({0, 1, 1})), Array::row<bool>({false, true, true}));
    EXPECT_EQ(stored(logical, Array::make<std::int8_t>({2, 1}, {1, 0})),
              Array::make<bool>({2, 1}, {true, false}));
    EXPECT_EQ(stored(logical, Array::scalar(1.0)), Array::scalar(true));
    EXPECT_EQ(stored(logical, Array::make<double>({0, 0}, {})), Array::make<bool>({0, 0}, {}));

    const auto characters = made<StringMetaData<AnyShape>>([](auto& c) { c.setStoreAsCharVector(true); });
    EXPECT_EQ(stored(characters, Array::scalar(Text(u"abc"))), Array::text(u"abc"));
    EXPECT_EQ(stored(characters, Array::scalar(Text())), Array::text(u""));
    EXPECT_EQ(stored(characters, texts({2, 1}, {u"a", u"bcd"})),
              cell({2, 1}, {Array::text(u"a"), Array::text(u"bcd")}));
    EXPECT_EQ(stored(characters, Array::cellScalar(Array::text(u"a"))), Array::cellScalar(Array::text(u"a")));
    EXPECT_EQ(stored(StringMetaData<AnyShape>(), Array::scalar(Text(u"a"))), Array::scalar(Text(u"a")));
    EXPECT_EQ(stored(NumericMetaData<AnyShape>(), Array::scalar(3.0)), Array::scalar(3.0));
}

TEST(ValidationChecks, NumbersAreCheckedInPlace) {
    const ValidationHandles handles;
    NumericMetaData<MustBeVector> config;
    config.setMinValue(0);
    config.setMaxValue(1);
    config.setMaxNumberOfElements(200'000);
    const SettingValueValidator validator{ConfigData(config)};
    Array value = Array::row(std::vector<double>(100'000, 0.5));
    EXPECT_EQ(
        varnek::test::allocationsOf([&] { validator.validateValue(handles.setting, handles.parent, value); }),
        0U);
}

TEST(ValidationChecks, ChecksRunInOrderAndAnEmptyOneIsAnError) {
    const ValidationHandles handles;
    std::string calls;
    const auto check = [&](char name) {
        return [&calls, name](const auto& setting, const auto& parent, const Array&) {
            calls += name;
            if (name == '!')
                throw exception::ValueMustBeString(setting, parent);
        };
    };
    Array value = Array::scalar(1.0);
    const SettingValueValidator refusing({check('a'), check('!'), check('b')}, [&](const Array&) {
        calls += "converted";
        return Array();
    });
    EXPECT_THROW(refusing.validateValue(handles.setting, handles.parent, value),
                 exception::ValueMustBeString);
    EXPECT_EQ(calls, "a!");
    EXPECT_EQ(value, Array::scalar(1.0));
    const SettingValueValidator accepting({check('a'), check('b')},
                                          [](const Array&) { return Array::scalar(2.0); });
    accepting.validateValue(handles.setting, handles.parent, value);
    EXPECT_EQ(calls, "a!ab");
    EXPECT_EQ(value, Array::scalar(2.0));
    const SettingValueValidator broken(std::vector<SettingValueValidator::CheckFunction>(1));
    EXPECT_THROW(broken.validateValue(handles.setting, handles.parent, value), boost::bad_function_call);
}

} // namespace
