// Settings that code defines: what they keep of their definition, what is checked and saved when they are
// added, and which setting an alias of them means.

#include "support/Definitions.hpp"
#include "support/LogLines.hpp"
#include "support/TestTree.hpp"

#include "settingscore/MSettings.hpp"
#include "settingscore/ValueCheck.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <complex>
#include <functional>

namespace {

using namespace settings::test;
using namespace settings::core;
using detail::SettingsAccess;
using Lines = std::vector<std::string>;
using MHandle = boost::shared_ptr<MSettings>;

struct DefinedInCode : testing::Test {
    /// A definition of numbers up to 10, whose error handler notes whom it is told of.
    FactorySettingProperties upToTen(const Array& value = {}, ValidatorVariant function = {}) {
        FactorySettingProperties definition(true, false, value, std::move(function), {}, false, false,
                                            {atMostTen()});
        definition.setErrorHandler([this](const std::string& name, const Array&) { told.push_back(name); });
        return definition;
    }
    static SettingValueValidator::ConfigData atMostTen() {
        NumericMetaData<MustBeScalar> number;
        number.setMaxValue(10);
        return number;
    }
    static detail::NodePtr nodeOf(const Handle& handle) { return SettingsAccess::node(*handle); }
    /// The child itself, an alias too.
    static Handle childOf(const Handle& group, const std::string& name) {
        for (const Handle& child : group->getChildren())
            if (child->getName() == name)
                return child;
        return {};
    }

    TestTree tree;
    Handle editor = tree.group("editor");
    MHandle front = MSettings::of(editor);
    Lines told;
};

const MValidator integerScalar("varnek.settings", "mustBeIntegerScalar");
const ValidatorVariant lost = CValidator::fromDefinition("nowhere", "check");

TEST_F(DefinedInCode, WhatIsMadeApartKeepsItsProperties) {
    for (const ReadOnlyState state :
         {ReadOnlyState::inherited, ReadOnlyState::writable, ReadOnlyState::readOnly}) {
        SettingsProperties properties;
        properties.readOnlyState = state;
        EXPECT_EQ(state, nodeOf(MSettings::createSetting("s", false, properties))->readOnlyState());
        EXPECT_EQ(state, nodeOf(MSettings::createSettingsNode("g", false, true, state))->readOnlyState());
    }
    for (const bool sync : {false, true}) {
        EXPECT_EQ(sync, MSettings::createSetting("s", sync, {})->needsSyncWithVCOSTree());
        EXPECT_EQ(sync, MSettings::createSettingsNode("g", sync)->needsSyncWithVCOSTree());
    }
    SettingsProperties checked;
    checked.multiCheckValueValidators = {atMostTen()};
    MSettings::createSetting("s", false, checked)->setParent(editor);
    EXPECT_EQ("ValueIsNotInRange", failureOf([&] { editor->set("s", 11.0, "user"); }));
    checked.value = Array::scalar(11.0);
    EXPECT_EQ("ValueIsNotInRange", failureOf([&] { MSettings::createSetting("s", false, checked); }));
}

TEST_F(DefinedInCode, ADefinitionIsGivenBackWithItsHandler) {
    TestTree::setting(editor, "s", upToTen());
    const auto definition = nodeOf(editor->getChild("s"))->definition();
    ASSERT_FALSE(definition.getErrorHandler().empty());
    definition.getErrorHandler()("called", {});
    EXPECT_EQ(Lines{"called"}, told);
}

TEST_F(DefinedInCode, OnlyAnAddedSettingIsSavedWithItsNewValidator) {
    TestTree::setting(editor, "defined");
    editor->addSetting("added", Array::scalar(2.0), true, false, "user");
    tree.requests->take();
    MSettings::of(editor->getChild("defined"))->setValidator(refusing(1.0));
    EXPECT_EQ(Lines{}, tree.requests->take());
    MSettings::of(editor->getChild("added"))->setValidator(refusing(1.0));
    EXPECT_EQ(Lines{"save editor user"}, tree.requests->take());
}

TEST_F(DefinedInCode, TheHandlerIsToldByAValidationAndNotByAMereCheck) {
    TestTree::setting(editor, "s", upToTen());
    const Handle setting = editor->getChild("s");
    EXPECT_NO_THROW(MSettings::validate(setting)); // no value, nothing to refuse
    load(setting, LevelIndex::user, Array::scalar(11.0));
    EXPECT_EQ("ValueIsNotInRange", failureOf([&] { checkValue(*setting, Array::scalar(11.0)); }));
    EXPECT_EQ(1U, checkStoredValues(*editor, [](const RefusedLevelValue&) {}));
    EXPECT_EQ(Lines{}, told);
    EXPECT_EQ("ValueIsNotInRange", failureOf([&] { MSettings::validate(setting); }));
    EXPECT_EQ(Lines{"editor.s"}, told);
}

// ---- aliases ----

TEST_F(DefinedInCode, AnAliasStandsForItsDestination) {
    TestTree::setting(editor, "zoom", Array::scalar(500.0));
    TestTree::setting(editor, "old", {}, ReadOnlyState::inherited, "editor.zoom");
    const Handle zoom = childOf(editor, "zoom"), alias = childOf(editor, "old");
    EXPECT_NO_THROW(MSettings::validate(alias));
    MSettings::of(alias)->setValidator(refusing(500.0));
    for (const Handle& setting : {zoom, alias})
        EXPECT_EQ("runtime_error", failureOf([&] { MSettings::validate(setting); })) << setting->getName();
    for (const char* name : {"zoom", "old"})
        EXPECT_EQ("runtime_error", failureOf([&] { editor->set(name, 500.0, "user"); })) << name;
    EXPECT_NO_THROW(editor->set("old", 501.0, "user"));

    editor->addSetting("mine", {}, true, false, "user"); // saved where the destination is
    TestTree::setting(tree.group("other"), "away", {}, ReadOnlyState::inherited, "editor.mine");
    tree.requests->take();
    MSettings::of(childOf(tree.root->getChild("other"), "away"))->setValidator({});
    EXPECT_EQ(Lines{"save editor user"}, tree.requests->take());
    TestTree::setting(editor, "group", {}, ReadOnlyState::inherited, "other");
    EXPECT_EQ("NotAKeyName", failureOf([&] { MSettings::validate(childOf(editor, "group")); }));
    EXPECT_EQ("NotAKeyName", failureOf([&] { MSettings::of(childOf(editor, "group"))->setValidator({}); }));
}

// ---- settings of a factory ----

TEST_F(DefinedInCode, AFactorySettingIsNotSavedAndHoldsOnlySupportedValues) {
    RecordedEvents events;
    front->createFactorySetting("s", false, definitionOf(Array::scalar(1.0)));
    EXPECT_EQ(Lines{"added editor.s to editor"}, events.take());
    EXPECT_EQ("UnsupportedType", failureOf([&] {
                  front->createFactorySetting("c", false,
                                              definitionOf(Array::scalar(std::complex<double>(1, 1))));
              }));
    EXPECT_EQ("InvalidValidator",
              failureOf([&] { front->createFactorySetting("v", false, definitionOf({}, lost)); }));
    EXPECT_EQ(1U, editor->getChildren().size());
    EXPECT_EQ(Lines{}, events.take());
    EXPECT_EQ(Lines{}, tree.requests->take());
}

TEST_F(DefinedInCode, WhatASecondDefinitionSaysInVainDoesNoHarm) {
    const CRunTimeDefault one("tests", "one", [] { return Array::scalar(1.0); });
    front->createFactorySetting("s", false, upToTen(Array::scalar(1.0)));
    EXPECT_NO_THROW(front->createFactorySetting("s", false, definitionOf({}, lost, one)));
    EXPECT_EQ("", failureOf([&] { editor->set("s", 2.0, "user"); })); // checked as before
    EXPECT_EQ("ValueIsNotInRange", failureOf([&] { editor->set("s", 11.0, "user"); }));
    try {
        front->createFactorySetting("s", false, definitionOf({}, {}, one));
        ADD_FAILURE() << "two run-time defaults";
    } catch (const exception::MultipleRuntimeFuncError& failure) {
        ASSERT_NE(nullptr, failure.getCausingObject());
        EXPECT_TRUE(Settings::equal(*editor->getChild("s"), *failure.getCausingObject()));
    }
}

/// A callable that does something when it is copied for the first time, as it is when a definition is taken
/// over.
struct Meanwhile {
    explicit Meanwhile(std::function<void()> action)
        : action_(boost::make_shared<std::function<void()>>(std::move(action))) {}
    Meanwhile(const Meanwhile& other) : action_(other.action_) {
        if (isOn)
            if (const auto action = std::exchange(*action_, {}))
                action();
    }
    Meanwhile& operator=(const Meanwhile&) = delete;
    Array operator()() const { return Array::scalar(7.0); }

    static inline bool isOn = false;

  private:
    boost::shared_ptr<std::function<void()>> action_;
};

TEST_F(DefinedInCode, ASettingThatAnotherThreadDefinesMeanwhileIsDefinedAgain) {
    MHandle first;
    const Meanwhile other([&] { first = front->createFactorySetting("s", false, upToTen()); });
    const auto definition = definitionOf(Array::scalar(1.0), {}, CRunTimeDefault("tests", "seven", other));
    RecordedEvents events;
    Meanwhile::isOn = true;
    const MHandle second = front->createFactorySetting("s", false, definition);
    Meanwhile::isOn = false;
    ASSERT_NE(nullptr, first);
    EXPECT_TRUE(Settings::equal(*first, *second));
    EXPECT_EQ(Lines{"added editor.s to editor"}, events.take());
    EXPECT_EQ(7.0, editor->get<double>("s")); // the first has no value, and takes the default of the second
    EXPECT_EQ("ValueIsNotInRange", failureOf([&] { editor->set("s", 11.0, "user"); }));
}

// ---- adding ----

TEST_F(DefinedInCode, ANewSettingIsCheckedInTheNameOfItsGroup) {
    LogLines log("settings::core::settingValueValidators");
    try {
        nodeOf(editor)->addSetting("s", upToTen(Array::scalar(11.0)), "user");
        ADD_FAILURE() << "is accepted";
    } catch (const exception::ValueIsNotInRange& refused) {
        ASSERT_NE(nullptr, refused.getCausingObjectParent());
        EXPECT_EQ("editor", refused.getCausingObjectParent()->getFullName());
    }
    EXPECT_EQ(Lines{"editor.s"}, told);
    ASSERT_FALSE(log.lines.empty());
    EXPECT_EQ("Validate setting: editor.s with 1 validators.", log.lines.front());
}

TEST_F(DefinedInCode, AnAddedSubtreeIsCheckedUnderTheNamesItIsToHave) {
    const MHandle panel = MSettings::createSettingsNode("panel", false);
    const MHandle inner = MSettings::createSettingsNode("inner", false);
    inner->setParent(panel);
    inner->createFactorySetting("s", false, upToTen());
    load(inner->getChild("s"), LevelIndex::user, Array::scalar(11.0));
    LogLines log("settings::core::settingValueValidators");
    try {
        panel->setParent(editor);
        ADD_FAILURE() << "is accepted";
    } catch (const exception::ValueIsNotInRange& refused) {
        EXPECT_TRUE(Settings::equal(*inner, *refused.getCausingObjectParent()));
    }
    EXPECT_EQ(Lines{"editor.panel.inner.s"}, told);
    ASSERT_FALSE(log.lines.empty());
    EXPECT_EQ("Validate setting: editor.panel.inner.s with 1 validators.", log.lines.front());
    EXPECT_EQ(nullptr, panel->getParent());
    EXPECT_EQ(nullptr, editor->getChild("panel"));

    load(inner->getChild("s"), LevelIndex::user, {});
    nodeOf(inner->getChild("s"))->setValidator(lost);
    EXPECT_EQ("InvalidValidator", failureOf([&] { panel->setParent(editor); }));
    nodeOf(inner->getChild("s"))->setValidator({});
    EXPECT_NO_THROW(panel->setParent(editor));
}

TEST_F(DefinedInCode, EveryLevelOfAnAddedSubtreeIsSaved) {
    using Rows = std::pair<std::vector<LevelIndex>, Lines>;
    for (const auto& [levels, saves] :
         {Rows{{}, {"save editor user"}}, Rows{{LevelIndex::session}, {"save editor user"}},
          Rows{{LevelIndex::installation}, {"save editor user", "save editor installation"}}}) {
        const MHandle panel = MSettings::createSettingsNode("panel", false);
        MSettings::createSetting("s", false, {})->setParent(panel);
        for (const LevelIndex level : levels)
            load(panel->getChild("s"), level, Array::scalar(1.0));
        tree.requests->take();
        panel->setParent(editor);
        EXPECT_EQ(saves, tree.requests->take());
        editor->removeNode("panel");
    }
}

TEST_F(DefinedInCode, WhatValidatorsMakeOfAValueIsStoredWhenItIsAdded) {
    const auto three = [] {
        SettingsProperties properties;
        properties.value = Array::scalar(3.0);
        const MHandle setting = MSettings::createSetting("s", false, properties);
        setting->setValidator(integerScalar);
        return setting;
    };
    three()->setParent(editor);
    const MHandle panel = MSettings::createSettingsNode("panel", false);
    three()->setParent(panel);
    panel->setParent(editor);
    for (const Handle& group : {editor, Handle(panel)}) {
        EXPECT_EQ(Array::scalar(std::int64_t{3}), group->get("s", "user")) << group->getName();
        EXPECT_EQ(9U, *group->getDataTypeIndex("s")) << group->getName(); // that of the stored form
    }

    // The form of a value that the setting does not hold any more, or that is not added, is not stored.
    const MHandle other = MSettings::createSettingsNode("other", false);
    NumericMetaData<MustBeScalar> integer;
    integer.mustBeInteger();
    std::function<void()> meanwhile;
    SettingsProperties properties;
    properties.multiCheckValueValidators = {integer};
    const MHandle setting = MSettings::createSetting("t", false, properties);
    setting->setParent(other);
    load(setting, LevelIndex::user, Array::scalar(3.0));
    setting->setValidator(CPPValidator(
        [&](const auto&, const auto&, const Array&) {
            if (const auto action = std::exchange(meanwhile, {}))
                action();
        },
        "tests", "meanwhile"));
    meanwhile = [&] { editor->addGroup("other", true, false, "user"); };
    EXPECT_EQ("ErrorAddingChildNodeOrKey", failureOf([&] { other->setParent(editor); }));
    EXPECT_EQ(nullptr, other->getParent());
    EXPECT_EQ(Array::scalar(3.0), other->get("t"));
    editor->removeNode("other");
    meanwhile = [&] { other->set("t", 8.0, "user"); };
    other->setParent(editor);
    EXPECT_EQ(Array::scalar(std::int64_t{8}), editor->getChild("other")->get("t"));
}

} // namespace
