// Definition data: what a factory definition keeps, and its validators in words.

#include "settingscore/validation/FactorySettingProperties.hpp"
#include "settingscore/validation/InWords.hpp"

#include <boost/variant/get.hpp>

#include <gtest/gtest.h>

#include <limits>

namespace {

using namespace settings::core;
using detail::FactorySettingProperties;
using ConfigData = SettingValueValidator::ConfigData;
using varnek::data::Array;

template <class Config, class... Setters>
ConfigData made(Setters... setters) {
    Config config;
    (setters(config), ...);
    return config;
}

TEST(ValidationDefinition, InWords) {
    using Integer = NumericMetaData<MustBeScalar>;
    using Numbers = NumericMetaData<MustBeVector>;
    using Texts = StringMetaData<MustBeVector>;
    using Text = StringMetaData<MustBeScalar>;
    const auto infinity = std::numeric_limits<double>::infinity();
    const std::pair<ConfigData, const char*> table[] = {
        {made<Integer>(), "numeric scalar"},
        {made<Integer>([](auto& c) { c.mustBeInteger(), c.setMinValue(6), c.setMaxValue(72); }),
         "numeric scalar, integer, from 6 to 72"},
        {made<Integer>([](auto& c) { c.setMinValue(0.1); }), "numeric scalar, at least 0.1"},
        {made<Integer>([&](auto& c) { c.setMinValue(-infinity), c.setMaxValue(-1e100); }),
         "numeric scalar, at most -1e+100"},
        {made<Numbers>([](auto& c) { c.setMinNumberOfElements(2), c.setMaxNumberOfElements(5); }),
         "numeric vector, 2 to 5 elements"},
        {made<Numbers>([](auto& c) { c.setMinNumberOfElements(1), c.setMaxNumberOfElements(1); }),
         "numeric vector, exactly 1 element"},
        {made<Numbers>([](auto& c) { c.setMinNumberOfElements(1), c.setMaxNumberOfElements(0); }),
         "numeric vector, at least 1 element"},
        {made<Numbers>([](auto& c) { c.setMaxNumberOfElements(3); }), "numeric vector, at most 3 elements"},
        {made<NumericMetaData<AnyShape>>(), "numeric of any shape"},
        {made<Text>([](auto& c) {
             c.mustBeMember({u"on", u"\"o\\\nff\"", u"\u00FC\U0001F600", u"\xD800x"});
         }),
         "text scalar, one of \"on\", \"\\\"o\\\\\\u000Aff\\\"\", \"\xC3\xBC\xF0\x9F\x98\x80\", "
         "\"\\uD800x\""},
        {made<Texts>([](auto& c) {
             c.setMaxNumberOfElements(2), c.setMinStringSize(1), c.setStoreAsCharVector(true);
         }),
         "text vector, at most 2 elements, at least 1 character, stored as character vector"},
        {made<StringMetaData<AnyShape>>([](auto& c) { c.setMinStringSize(0); }), "text of any shape"},
        {made<MustBeLogical<MustBeScalar>>(), "logical scalar"},
        {made<MustBeLogical<AnyShape>>(), "logical of any shape"},
    };
    for (const auto& [config, words] : table)
        EXPECT_EQ(inWords(config), words);
    // Every row says something else, and so do their values.
    for (const auto& a : table)
        for (const auto& b : table)
            EXPECT_EQ(a.first == b.first, &a == &b) << a.second << " / " << b.second;
}

template <class A, class B>
constexpr bool areComparable = requires(const A& a, const B& b) {
    a == b;
};
static_assert(areComparable<MValidator, MValidator> && areComparable<CRunTimeDefault, CRunTimeDefault>);
static_assert(!areComparable<MValidator, JValidator> && !areComparable<MValidator, CPPValidator> &&
              !areComparable<MValidator, MRunTimeDefault> &&
              !areComparable<CRunTimeDefault, MRunTimeDefault> &&
              !areComparable<detail::FunctionName, MValidator>);

TEST(ValidationDefinition, VariantsKeepTheirOrder) {
    const ValidatorVariant validators[] = {{},
                                           MValidator("p", "f"),
                                           CValidator::fromDefinition("p", "f"),
                                           JValidator("p", "f"),
                                           CPPValidator({}, "p", "f")};
    for (int which = 0; which < 5; ++which)
        EXPECT_EQ(validators[which].which(), which);
    const RunTimeDefaultVariant defaults[] = {
        {}, CRunTimeDefault::fromDefinition("p", "f"), MRunTimeDefault("p", "f"), JRunTimeDefault("p", "f")};
    for (int which = 0; which < 4; ++which)
        EXPECT_EQ(defaults[which].which(), which);
    EXPECT_FALSE(validators[1] == validators[2]);
    EXPECT_FALSE(validators[1] == ValidatorVariant(MValidator("p", "g")));
    EXPECT_FALSE(validators[1] == ValidatorVariant(MValidator("q", "f")));
    EXPECT_TRUE(validators[1] == ValidatorVariant(MValidator("p", "f")));
    EXPECT_EQ(CPPValidator({}, "p", "f"), CPPValidator([](const auto&...) {}, "p", "f"));
    EXPECT_FALSE(CRunTimeDefault::fromDefinition("p", "f") == CRunTimeDefault::fromDefinition("p", "g"));
}

TEST(ValidationDefinition, FactorySettingPropertiesKeepWhatTheyAreMadeFrom) {
    const Array value = Array::scalar(3.0);
    const std::vector<ConfigData> checks = {made<NumericMetaData<AnyShape>>()};
    FactorySettingProperties properties(false, true, value, MValidator("pkg", "check"),
                                        CRunTimeDefault("lib", "compute", [] { return Array::scalar(7.0); }),
                                        true, false, checks);
    EXPECT_EQ(properties.getAliasName(), "");
    properties.setAliasName("editor.size");
    std::string refused;
    properties.setErrorHandler([&](const std::string& name, const Array&) { refused = name; });

    const FactorySettingProperties copy = properties;
    const FactorySettingProperties moved = std::move(properties);
    for (const FactorySettingProperties* kept : {&copy, &moved}) {
        EXPECT_FALSE(kept->getVisible());
        EXPECT_TRUE(kept->isReadOnly());
        EXPECT_EQ(kept->readOnlyState(), ReadOnlyState::readOnly);
        EXPECT_EQ(kept->getFactoryValue(), value);
        EXPECT_EQ(boost::get<MValidator>(kept->getValidator()).getPackageName(), "pkg");
        EXPECT_EQ(boost::get<MValidator>(kept->getValidator()).getFunctionName(), "check");
        EXPECT_EQ(boost::get<CRunTimeDefault>(kept->getFactoryValueFcn()).getFcn()(), Array::scalar(7.0));
        EXPECT_TRUE(kept->getHasAdditionalFile());
        EXPECT_FALSE(kept->getIsToolboxGroup());
        EXPECT_TRUE(kept->getMultiCheckValueValidators() == checks);
        EXPECT_EQ(kept->getAliasName(), "editor.size");
        EXPECT_EQ(kept->getRoot(), nullptr);
        refused.clear();
        kept->getErrorHandler()("editor.alias", value);
        EXPECT_EQ(refused, "editor.alias");
    }
}

TEST(ValidationDefinition, ReadOnlyFalseIsInheritedUnlessSaidOtherwise) {
    FactorySettingProperties properties(true, false, {}, {}, {}, false, true, {});
    EXPECT_FALSE(properties.isReadOnly());
    EXPECT_EQ(properties.readOnlyState(), ReadOnlyState::inherited);
    EXPECT_TRUE(properties.getIsToolboxGroup());
    properties.setReadOnlyState(ReadOnlyState::writable);
    EXPECT_FALSE(properties.isReadOnly());
    EXPECT_EQ(properties.readOnlyState(), ReadOnlyState::writable);
}

} // namespace
