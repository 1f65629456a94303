// Validation functions of the languages and of this process, through the functions that front ends register.

#include "support/EngineThread.hpp"
#include "support/LogLines.hpp"
#include "support/ValidationHandles.hpp"

#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/validation/FunctionValidatorCall.hpp"
#include "settingscore/validation/FunctionValidators.hpp"
#include "settingscore/validation/RunTimeDefaults.hpp"
#include "settingscore/validation/VARNEKFunctionInvoker.hpp"

#include <boost/any.hpp>

#include <gtest/gtest.h>

#include <pthread.h>

#include <atomic>
#include <future>
#include <latch>
#include <stdexcept>

namespace {

using namespace settings::core;
using settings::test::EngineThread;
using settings::test::LogLines;
using varnek::data::Array;
using Lines = std::vector<std::string>;
using SettingHandle = boost::shared_ptr<const Settings>;
using Value = std::pair<Array, bool>;

constexpr const char* channel = "settings::core::settingValueValidators";

std::u16string catalogueText(const char* key) {
    const std::string text = varnek::catalogue::Catalogue::current()->text("VARNEK:settings:core", key);
    return {text.begin(), text.end()};
}

struct ValidationFunctions : testing::Test, settings::test::ValidationHandles {
    ~ValidationFunctions() override {
        MValidator::setVARNEKValFuncInvokingProxyName({});
        VARNEKFunctionInvoker::setLoadConfigProxy({});
        JValidator::clearFunctions();
    }

    void invoke(const MValidator& validator) {
        validator.invokeValidationFunction(setting, parent, value, "size");
    }
    /// The cause of the failure to invoke it.
    std::u16string causeOf(const MValidator& validator) {
        try {
            invoke(validator);
        } catch (const exception::ValidationFunctionInvokingError& failure) {
            EXPECT_EQ(failure.getPackageName(), validator.getPackageName());
            EXPECT_EQ(failure.getFunctionName(), validator.getFunctionName());
            return failure.getCause();
        }
        return u"invoked";
    }

    Value value{Array::scalar(3.0), true};
    MValidator mine{"my.package", "check"};
    JValidator java{"org.example.Checks", "check"};
};

TEST_F(ValidationFunctions, FourNeedNoLanguage) {
    const struct {
        const char* function;
        Array value, stored; // void: refused
    } table[] = {
        {"mustBeIntegerScalar", Array::scalar(3.0), Array::scalar(std::int64_t{3})},
        {"mustBeIntegerScalar", Array::scalar(3.5), {}},
        {"mustBeNumericScalar", Array::scalar(3.5), Array::scalar(3.5)},
        {"mustBeNumericScalar", Array::row<double>({1, 2}), {}},
        {"mustBeLogicalScalar", Array::scalar(1.0), Array::scalar(true)},
        {"mustBeLogicalScalar", Array::scalar(2.0), {}},
        {"mustBeStringScalar", Array::text(u"text"), Array::text(u"text")},
        {"mustBeStringScalar", Array::scalar(1.0), {}},
    };
    for (const auto& row : table) {
        value = {row.value, true};
        const MValidator builtIn("varnek.settings", row.function);
        if (row.stored.isVoid()) {
            EXPECT_THROW(invoke(builtIn), exception::ValidationException) << row.function;
            EXPECT_EQ(value, Value(row.value, true));
        } else {
            invoke(builtIn);
            EXPECT_EQ(value, Value(row.stored, true)) << row.function;
        }
    }
    for (const MValidator& other :
         {MValidator("varnek.settings", "mustBeScalar"), MValidator("my.settings", "mustBeIntegerScalar")})
        EXPECT_EQ(causeOf(other), catalogueText("ExecEngineNotReadyForProcessingMFunction"));
}

/// The engine may be at work for long; who needs nothing of it, or cannot have it, does not wait.
TEST_F(ValidationFunctions, NobodyElseWaitsForAFunctionOfTheLanguage) {
    std::promise<void> inside, leave;
    MValidator::setVARNEKValFuncInvokingProxyName([&](auto&&...) {
        inside.set_value();
        leave.get_future().wait();
    });
    const auto outcomeOf = [this](const MValidator& validator) -> std::u16string {
        Value own(Array::scalar(3.0), true);
        try {
            validator.invokeValidationFunction(setting, parent, own, "size");
        } catch (const exception::ValidationFunctionInvokingError& failure) {
            return failure.getCause();
        }
        return u"invoked";
    };
    EngineThread engine;
    std::thread running([&] { engine.run([&] { outcomeOf(mine); }); });
    inside.get_future().wait();
    std::vector<std::pair<std::string, std::future<std::u16string>>> calls;
    for (const MValidator& validator : {mine, MValidator("varnek.settings", "noSuchFunction"),
                                        MValidator("varnek.settings", "mustBeIntegerScalar")})
        calls.emplace_back(validator.getFunctionName(),
                           std::async(std::launch::async, [&, validator] { return outcomeOf(validator); }));
    for (auto& [function, call] : calls)
        EXPECT_EQ(std::future_status::ready, call.wait_for(std::chrono::seconds(20))) << function;
    leave.set_value();
    running.join();
    EXPECT_EQ(calls[0].second.get(), catalogueText("VARNEKFuncMustBeInvokedByExecEngine"));
    EXPECT_EQ(calls[1].second.get(), catalogueText("VARNEKFuncMustBeInvokedByExecEngine"));
    EXPECT_EQ(calls[2].second.get(), u"invoked");
}

TEST_F(ValidationFunctions, ACallNeedsTheEngineAndItsThread) {
    std::atomic<int> calls = 0;
    MValidator::setVARNEKValFuncInvokingProxyName([&](auto&&...) { ++calls; });
    VARNEKFunctionInvoker::setLoadConfigProxy([&] { ++calls; });
    EXPECT_THROW(mine.checkConditions(), VARNEK::settings::core::ExecEngineNotReadyForProcessingMFunction);
    EXPECT_EQ(causeOf(mine), catalogueText("ExecEngineNotReadyForProcessingMFunction"));
    EngineThread engine;
    EXPECT_THROW(mine.checkConditions(), VARNEK::settings::core::VARNEKFuncMustBeInvokedByExecEngine);
    EXPECT_THROW(VARNEKFunctionInvoker("p", "f").checkThreadToRun(),
                 VARNEK::settings::core::VARNEKFuncMustBeInvokedByExecEngine);
    EXPECT_EQ(causeOf(mine), catalogueText("VARNEKFuncMustBeInvokedByExecEngine"));
    EXPECT_EQ(calls, 0);
    engine.run([&] { invoke(mine); });
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(value, Value(Array::scalar(3.0), true));
}

TEST_F(ValidationFunctions, TheFrontEndIsGivenEverythingAndMayReplaceTheValue) {
    Lines calls;
    VARNEKFunctionInvoker::setLoadConfigProxy([&] { calls.push_back("configuration"); });
    MValidator::setVARNEKValFuncInvokingProxyName([&](const std::string& package, const std::string& function,
                                                      const SettingHandle& about, const std::string& key,
                                                      Array& given) {
        EXPECT_EQ(about, setting);
        EXPECT_EQ(given, Array::scalar(3.0));
        calls.push_back(package + " " + function + " " + key);
        if (function == "check") // calls on the same thread may nest
            MValidator("my.package", "inner").invokeValidationFunction(setting, parent, value, "inner");
        given = Array::text(u"replaced");
    });
    EngineThread engine;
    engine.run([&] { invoke(mine); });
    EXPECT_EQ(value, Value(Array::text(u"replaced"), true));
    EXPECT_EQ(calls,
              (Lines{"configuration", "my.package check size", "configuration", "my.package inner inner"}));
    EXPECT_FALSE(MValidator::getVARNEKValFuncInvokingProxyName().empty());
    EXPECT_FALSE(VARNEKFunctionInvoker::getLoadConfigProxy().empty());
}

TEST_F(ValidationFunctions, EveryFailureOfTheLanguageIsTranslated) {
    EngineThread engine;
    std::function<void()> failing;
    MValidator::setVARNEKValFuncInvokingProxyName(
        [&](const auto&, const auto&, const auto&, const auto&, Array& given) {
            given = Array(); // must not come through
            failing();
        });
    const auto cause = [&](std::function<void()> how) {
        failing = std::move(how);
        std::u16string text;
        engine.run([&] { text = causeOf(mine); });
        EXPECT_EQ(value, Value(Array::scalar(3.0), true));
        return text;
    };
    EXPECT_EQ(cause([] { throw std::runtime_error("no memory"); }), u"no memory");
    EXPECT_EQ(cause([] { throw 7; }), u"Unknown");
    EXPECT_EQ(cause([] { throw VARNEK::settings::core::VARNEKFuncMustBeInvokedByExecEngine(); }),
              catalogueText("VARNEKFuncMustBeInvokedByExecEngine"));
    EXPECT_EQ(cause([] { throw VARNEK::settings::core::ExecEngineNotReadyForProcessingMFunction(); }),
              catalogueText("ExecEngineNotReadyForProcessingMFunction"));
    VARNEKFunctionInvoker::setLoadConfigProxy(
        [] { throw SettingsException("id", "no configuration", "key"); });
    EXPECT_EQ(cause([] {}), u"no configuration");
    VARNEKFunctionInvoker::setLoadConfigProxy({});

    failing = [] { throw SettingsException("my:id", "must be even", "even"); };
    engine.run([&] {
        try {
            invoke(mine);
            ADD_FAILURE();
        } catch (const exception::ExceptionFromValidationFunction& refusal) {
            EXPECT_EQ(refusal.getPackageName(), "my.package");
            EXPECT_EQ(refusal.getFunctionName(), "check");
            EXPECT_EQ(refusal.getKeyName(), "size");
            EXPECT_EQ(refusal.getValue(), Array::scalar(3.0));
            EXPECT_EQ(refusal.getCause(), u"must be even");
            EXPECT_EQ(refusal.getCausingObject(), setting);
            EXPECT_EQ(refusal.getCausingObjectParent(), parent);
        }
    });
    EXPECT_EQ(value, Value(Array::scalar(3.0), true));

    MValidator::setVARNEKValFuncInvokingProxyName({});
    EXPECT_EQ(cause([] {}), u"no front end of the language is registered");
}

TEST_F(ValidationFunctions, TheLanguageMayEndItsThread) {
    MValidator::setVARNEKValFuncInvokingProxyName([](auto&&...) { ::pthread_exit(nullptr); });
    bool wentOn = false;
    std::thread::id engine;
    std::thread thread([&] {
        engine = std::this_thread::get_id();
        varnek::host::registerLanguageEngine(engine);
        invoke(mine);
        wentOn = true;
    });
    thread.join();
    EXPECT_TRUE(varnek::host::unregisterLanguageEngine(engine));
    EXPECT_FALSE(wentOn);
    MValidator::setVARNEKValFuncInvokingProxyName([](auto&&...) {});
    EngineThread next;
    next.run([&] { invoke(mine); }); // nothing is left locked
}

TEST_F(ValidationFunctions, TheFrontEndMayBeReplacedDuringCalls) {
    EngineThread engine;
    std::atomic<int> calls = 0;
    const MValidator::ValProxy proxies[] = {[&](auto&&...) { ++calls; }, [&](auto&&...) { ++calls; }};
    MValidator::setVARNEKValFuncInvokingProxyName(proxies[0]);
    std::thread replacing([&] {
        for (int i = 0; i < 500; ++i)
            MValidator::setVARNEKValFuncInvokingProxyName(proxies[i % 2]);
    });
    engine.run([&] {
        for (int i = 0; i < 500; ++i)
            invoke(mine);
    });
    replacing.join();
    EXPECT_EQ(calls, 500);
}

TEST_F(ValidationFunctions, JavaIsMadeReadyOnFirstUse) {
    const auto invokeJava = [&] { java.invokeValidationFunction(setting, parent, value, "size"); };
    EXPECT_THROW(invokeJava(), VARNEK::settings::core::JVMNotReadyForProcessingJavaFunction);
    const LogLines log(channel);
    JValidator::setJValInitializer([] { return std::u16string(u"no virtual machine"); });
    EXPECT_THROW(invokeJava(), VARNEK::settings::core::JVMNotReadyForProcessingJavaFunction);
    EXPECT_EQ(log.lines, Lines{"Java is not ready: no virtual machine"});

    int initialized = 0;
    Lines calls;
    JValidator::setJValInitializer([&] {
        ++initialized;
        JValidator::setJValProxy([&](const std::string& package, const std::string& function,
                                     const SettingHandle& about, const std::string& key,
                                     const boost::any& given) {
            EXPECT_EQ(about, setting);
            calls.push_back(package + " " + function + " " + key);
            const auto* numbers = boost::any_cast<std::vector<double>>(&given);
            if (numbers != nullptr && numbers->at(0) < 0)
                throw 7; // whatever it is, it is the caller's
        });
        return std::u16string();
    });
    invokeJava();
    invokeJava();
    EXPECT_EQ(initialized, 1);
    EXPECT_EQ(calls, Lines(2, "org.example.Checks check size"));
    value.first = Array::scalar(-1.0); // a vector by its flag
    EXPECT_THROW(invokeJava(), int);
    JValidator::clearFunctions();
    EXPECT_THROW(invokeJava(), VARNEK::settings::core::JVMNotReadyForProcessingJavaFunction);
    EXPECT_EQ(initialized, 1);
    JValidator::setJValInitializer([]() -> std::u16string { throw std::runtime_error("out of order"); });
    EXPECT_THROW(invokeJava(), VARNEK::settings::core::JVMNotReadyForProcessingJavaFunction);
    EXPECT_EQ(log.lines.back(), "Java is not ready: out of order");
    JValidator::setJValInitializer([]() -> std::u16string { throw 7; });
    EXPECT_THROW(invokeJava(), VARNEK::settings::core::JVMNotReadyForProcessingJavaFunction);
    EXPECT_EQ(log.lines.back(), "Java is not ready: Unknown Exception");
}

TEST_F(ValidationFunctions, ACallableOfTheProcess) {
    const CPPValidator refusing(
        [this](const SettingHandle& about, const std::string& name, const Array& given) {
            EXPECT_EQ(about, setting);
            EXPECT_EQ(name, "size");
            EXPECT_EQ(given, Array::scalar(3.0));
            throw 7;
        },
        "p", "f");
    const LogLines log(channel);
    EXPECT_THROW(refusing.invokeValidationFunction(setting, parent, value, "size"), int);
    const CPPValidator failing([](auto&&...) { throw std::runtime_error("must be even"); }, "p", "even");
    EXPECT_THROW(failing.invokeValidationFunction(setting, parent, value, "size"), std::runtime_error);
    EXPECT_EQ(log.lines, (Lines{"Validation function throw. Reason: Unknown Exception libname=p function=f",
                                "Validation function throw. Reason: must be even libname=p function=even"}));
    EXPECT_THROW(CPPValidator({}, "p", "f").invokeValidationFunction(setting, parent, value, "size"),
                 exception::ValidationFunctionInvokingError);
}

TEST_F(ValidationFunctions, CallsOfOneKindTakeTurns) {
    int inside = 0, calls = 0; // neither atomic nor locked
    const auto counting = [&](auto&&...) {
        EXPECT_EQ(++inside, 1);
        std::this_thread::yield();
        ++calls;
        --inside;
    };
    JValidator::setJValProxy(counting);
    JRunTimeDefault::setJRuntimeDefaultProxy([&](auto&&...) {
        counting();
        return boost::any(1.0);
    });
    const CPPValidator callable(counting, "p", "f");
    const JRunTimeDefault javaDefault("p", "f");
    const CRunTimeDefault plugin("p", "f", [&] {
        counting();
        return Array::scalar(1.0);
    });
    const std::pair<const char*, std::function<void(Value&)>> kinds[] = {
        {"CPPValidator",
         [&](Value& own) { callable.invokeValidationFunction(setting, parent, own, "size"); }},
        {"JValidator", [&](Value& own) { java.invokeValidationFunction(setting, parent, own, "size"); }},
        {"JRunTimeDefault", [&](Value&) { javaDefault(); }},
        {"CRunTimeDefault", [&](Value&) { plugin.evaluate(); }},
    };
    for (const auto& [kind, call] : kinds) {
        SCOPED_TRACE(kind);
        calls = 0;
        std::latch start(2);
        const auto many = [&, once = call] {
            Value own = value;
            start.arrive_and_wait();
            for (int i = 0; i < 3000; ++i)
                once(own);
        };
        std::thread other(many);
        many();
        other.join();
        EXPECT_EQ(calls, 6000);
    }
    JRunTimeDefault::setJRuntimeDefaultProxy({});
}

TEST_F(ValidationFunctions, WhicheverTheDefinitionNames) {
    const auto neverAsked = [] { return ADD_FAILURE(), std::string(); };
    detail::callFunctionValidator({}, setting, parent, neverAsked, value);
    EXPECT_EQ(value, Value(Array::scalar(3.0), true));
    const auto size = [] { return std::string("size"); };
    detail::callFunctionValidator(MValidator("varnek.settings", "mustBeIntegerScalar"), setting, parent, size,
                                  value);
    EXPECT_EQ(value, Value(Array::scalar(std::int64_t{3}), true));
    std::string told;
    const CPPValidator callable([&](const auto&, const std::string& name, const auto&) { told = name; }, "p",
                                "f");
    detail::callFunctionValidator(callable, setting, parent, size, value);
    EXPECT_EQ(told, "size");
    EXPECT_THROW(detail::callFunctionValidator(java, setting, parent, size, value),
                 VARNEK::settings::core::JVMNotReadyForProcessingJavaFunction);

    // What a function puts into the value's place must be a value, too.
    EngineThread engine;
    Array replacement;
    MValidator::setVARNEKValFuncInvokingProxyName(
        [&](const auto&, const auto&, const auto&, const auto&, Array& given) { given = replacement; });
    const auto replacedBy = [&](Array other) {
        replacement = std::move(other);
        engine.run([&] { detail::callFunctionValidator(mine, setting, parent, size, value); });
    };
    EXPECT_THROW(replacedBy(Array()), exception::DefaultValidationFailedOnVoidType);
    EXPECT_THROW(replacedBy(Array::cellScalar(Array::scalar(1.0))), exception::UnsupportedType);
    EXPECT_EQ(value, Value(Array::scalar(std::int64_t{3}), true));
    replacedBy(Array::text(u"ok"));
    EXPECT_EQ(value, Value(Array::text(u"ok"), true));
}

TEST_F(ValidationFunctions, WhatIsKnownToBeMissingIsRefused) {
    for (const ValidatorVariant& present :
         {ValidatorVariant(), ValidatorVariant(mine), ValidatorVariant(java),
          ValidatorVariant(CPPValidator([](const auto&...) {}, "p", "f"))})
        EXPECT_NO_THROW(detail::requireFunction(present));
    for (const ValidatorVariant& missing :
         {ValidatorVariant(CPPValidator({}, "p", "f")),
          ValidatorVariant(CValidator::fromDefinition("no_such_library", "f"))})
        EXPECT_THROW(detail::requireFunction(missing), exception::InvalidValidator);
}

} // namespace
