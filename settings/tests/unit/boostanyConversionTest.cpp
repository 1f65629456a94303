// get<T> from the generic holder: every pair of types against an independent reckoning of what must come out.

#include "settingscore/boostany/SupportedTypes.hpp"
#include "settingscore/boostany/UnconvertibleType.hpp"

#include <boost/numeric/conversion/converter_policies.hpp>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>

namespace {

using namespace settingscore::boostany;

template <class T>
struct Type {
    using type = T;
};

template <class Call>
void forEachNumber(Call call) {
    call(Type<bool>()), call(Type<signed char>()), call(Type<unsigned char>()), call(Type<short>());
    call(Type<unsigned short>()), call(Type<int>()), call(Type<unsigned int>()), call(Type<std::int64_t>());
    call(Type<std::uint64_t>()), call(Type<float>()), call(Type<double>());
}

template <class Call>
void forEachSupported(Call call) {
    forEachNumber([&]<class T>(Type<T>) { call(Type<T>()), call(Type<std::vector<T>>()); });
    call(Type<std::u16string>()), call(Type<std::vector<std::u16string>>());
}

template <class T>
std::vector<T> samples() {
    using limits = std::numeric_limits<T>;
    if constexpr (std::is_same_v<T, bool>)
        return {false, true};
    std::vector<T> all = {T(0), T(1), T(2), T(42), limits::lowest(), limits::max(), T(limits::max() / 2)};
    if constexpr (limits::is_signed)
        all.push_back(T(-1)), all.push_back(T(-2));
    if constexpr (std::is_floating_point_v<T>) {
        for (const double value :
             {0.5, -0.5, -0.9, 1.5, 3.7, -3.7, 1e-300, limits::infinity() * 1.0, std::nan("")})
            all.push_back(T(value)), all.push_back(T(-value));
        for (const int bits : {7, 8, 15, 16, 31, 32, 63, 64})
            for (const T nudge : {T(-1), T(0), T(1)})
                all.push_back(std::ldexp(T(1), bits) + nudge), all.push_back(-std::ldexp(T(1), bits) + nudge);
    }
    return all;
}

constexpr const char* positiveOverflow = "bad numeric conversion: positive overflow";
constexpr const char* negativeOverflow = "bad numeric conversion: negative overflow";
constexpr const char* noNumber = "bad numeric conversion: overflow";

struct Outcome {
    const char* failure = nullptr;
    long double value = 0; // exact for every number of every supported type
};

/// What converting `value` to To must give, reckoned in a type that holds all of them exactly.
template <class To>
Outcome expected(long double value, bool fromDouble) {
    using limits = std::numeric_limits<To>;
    if constexpr (std::is_floating_point_v<To>) {
        const bool tooLarge = fromDouble && std::isfinite(value) && std::fabs(value) > limits::max();
        if (tooLarge)
            return {value > 0 ? positiveOverflow : negativeOverflow};
        return {nullptr, static_cast<To>(value)};
    } else {
        if (std::isnan(value))
            return {noNumber};
        const bool isBool = std::is_same_v<To, bool>;
        const long double whole = isBool ? value : std::trunc(value);
        if (whole > static_cast<long double>(limits::max()))
            return {positiveOverflow};
        if (whole < static_cast<long double>(limits::min()))
            return {negativeOverflow};
        if (isBool && whole != 0 && whole != 1)
            return {noNumber};
        return {nullptr, whole};
    }
}

template <class T>
std::optional<T> tryGet(const boost::any& held, std::string& failure) {
    try {
        return get<T>(held, true);
    } catch (const std::exception& error) {
        failure = error.what();
        return std::nullopt;
    }
}

bool same(long double a, long double b) {
    return a == b || (std::isnan(a) && std::isnan(b));
}

template <class From, class To>
void checkNumber(From value) {
    const Outcome want = expected<To>(static_cast<long double>(value), std::is_same_v<From, double>);
    const auto check = [&](std::optional<To> got, const std::string& failure, const char* shape) {
        SCOPED_TRACE(testing::Message()
                     << typeid(From).name() << " " << +value << " to " << typeid(To).name() << ", " << shape);
        EXPECT_EQ(failure, want.failure == nullptr ? "" : want.failure);
        if (got.has_value() && want.failure == nullptr) {
            EXPECT_PRED2(same, static_cast<long double>(*got), want.value);
        }
    };
    const auto front = [](const std::optional<std::vector<To>>& all) -> std::optional<To> {
        if (!all.has_value())
            return std::nullopt;
        EXPECT_EQ(all->size(), 1U);
        return all->empty() ? std::nullopt : std::optional<To>(all->front());
    };
    std::string failure[4];
    check(tryGet<To>(value, failure[0]), failure[0], "scalar to scalar");
    check(front(tryGet<std::vector<To>>(value, failure[1])), failure[1], "scalar to vector");
    check(tryGet<To>(std::vector<From>{value}, failure[2]), failure[2], "vector to scalar");
    check(front(tryGet<std::vector<To>>(std::vector<From>{value}, failure[3])), failure[3],
          "vector to vector");
}

TEST(BoostAnyConversion, EveryPairOfNumberTypes) {
    forEachNumber([]<class From>(Type<From>) {
        forEachNumber([]<class To>(Type<To>) {
            for (const From value : samples<From>())
                checkNumber<From, To>(value);
        });
    });
}

TEST(BoostAnyConversion, StrictExtractionRefusesEveryOtherType) {
    forEachSupported([]<class From>(Type<From>) {
        forEachSupported([]<class To>(Type<To>) {
            if constexpr (std::is_same_v<From, To>)
                EXPECT_EQ(get<To>(From(), false), From());
            else
                EXPECT_THROW(get<To>(From(), false), detail::TypeNotMatch) << typeid(To).name();
        });
    });
    try {
        get<double>(3, false);
        FAIL();
    } catch (const detail::TypeNotMatch& mismatch) {
        EXPECT_STREQ(mismatch.what(), "The desired type does not match the current type.");
    }
    EXPECT_EQ(get<double>(3, true), 3.0);
}

template <class Text, class Number>
void expectUnconvertible(const Text& text, const Number& number) {
    EXPECT_THROW(get<Number>(text, true), VARNEK::settings::core::UnconvertibleType) << typeid(Number).name();
    EXPECT_THROW(get<Text>(number, true), VARNEK::settings::core::UnconvertibleType) << typeid(Number).name();
}

TEST(BoostAnyConversion, TextAndNumberDoNotConvert) {
    const std::u16string text = u"7";
    forEachNumber([&]<class T>(Type<T>) {
        expectUnconvertible(text, T(1));
        expectUnconvertible(text, std::vector<T>{T(1)});
        expectUnconvertible(std::vector<std::u16string>{text}, T(1));
        expectUnconvertible(std::vector<std::u16string>{}, std::vector<T>{});
    });
    try {
        get<std::vector<std::int64_t>>(text, true);
        FAIL();
    } catch (const VARNEK::settings::core::UnconvertibleType& error) {
        EXPECT_EQ(error.arguments(), (std::vector<std::string>{"char", "int64 vector"}));
    }
}

template <class Element, class Scalar>
void expectOneElementRule() {
    for (const std::size_t length : {0U, 2U, 3U}) {
        try {
            get<Scalar>(std::vector<Element>(length), true);
            ADD_FAILURE() << length << " elements of " << typeid(Element).name();
        } catch (const detail::EmptyVectorCastToScalar& error) {
            EXPECT_STREQ(error.what(), "empty vector cannot be used to initialize a scalar.");
        }
    }
}

TEST(BoostAnyConversion, OneElementRuleWithItsMisleadingText) {
    forEachNumber([]<class T>(Type<T>) {
        expectOneElementRule<T, T>();
        expectOneElementRule<T, double>();
        expectOneElementRule<double, T>();
    });
    expectOneElementRule<std::u16string, std::u16string>();
    EXPECT_EQ(get<std::u16string>(std::vector<std::u16string>{u"one"}, true), u"one");
    EXPECT_EQ(get<std::vector<std::u16string>>(std::u16string(u"one"), true),
              std::vector<std::u16string>{u"one"});
}

TEST(BoostAnyConversion, VectorsConvertElementByElementOrNotAtAll) {
    EXPECT_EQ((get<std::vector<short>>(std::vector<double>{1.9, -1.9, 0}, true)),
              (std::vector<short>{1, -1, 0}));
    EXPECT_EQ((get<std::vector<bool>>(std::vector<int>{1, 0, 1}, true)),
              (std::vector<bool>{true, false, true}));
    EXPECT_EQ((get<std::vector<float>>(std::vector<bool>{true, false}, true)), (std::vector<float>{1, 0}));
    EXPECT_EQ(get<std::vector<double>>(std::vector<bool>{}, true), std::vector<double>{});
    EXPECT_THROW(get<std::vector<unsigned char>>(std::vector<int>{1, 300}, true),
                 boost::numeric::positive_overflow);
    EXPECT_THROW(get<std::vector<unsigned char>>(std::vector<int>{1, -1}, true),
                 boost::numeric::negative_overflow);
}

TEST(BoostAnyConversion, UnsupportedAndEmptyHolders) {
    const boost::any unsupported[] = {std::string("narrow"),     7LL, 'c', L'w', u'u',
                                      std::vector<std::string>{}};
    for (const boost::any& held : unsupported) {
        EXPECT_FALSE(isSupported(held)) << held.type().name();
        for (const bool convert : {false, true}) {
            try {
                get<double>(held, convert);
                ADD_FAILURE() << held.type().name();
            } catch (const UnsupportedAnyType& error) {
                EXPECT_EQ(error.heldType(), held.type());
                EXPECT_STREQ(error.what(), "The type contained within the boost::any is not listed in "
                                           "settingscore::boostany::SupportedTypes.");
            }
        }
        EXPECT_THROW(convertAnyToVariant(held), UnsupportedAnyType);
        EXPECT_THROW(isEqual(held, 1), UnsupportedAnyType);
        EXPECT_TRUE(isEqual(held, held));
    }
    for (const bool convert : {false, true})
        EXPECT_THROW(get<double>(boost::any(), convert), boost::bad_any_cast);
    EXPECT_TRUE(isSupported(boost::any()));
    EXPECT_EQ(convertAnyToVariant(boost::any()).which(), 0);
    EXPECT_TRUE(convertVariantToAny(SupportedTypes()).empty());
}

// Files and other processes know types by their positions.
TEST(BoostAnyConversion, PositionsOfTheAlternatives) {
    const std::pair<int, SupportedTypes> table[] = {
        {0, boost::blank()},
        {1, std::u16string()},
        {2, bool()},
        {3, static_cast<signed char>(0)},
        {4, static_cast<unsigned char>(0)},
        {5, short()},
        {6, static_cast<unsigned short>(0)},
        {7, int()},
        {8, 0U},
        {9, std::int64_t()},
        {10, std::uint64_t()},
        {11, float()},
        {12, double()},
        {13, std::vector<std::u16string>()},
        {14, std::vector<bool>()},
        {15, std::vector<signed char>()},
        {16, std::vector<unsigned char>()},
        {17, std::vector<short>()},
        {18, std::vector<unsigned short>()},
        {19, std::vector<int>()},
        {20, std::vector<unsigned int>()},
        {21, std::vector<std::int64_t>()},
        {22, std::vector<std::uint64_t>()},
        {23, std::vector<float>()},
        {24, std::vector<double>()},
    };
    for (const auto& [position, value] : table) {
        EXPECT_EQ(value.which(), position);
        EXPECT_EQ(convertAnyToVariant(convertVariantToAny(value)).which(), position);
    }
    EXPECT_EQ(std::size(table), 25u);
}

TEST(BoostAnyConversion, EqualityIsExact) {
    const boost::any nan = std::nan("");
    EXPECT_TRUE(isEqual(nan, nan));
    EXPECT_FALSE(isEqual(nan, boost::any(nan)));
    EXPECT_TRUE(isEqual(boost::any(), boost::any()));
    EXPECT_FALSE(isEqual(boost::any(), false));
    EXPECT_FALSE(isEqual(1, 1.0));
    EXPECT_FALSE(isEqual(1, std::vector<int>{1}));
    EXPECT_FALSE(isEqual(0.1 + 0.2, 0.3));
    EXPECT_TRUE(isEqual(std::vector<bool>{true, false}, std::vector<bool>{true, false}));
}

TEST(BoostAnyConversion, NumberTextForMessages) {
    const std::pair<boost::any, const char*> table[] = {
        {static_cast<signed char>(-128), "-128"},
        {static_cast<unsigned char>(65), "65"},
        {std::uint64_t{18446744073709551615U}, "18446744073709551615"},
        {0.1, "0.1"},
        {0.1F, "0.1"},
        {true, "1"}};
    for (const auto& [value, text] : table)
        EXPECT_EQ(numberText(value), text);
    for (const boost::any& value :
         {boost::any(std::u16string(u"1")), boost::any(std::vector<int>{1}), boost::any()}) {
        try {
            numberText(value);
            ADD_FAILURE();
        } catch (const std::bad_cast& error) {
            EXPECT_STREQ(error.what(),
                         "bad lexical cast: source type value could not be interpreted as target");
        }
    }
}

} // namespace
