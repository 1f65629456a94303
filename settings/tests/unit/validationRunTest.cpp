// The validation run: validators as alternatives, its log lines, and the error handler.

#include "support/LogLines.hpp"
#include "support/ValidationHandles.hpp"

#include "settingscore/exception/ValidationFailures.hpp"
#include "settingscore/validation/ValidationRun.hpp"

#include <boost/thread/exceptions.hpp>
#include <gtest/gtest.h>

#include <pthread.h>

#include <stdexcept>
#include <thread>

namespace {

using namespace settings::core;
using settings::core::detail::runValidators;
using settings::test::LogLines;
using varnek::data::Array;
using Lines = std::vector<std::string>;

constexpr const char* channel = "settings::core::settingValueValidators";

struct ValidationRun : testing::Test, settings::test::ValidationHandles {
    ValidationRun() {
        NumericMetaData<MustBeScalar> integerConfig;
        integerConfig.mustBeInteger();
        integer = SettingValueValidator(SettingValueValidator::ConfigData(integerConfig));
        handler = [this](const std::string& name, const Array& refused) {
            handled.push_back(name + " " + std::to_string(refused.numberOfElements()));
        };
    }

    void run(const std::vector<SettingValueValidator>& validators) {
        runValidators(validators, handler, setting, parent, fullName, value);
    }

    SettingValueValidator text{StringMetaData<MustBeScalar>()};
    SettingValueValidator number{NumericMetaData<MustBeScalar>()};
    SettingValueValidator integer = number;
    detail::FactorySettingProperties::ErrorHandler handler;
    Lines handled;
    int namesAskedFor = 0;
    std::function<std::string()> fullName = [this] {
        ++namesAskedFor;
        return std::string("editor.font.size");
    };
    Array value = Array::scalar(3.0);
};

TEST_F(ValidationRun, WithoutValidatorsEverythingIsAccepted) {
    const LogLines log(channel);
    run({});
    EXPECT_EQ(value, Array::scalar(3.0));
    EXPECT_EQ(log.lines, Lines());
    EXPECT_EQ(namesAskedFor, 0);
}

TEST_F(ValidationRun, TheFirstThatAcceptsWinsAndConverts) {
    const LogLines log(channel);
    run({text, integer, number});
    EXPECT_EQ(value, Array::scalar(std::int64_t{3}));
    EXPECT_EQ(handled, Lines());
    EXPECT_EQ(log.lines,
              (Lines{"Validate setting: editor.font.size with 3 validators.",
                     "editor.font.size errored with The value must be string or convertible to string.: 2 "
                     "validators remaining.",
                     "editor.font.size break out of validators with 1 validators remaining."}));
    EXPECT_EQ(namesAskedFor, 1);
}

TEST_F(ValidationRun, WithoutLogAndHandlerNobodyAsksForTheName) {
    handler.clear();
    run({text, number});
    value = Array::scalar(true);
    EXPECT_THROW(run({number}), exception::ValueMustBeNumeric);
    EXPECT_EQ(namesAskedFor, 0);
}

TEST_F(ValidationRun, WhenAllRefuseTheHandlerIsToldAndTheLastRefusalIsRaised) {
    const LogLines log(channel);
    const Array before = value = Array::row<double>({1, 2});
    try {
        run({number, text, integer});
        FAIL();
    } catch (const exception::ValueMustBeScalar& refusal) {
        EXPECT_EQ(refusal.getCausingObject(), setting);
        EXPECT_EQ(refusal.getCausingObjectParent(), parent);
    }
    EXPECT_EQ(value, before);
    EXPECT_EQ(handled, Lines{"editor.font.size 2"});
    const std::string errored = "editor.font.size errored with The value must be scalar.: ";
    EXPECT_EQ(
        log.lines,
        (Lines{"Validate setting: editor.font.size with 3 validators.", errored + "2 validators remaining.",
               errored + "1 validators remaining.", errored + "0 validators remaining.",
               "Validate setting: editor.font.size- no more validators.",
               "editor.font.size error codes: 7 7 7", "editor.font.size call user-defined error handler."}));
    EXPECT_EQ(namesAskedFor, 1);
}

TEST_F(ValidationRun, TheLastRefusalIsRaisedWhicheverCameBefore) {
    value = Array::scalar(2.5);
    EXPECT_THROW(run({text, integer}), exception::ValueMustBeInteger);
    EXPECT_THROW(run({integer, text}), exception::ValueMustBeString);
    // A converter that refuses counts like a check.
    value = Array::scalar(1e300);
    run({integer, number});
    EXPECT_EQ(value, Array::scalar(1e300));
}

TEST_F(ValidationRun, AHandlerCannotChangeTheOutcome) {
    const LogLines log(channel);
    value = Array::scalar(true);
    const std::pair<std::function<void()>, const char*> handlers[] = {
        {[] { throw std::runtime_error("out of order"); },
         "editor.font.size error handler throw: out of order"},
        {[this] { throw exception::ValueMustBeInteger(setting, parent); },
         "editor.font.size error handler throw: The value must be integer."},
        {[] { throw 7; }, "editor.font.size error handler throw: Unknown Exception"}};
    for (const auto& [thrower, line] : handlers) {
        handler = [action = thrower](const std::string&, const Array&) { action(); };
        EXPECT_THROW(run({number}), exception::ValueMustBeNumeric);
        EXPECT_EQ(log.lines.back(), line);
    }
    bool wentOn = false;
    handler = [](const std::string&, const Array&) { ::pthread_exit(nullptr); };
    std::thread ending([&] {
        run({number});
        wentOn = true;
    });
    ending.join();
    EXPECT_FALSE(wentOn);
}

TEST_F(ValidationRun, AnInterruptedThreadIsNotHeldUpByItsHandler) {
    value = Array::scalar(true);
    handler = [](const std::string&, const Array&) { throw boost::thread_interrupted(); };
    EXPECT_THROW(run({number}), boost::thread_interrupted);
}

TEST_F(ValidationRun, OtherFailuresPassAtOnce) {
    const SettingValueValidator failing(
        {[](const auto&, const auto&, const Array&) { throw std::runtime_error("no licence"); }});
    EXPECT_THROW(run({text, failing, number}), std::runtime_error);
    EXPECT_EQ(handled, Lines());
    EXPECT_EQ(value, Array::scalar(3.0));
}

} // namespace
