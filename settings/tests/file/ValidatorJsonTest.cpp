#include "settingscore/settings/file/ValidatorJson.hpp"
#include "json/Parser.hpp"
#include "json/Writer.hpp"

#include <boost/optional/optional_io.hpp>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace {

using namespace settings::core;
using detail::readValidators;
using detail::reportContradictions;
using detail::writeValidators;
using Validator = SettingValueValidator::ConfigData;
using Validators = std::vector<Validator>;

/// What reading the text reports, one fault per line as "path: rule".
std::string faultsOf(const std::string& text) {
    std::string faults;
    const auto json = varnek::json::parse(text);
    const detail::FaultSink note = [&](const std::string& path, const std::string& rule) {
        faults += path + ": " + rule + "\n";
    };
    const Validators validators = readValidators(json, "$.v", note);
    if (faults.empty())
        reportContradictions(validators, "$.v", json.isArray(), note);
    return faults;
}

Validators read(const std::string& text) {
    Validators validators =
        readValidators(varnek::json::parse(text), "$", [&](const std::string& path, const std::string& rule) {
            ADD_FAILURE() << text << path << rule;
        });
    return validators;
}

TEST(ValidatorJson, ReadsKindsShapesAndBounds) {
    NumericMetaData<MustBeScalar> size;
    size.mustBeInteger();
    size.setMinValue(6);
    size.setMaxValue(72);
    EXPECT_TRUE(read(R"({"MustBeNumeric": true, "MustBeInteger": true, "isVector": false, "MinValue": 6,
                       "MaxValue": {"qfdata": 72, "qftype": "int32"}})") == Validators{size});

    NumericMetaData<MustBeVector> point;
    point.setMinNumberOfElements(3);
    point.setMaxNumberOfElements(3);
    point.setMaxValue(std::numeric_limits<double>::infinity());
    StringMetaData<AnyShape> choice;
    choice.mustBeMember({u"on", u"\u5149 \U0001F600"});
    choice.setStoreAsCharVector(true);
    StringMetaData<MustBeVector> names;
    names.setMinStringSize(0);
    names.setMaxStringSize(std::numeric_limits<std::uint64_t>::max());
    EXPECT_TRUE(read(R"([{"isVector": true, "MinVectorSize": 3.0, "MaxVectorSize": 3,
                        "MaxValue": {"qfdata": "Inf", "qftype": "double"}},
                       {"ValidStringValues": ["on", "\u5149 \ud83d\ude00"], "StoreAsCharVector": true},
                       {"MustBeString": true, "isVector": true, "MinStringSize": 0,
                        "MaxStringSize": 18446744073709551615},
                       {"MustBeLogical": true, "MustBeNumeric": false}])") ==
                (Validators{point, choice, names, MustBeLogical<AnyShape>()}));
    EXPECT_TRUE(read("[]").empty());
}

TEST(ValidatorJson, ReportsEveryFaultWithItsPlace) {
    const struct {
        const char* json;
        const char* faults;
    } table[] = {
        {"5", "$.v: must be a validator object\n"},
        {R"([{"MustBeLogical": true}, null])", "$.v[1]: must be a validator object\n"},
        {"{}", "$.v: must say whether numbers, texts or logical values are accepted\n"},
        {R"({"MustBeNumeric": false})",
         "$.v: must say whether numbers, texts or logical values are accepted\n"},
        {R"({"MustBeNumeric": true, "MustBeString": true})",
         "$.v: asks for more than one of numbers, texts and logical values\n"},
        {R"({"MinValue": 1, "ValidStringValues": ["a"]})",
         "$.v: asks for more than one of numbers, texts and logical values\n"},
        {R"({"MustBeLogical": true, "MaxValue": 1})",
         "$.v: asks for more than one of numbers, texts and logical values\n"},
        {R"({"MustBeInteger": "yes", "odd one": 1, "isVector": 0})",
         "$.v[\"odd one\"]: is not a member of a validator\n$.v.MustBeInteger: must be true or false\n"
         "$.v.isVector: must be true or false\n"},
        {R"([{"MinValue": 9, "MaxValue": 8}])", "$.v[0].MinValue: is greater than \"MaxValue\"\n"},
        {R"({"MinValue": "6"})", "$.v.MinValue: must be a number\n"},
        {R"({"MinValue": [6]})", "$.v.MinValue: must be a number\n"},
        {R"({"MinValue": {"qfdata": "six", "qftype": "char"}})", "$.v.MinValue: must be a number\n"},
        {R"({"MinValue": {"qfdata": [1, 2], "qftype": "double"}})", "$.v.MinValue: must be a number\n"},
        {R"({"MaxValue": 9007199254740993})", "$.v.MaxValue: must be a number that a double holds exactly\n"},
        {R"({"MaxValue": {"qfdata": "NaN", "qftype": "double"}})",
         "$.v.MaxValue: is NaN, which no value satisfies\n"},
        {R"({"MustBeNumeric": true, "MaxVectorSize": 3})",
         "$.v.MaxVectorSize: needs \"isVector\" to be true\n"},
        {R"({"MustBeNumeric": true, "isVector": false, "MinVectorSize": 1})",
         "$.v.MinVectorSize: needs \"isVector\" to be true\n"},
        {R"({"MustBeLogical": true, "isVector": true, "MinVectorSize": 4, "MaxVectorSize": 3})",
         "$.v.MinVectorSize: is greater than \"MaxVectorSize\"\n"},
        {R"({"MinStringSize": 4, "MaxStringSize": 3})",
         "$.v.MinStringSize: is greater than \"MaxStringSize\"\n"},
        {R"({"MinStringSize": 4, "MaxStringSize": 0})", ""}, // 0 is no bound
        {R"({"MaxStringSize": -1})", "$.v.MaxStringSize: must be a whole number, not negative\n"},
        {R"({"MaxStringSize": 1.5})", "$.v.MaxStringSize: must be a whole number, not negative\n"},
        {R"({"ValidStringValues": "a"})", "$.v.ValidStringValues: must be an array of strings\n"},
        {R"({"ValidStringValues": ["a", 1]})", "$.v.ValidStringValues[1]: must be a string\n"},
    };
    for (const auto& row : table)
        EXPECT_EQ(faultsOf(row.json), row.faults) << row.json;
}

// ---- the written form reads back

template <class T>
rc::Gen<boost::optional<T>> optionalOf(rc::Gen<T> gen) {
    return rc::gen::map(rc::gen::maybe(std::move(gen)), [](const rc::Maybe<T>& value) {
        return value ? boost::optional<T>(*value) : boost::none;
    });
}
boost::optional<std::uint64_t> someSize() {
    return *optionalOf(rc::gen::arbitrary<std::uint64_t>());
}

template <class Data>
void setShape(Data& data) {
    if constexpr (std::is_base_of_v<MustBeVector, Data>) {
        if (const auto min = someSize())
            data.setMinNumberOfElements(*min);
        if (const auto max = someSize())
            data.setMaxNumberOfElements(*max);
    }
}

template <class Shape>
Validator validatorOver(int kind) {
    if (kind == 0) {
        NumericMetaData<Shape> data;
        setShape(data);
        if (*rc::gen::arbitrary<bool>())
            data.mustBeInteger();
        if (const auto min = *optionalOf(rc::gen::arbitrary<double>()))
            data.setMinValue(*min);
        if (const auto max = *optionalOf(rc::gen::element(-0.0, 1e300, 5e-324, HUGE_VAL, -HUGE_VAL)))
            data.setMaxValue(*max);
        return data;
    }
    if (kind == 1) {
        StringMetaData<Shape> data;
        setShape(data);
        data.mustBeMember(*rc::gen::arbitrary<std::vector<std::u16string>>()); // lone surrogates included
        if (const auto min = someSize())
            data.setMinStringSize(*min);
        if (const auto max = someSize())
            data.setMaxStringSize(*max);
        data.setStoreAsCharVector(*rc::gen::arbitrary<bool>());
        return data;
    }
    MustBeLogical<Shape> data;
    setShape(data);
    return data;
}

RC_GTEST_PROP(ValidatorJson, TheWrittenFormReadsBackEqual, ()) {
    Validators validators;
    for (int count = *rc::gen::inRange(0, 4); count > 0; --count) {
        const int kind = *rc::gen::inRange(0, 3);
        const int shape = *rc::gen::inRange(0, 3);
        validators.push_back(shape == 0   ? validatorOver<MustBeScalar>(kind)
                             : shape == 1 ? validatorOver<MustBeVector>(kind)
                                          : validatorOver<AnyShape>(kind));
    }
    const std::string text = varnek::json::write(writeValidators(validators));
    std::string faults;
    const Validators again =
        readValidators(varnek::json::parse(text), "$", [&](const std::string& path, const std::string& rule) {
            faults += path + ": " + rule + "\n";
        });
    RC_ASSERT(faults == "");
    const bool equal = again == validators; // a variant cannot be printed
    RC_ASSERT(equal);
}

} // namespace
