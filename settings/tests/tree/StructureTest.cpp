// Adding, removing, merging, aliases, flags and names.

#include "support/LogLines.hpp"
#include "support/TestTree.hpp"

#include "settingscore/events/EventNotifyFunction.hpp"
#include "settingscore/events/SettingsEvent.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/node/SettingsImplProxy.hpp"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

namespace {

using namespace settings::test;
using settings::core::LevelIndex;
using settings::core::ReadOnlyState;
using settings::core::Settings;
using Lines = std::vector<std::string>;

struct Structure : testing::Test {
    TestTree tree;
    Handle editor = tree.group("editor");
    RecordedEvents events;
};

TEST_F(Structure, AddedNodesAreAnnouncedSavedAndCanBeRemovedAgain) {
    const Handle macros = editor->addGroup("macros", true, false, "user");
    EXPECT_EQ(Lines{"added editor.macros to editor"}, events.take());
    EXPECT_TRUE(Settings::equal(editor, macros->getParent()));
    EXPECT_TRUE(Settings::equal(tree.root, editor->getParent()));
    EXPECT_EQ(Lines{"save editor user"}, tree.requests->take());
    const Handle run = macros->addSetting("run", Array::text(u"F5"), false, false, "user");
    EXPECT_EQ(Lines{"added editor.macros.run to editor.macros"}, events.take());
    EXPECT_EQ(Lines{"save editor user"}, tree.requests->take());
    EXPECT_EQ(u"F5", macros->get<std::u16string>("run", "user"));
    EXPECT_TRUE(macros->get("run", "factory").isVoid());
    EXPECT_FALSE(run->isVisible());
    EXPECT_EQ("user", run->getOriginLevel());

    macros->removeNode("run");
    EXPECT_EQ(Lines{"removed run from editor.macros"}, events.take());
    EXPECT_EQ(Lines{"save editor user"}, tree.requests->take());
    EXPECT_EQ(nullptr, macros->getChild("run"));
    EXPECT_EQ("run", run->getFullName()); // the handle keeps the node
    EXPECT_FALSE(run->isConnectedToTheSettingsTree());
    EXPECT_EQ(nullptr, run->getParent());
    editor->removeNode("macros");
    EXPECT_EQ((Lines{"removed macros from editor"}), events.take());
}

TEST_F(Structure, ARemovedTopLevelGroupLosesItsFile) {
    tree.root->addGroup("mine", true, false, "user")
        ->addSetting("s", Array::scalar(1.0), true, false, "user");
    tree.requests->take();
    tree.root->removeNode("mine");
    EXPECT_EQ(Lines{"delete mine user"}, tree.requests->take());
}

TEST_F(Structure, WhatCannotBeAdded) {
    TestTree::setting(editor, "width", Array::scalar(80.0));
    const Handle locked = TestTree::childGroup(editor, "locked", ReadOnlyState::readOnly);
    const Handle inner = TestTree::childGroup(locked, "inner");
    const Handle open = TestTree::childGroup(locked, "open", ReadOnlyState::writable);
    tree.group("Window");
    const Array one = Array::scalar(1.0);
    struct Case {
        const char* what;
        std::function<void()> add;
        const char* failure;
    };
    const Case cases[] = {
        {"unknown level first", [&] { tree.root->addSetting("s", one, true, false, "nowhere"); },
         "UnSupportedLevel"},
        {"factory", [&] { editor->addGroup("g", true, false, "factory"); },
         "CantModifyValuesOnReadOnlyLevel"},
        {"setting below root", [&] { tree.root->addSetting("s", one, true, false, "user"); },
         "CanNotAddKeyToRootException"},
        {"same product", [&] { tree.root->addGroup("editor", true, false, "user"); },
         "ErrorAddingTopLevelNode"},
        {"product by case", [&] { tree.root->addGroup("WINDOW", true, false, "user"); },
         "ErrorAddingTopLevelNode"},
        {"read-only before name", [&] { locked->addGroup("inner", true, false, "user"); },
         "CannotAddRemoveNodeUnderReadOnlyParent"},
        {"inherited read-only", [&] { inner->addGroup("g", true, false, "user"); },
         "CannotAddRemoveNodeUnderReadOnlyParent"},
        {"explicitly writable", [&] { open->addGroup("g", true, false, "user"); }, ""},
        {"same name", [&] { editor->addSetting("width", one, true, false, "user"); },
         "SameNameChildAlreadyExisted"},
        {"group for setting", [&] { editor->addGroup("width", true, false, "user"); },
         "SameNameChildAlreadyExisted"},
        {"other case below", [&] { editor->addGroup("Width", true, false, "user"); }, ""},
        {"level before read-only", [&] { locked->addGroup("g", true, false, "factory"); },
         "CantModifyValuesOnReadOnlyLevel"},
        {"name before value",
         [&] { editor->addSetting("width", Array::scalar(std::complex<double>()), true, false, "user"); },
         "SameNameChildAlreadyExisted"},
        {"unsupported value",
         [&] { editor->addSetting("z", Array::scalar(std::complex<double>()), true, false, "user"); },
         "UnsupportedType"},
        {"empty name", [&] { editor->addGroup("", true, false, "user"); }, "InvalidSettingOrGroupName"},
        {"endless name", [&] { editor->addGroup(std::string(5000, 'a'), true, false, "user"); },
         "InvalidSettingOrGroupName"},
        {"long file name", [&] { tree.root->addGroup(std::string(100, '$'), true, false, "user"); },
         "InvalidSettingOrGroupName"},
        {"below a setting", [&] { editor->getChild("width")->addGroup("g", true, false, "user"); },
         "NotANodeName"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.failure, failureOf(c.add)) << c.what;
    EXPECT_EQ(nullptr, editor->getChild("z"));
    EXPECT_NE(nullptr, standaloneGroup("file", ReadOnlyState::readOnly)->addGroup("g", true, false, "user"));
}

TEST_F(Structure, WhatCannotBeRemoved) {
    TestTree::setting(editor, "width", Array::scalar(80.0));
    const Handle locked = TestTree::childGroup(editor, "locked", ReadOnlyState::readOnly);
    TestTree::setting(locked, "s");
    EXPECT_EQ("NoSuchNode", failureOf([&] { editor->removeNode("nothing"); }));
    EXPECT_EQ("NoSuchNode", failureOf([&] { locked->removeNode("nothing"); }));
    EXPECT_EQ("CannotAddRemoveNodeUnderReadOnlyParent", failureOf([&] { locked->removeNode("s"); }));
    EXPECT_EQ("AttemptedRemovalOfFactoryGroupOrSetting", failureOf([&] { editor->removeNode("width"); }));
    EXPECT_EQ("AttemptedRemovalOfFactoryGroupOrSetting", failureOf([&] { tree.root->removeNode("editor"); }));
    EXPECT_EQ(Lines{}, events.take());
}

TEST_F(Structure, ReadOnlyHasThreeStates) {
    const Handle locked = TestTree::childGroup(editor, "locked", ReadOnlyState::readOnly);
    const Handle inner = TestTree::childGroup(locked, "inner");
    const Handle open = TestTree::childGroup(inner, "open", ReadOnlyState::writable);
    EXPECT_FALSE(editor->isReadOnly());
    EXPECT_TRUE(inner->isReadOnly());
    EXPECT_FALSE(open->isReadOnly());
    EXPECT_FALSE(TestTree::setting(inner, "inherited")->isReadOnly()); // a setting asks nobody
    EXPECT_TRUE(TestTree::setting(open, "fixed", {}, ReadOnlyState::readOnly)->isReadOnly());
}

TEST_F(Structure, VisibilityIsTheNodesOwn) {
    const Handle hidden = editor->addGroup("hidden", false, false, "user");
    EXPECT_FALSE(hidden->isVisible());
    EXPECT_TRUE(hidden->addGroup("shown", true, false, "user")->isVisible());
    EXPECT_TRUE(hidden->addSetting("s", Array(), true, false, "user")->isVisible());
    EXPECT_FALSE(editor->getVersionNumber());
}

TEST_F(Structure, MergeChecksInOrderAndStoresOneBatch) {
    const Handle width = TestTree::setting(editor, "width", Array::scalar(80.0));
    const Handle font = TestTree::childGroup(editor, "font");
    TestTree::setting(font, "size", Array::scalar(12.0));
    const auto input = [&](LevelIndex level) {
        const Handle other = standaloneGroup("editor");
        load(TestTree::setting(other, "width"), level, Array::scalar(90.0));
        load(TestTree::setting(TestTree::childGroup(other, "font"), "size"), level, Array::scalar(9.0));
        load(TestTree::setting(other, "unknown"), level, Array::scalar(7.0));
        return other;
    };
    const Handle other = input(LevelIndex::user);
    EXPECT_EQ("UnSupportedLevel", failureOf([&] { tree.root->mergeDescendants(other, "nowhere"); }));
    EXPECT_EQ("CantModifyValuesOnReadOnlyLevel",
              failureOf([&] { tree.root->mergeDescendants(other, "factory"); }));
    EXPECT_EQ("CannotMergeWithSettingsRoot", failureOf([&] { tree.root->mergeDescendants(other, "user"); }));
    EXPECT_EQ("ErrorMergingWithCircularReference",
              failureOf([&] { font->mergeDescendants(editor, "user"); }));
    EXPECT_EQ("ErrorMergingWithCircularReference",
              failureOf([&] { editor->mergeDescendants(editor, "user"); }));
    // root before circle, circle through a proxy, standing in a tree before differing kinds
    EXPECT_EQ("CannotMergeWithSettingsRoot", failureOf([&] { tree.root->mergeDescendants(editor, "user"); }));
    const Handle proxy = settings::core::detail::SettingsAccess::wrap(
        boost::make_shared<settings::core::detail::SettingsImplProxy>(
            settings::core::detail::SettingsAccess::node(*editor)));
    for (const auto& [to, from] : {std::pair(editor, proxy), std::pair(font, proxy), std::pair(proxy, font)})
        EXPECT_EQ("ErrorMergingWithCircularReference",
                  failureOf([&, to = to, from = from] { to->mergeDescendants(from, "user"); }));
    const Handle window = tree.group("window");
    TestTree::setting(window, "font");
    EXPECT_EQ("CanOnlyMergeTreeNodeWithStandaloneNode",
              failureOf([&] { editor->mergeDescendants(window, "user"); }));
    EXPECT_EQ("invalid_argument", failureOf([&] { editor->mergeDescendants({}, "user"); }));
    EXPECT_EQ("CanOnlyMergeTreeNodeWithStandaloneNode",
              failureOf([&] { standaloneGroup("editor")->mergeDescendants(other, "user"); }));
    EXPECT_EQ("ErrorMergingNodesWithDiffAttr", failureOf([&] { width->mergeDescendants(other, "user"); }));
    events.take();
    tree.requests->take();

    LogLines log("settings::core::settingsImpl");
    editor->mergeDescendants(other, "user");
    EXPECT_EQ((Lines{"changed editor.font.size was 12", "changed editor.width was 80"}), events.take());
    EXPECT_EQ(Lines{"save editor user"}, tree.requests->take());
    EXPECT_EQ(9.0, font->get<double>("size", "user"));
    EXPECT_NE(log.lines.end(), std::find_if(log.lines.begin(), log.lines.end(), [](const std::string& line) {
                  return line.find("editor.unknown") != std::string::npos;
              }));
    editor->mergeDescendants(input(LevelIndex::session), "user"); // holds nothing on that level
    EXPECT_EQ(Lines{}, events.take());

    const Handle differs = standaloneGroup("editor");
    load(TestTree::setting(differs, "width"), LevelIndex::user, Array::scalar(1.0));
    TestTree::setting(differs, "font");
    EXPECT_EQ("ErrorMergingNodesWithDiffAttr", failureOf([&] { editor->mergeDescendants(differs, "user"); }));
    EXPECT_EQ(90.0, editor->get<double>("width"));
}

TEST_F(Structure, AnAliasLeadsToItsDestinationOneStepFar) {
    const Handle view = tree.group("view");
    const Handle zoom = TestTree::setting(view, "zoom", Array::scalar(1.0));
    TestTree::setting(editor, "zoom", Array::scalar(5.0), ReadOnlyState::inherited, "view.zoom");
    TestTree::setting(editor, "chained", Array::scalar(6.0), ReadOnlyState::inherited, "editor.zoom");
    TestTree::setting(editor, "lost", Array::scalar(7.0), ReadOnlyState::inherited, "view.gone");
    LogLines log("settings::core::settingsImpl");
    EXPECT_EQ(1.0, editor->get<double>("zoom"));
    EXPECT_TRUE(Settings::equal(zoom, editor->getChild("zoom")));
    EXPECT_EQ(5.0, editor->get<double>("chained"));
    EXPECT_EQ(7.0, editor->get<double>("lost"));
    EXPECT_EQ(7.0, editor->get<double>("lost")); // reported once
    EXPECT_EQ((Lines{"Alias from:editor.zoomto:view.zoom", "Alias from:editor.chainedto:editor.zoom",
                     "try to map editor.lost to view.gone failed. Dest node does not exist."}),
              log.lines);
    editor->set("zoom", 2.0, "user");
    EXPECT_EQ(2.0, view->get<double>("zoom"));
    EXPECT_EQ(Lines{"changed view.zoom was 1"}, events.take());
    EXPECT_EQ(Lines{"save view user"}, tree.requests->take());
    editor->unset("zoom", "user");
    EXPECT_EQ(1.0, editor->getByFullName<double>("zoom"));
    events.take();
    // Writing goes the one step that reading goes.
    const std::function<void()> writes[] = {
        [&] { editor->set("chained", 11.0, "user"); },
        [&] { editor->set("chained", Array::scalar(12.0), "user"); },
        [&] { editor->setAny("chained", boost::any(13.0), "user"); },
        [&] {
            const Handle other = standaloneGroup("editor");
            load(TestTree::setting(other, "chained"), LevelIndex::user, Array::scalar(14.0));
            editor->mergeDescendants(other, "user");
        },
    };
    double expected = 10.0;
    for (const auto& write : writes) {
        write();
        EXPECT_EQ(++expected, editor->get<double>("chained"));
        EXPECT_EQ(1.0, view->get<double>("zoom"));
        EXPECT_EQ(12U, *editor->getDataTypeIndex("chained"));
    }
    editor->unset("chained", "user");
    EXPECT_EQ(5.0, editor->get<double>("chained"));
}

TEST_F(Structure, AliasesThatLeadNowhereOrInCirclesStandForThemselves) {
    const auto alias = [&](const char* name, const char* destination) {
        return TestTree::setting(editor, name, Array::scalar(3.0), ReadOnlyState::inherited, destination);
    };
    alias("self", "editor.self");
    alias("prefix", "editor.prefix.x");
    alias("there", "editor.back.y");
    alias("back", "editor.there.x");
    alias("top", "editor");
    TestTree::childGroup(editor, "font");
    alias("group", "editor.font");
    for (const char* name : {"self", "prefix", "there", "back"})
        EXPECT_EQ(3.0, editor->get<double>(name)) << name;
    EXPECT_EQ("NotAKeyName", failureOf([&] { editor->get("top"); }));
    EXPECT_EQ("NotAKeyName", failureOf([&] { editor->set("group", 1.0, "user"); }));
    for (const Handle& child : editor->getChildren())
        child->getFullName();
}

TEST_F(Structure, AnAliasOfARemovedSettingStandsForItselfAgain) {
    const Handle mine = tree.root->addGroup("mine", true, false, "session");
    mine->addSetting("s", Array::scalar(1.0), true, false, "session");
    TestTree::setting(editor, "a", Array::scalar(5.0), ReadOnlyState::inherited, "mine.s");
    EXPECT_EQ(1.0, editor->get<double>("a"));
    const Handle alias = editor->getChildren().front(); // the alias itself, not what it leads to
    Settings::setTogether({{alias, Array::scalar(2.0)}}, "session");
    EXPECT_EQ(2.0, mine->get<double>("s"));
    tree.root->removeNode("mine");
    EXPECT_EQ(5.0, editor->get<double>("a"));
    tree.root->addGroup("mine", true, false, "session")
        ->addSetting("s", Array::scalar(9.0), true, false, "session");
    EXPECT_EQ(9.0, editor->get<double>("a"));
}

TEST_F(Structure, AnAliasWorksInATreeWithoutARoot) {
    const Handle file = standaloneGroup("editor");
    TestTree::setting(file, "b", Array::scalar(1.0));
    TestTree::setting(file, "a", Array::scalar(5.0), ReadOnlyState::inherited, "editor.b");
    EXPECT_EQ(1.0, file->get<double>("a"));
}

TEST_F(Structure, ASettingHasNoChildren) {
    const Handle width = TestTree::setting(editor, "width", Array::scalar(80.0));
    for (const auto& operation : std::vector<std::function<void()>>{
             [&] { width->get("x"); }, [&] { width->isSet("x", "user"); }, [&] { width->removeNode("x"); },
             [&] { width->set("x", 1.0, "user"); }, [&] { width->setAny("x", 1.0, "user"); },
             [&] { width->set("x", Array::scalar(1.0), "user"); },
             [&] { width->addSetting("x", Array(), true, false, "user"); },
             [&] { TestTree::setting(width, "x"); }})
        EXPECT_EQ("NotANodeName", failureOf(operation));
    EXPECT_TRUE(width->getChildren().empty());
    EXPECT_EQ(nullptr, width->getChild("x"));
}

TEST_F(Structure, AnyNameIsKeptExactly) {
    for (const char* name : {"a.b", "../x", "größe", "a b", "A", "a", "100%"})
        editor->addSetting(name, Array::scalar(1.0), true, false, "user");
    Lines names;
    for (const Handle& child : editor->getChildren())
        names.push_back(child->getName());
    EXPECT_EQ((Lines{"../x", "100%", "A", "a", "a b", "a.b", "größe"}), names);
    EXPECT_EQ(1.0, editor->get<double>("a.b"));
    EXPECT_EQ("NoSuchKey", failureOf([&] { editor->get("B"); }));
}

TEST_F(Structure, EventsReachListenersOfTheirKindAndOfEverything) {
    std::vector<std::vector<std::u16string>> published;
    settings::core::detail::setEventNotifyFunction(
        [&](const boost::shared_ptr<const settings::core::SettingsEvent>& event) {
            published.push_back(event->eventTypes());
        });
    const auto both = [&](std::vector<std::u16string> own, const Handle& node) {
        own.push_back(node->getGlobalListenerEventTypes().at(0));
        return own;
    };
    const Handle added = editor->addSetting("s", Array::scalar(1.0), true, false, "session");
    editor->set("s", 2.0, "session");
    editor->removeNode("s");
    settings::core::detail::setEventNotifyFunction({});
    ASSERT_EQ(3U, published.size());
    EXPECT_EQ(both(editor->getListenerAddNodeEventType(), editor), published[0]);
    EXPECT_EQ(both(added->getListenerValueChangeEventType(), added), published[1]);
    EXPECT_EQ(both(editor->getListenerRemoveNodeEventType(), editor), published[2]);
}

TEST_F(Structure, HandlesOfOneNodeAreEqual) {
    TestTree::setting(editor, "width");
    const Handle a = editor->getChild("width"), b = tree.root->getSettingsByFullName("editor.width");
    EXPECT_NE(a, b);
    EXPECT_TRUE(Settings::equal(a, b));
    EXPECT_TRUE(Settings::equal(*a, *b));
    EXPECT_FALSE(Settings::equal(a, editor));
    EXPECT_FALSE(Settings::equal(a, Handle()));
    EXPECT_TRUE(Settings::equal(Handle(), Handle()));
    EXPECT_EQ(a->getListenerValueChangeEventType(), b->getListenerValueChangeEventType());
    EXPECT_NE(a->getListenerValueChangeEventType(), editor->getListenerValueChangeEventType());
    const std::u16string global = a->getGlobalListenerEventTypes().at(0);
    const std::u16string identity = global.substr(std::u16string(u"settings::core::SettingsEvent").size());
    EXPECT_EQ(u"settings::core::SettingsEvent" + identity, global);
    EXPECT_EQ(u"settings::core::SettingsValueChangeEvent" + identity,
              a->getListenerValueChangeEventType().at(0));
    EXPECT_EQ(u"settings::core::SettingsAddNodeEvent" + identity, a->getListenerAddNodeEventType().at(0));
    EXPECT_EQ(u"settings::core::SettingsRemoveNodeEvent" + identity,
              a->getListenerRemoveNodeEventType().at(0));
}

TEST_F(Structure, AProxyAnswersForTheNodeBehindIt) {
    using namespace settings::core::detail;
    TestTree::setting(editor, "width", Array::scalar(80.0));
    const NodePtr behind = SettingsAccess::node(*editor);
    const Handle proxy = SettingsAccess::wrap(boost::make_shared<SettingsImplProxy>(behind));
    proxy->set("width", 90.0, "user");
    EXPECT_EQ(90.0, editor->get<double>("width"));
    EXPECT_EQ(Lines{"changed editor.width was 80"}, events.take());
    EXPECT_EQ("editor", proxy->getFullName());
    EXPECT_TRUE(Settings::equal(proxy, editor));
    EXPECT_EQ("NoSuchKey", failureOf([&] { proxy->get("nothing"); }));
}

TEST_F(Structure, SavingWhatStandsInNoTreeOnlyLogs) {
    LogLines log("settings::core::settingsImpl");
    const Handle alone = standaloneGroup("alone");
    settings::core::detail::SettingsAccess::node(*alone)->saveThisSubTree(LevelIndex::user);
    EXPECT_EQ(Lines{"saveThisSubTree:  Can't write subtree.  isConnected: falseisWritable: false"},
              log.lines);
}

} // namespace
