// Setting, unsetting and reading back through the public handle: checks and their order, events, save
// requests.

#include "support/LogLines.hpp"
#include "support/TestTree.hpp"

#include "settingscore/ValueCheck.hpp"
#include "settingscore/boostany/SupportedTypes.hpp"
#include "settingscore/events/EventNotifyFunction.hpp"
#include "settingscore/events/SettingsEvent.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"

#include <boost/numeric/conversion/cast.hpp>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using namespace settings::test;
namespace core = settings::core;
using settings::core::ReadOnlyState;
using Lines = std::vector<std::string>;

struct StorePath : testing::Test {
    TestTree tree;
    Handle editor = tree.group("editor");
    Handle font = TestTree::childGroup(editor, "font");
    Handle size = TestTree::setting(font, "size", Array::scalar(12.0));
    RecordedEvents events;
};

TEST_F(StorePath, AChangeRaisesOneEventAndOneSave) {
    font->set("size", 14.0, "user");
    EXPECT_EQ(Lines{"changed editor.font.size was 12"}, events.take());
    EXPECT_EQ(Lines{"save editor user"}, tree.requests->take());
    font->unset("size", "user");
    EXPECT_EQ(Lines{"changed editor.font.size was 14"}, events.take());
    EXPECT_EQ(Lines{"save editor user"}, tree.requests->take());
}

TEST_F(StorePath, AnEqualValueIsNoChangeButAnotherShapeIs) {
    font->set("size", 14.0, "user");
    events.take();
    tree.requests->take();
    font->set("size", 14.0, "user");
    font->set("size", Array::scalar(14.0), "user");
    EXPECT_EQ(Lines{}, events.take());
    EXPECT_EQ(Lines{}, tree.requests->take());
    font->set("size", std::vector<double>{14.0}, "user");
    EXPECT_EQ(Lines{"changed editor.font.size was 14"}, events.take());
    EXPECT_EQ(Lines{"save editor user"}, tree.requests->take());
    EXPECT_EQ(typeid(std::vector<double>), font->getAny("size").type());
}

TEST_F(StorePath, AValueThatNoFileCouldHoldIsRefused) {
    const auto control = [](std::size_t count) { return Array::text(std::u16string(count, u'\1')); };
    std::vector<std::size_t> extents(70, 1);
    extents.back() = 2;
    const Array tooLong = control(12'000'000); // six bytes each
    const Array tooDeep = Array::make<double>(extents, {1.0, 2.0});
    for (const char* level : {"session", "user"})
        for (const Array& value : {tooLong, tooDeep})
            EXPECT_EQ("ValueTooLargeForFile", failureOf([&] { font->set("size", value, level); })) << level;
    EXPECT_EQ("ValueTooLargeForFile",
              failureOf([&] { font->addSetting("text", tooLong, true, false, "installation"); }));
    EXPECT_FALSE(font->getChild("text"));
    EXPECT_EQ(Lines{}, events.take());
    EXPECT_EQ(Lines{}, tree.requests->take());
    EXPECT_EQ(12.0, font->get<double>("size"));
    const core::detail::FactorySettingProperties definition(
        true, false, {}, {}, {}, false, false,
        {core::MustBeLogical<core::MustBeVector>()}); // "true" is longer than "1"
    TestTree::setting(font, "flags", definition);
    const Array ones = Array::make<std::int8_t>({1, 13'500'000}, std::vector<std::int8_t>(13'500'000, 1));
    EXPECT_EQ("ValueTooLargeForFile", failureOf([&] { font->set("flags", ones, "user"); }));
    EXPECT_EQ("ValueTooLargeForFile", failureOf([&] { core::checkValue(*font->getChild("flags"), ones); }));
    font->set("size", control(11'000'000), "user");
    EXPECT_EQ(11'000'000U, font->get<std::u16string>("size").size());
}

TEST_F(StorePath, AValueThatReadersHaveAlreadyIsSavedWithoutAnEvent) {
    font->set("size", 12.0, "user"); // the factory value
    EXPECT_TRUE(font->isSet("size", "user"));
    EXPECT_EQ(Lines{}, events.take());
    EXPECT_EQ(Lines{"save editor user"}, tree.requests->take());
}

TEST_F(StorePath, TheSaveIsAskedForBeforeAnybodyHears) {
    int calls = 0;
    settings::core::detail::setEventNotifyFunction(
        [&](const boost::shared_ptr<const settings::core::SettingsEvent>&) {
            ++calls;
            EXPECT_EQ(Lines{"save editor user"}, tree.requests->take());
        });
    const std::function<void()> changes[] = {
        [&] { font->set("size", 14.0, "user"); },
        [&] { font->unset("size", "user"); },
        [&] { font->addSetting("more", Array::scalar(1.0), true, false, "user"); },
        [&] { font->removeNode("more"); },
    };
    for (const auto& change : changes) {
        change();
        EXPECT_EQ(Lines{}, tree.requests->take());
    }
    EXPECT_EQ(4, calls);
    settings::core::detail::setEventNotifyFunction({});
}

TEST_F(StorePath, AListenerMayChangeTheTree) {
    const Handle width = TestTree::setting(editor, "width", Array::scalar(80.0));
    int depth = 0;
    Lines seen;
    settings::core::detail::setEventNotifyFunction(
        [&](const boost::shared_ptr<const settings::core::SettingsEvent>& event) {
            seen.push_back(event->getObj()->getName());
            if (++depth > 1)
                return;
            editor->set("width", 90.0, "user");
            editor->unset("width", "user");
            font->set("size", 15.0, "user");
            font->addGroup("mine", true, false, "user")->addSetting("s", Array(), true, false, "user");
            font->removeNode("mine");
        });
    font->set("size", 14.0, "user");
    settings::core::detail::setEventNotifyFunction({});
    EXPECT_EQ((Lines{"size", "width", "width", "size", "mine", "s", "mine"}), seen);
    EXPECT_EQ(15.0, font->get<double>("size"));
}

TEST_F(StorePath, OnlyEffectiveChangesAreLogged) {
    LogLines log("settings::core::settingsImpl");
    font->set("size", 14.0, "user");
    font->set("size", 13.0, "installation");
    font->unset("size", "user");
    EXPECT_EQ(Lines{"Modify setting: editor.font.size at user level."}, log.lines);
}

TEST_F(StorePath, AShadowedValueIsSavedWithoutAnEvent) {
    font->set("size", 14.0, "user");
    events.take();
    tree.requests->take();
    font->set("size", 10.0, "installation");
    EXPECT_EQ(Lines{}, events.take());
    EXPECT_EQ(Lines{"save editor installation"}, tree.requests->take());
    font->set("size", 9.0, "session");
    EXPECT_EQ(Lines{"changed editor.font.size was 14"}, events.take());
    // Dropping a shadowed value announces itself all the same.
    font->unset("size", "installation");
    EXPECT_EQ(Lines{"changed editor.font.size was 9"}, events.take());
}

std::vector<std::pair<Handle, std::pair<Array, bool>>>
pairs(const std::vector<std::pair<Handle, Array>>& values) {
    std::vector<std::pair<Handle, std::pair<Array, bool>>> all;
    for (const auto& [handle, value] : values)
        all.emplace_back(handle, std::pair(value, false));
    return all;
}

TEST_F(StorePath, AWholeBatchIsStoredOrNothing) {
    const Handle width = TestTree::setting(editor, "width", Array::scalar(80.0));
    const Handle fixed = TestTree::setting(editor, "fixed", Array::scalar(1.0), ReadOnlyState::readOnly);
    using Batch = std::vector<std::pair<Handle, Array>>;
    const Batch refused = {{size, Array::scalar(1.0)},
                           {fixed, Array::scalar(2.0)},
                           {width, Array()},
                           {font, Array::scalar(1.0)}};
    const auto failures = settings::core::Settings::setTogether(refused, "user", true);
    ASSERT_EQ(3U, failures.size());
    EXPECT_EQ("editor.fixed", failures[0].first);
    EXPECT_EQ("The setting is read-only, cannot change its value.", failures[0].second);
    EXPECT_EQ("editor.width", failures[1].first);
    EXPECT_EQ("The value passed in is void", failures[1].second);
    EXPECT_EQ("editor.font", failures[2].first);
    EXPECT_EQ("CannotChangeValueForReadOnlySetting",
              failureOf([&] { settings::core::Settings::setTogether(refused, "user"); }));
    EXPECT_EQ(12.0, font->get<double>("size"));
    EXPECT_EQ(Lines{}, events.take());
    EXPECT_EQ(Lines{}, tree.requests->take());

    const Batch good = {{size, Array::scalar(1.0)}, {width, Array::scalar(2.0)}};
    using settings::core::detail::SettingsAccess;
    EXPECT_EQ(failures, SettingsAccess::multipleValidate(pairs(refused), true));
    EXPECT_EQ("CannotChangeValueForReadOnlySetting",
              failureOf([&] { SettingsAccess::multipleValidate(pairs(refused), false); }));
    EXPECT_TRUE(SettingsAccess::multipleValidate(pairs(good), false).empty());
    EXPECT_EQ(12.0, font->get<double>("size"));
    EXPECT_TRUE(settings::core::Settings::setTogether(good, "user", true).empty());
    EXPECT_EQ((Lines{"changed editor.font.size was 12", "changed editor.width was 80"}), events.take());
    EXPECT_EQ(Lines{"save editor user"}, tree.requests->take());
    // Settings of two products: one save of each. No setting at all: the level is checked all the same.
    const Handle other = TestTree::setting(tree.group("view"), "zoom");
    settings::core::Settings::setTogether(
        {{other, Array::scalar(1.0)}, {size, Array::scalar(7.0)}, {width, Array::scalar(7.0)}}, "user");
    EXPECT_EQ((Lines{"save view user", "save editor user"}), tree.requests->take());
    for (const auto& [level, failure] :
         {std::pair("nowhere", "UnSupportedLevel"), std::pair("factory", "CantModifyValuesOnReadOnlyLevel")})
        EXPECT_EQ(failure, failureOf([level = level] { settings::core::Settings::setTogether({}, level); }));
    EXPECT_EQ("invalid_argument", failureOf([&] {
                  settings::core::Settings::setTogether({{Handle(), Array::scalar(1.0)}}, "user");
              }));
}

TEST_F(StorePath, WhatIsRefusedAndInWhichOrder) {
    TestTree::setting(font, "fixed", Array::scalar(1.0), ReadOnlyState::readOnly);
    const Array good = Array::scalar(1.0);
    const Array complex = Array::scalar(std::complex<double>(1, 2));
    struct Case {
        const char* name;
        Array value;
        const char* level;
        const char* failure;
    };
    const Case cases[] = {
        {"nothing", good, "nowhere", "NoSuchKey"},
        {"size", good, "nowhere", "UnSupportedLevel"},
        {"size", good, "User", "UnSupportedLevel"},
        {"size", good, "", "UnSupportedLevel"},
        {"fixed", good, "nowhere", "UnSupportedLevel"},
        {"fixed", good, "factory", "CantModifyValuesOnReadOnlyLevel"},
        {"size", complex, "factory", "CantModifyValuesOnReadOnlyLevel"},
        {"fixed", complex, "user", "CannotChangeValueForReadOnlySetting"},
        {"size", Array(), "user", "DefaultValidationFailedOnVoidType"},
        {"size", complex, "user", "UnsupportedType"},
        {"size", Array::make<Array>({1, 1}, {good}), "user", "UnsupportedType"},
        {"size", Array::make<Array>({1, 2}, {Array::text(u"a"), Array::text(u"b")}), "user", ""},
        {"size", Array::make<double>({0, 0}, {}), "user", ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.failure, failureOf([&] { font->set(c.name, c.value, c.level); }))
            << c.name << " on " << c.level;
    EXPECT_EQ("NotAKeyName", failureOf([&] { editor->set("font", good, "user"); }));
    EXPECT_EQ("NoSuchKey", failureOf([&] { font->setAny("nothing", std::string("narrow"), "user"); }));
    font->set("size", 1.5, "user");
    EXPECT_EQ("UnsupportedAnyType", failureOf([&] { font->setAny("size", std::string("narrow"), "user"); }));
    EXPECT_EQ(1.5, font->get<double>("size", "user"));
}

TEST_F(StorePath, AnArrayIsAVectorByItsShape) {
    const std::pair<Array, const std::type_info&> cases[] = {
        {Array::scalar(1.0), typeid(double)},
        {Array::make<double>({1, 3}, {1, 2, 3}), typeid(std::vector<double>)},
        {Array::make<double>({0, 0}, {}), typeid(std::vector<double>)},
        {Array::text(u"text"), typeid(std::u16string)},
        {Array::text(u""), typeid(std::u16string)},
        {Array::make<char16_t>({2, 2}, {u'a', u'b', u'c', u'd'}), typeid(std::vector<std::u16string>)},
    };
    for (const auto& [value, type] : cases) {
        font->set("size", value, "session");
        EXPECT_EQ(type, font->getAny("size").type());
    }
}

TEST_F(StorePath, ReadsAndUnsetsAreRefusedInTheirOwnOrder) {
    TestTree::setting(font, "fixed", Array::scalar(1.0), ReadOnlyState::readOnly);
    EXPECT_EQ("NoSuchKey", failureOf([&] { font->get("nothing", "nowhere"); }));
    EXPECT_EQ("NotAKeyName", failureOf([&] { editor->get("font", "nowhere"); }));
    EXPECT_EQ("UnSupportedLevel", failureOf([&] { font->get("size", "nowhere"); }));
    EXPECT_EQ("UnSupportedLevel", failureOf([&] { font->get<double>("size", "nowhere"); }));
    EXPECT_EQ("UnSupportedLevel", failureOf([&] { font->isSet("size", "nowhere"); }));
    EXPECT_EQ("NoSuchKey", failureOf([&] { font->getDataTypeIndex("nothing"); }));
    EXPECT_EQ("NotAKeyName", failureOf([&] { editor->getDataTypeIndex("font"); }));
    EXPECT_EQ("UnSupportedLevel", failureOf([&] { font->unset("nothing", "nowhere"); }));
    EXPECT_EQ("CantModifyValuesOnReadOnlyLevel", failureOf([&] { font->unset("nothing", "factory"); }));
    EXPECT_EQ("NoSuchKey", failureOf([&] { font->unset("nothing", "user"); }));
    EXPECT_EQ("NotAKeyName", failureOf([&] { editor->unset("font", "user"); }));
    EXPECT_EQ("NoSuchKey", failureOf([&] { font->isSet("nothing", "user"); }));
    EXPECT_EQ("NotAKeyName", failureOf([&] { editor->isSet("font", "user"); }));
    EXPECT_EQ("CannotChangeValueForReadOnlySetting", failureOf([&] { font->unset("fixed", "user"); }));
    EXPECT_EQ("ValueNotDefinedForGivenLevel", failureOf([&] { font->unset("size", "user"); }));
}

TEST_F(StorePath, NanAndNegativeZeroAreValuesLikeAnyOther) {
    font->set("size", std::nan(""), "user");
    events.take();
    font->set("size", std::nan(""), "user");
    EXPECT_EQ(Lines{}, events.take());
    font->set("size", 0.0, "user");
    events.take();
    font->set("size", -0.0, "user");
    EXPECT_EQ(Lines{"changed editor.font.size was 0"}, events.take());
    EXPECT_TRUE(std::signbit(font->get<double>("size")));
}

TEST_F(StorePath, TheDataTypeIsThatOfTheFirstAcceptedValue) {
    TestTree::setting(font, "open");
    EXPECT_FALSE(font->getDataTypeIndex("open"));
    font->set("open", std::vector<bool>{true, false}, "session");
    EXPECT_EQ(14U, *font->getDataTypeIndex("open"));
    font->set("open", 3.5, "session"); // it refuses nothing
    EXPECT_EQ(14U, *font->getDataTypeIndex("open"));
    EXPECT_EQ(12U, *font->getDataTypeIndex("size"));
}

TEST_F(StorePath, TypedReadsConvertAndSayWhyTheyCannot) {
    EXPECT_EQ(12, font->get<int>("size"));
    EXPECT_EQ(std::vector<float>{12.0F}, font->get<std::vector<float>>("size"));
    try {
        font->get<std::u16string>("size");
        ADD_FAILURE();
    } catch (const VARNEK::settings::core::DataTypeNotMatch& mismatch) {
        EXPECT_EQ((Lines{"char", "double"}), mismatch.arguments()); // expected, actual
    }
    font->set("size", 300.0, "session");
    EXPECT_THROW(font->get<unsigned char>("size"), boost::numeric::positive_overflow);
    font->set("size", std::u16string(u"größer 𝄞"), "session");
    EXPECT_EQ(u"größer 𝄞", font->get<std::u16string>("size"));
    EXPECT_THROW(font->get<double>("size"), VARNEK::settings::core::DataTypeNotMatch);
    EXPECT_THROW(font->get<char16_t>("size"), settingscore::boostany::detail::EmptyVectorCastToScalar);
    font->set("size", u'x', "session");
    EXPECT_EQ(u'x', font->get<char16_t>("size"));
    font->set("size", Array::make<double>({2, 2}, {1, 2, 3, 4}), "session");
    EXPECT_EQ((std::vector<double>{1, 2, 3, 4}), font->get<std::vector<double>>("size"));
    TestTree::setting(font, "open");
    EXPECT_EQ("AttemptToGetValueFromVoid", failureOf([&] { font->get<double>("open"); }));
    EXPECT_TRUE(font->get("open").isVoid());
    EXPECT_TRUE(font->getAny("open").empty());
}

TEST_F(StorePath, FullNamesReachFurtherDown) {
    EXPECT_EQ(12.0, tree.root->getByFullName<double>("editor.font.size"));
    EXPECT_EQ(12.0, editor->getByFullName<double>("font.size", "factory"));
    EXPECT_EQ("editor.font.size", tree.root->getSettingsByFullName("editor.font.size")->getFullName());
    for (const char* path : {"", ".", "editor.", ".editor", "editor..font", "editor.font.size.more",
                             "nothing", "editor.nothing"})
        EXPECT_EQ("InvalidNodePath", failureOf([&] { tree.root->getSettingsByFullName(path); })) << path;
    EXPECT_EQ("InvalidNodePath", failureOf([&] { tree.root->getByFullName<double>("nothing.size"); }));
    EXPECT_EQ("NoSuchKey", failureOf([&] { tree.root->getByFullName<double>("editor.font.nothing"); }));
    EXPECT_EQ("NotAKeyName", failureOf([&] { tree.root->getByFullName<double>("editor.font"); }));
}

TEST(StandaloneTree, StoresWithoutEventsAndSaves) {
    const TestTree tree(false);
    const RecordedEvents recorded;
    const Handle group = tree.group("g");
    TestTree::setting(group, "s", Array::scalar(1.0));
    group->set("s", 2.0, "user");
    group->addSetting("t", Array::scalar(1.0), true, false, "user");
    group->unset("s", "user");
    group->removeNode("t");
    EXPECT_EQ(Lines{}, tree.requests->take());
    EXPECT_FALSE(group->isConnectedToTheSettingsTree());
}

} // namespace
