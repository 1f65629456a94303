// Validators and run-time defaults at work: what a set stores, what it refuses, what a read computes.

#include "support/EngineThread.hpp"
#include "support/LogLines.hpp"
#include "support/TestTree.hpp"

#include "settingscore/ValueCheck.hpp"
#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/boostany/SupportedTypes.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"

#include <gtest/gtest.h>

#include <pthread.h>

#include <thread>

namespace {

using namespace settings::core;
using namespace settings::test;
using detail::FactorySettingProperties;
using detail::SettingsAccess;
using Lines = std::vector<std::string>;
using Validators = FactorySettingProperties::MultiCheckValueValidators;

struct Refusal : exception::SettingsException {
    const char* what() const noexcept override { return "refused by the function"; }
    std::unique_ptr<varnek::exception::Exception> clone() const override {
        return std::make_unique<Refusal>(*this);
    }
    [[noreturn]] void rethrow() const override { throw *this; }
};

struct ValidationInTheTree : testing::Test {
    Handle define(const std::string& name, Validators validators, ValidatorVariant function = {},
                  RunTimeDefaultVariant runTimeDefault = {},
                  FactorySettingProperties::ErrorHandler handler = {}) {
        FactorySettingProperties definition(true, false, {}, std::move(function), std::move(runTimeDefault),
                                            false, false, std::move(validators));
        definition.setErrorHandler(std::move(handler));
        return TestTree::setting(editor, name, definition);
    }
    static NumericMetaData<MustBeScalar> percent(bool integer = false) {
        NumericMetaData<MustBeScalar> data;
        data.setMinValue(0);
        data.setMaxValue(100);
        if (integer)
            data.mustBeInteger();
        return data;
    }

    TestTree tree;
    Handle editor = tree.group("editor");
    RecordedEvents events;
};

TEST_F(ValidationInTheTree, ARefusedValueChangesNothing) {
    Lines handled;
    define("zoom", {percent()}, {}, {}, [&](const std::string& fullName, const Array& value) {
        handled.push_back(fullName + " " + std::to_string(int(value.element<double>())));
    });
    editor->set("zoom", 50.0, "user");
    events.take();
    tree.requests->take();
    try {
        editor->set("zoom", 101.0, "user");
        ADD_FAILURE() << "is accepted";
    } catch (const exception::ValueIsNotInRange& refused) {
        EXPECT_EQ("editor.zoom", refused.getCausingObject()->getFullName());
        EXPECT_EQ("editor", refused.getCausingObjectParent()->getFullName());
    }
    EXPECT_EQ(50.0, editor->get<double>("zoom"));
    EXPECT_EQ(Lines{}, events.take());
    EXPECT_EQ(Lines{}, tree.requests->take());
    EXPECT_EQ(Lines{"editor.zoom 101"}, handled);
    EXPECT_EQ("ValueMustBeScalar", failureOf([&] {
                  editor->set("zoom", std::vector<double>{1, 2}, "session");
              }));
    EXPECT_EQ("ValueMustBeNumeric", failureOf([&] { editor->set("zoom", true, "session"); }));
    EXPECT_EQ("DefaultValidationFailedOnVoidType", failureOf([&] { editor->set("zoom", Array(), "user"); }));
    EXPECT_EQ("UnsupportedType",
              failureOf([&] { editor->set("zoom", Array::scalar(std::complex<double>(1, 1)), "user"); }));
}

TEST_F(ValidationInTheTree, TheAcceptedFormIsStored) {
    define("count", {percent(true)});
    define("flags", {MustBeLogical<MustBeVector>()});
    StringMetaData<AnyShape> stored;
    stored.setStoreAsCharVector(true);
    define("text", {stored});
    editor->set("count", 3.0, "user");
    EXPECT_EQ(Array::scalar(std::int64_t{3}), editor->get("count"));
    EXPECT_EQ(9U, *editor->getDataTypeIndex("count")); // the stored type
    editor->set("flags", std::vector<double>{0, 1, 1}, "user");
    EXPECT_EQ((std::vector<bool>{false, true, true}), editor->get<std::vector<bool>>("flags"));
    EXPECT_EQ(typeid(std::vector<bool>), editor->getAny("flags").type());
    editor->set("text", Array::scalar(std::u16string(u"abc")), "user");
    EXPECT_EQ(Array::text(u"abc"), editor->get("text"));
    EXPECT_EQ(typeid(std::u16string), editor->getAny("text").type());
    EXPECT_EQ("ValueMustBeInteger", failureOf([&] { editor->set("count", 3.5, "user"); }));
}

/// The flag of what is stored fits it, however long the text that went in is.
TEST_F(ValidationInTheTree, TheVectorFlagFitsTheAcceptedForm) {
    const auto flag = [&](const char* name) {
        return SettingsAccess::node(*editor->getChild(name))->valueOn(LevelIndex::user).second;
    };
    StringMetaData<AnyShape> stored;
    stored.setStoreAsCharVector(true);
    define("text", {stored});
    for (const std::u16string text : {u"", u"a", u"abc"}) {
        editor->set("text", std::vector<std::u16string>{text}, "user");
        EXPECT_EQ(Array::text(text), editor->get("text"));
        EXPECT_FALSE(flag("text")) << text.size();
        EXPECT_EQ(typeid(std::u16string), editor->getAny("text").type()) << text.size();
    }
    editor->set("text", std::vector<std::u16string>{u"a", u"b"}, "user");
    EXPECT_TRUE(flag("text"));

    Array given;
    MValidator::setVARNEKValFuncInvokingProxyName(
        [&](const auto&, const auto&, const auto&, const auto&, Array& value) { value = given; });
    define("replaced", {}, MValidator("tests", "replace"));
    const std::pair<Array, Array> rows[] = {
        {Array::text(u"abc"), Array::row<double>({1, 2, 3})},
        {Array::row<double>({1, 2}), Array::text(u"ab")},
        {Array::row<double>({1, 2}), Array::scalar(1.0)},
        {Array::scalar(1.0), Array::row<double>({1, 2})},
        {Array::text(u"abcd"), Array::make<char16_t>({2, 2}, {u'a', u'b', u'c', u'd'})},
        {Array::make<char16_t>({2, 2}, {u'a', u'b', u'c', u'd'}), Array::text(u"abcd")},
    };
    EngineThread().run([&] {
        for (const auto& [set, replaced] : rows) {
            given = replaced;
            editor->set("replaced", set, "user");
            EXPECT_EQ(given, editor->get("replaced"));
            EXPECT_EQ(settingscore::boostany::isVectorShape(given), flag("replaced"))
                << varnek::data::dimensionsText(set);
        }
        // A vector of one stays one.
        given = Array::scalar(7.0);
        editor->set("replaced", std::vector<double>{1}, "user");
        EXPECT_TRUE(flag("replaced"));
    });
    MValidator::setVARNEKValFuncInvokingProxyName({});
}

/// A function sees the flag of what the validators made of the value, not of what was set.
TEST_F(ValidationInTheTree, TheFunctionSeesTheAcceptedForm) {
    std::vector<const std::type_info*> seen;
    JValidator::setJValProxy([&](const auto&, const auto&, const auto&, const auto&,
                                 const boost::any& value) { seen.push_back(&value.type()); });
    StringMetaData<AnyShape> stored;
    stored.setStoreAsCharVector(true);
    define("text", {stored}, JValidator("org.example.Checks", "check"));
    editor->set("text", std::vector<std::u16string>{u"abc"}, "user");
    checkValue(*editor->getChild("text"), Array::make<std::u16string>({1, 1}, {u"abc"}));
    editor->set("text", std::vector<std::u16string>{u"a", u"b"}, "user");
    JValidator::setJValProxy({});
    ASSERT_EQ(3U, seen.size());
    EXPECT_EQ(typeid(std::u16string), *seen[0]);
    EXPECT_EQ(typeid(std::u16string), *seen[1]);
    EXPECT_EQ(typeid(std::vector<std::u16string>), *seen[2]);
}

TEST_F(ValidationInTheTree, OneOfSeveralValidatorsIsEnough) {
    StringMetaData<MustBeScalar> word;
    word.mustBeMember({u"auto"});
    int handled = 0;
    define("width", {word, percent(true)}, {}, {}, [&](const std::string&, const Array&) { ++handled; });
    LogLines log("settings::core::settingValueValidators");
    editor->set("width", std::u16string(u"auto"), "user");
    editor->set("width", 7.0, "user");
    EXPECT_EQ(Array::scalar(std::int64_t{7}), editor->get("width"));
    EXPECT_EQ(0, handled);
    EXPECT_EQ(2, std::count(log.lines.begin(), log.lines.end(),
                            "Validate setting: editor.width with 2 validators."));
    EXPECT_EQ("ValueMustBeInteger", failureOf([&] { editor->set("width", std::u16string(u"x"), "user"); }));
    EXPECT_EQ(1, handled);
}

/// It sees the converted value, after the declarative checks, and may use the tree.
TEST_F(ValidationInTheTree, TheFunctionRunsLastAndWithoutLocks) {
    define("other", {});
    Lines calls;
    define("count", {percent(true)},
           CPPValidator(
               [&](const boost::shared_ptr<const Settings>& setting, const std::string& key,
                   const Array& value) {
                   calls.push_back(setting->getFullName() + ' ' + key + ' ' +
                                   std::string(varnek::data::className(value.type())));
                   editor->set("other", 1.0, "session");
                   editor->getChildren();
                   if (value.element<std::int64_t>() == 13)
                       throw Refusal();
               },
               "p", "f"));
    editor->set("count", 5.0, "user");
    EXPECT_EQ("Refusal", failureOf([&] { editor->set("count", 13.0, "user"); }));
    EXPECT_EQ("ValueIsNotInRange", failureOf([&] { editor->set("count", 130.0, "user"); }));
    EXPECT_EQ((Lines{"editor.count count int64", "editor.count count int64"}), calls);
    EXPECT_EQ(5, editor->get<int>("count"));
    // Only ValidationException and other standard exceptions are collected.
    define("rude", {}, CPPValidator([](const auto&, const auto&, const auto&) { throw 1; }, "p", "g"));
    EXPECT_THROW(editor->set("rude", 1.0, "user"), int);
}

TEST_F(ValidationInTheTree, ABatchIsCheckedAsAWholeAndOnce) {
    int calls = 0;
    define("a", {percent()});
    define("b", {}, CPPValidator([&](const auto&, const auto&, const auto&) { ++calls; }, "p", "f"));
    const Handle a = editor->getChild("a"), b = editor->getChild("b");
    const auto failures =
        Settings::setTogether({{b, Array::scalar(1.0)}, {a, Array::scalar(200.0)}}, "user", true);
    ASSERT_EQ(1U, failures.size());
    EXPECT_EQ("editor.a", failures[0].first);
    EXPECT_FALSE(editor->isSet("b", "user"));
    EXPECT_EQ(1, calls);
    Settings::setTogether({{b, Array::scalar(1.0)}, {a, Array::scalar(20.0)}}, "user");
    EXPECT_EQ(2, calls);
    const Handle other = standaloneGroup("editor");
    load(TestTree::setting(other, "a"), LevelIndex::user, Array::scalar(300.0));
    EXPECT_EQ("ValueIsNotInRange", failureOf([&] { editor->mergeDescendants(other, "user"); }));
    EXPECT_EQ(20.0, editor->get<double>("a"));
}

TEST_F(ValidationInTheTree, ANewSettingsValueIsCheckedOnLevelUser) {
    const MValidator integer("varnek.settings", "mustBeIntegerScalar");
    EXPECT_EQ("ValueMustBeInteger",
              failureOf([&] { editor->addSetting("a", Array::scalar(1.5), true, false, "user", integer); }));
    EXPECT_EQ(nullptr, editor->getChild("a"));
    EXPECT_EQ(Lines{}, events.take());
    editor->addSetting("a", Array::scalar(3.0), true, false, "user", integer);
    EXPECT_EQ(Array::scalar(std::int64_t{3}), editor->get("a"));
    editor->addSetting("b", Array::scalar(1.5), true, false, "session", integer);
    EXPECT_EQ(1.5, editor->get<double>("b"));
    EXPECT_EQ("ValueMustBeInteger", failureOf([&] { editor->set("b", 2.5, "session"); }));
    Lines told;
    Handle kept;
    const auto telling = [&](const boost::shared_ptr<const Settings>& setting, auto&&...) {
        kept = boost::const_pointer_cast<Settings>(setting);
        told.push_back(setting->getFullName());
        if (told.size() > 1)
            throw Refusal();
    };
    editor->addSetting("told", Array::scalar(1.0), true, false, "user", CPPValidator(telling, "p", "f"));
    EXPECT_EQ("Refusal", failureOf([&] {
                  editor->addSetting("refused", Array::scalar(1.0), true, false, "user",
                                     CPPValidator(telling, "p", "f"));
              }));
    EXPECT_EQ((Lines{"editor.told", "editor.refused"}), told);
    EXPECT_EQ(nullptr, kept->getParent()); // stands outside again
    EXPECT_EQ("InvalidValidator", failureOf([&] {
                  editor->addSetting("c", {}, true, false, "user",
                                     CValidator::fromDefinition("noSuchLibrary", "f"));
              }));
    EXPECT_EQ(nullptr, editor->getChild("c"));
}

TEST_F(ValidationInTheTree, ValidateChecksTheEffectiveValueAgain) {
    define("zoom", {});
    editor->set("zoom", 500.0, "user");
    const auto node = SettingsAccess::node(*editor->getChild("zoom"));
    node->validate();
    node->setValidator(MValidator("varnek.settings", "mustBeStringScalar"));
    EXPECT_EQ("ValueMustBeString", failureOf([&] { node->validate(); }));
    EXPECT_EQ("ValueMustBeString", failureOf([&] { editor->set("zoom", 1.0, "user"); }));
    EXPECT_EQ(500.0, editor->get<double>("zoom"));
}

TEST_F(ValidationInTheTree, ARunTimeDefaultStandsInForTheFactoryValue) {
    int calls = 0;
    define("threads", {percent(true)}, {},
           CRunTimeDefault("p", "f", [&] { return Array::scalar(double(++calls)); }));
    EXPECT_EQ(Array::scalar(std::int64_t{1}), editor->get("threads")); // converted like a value being set
    EXPECT_EQ(2, editor->get<int>("threads", "factory"));              // evaluated anew
    EXPECT_EQ(3, boost::any_cast<std::int64_t>(editor->getAny("threads")));
    EXPECT_TRUE(editor->isSet("threads", "factory"));
    EXPECT_EQ(5, tree.root->getByFullName<int>("editor.threads"));
    // Not for other levels, and not when a value is there; nothing of it is stored.
    EXPECT_FALSE(editor->isSet("threads", "user"));
    EXPECT_TRUE(editor->get("threads", "installation").isVoid());
    EXPECT_FALSE(editor->getDataTypeIndex("threads"));
    calls = 0;
    editor->set("threads", 40.0, "user");
    EXPECT_EQ(Lines{"changed editor.threads was nothing"}, events.take()); // events do not evaluate
    EXPECT_EQ(40, editor->get<int>("threads"));
    EXPECT_EQ(0, calls);
    editor->unset("threads", "user");
    EXPECT_EQ(1, editor->get<int>("threads"));
}

TEST_F(ValidationInTheTree, ARunTimeDefaultIsCheckedWhereItsSettingStands) {
    Lines told;
    define("d", {percent()},
           CPPValidator([&](const boost::shared_ptr<const Settings>& setting, const std::string& name,
                            const Array&) { told.push_back(setting->getParent()->getName() + " " + name); },
                        "p", "f"),
           CRunTimeDefault("p", "f", [n = 99.0]() mutable { return Array::scalar(++n); }),
           [&](const std::string& fullName, const Array&) { told.push_back("refused " + fullName); });
    EXPECT_EQ(100.0, editor->get<double>("d"));
    EXPECT_TRUE(editor->get("d").isVoid());
    EXPECT_EQ((Lines{"editor d", "refused editor.d"}), told);
}

/// The name that a function is told of may come from the setting.
TEST_F(ValidationInTheTree, FunctionsMayBeCalledWithoutAName) {
    const Handle setting = define("count", {});
    std::pair<Array, bool> value(Array::scalar(3.0), false);
    Lines names;
    const CPPValidator callable(
        [&](const auto&, const std::string& name, const auto&) { names.push_back(name); }, "p", "f");
    callable.invokeValidationFunction(setting, editor, value);
    callable.invokeValidationFunction({}, {}, value);
    JValidator::setJValProxy([&](const auto&, const auto&, const auto&, const std::string& name,
                                 const auto&) { names.push_back("java " + name); });
    JValidator("C", "f").invokeValidationFunction(setting, editor, value);
    JValidator::clearFunctions();
    MValidator::setVARNEKValFuncInvokingProxyName(
        [&](const auto&, const auto&, const auto&, const std::string& name, Array& replaced) {
            names.push_back("language " + name);
            replaced = Array::scalar(4.0);
        });
    EngineThread engine;
    engine.run([&] { MValidator("p", "f").invokeValidationFunction(setting, editor, value); });
    MValidator::setVARNEKValFuncInvokingProxyName({});
    EXPECT_EQ((Lines{"count", "", "java count", "language count"}), names);
    EXPECT_EQ(Array::scalar(4.0), value.first);
    MValidator("varnek.settings", "mustBeIntegerScalar").invokeValidationFunction(setting, editor, value);
    EXPECT_EQ(Array::scalar(std::int64_t{4}), value.first);
}

/// Wherever they are: nothing stays locked, and nobody else is held up.
TEST_F(ValidationInTheTree, FunctionsMayEndTheirThread) {
    const auto ending = [](auto&&...) { ::pthread_exit(nullptr); };
    define("function", {}, CPPValidator(ending, "p", "f"));
    define("handler", {percent()}, {}, {}, ending);
    define("default", {}, {}, CRunTimeDefault("p", "f", []() -> Array { ::pthread_exit(nullptr); }));
    const std::pair<const char*, std::function<void()>> table[] = {
        {"set", [&] { editor->set("function", 1.0, "user"); }},
        {"batch",
         [&] {
             Settings::setTogether({{editor->getChild("function"), Array::scalar(1.0)}}, "user", true);
         }},
        {"add",
         [&] {
             editor->addSetting("new", Array::scalar(1.0), true, false, "user",
                                CPPValidator(ending, "p", "f"));
         }},
        {"error handler", [&] { editor->set("handler", true, "user"); }},
        {"default", [&] { editor->get("default"); }},
        {"isSet", [&] { editor->isSet("default", "factory"); }},
    };
    define("other", {});
    double next = 0;
    for (const auto& [name, work] : table) {
        SCOPED_TRACE(name);
        bool wentOn = false;
        std::thread thread([&, run = work] {
            run();
            wentOn = true;
        });
        thread.join();
        EXPECT_FALSE(wentOn);
        editor->set("other", ++next, "user");
        EXPECT_EQ(next, editor->get<double>("other"));
    }
    EXPECT_EQ(nullptr, editor->getChild("new"));
}

TEST_F(ValidationInTheTree, ARunTimeDefaultThatFails) {
    int which = 0;
    define("d", {percent()}, {}, CRunTimeDefault("p", "f", [&]() -> Array {
               if (which == 0)
                   throw std::runtime_error("not now");
               if (which == 1)
                   return Array::scalar(101.0); // refused by the validator
               if (which == 2)
                   return {};
               throw 1;
           }));
    for (; which < 3; ++which) {
        EXPECT_TRUE(editor->get("d").isVoid()) << which;
        EXPECT_FALSE(editor->isSet("d", "factory")) << which;
        EXPECT_EQ("AttemptToGetValueFromVoid", failureOf([&] { editor->get<double>("d"); })) << which;
    }
    EXPECT_THROW(editor->get("d"), int);
}

TEST_F(ValidationInTheTree, ARunTimeDefaultThatReadsItsOwnSetting) {
    const LogLines log("settings::core::settingsImpl");
    int calls = 0;
    const auto readFirst = [&](const std::string& other) {
        return CRunTimeDefault("p", "f", [this, other, &calls] {
            ++calls;
            return Array::scalar(editor->isSet(other, "") ? 1.0 : editor->get(other).isVoid() ? 2.0 : 3.0);
        });
    };
    define("self", {}, {}, readFirst("self"));
    define("one", {}, {}, readFirst("other"));
    define("other", {}, {}, readFirst("one"));
    EXPECT_EQ(2.0, editor->get<double>("self"));
    EXPECT_EQ(1, calls);
    const std::string line = "no run-time default for editor.self: its function reads the setting itself";
    EXPECT_EQ((Lines{line, line}), log.lines);
    EXPECT_EQ(1.0, editor->get<double>("one")); // by way of another
    EXPECT_EQ(3, calls);
    EXPECT_EQ(2.0, editor->get<double>("self")); // and again
}

/// The text of such failures is fixed: what happened is in the cause.
TEST_F(ValidationInTheTree, TheLogTellsWhyARunTimeDefaultFailed) {
    const LogLines log("settings::core::settingsImpl");
    MRunTimeDefault::setMRunTimeProxyFname([](const auto&, const auto&, Array&) {
        throw exception::ErrorLoadingLibrary("lib", u"no such file");
    });
    define("m", {}, {}, MRunTimeDefault("p", "f"));
    EXPECT_TRUE(editor->get("m").isVoid()); // no engine
    define("c", {}, {}, CRunTimeDefault("p", "f", []() -> Array {
               throw exception::ErrorLoadingLibrary("lib", u"no such file");
           }));
    EXPECT_TRUE(editor->get("c").isVoid());
    MRunTimeDefault::setMRunTimeProxyFname({});
    ASSERT_EQ(2U, log.lines.size());
    const VARNEK::settings::core::ExecEngineNotReadyForProcessingMFunction noEngine;
    EXPECT_NE(std::string::npos, log.lines[0].find(std::string(" (") + noEngine.what() + ")"))
        << log.lines[0];
    EXPECT_NE(std::string::npos, log.lines[1].find(" (no such file)")) << log.lines[1];
}

} // namespace
