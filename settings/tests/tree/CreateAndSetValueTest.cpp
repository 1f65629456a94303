// A setting that is defined and set in one step: the check of its value, and what it keeps of its
// definitions.

#include "support/Definitions.hpp"
#include "support/LogLines.hpp"
#include "support/TestTree.hpp"

#include "settingscore/MSettings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

namespace {

using namespace settings::test;
using namespace settings::core;
using detail::SettingsAccess;
using Lines = std::vector<std::string>;

struct CreateAndSetValue : testing::Test {
    Handle create(const std::string& name, FactorySettingProperties setting, const char* level = "user") {
        setting.setRoot(MSettings::of(tree.root));
        return Settings::createAndSetValue(name, group, setting, level);
    }
    /// An integer up to 10; the error handler notes whom it is told of.
    FactorySettingProperties upToTen(const Array& value, ValidatorVariant function = {},
                                     RunTimeDefaultVariant runTimeDefault = {}) {
        NumericMetaData<MustBeScalar> number;
        number.setMaxValue(10);
        number.mustBeInteger();
        FactorySettingProperties definition(true, false, value, std::move(function),
                                            std::move(runTimeDefault), false, false, {number});
        definition.setErrorHandler([this](const std::string& name, const Array&) { told.push_back(name); });
        return definition;
    }
    static detail::NodePtr nodeOf(const Handle& handle) { return SettingsAccess::node(*handle); }

    FactorySettingProperties group = definitionOf({});
    TestTree tree;
    Handle editor = tree.group("editor");
    Lines told;
};

TEST_F(CreateAndSetValue, ARefusedValueLeavesNothingBehindOnAnyLevel) {
    RecordedEvents events;
    const std::pair<const char*, const char*> rows[] = {
        {"editor.s", "editor"}, {"editor.fresh.s", "editor.fresh"}, {"fresh.inner.s", "fresh.inner"}};
    for (const char* level : {"user", "session"})
        for (const auto& [name, parent] : rows) {
            told.clear();
            const LogLines log("settings::core::settingValueValidators");
            try {
                create(name, upToTen(Array::scalar(11.0)), level);
                ADD_FAILURE() << name << " is accepted on " << level;
            } catch (const exception::ValueIsNotInRange& refused) {
                ASSERT_NE(nullptr, refused.getCausingObject());
                ASSERT_NE(nullptr, refused.getCausingObjectParent()) << name;
                EXPECT_TRUE(std::string(parent).ends_with(refused.getCausingObjectParent()->getFullName()));
            }
            EXPECT_EQ(Lines{name}, told);
            ASSERT_FALSE(log.lines.empty());
            EXPECT_EQ("Validate setting: " + std::string(name) + " with 1 validators.", log.lines.front());
            EXPECT_EQ("UnsupportedType", failureOf([&, n = name] {
                          create(n, definitionOf(Array::structure({1, 1}, {}, {})), level);
                      }));
            EXPECT_EQ(0U, editor->getChildren().size());
            EXPECT_EQ(nullptr, tree.root->getChild("fresh"));
        }
    EXPECT_EQ(Lines{}, events.take());
    EXPECT_EQ(Lines{}, tree.requests->take());
    EXPECT_EQ("InvalidValidator", failureOf([&] {
                  create("editor.s", definitionOf({}, CValidator::fromDefinition("nowhere", "check")));
              }));
}

TEST_F(CreateAndSetValue, TheValueIsCheckedOnceAndStoredAsItIsAccepted) {
    for (const char* level : {"user", "session"})
        for (const std::string& parent : {std::string("editor"), "fresh_" + std::string(level)}) {
            Lines calls;
            const std::string name = std::string("on_") + level;
            const CPPValidator function(
                [&](const boost::shared_ptr<const Settings>&, const std::string& key, const Array& value) {
                    calls.push_back(key + ' ' + std::string(varnek::data::className(value.type())));
                },
                "tests", "notes");
            const Handle made = create(parent + '.' + name, upToTen(Array::scalar(3.0), function), level);
            EXPECT_EQ(Lines{name + " int64"}, calls);
            EXPECT_EQ(Array::scalar(std::int64_t{3}), made->getParent()->get(name, level));
            EXPECT_EQ(9U, *made->getParent()->getDataTypeIndex(name));
            EXPECT_EQ(level, made->getOriginLevel());
        }
    EXPECT_EQ(Lines{}, told);
}

TEST_F(CreateAndSetValue, ANewSettingAndItsGroupsKeepTheirDefinitions) {
    using detail::FactorySettingProperties;
    const CRunTimeDefault seven("tests", "seven", [] { return Array::scalar(7.0); });
    const CPPValidator accepting([](const auto&, const auto&, const Array&) {}, "tests", "accepts");
    FactorySettingProperties defined = upToTen(Array::scalar(1.0), accepting, seven);
    defined.setReadOnlyState(ReadOnlyState::readOnly);
    group = FactorySettingProperties(false, false, {}, {}, {}, true, true, {});
    group.setReadOnlyState(ReadOnlyState::writable);
    const Handle made = create("fresh.inner.s", defined);
    const auto kept = nodeOf(made)->definition();
    EXPECT_EQ(1U, kept.getMultiCheckValueValidators().size());
    EXPECT_EQ(4, kept.getValidator().which());
    EXPECT_EQ(1, kept.getFactoryValueFcn().which());
    EXPECT_FALSE(kept.getErrorHandler().empty());
    EXPECT_EQ(ReadOnlyState::readOnly, nodeOf(made)->readOnlyState());
    EXPECT_EQ("CannotChangeValueForReadOnlySetting",
              failureOf([&] { create("fresh.inner.s", definitionOf(Array::scalar(3.0))); }));
    for (Handle above = made->getParent(); !above->isRoot(); above = above->getParent()) {
        const auto groupKept = nodeOf(above)->definition();
        EXPECT_FALSE(groupKept.getVisible());
        EXPECT_TRUE(groupKept.getHasAdditionalFile());
        EXPECT_TRUE(groupKept.getIsToolboxGroup());
        EXPECT_EQ(ReadOnlyState::writable, nodeOf(above)->readOnlyState());
    }
    EXPECT_TRUE(tree.root->getSettingsByFullName("fresh.inner.s")->isVisible());

    FactorySettingProperties alias = definitionOf({});
    alias.setAliasName("editor.zoom");
    EXPECT_EQ("editor.zoom", nodeOf(create("editor.old", alias))->aliasName());
    const Handle empty = create("editor.default", upToTen({}, {}, seven));
    EXPECT_EQ(7.0, editor->get<double>("default"));
}

TEST_F(CreateAndSetValue, TheShapeFlagIsThatOfTheArray) {
    const std::pair<Array, bool> rows[] = {{Array::scalar(1.0), false},
                                           {Array::row<double>({1, 2}), true},
                                           {Array::text(u"ab"), false},
                                           {Array::make<double>({0, 0}, {}), true}};
    int number = 0;
    for (const auto& [value, flag] : rows) {
        const std::string name = "editor.s" + std::to_string(++number);
        EXPECT_EQ(flag, nodeOf(create(name, definitionOf(value)))->valueOn(LevelIndex::user).second)
            << number;
        create(name, definitionOf(Array::scalar(true)));
        EXPECT_EQ(flag, nodeOf(create(name, definitionOf(value)))->valueOn(LevelIndex::user).second)
            << number;
    }
}

TEST_F(CreateAndSetValue, APresentSettingTakesTheValueOnly) {
    const Handle made = create("editor.s", upToTen(Array::scalar(1.0)));
    const CRunTimeDefault seven("tests", "seven", [] { return Array::scalar(7.0); });
    EXPECT_EQ("ValueIsNotInRange", failureOf([&] { create("editor.s", definitionOf(Array::scalar(11.0))); }));
    EXPECT_EQ(Lines{"editor.s"}, told);
    for (int i = 0; i < 2; ++i) // nor are two run-time defaults too many
        EXPECT_TRUE(Settings::equal(*made, *create("editor.s", definitionOf(Array::scalar(2.0), {}, seven))));
    EXPECT_EQ(2.0, editor->get<double>("s"));
    EXPECT_EQ(0, nodeOf(made)->definition().getFactoryValueFcn().which());
}

/// Its validation function, which runs before the setting is added, is a way into that moment.
TEST_F(CreateAndSetValue, WhatAnotherThreadCreatesMeanwhileIsUsed) {
    std::function<void()> meanwhile;
    const CPPValidator function(
        [&](const auto&, const auto&, const Array&) {
            if (const auto action = std::exchange(meanwhile, {}))
                std::thread(action).join();
        },
        "tests", "meanwhile");
    const auto run = [&](const std::string& name, std::function<void()> action) {
        meanwhile = std::move(action);
        return failureOf([&] { create(name, definitionOf(Array::scalar(2.0), ValidatorVariant(function))); });
    };
    EXPECT_EQ("", run("editor.s", [&] { create("editor.s", upToTen(Array::scalar(1.0))); }));
    EXPECT_EQ(Array::scalar(std::int64_t{2}), editor->get("s")); // checked by the definition that was first
    EXPECT_EQ("", run("editor.inner.s", [&] { editor->addGroup("inner", true, false, "user"); }));
    EXPECT_EQ(2.0, editor->getChild("inner")->get<double>("s"));
    EXPECT_EQ("", run("fresh.s", [&] { create("fresh.t", definitionOf(Array::scalar(1.0))); }));
    EXPECT_EQ(2U, tree.root->getChild("fresh")->getChildren().size());
    // What is refused, or taken by something else, stays an error.
    const CPPValidator refusing(
        [&](const auto&, const auto&, const Array&) {
            create("editor.r", definitionOf(Array::scalar(1.0)));
            throw exception::InvalidValidator();
        },
        "tests", "refusing");
    EXPECT_EQ("InvalidValidator",
              failureOf([&] { create("editor.r", definitionOf(Array::scalar(2.0), refusing)); }));
    EXPECT_EQ(1.0, editor->get<double>("r"));
    EXPECT_EQ("NotAKeyName", run("editor.group", [&] { editor->addGroup("group", true, false, "user"); }));
    EXPECT_EQ("ErrorAddingTopLevelNode", run("Lower.s", [&] { tree.group("lower"); }));
    EXPECT_EQ("ErrorAddingTopLevelNode", run("LOWER.s", {}));
}

} // namespace
