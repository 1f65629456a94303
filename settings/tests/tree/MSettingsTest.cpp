// The handle of the language front ends: names, definitions, nodes made outside a tree, folders of trees.

#include "support/Definitions.hpp"
#include "support/LogLines.hpp"
#include "support/TempFolder.hpp"
#include "support/TestTree.hpp"

#include "settingscore/MSettings.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/events/SettingsValueChangeEvent.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/root/RootStates.hpp"
#include "varnek/event/EventManager.hpp"
#include "varnek/files/PathText.hpp"

#include <gtest/gtest.h>

#include <thread>

namespace {

using namespace settings::test;
using namespace settings::core;

using varnek::event::EventManager;
using varnek::event::ScopedConnection;
using Lines = std::vector<std::string>;
using MHandle = boost::shared_ptr<MSettings>;

TEST(MSettingsNames, LettersThenLettersDigitsAndUnderscores) {
    for (const std::string& name : {std::string("a"), std::string("Z9"), std::string("a1_b"),
                                    std::string("x__"), std::string(5000, 'n')})
        EXPECT_NO_THROW(MSettings::validateSettingOrGroupName(name)) << name;
    for (const char* name : {"1a", "_a", "a-b", "a b", " a", "a.b", "\xC3\xA4", "a\xC3\xA4", "a\xFF", "a\n"})
        try {
            MSettings::validateSettingOrGroupName(name);
            ADD_FAILURE() << name;
        } catch (const exception::InvalidSettingOrGroupName& failure) {
            EXPECT_EQ(name, failure.getInputNodeName());
        }
    try {
        MSettings::validateSettingOrGroupName("");
        ADD_FAILURE();
    } catch (const std::out_of_range& failure) {
        EXPECT_STREQ("invalid string position", failure.what());
    }
    EXPECT_EQ("InvalidSettingOrGroupName", failureOf([] { MSettings::createSettingsNode("1", false); }));
    EXPECT_EQ("InvalidSettingOrGroupName", failureOf([] { MSettings::createSetting("a b", false, {}); }));
    EXPECT_EQ("out_of_range", failureOf([] { MSettings::createSettingsNode("", false); }));
}

/// The tree of an index of its own, made through the public interface and taken away again.
struct FrontEnd : testing::Test {
    FrontEnd() {
        MSettings::setSettingsFileLocation(index, boost::none, folder("installation"), folder("user"),
                                           boost::none);
        EXPECT_TRUE(MSettings::createEmptySettingsFor(index));
        root = MSettings::getMSettingsRoot(index);
        editor = MSettings::of(root->addGroup("editor", true, false, "user"));
        editor->createFactorySetting("width", false, definitionOf(Array::scalar(80.0)));
    }
    ~FrontEnd() override {
        detail::RootStates::instance().erase(index.index());
        const std::u16string none;
        MSettings::setSettingsFileLocation(index, none, none, none, none);
    }
    std::u16string folder(const std::string& name) const {
        std::filesystem::create_directories(base.path() / name);
        return varnek::files::utf16FromPath(base.path() / name);
    }
    bool isSaved(const std::string& group) const {
        settings::core::waitForSettingsSaves();
        return std::filesystem::exists(base.path() / "user" / (group + ".vksettings"));
    }

    TempFolder base;
    const RootIndex index{11, true, false};
    MHandle root, editor;
};

TEST_F(FrontEnd, FactorySettings) {
    Additions told;
    const MHandle height =
        editor->createFactorySetting("height", true, definitionOf(Array::scalar(40.0), refusing(1.0)));
    editor->createFactorySetting("depth", false, definitionOf({}));
    EXPECT_EQ((Lines{"editor/height sync", "editor/depth"}), told.lines);
    EXPECT_TRUE(height->needsSyncWithVCOSTree());
    EXPECT_EQ("factory", height->getOriginLevel());
    EXPECT_EQ(40.0, editor->get<double>("height", "factory"));
    EXPECT_EQ("runtime_error", failureOf([&] { editor->set("height", 1.0, "user"); }));
    EXPECT_EQ("AttemptedRemovalOfFactoryGroupOrSetting", failureOf([&] { editor->removeNode("height"); }));

    const std::pair<const char*, std::function<void()>> refused[] = {
        {"CannotAddKeyToRoot", [&] { root->createFactorySetting("s", false, definitionOf({})); }},
        {"InvalidSettingOrGroupName", [&] { editor->createFactorySetting("a-b", false, definitionOf({})); }},
        {"InvalidValidator",
         [&] {
             editor->createFactorySetting(
                 "s", false, definitionOf({}, CValidator::fromDefinition("no_such_plugin", "check")));
         }},
        {"NotANodeName", [&] { height->createFactorySetting("s", false, definitionOf({})); }},
    };
    for (const auto& [expected, operation] : refused)
        EXPECT_EQ(expected, failureOf(operation));
    EXPECT_EQ(nullptr, editor->getChild("s"));
    EXPECT_EQ(2U, told.lines.size());
}

TEST_F(FrontEnd, ASettingDefinedAgain) {
    const auto giving = [](double value) {
        return CRunTimeDefault("tests", "give" + std::to_string(value),
                               [value] { return Array::scalar(value); });
    };
    editor->createFactorySetting("s", false, definitionOf({}));
    EXPECT_FALSE(editor->isSet("s", "factory"));
    Additions told;
    editor->createFactorySetting("s", true, definitionOf(Array::scalar(3.0), {}, giving(7.0)));
    EXPECT_EQ(7.0, editor->get<double>("s")); // its default is adopted, the rest stays
    EXPECT_FALSE(MSettings::of(editor->getChild("s"))->needsSyncWithVCOSTree());
    EXPECT_EQ("MultipleRuntimeFuncError", failureOf([&] {
                  editor->createFactorySetting("s", false, definitionOf({}, {}, giving(8.0)));
              }));
    editor->createFactorySetting("s", false, definitionOf({}));
    EXPECT_EQ(7.0, editor->get<double>("s"));
    EXPECT_EQ(Lines{}, told.lines);
    editor->addSetting("mine", Array::scalar(1.0), true, false, "user");
    editor->addGroup("group", true, false, "user");
    for (const char* taken : {"mine", "group"})
        EXPECT_EQ("SameNameChildAlreadyExisted",
                  failureOf([&] { editor->createFactorySetting(taken, false, definitionOf({})); }));
}

TEST_F(FrontEnd, NodesAreMadeApartAndThenAdded) {
    Additions told;
    const MHandle panel = MSettings::createSettingsNode("panel", true, false);
    SettingsProperties properties;
    properties.value = Array::scalar(2.0);
    properties.visible = false;
    const MHandle zoom = MSettings::createSetting("zoom", false, properties);
    EXPECT_FALSE(panel->isConnectedToTheSettingsTree());
    EXPECT_FALSE(panel->isVisible());
    EXPECT_FALSE(zoom->isVisible());
    EXPECT_EQ("user", zoom->getOriginLevel());
    zoom->setParent(panel);
    EXPECT_EQ(2.0, panel->get<double>("zoom", "user"));
    EXPECT_EQ("panel.zoom", zoom->getFullName());
    EXPECT_EQ(Lines{}, told.lines); // outside any tree

    panel->setParent(editor);
    EXPECT_EQ(Lines{"editor/panel sync"}, told.lines);
    EXPECT_EQ("editor.panel.zoom", zoom->getFullName());
    EXPECT_EQ(2.0, root->getByFullName<double>("editor.panel.zoom"));
    EXPECT_FALSE(panel->isTopLevelNode());
    EXPECT_TRUE(editor->isTopLevelNode());
    EXPECT_FALSE(root->isTopLevelNode());
    EXPECT_TRUE(root->isRoot());
    EXPECT_TRUE(isSaved("editor"));

    const MHandle top = MSettings::createSettingsNode("top", false);
    top->setParent(root);
    EXPECT_TRUE(top->isTopLevelNode());
    EXPECT_TRUE(isSaved("top"));
    EXPECT_EQ((Lines{"editor/panel sync", "/top"}), told.lines);
    root->removeNode("top"); // and added once more
    EXPECT_FALSE(isSaved("top"));
    top->setParent(root);
    EXPECT_TRUE(isSaved("top"));
}

TEST_F(FrontEnd, WhatCannotBeAddedStaysApart) {
    const Handle locked = root->addGroup("locked", true, true, "user");
    const MHandle group = MSettings::createSettingsNode("group", false);
    const MHandle inner = MSettings::createSettingsNode("inner", false);
    inner->setParent(group);
    const MHandle setting = MSettings::createSetting("s", false, {});
    const MHandle same = MSettings::createSetting("width", false, {});
    const MHandle sameTop = MSettings::createSettingsNode("EDITOR", false);
    const MHandle refused = MSettings::createSetting("r", false, {});
    MSettings::of(refused)->setValidator(refusing(1.0));
    SettingsProperties checked;
    checked.value = Array::scalar(5.0);
    const MHandle later = MSettings::createSetting("later", false, checked);
    later->setValidator(refusing(5.0)); // its value is checked when it is added
    const std::tuple<const char*, MHandle, Handle> rows[] = {
        {"invalid_argument", group, nullptr},
        {"NotANodeName", setting, editor->getChild("width")},
        {"CannotAddKeyToRoot", setting, root},
        {"CannotAddRemoveNodeUnderReadOnlyParent", setting, locked},
        {"SameNameChildAlreadyExisted", same, editor},
        {"ErrorAddingTopLevelNode", sameTop, root},
        {"ErrorAddingChildNodeOrKey", inner, editor}, // stands in a group
        {"ErrorAddingChildNodeOrKey", group, inner},  // would stand below itself
        {"ErrorAddingChildNodeOrKey", group, group},
        {"ErrorAddingChildNodeOrKey", root, editor},
        {"runtime_error", later, editor},
    };
    Additions told;
    for (const auto& [expected, child, parent] : rows)
        EXPECT_EQ(expected, failureOf([c = child, p = parent] { c->setParent(p); }))
            << child->getName() << " below " << (parent == nullptr ? "nothing" : parent->getName());
    EXPECT_EQ(Lines{}, told.lines);
    for (const MHandle& node : {group, setting, same, sameTop, later})
        EXPECT_EQ(nullptr, node->getParent()) << node->getName();
    // A read-only group outside any tree takes children.
    const MHandle apart = MSettings::createSettingsNode("apart", false, true, ReadOnlyState::readOnly);
    setting->setParent(apart);
    EXPECT_NE(nullptr, apart->getChild("s"));
}

TEST(MSettingsProperties, AreChecked) {
    SettingsProperties properties;
    properties.value = Array::scalar(1.0);
    properties.validator = refusing(1.0);
    EXPECT_EQ("runtime_error", failureOf([&] { MSettings::createSetting("s", false, properties); }));
    properties.validator = CPPValidator({}, "tests", "none");
    EXPECT_EQ("InvalidValidator", failureOf([&] { MSettings::createSetting("s", false, properties); }));
}

/// Two threads, each making the other's node its child: one of them gets its way.
TEST(MSettingsNodes, NoCircleArises) {
    for (int i = 0; i < 200; ++i) {
        const MHandle nodes[] = {MSettings::createSettingsNode("a", false),
                                 MSettings::createSettingsNode("b", false)};
        std::thread other([&] { failureOf([&] { nodes[0]->setParent(nodes[1]); }); });
        failureOf([&] { nodes[1]->setParent(nodes[0]); });
        other.join();
        EXPECT_NE(nodes[0]->getParent() == nullptr, nodes[1]->getParent() == nullptr);
    }
}

/// A setting is changed while it gets its group: no change is lost, and events begin where it is in the tree.
TEST_F(FrontEnd, ASettingIsChangedWhileItIsAdded) {
    constexpr int rounds = 50, changes = 40;
    for (int i = 0; i < rounds; ++i) {
        const std::string name = "s" + std::to_string(i);
        double last = -1.0;
        bool isBroken = false;
        const MHandle apart = MSettings::createSettingsNode("g" + std::to_string(i), false);
        SettingsProperties properties;
        properties.value = Array::scalar(0.0);
        const MHandle setting = MSettings::createSetting(name, false, properties);
        setting->setParent(apart);
        const ScopedConnection connection = EventManager::instance().subscribe(
            setting->getListenerValueChangeEventType(), [&](const varnek::event::EventHandle& event) {
                const auto& change = dynamic_cast<const SettingsValueChangeEvent&>(*event);
                const double before = change.getOldValue().element<double>();
                isBroken = isBroken || (last >= 0 && before != last + 1);
                last = before;
            });
        std::thread writer([&] {
            for (int n = 1; n <= changes; ++n)
                apart->set(name, double(n), "session");
        });
        apart->setParent(root);
        writer.join();
        connection.disconnectAndWait();
        EXPECT_EQ(double(changes), root->getByFullName<double>(apart->getName() + "." + name));
        EXPECT_FALSE(isBroken);
    }
}

/// Settings without group are changed by several threads while they are put into one.
TEST_F(FrontEnd, TheLastChangeWinsWhileASettingGetsItsGroup) {
    for (int i = 0; i < 50; ++i) {
        const std::string name = "s" + std::to_string(i);
        const MHandle setting = MSettings::createSetting(name, false, {});
        std::vector<std::thread> writers;
        for (const double value : {1.0, 2.0})
            writers.emplace_back([&, value] {
                Settings::setTogether({{setting, Array::scalar(value)}}, "session");
                Settings::setTogether({{setting, Array::scalar(value + 10)}}, "session");
            });
        setting->setParent(editor);
        for (std::thread& writer : writers)
            writer.join();
        EXPECT_LE(11.0, editor->get<double>(name));
    }
}

TEST_F(FrontEnd, ValidatorsAreReplacedAndRunAgain) {
    const MHandle width = MSettings::of(editor->getChild("width"));
    EXPECT_NO_THROW(MSettings::validate(width));
    width->setValidator(refusing(80.0));
    EXPECT_EQ(80.0, editor->get<double>("width"));
    EXPECT_EQ("runtime_error", failureOf([&] { MSettings::validate(width); }));
    width->setValidator({});
    EXPECT_NO_THROW(MSettings::validate(width));
    EXPECT_EQ("NotAKeyName", failureOf([&] { MSettings::validate(editor); }));
    EXPECT_EQ("NotAKeyName", failureOf([&] { editor->setValidator({}); }));
    EXPECT_EQ("invalid_argument", failureOf([] { MSettings::validate(nullptr); }));
    EXPECT_EQ("InvalidValidator", failureOf([&] { width->setValidator(CPPValidator({}, "p", "f")); }));
    EXPECT_EQ("ErrorCreateFactoryFileFromATreeNode", failureOf([&] { editor->writeFactoryFile(u"/f", {}); }));
    EXPECT_FALSE(width->needsSyncWithVCOSTree());
    width->setSyncWithVCOSTree(true);
    EXPECT_TRUE(MSettings::of(editor->getChild("width"))->needsSyncWithVCOSTree());
}

TEST_F(FrontEnd, EachTreeMayHaveFoldersOfItsOwn) {
    const RootIndex other(12, true, false);
    const std::u16string process = MSettings::getUserDir(other);
    EXPECT_EQ(process, MSettings::getUserDir(InvalidRootIndex()));
    EXPECT_EQ(folder("user"), MSettings::getUserDir(index));
    EXPECT_EQ(folder("installation"), MSettings::getInstallationDir(index));
    EXPECT_EQ(MSettings::getFactoryDir(other), MSettings::getFactoryDir(index)); // not set
    MSettings::setSettingsFileLocation(index, std::u16string(u"/f"), boost::none, boost::none,
                                       std::u16string(u"/w"));
    EXPECT_EQ(u"/f", MSettings::getFactoryDir(index));
    EXPECT_EQ(u"/w", MSettings::getWorkgroupDir(index));
    EXPECT_EQ(u"", MSettings::getWorkgroupDir(other));
    EXPECT_EQ(folder("user"), MSettings::getUserDir(index)); // stays
    MSettings::setSettingsFileLocation(index, boost::none, boost::none, std::u16string(), boost::none);
    EXPECT_EQ(process, MSettings::getUserDir(index));
    MSettings::setSettingsFileLocation(index, boost::none, boost::none, folder("elsewhere"), boost::none);
    editor->set("width", 3.0, "user"); // a tree that is there saves into the new folder
    settings::core::waitForSettingsSaves();
    EXPECT_TRUE(std::filesystem::exists(base.path() / "elsewhere" / "editor.vksettings"));
    EXPECT_EQ("invalid_argument", failureOf([] {
                  MSettings::setSettingsFileLocation(InvalidRootIndex(), std::u16string(u"/f"), {}, {}, {});
              }));
    // The level check goes by the tree's own folder.
    MSettings::setSettingsFileLocation(index, boost::none, std::u16string(u"/dev/null/no"), boost::none,
                                       boost::none);
    EXPECT_EQ("CantModifyValuesOnReadOnlyLevel",
              failureOf([&] { editor->set("width", 1.0, "installation"); }));
}

TEST_F(FrontEnd, Trees) {
    EXPECT_FALSE(MSettings::createEmptySettingsFor(index)); // is there
    EXPECT_FALSE(MSettings::createEmptySettingsFor(InvalidRootIndex()));
    EXPECT_EQ(index, root->getRootIndex());
    LogLines log("settings::core::MSettings");
    EXPECT_TRUE(Settings::equal(*root, *MSettings::getMSettingsRoot(index)));
    EXPECT_EQ((Lines{"getMSettingsRoot:11", "getMSettingsRoot:children: 1"}), log.lines);
    EXPECT_THROW(MSettings::getMSettingsRoot(RootIndex(12, true, false)),
                 VARNEK::settings::core::SettingsLibraryNotInitialized);
    EXPECT_EQ(nullptr, MSettings::of(nullptr));
}

} // namespace
