// Run-time defaults: what they give, how their failures look, and what a second definition may add.

#include "support/EngineThread.hpp"
#include "support/LogLines.hpp"
#include "support/ValidationHandles.hpp"

#include "settingscore/boostany/SupportedTypes.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/validation/FunctionValidators.hpp"
#include "settingscore/validation/RunTimeDefaultCall.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using namespace settings::core;
using settings::test::EngineThread;
using varnek::data::Array;
using Value = std::pair<Array, bool>;

std::u16string catalogueText(const char* key) {
    const std::string text = varnek::catalogue::Catalogue::current()->text("VARNEK:settings:core", key);
    return {text.begin(), text.end()};
}

struct RunTimeDefaults : testing::Test {
    ~RunTimeDefaults() override {
        MRunTimeDefault::setMRunTimeProxyFname({});
        JRunTimeDefault::setJRuntimeDefaultProxy({});
    }
    static CRunTimeDefault giving(Array result) {
        return {"lib", "compute", [result] { return result; }};
    }
    MRunTimeDefault mine{"my.package", "compute"};
    JRunTimeDefault java{"org.example.Defaults", "compute"};
};

TEST_F(RunTimeDefaults, TheFlagFollowsTheShape) {
    const std::pair<Array, bool> table[] = {
        {Array::scalar(1.0), false},
        {Array::row<double>({1, 2}), true},
        {Array::make<double>({0, 0}, {}), true},
        {Array::text(u"abc"), false},
        {Array::make<char16_t>({3, 1}, {u'a', u'b', u'c'}), false},
        {Array::make<char16_t>({2, 2}, std::vector<char16_t>(4, u'a')), true},
        {Array::scalar(std::u16string(u"abc")), false},
        {Array::row<std::u16string>({u"a", u"b"}), true},
        {Array::make<double>({1, 1, 2}, {1, 2}), true},
        {Array(), false},
    };
    for (const auto& [array, isVector] : table)
        EXPECT_EQ(detail::evaluate(giving(array)), Value(array, isVector)) << &array - &table[0].first;
    EXPECT_EQ(detail::evaluate({}), std::nullopt);
}

TEST_F(RunTimeDefaults, OfAPluginOrTheProcess) {
    EXPECT_EQ(boost::any_cast<double>(giving(Array::scalar(2.0))()), 2.0);
    EXPECT_EQ(boost::any_cast<std::u16string>(giving(Array::text(u"abc"))()), u"abc");
    EXPECT_EQ(boost::any_cast<std::vector<double>>(giving(Array::row<double>({1, 2}))()),
              (std::vector<double>{1, 2}));
    EXPECT_TRUE(giving(Array())().empty());
    const CRunTimeDefault structure = giving(Array::structure({1, 1}, {"f"}, {Array::scalar(1.0)}));
    for (const auto& evaluated : {std::function<void()>([&] { structure(); }),
                                  std::function<void()>([&] { detail::evaluate(structure); })})
        try {
            evaluated();
            ADD_FAILURE();
        } catch (const exception::RuntimeFuncErrorConvertingVxArrayToAny& failure) {
            EXPECT_EQ(failure.getPackageName(), "lib");
            EXPECT_EQ(failure.getFunctionName(), "compute");
            EXPECT_EQ(failure.getValueType(), std::type_index(typeid(Array)));
        }
    EXPECT_THROW(CRunTimeDefault("lib", "f", []() -> Array { throw 7; })(), int);
    int calls = 0;
    const CRunTimeDefault counting("lib", "f", [&] { return Array::scalar(double(++calls)); });
    detail::evaluate(counting);
    EXPECT_EQ(detail::evaluate(counting), Value(Array::scalar(2.0), false)); // nothing is kept
}

TEST_F(RunTimeDefaults, OfTheLanguage) {
    const auto cause = [this] {
        try {
            mine();
        } catch (const exception::RunTimeFuncInvokingError& failure) {
            EXPECT_EQ(failure.getPackageName(), "my.package");
            EXPECT_EQ(failure.getFunctionName(), "compute");
            return failure.getCause();
        }
        return std::u16string(u"invoked");
    };
    std::function<void()> failing = [] {};
    std::string called;
    MRunTimeDefault::setMRunTimeProxyFname(
        [&](const std::string& package, const std::string& function, Array& result) {
            called = package + " " + function;
            EXPECT_TRUE(result.isVoid());
            failing();
            result = Array::row<double>({1, 2});
        });
    const MRunTimeDefault::RuntimeProxy registered = MRunTimeDefault::getMRunTimeProxyFname();
    ASSERT_FALSE(registered.empty());
    Array direct;
    registered("p", "f", direct);
    EXPECT_EQ(called, "p f");
    EXPECT_EQ(direct, Array::row<double>({1, 2}));
    called.clear();
    EXPECT_EQ(cause(), catalogueText("ExecEngineNotReadyForProcessingMFunction"));
    EngineThread engine;
    EXPECT_EQ(cause(), catalogueText("VARNEKFuncMustBeInvokedByExecEngine"));
    EXPECT_EQ(called, "");
    engine.run([&] {
        EXPECT_EQ(detail::evaluate(mine), Value(Array::row<double>({1, 2}), true));
        EXPECT_EQ(called, "my.package compute");
        failing = [] { throw SettingsException("id", "no display", "key"); };
        EXPECT_EQ(cause(), u"no display");
        failing = [] { throw std::runtime_error("no display"); };
        EXPECT_EQ(cause(), u"Unknown");
        failing = [] { throw 7; };
        EXPECT_EQ(cause(), u"Unknown");
        MRunTimeDefault::setMRunTimeProxyFname({});
        EXPECT_TRUE(MRunTimeDefault::getMRunTimeProxyFname().empty());
        EXPECT_EQ(cause(), u"Unknown");
    });
}

TEST_F(RunTimeDefaults, OfJava) {
    EXPECT_THROW(java(), VARNEK::settings::core::JVMNotReadyForProcessingJavaFunction);
    boost::any result = std::vector<double>{5};
    JRunTimeDefault::setJRuntimeDefaultProxy([&](const std::string& package, const std::string& function) {
        EXPECT_EQ(package + " " + function, "org.example.Defaults compute");
        return result;
    });
    EXPECT_EQ(boost::any_cast<std::vector<double>>(java()), std::vector<double>{5});
    EXPECT_EQ(detail::evaluate(java), Value(Array::scalar(5.0), true)); // the flag of its type
    result = std::string("narrow");
    const settings::test::LogLines log("settings::core::settingValueValidators");
    EXPECT_THROW(detail::evaluate(java), settingscore::boostany::UnsupportedAnyType);
    EXPECT_EQ(log.lines,
              std::vector<std::string>{
                  "Run-time default throw. Reason: " +
                  std::string(settingscore::boostany::UnsupportedAnyType(typeid(std::string)).what()) +
                  " package=org.example.Defaults function=compute"});
    JRunTimeDefault::setJRuntimeDefaultProxy([](const auto&, const auto&) -> boost::any { throw 7; });
    EXPECT_THROW(java(), int);
}

TEST_F(RunTimeDefaults, JavaIsMadeReadyOnFirstUse) {
    JRunTimeDefault::setJRuntimeDefaultProxy({});
    int calls = 0;
    JValidator::setJValInitializer([&] {
        ++calls;
        return std::u16string(u"no machine");
    });
    EXPECT_THROW(java(), VARNEK::settings::core::JVMNotReadyForProcessingJavaFunction);
    EXPECT_EQ(1, calls);
    JValidator::setJValInitializer([&] {
        ++calls;
        JRunTimeDefault::setJRuntimeDefaultProxy([](const auto&, const auto&) -> boost::any { return 5.0; });
        return std::u16string();
    });
    EXPECT_EQ(5.0, boost::any_cast<double>(java()));
    EXPECT_EQ(5.0, boost::any_cast<double>(java()));
    EXPECT_EQ(2, calls);
    JValidator::clearFunctions();
    JRunTimeDefault::setJRuntimeDefaultProxy({});
}

TEST_F(RunTimeDefaults, ASettingHasAtMostOne) {
    const RunTimeDefaultVariant none, first = mine, second = java;
    const auto setting = settings::test::opaqueHandle();
    EXPECT_TRUE(detail::mergeRunTimeDefault(none, none, setting) == none);
    EXPECT_TRUE(detail::mergeRunTimeDefault(none, second, setting) == second);
    EXPECT_TRUE(detail::mergeRunTimeDefault(first, none, setting) == first);
    for (const RunTimeDefaultVariant& incoming : {first, second})
        try {
            detail::mergeRunTimeDefault(first, incoming, setting);
            ADD_FAILURE();
        } catch (const exception::MultipleRuntimeFuncError& failure) {
            EXPECT_EQ(failure.getCausingObject(), setting);
        }
}

} // namespace
