// The files of a tree over several starts: what comes back, what is kept for somebody else, what goes.

#include "support/Children.hpp"
#include "support/FileTree.hpp"

#include "settingscore/SettingsSaving.hpp"
#include "settingscore/events/EventNotifyFunction.hpp"
#include "settingscore/events/SettingsEvent.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <thread>

namespace {

using namespace settings::test;
using namespace settings::core::detail;
using Lines = std::vector<std::string>;
using Names = std::vector<std::string>;

struct LevelFiles : testing::Test {
    /// A start with the group "g" and the settings named; "child/x" stands for the setting x of the group
    /// child.
    FileTree start(const Names& settings) const {
        FileTree tree(folder.path());
        const Handle group = tree.group("g");
        for (const std::string& name : settings)
            define(group, name);
        tree.load(group);
        return tree;
    }
    static void define(const Handle& group, const std::string& name) {
        const std::size_t slash = name.find('/');
        if (slash == std::string::npos) {
            TestTree::setting(group, name, Array::scalar(0.0));
            return;
        }
        Handle child = group->getChild(name.substr(0, slash));
        if (child == nullptr)
            child = TestTree::childGroup(group, name.substr(0, slash));
        TestTree::setting(child, name.substr(slash + 1), Array::scalar(0.0));
    }
    static Handle group(const FileTree& tree) { return tree.root->getChild("g"); }

    TempFolder folder;
};

TEST_F(LevelFiles, ValuesWithoutDefinitionAreKeptAndAdopted) {
    {
        const FileTree tree = start({"a", "b", "child/x", "gone/y"});
        group(tree)->set("a", 1.0, "user");
        group(tree)->set("b", 2.0, "user");
        group(tree)->getChild("child")->set("x", 3.0, "user");
        group(tree)->getChild("gone")->set("y", 4.0, "user");
        group(tree)->getChild("gone")->addSetting("mine", Array::scalar(5.0), false, true, "user");
        TestTree::childGroup(group(tree), "bare")
            ->addGroup("mine", true, false, "user"); // without any setting
    }
    putPart(folder / "user/g.vksettings", "/vendor/notes.json", "{\"kept\": true}");
    putPart(folder / "user/g.vksettings", "/settingstree/child/icon.png", "picture");
    { // an add-on is missing: its values are unseen, and survive a save
        const FileTree tree = start({"a"});
        EXPECT_EQ(1U, group(tree)->getChildren().size());
        group(tree)->set("a", 10.0, "user");
        EXPECT_EQ(SaveOutcome::saved, tree.status("g").saved);
    }
    { // also when the last known value goes
        const FileTree tree = start({"a"});
        group(tree)->unset("a", "user");
        EXPECT_TRUE(std::filesystem::exists(tree.file("g")));
    }
    EXPECT_EQ("{\"kept\": true}", partText(folder / "user/g.vksettings", "/vendor/notes.json"));
    EXPECT_EQ("picture", partText(folder / "user/g.vksettings", "/settingstree/child/icon.png"));
    // The definitions appear while the tree stands.
    const FileTree tree = start({"a"});
    for (const char* name : {"b", "child/x", "gone/y"})
        define(group(tree), name);
    TestTree::childGroup(group(tree), "bare");
    tree.keeper->adoptLeftovers(SettingsAccess::node(*group(tree)));
    EXPECT_FALSE(group(tree)->isSet("a", "user"));
    EXPECT_EQ(2.0, group(tree)->get<double>("b", "user"));
    EXPECT_EQ(3.0, group(tree)->getChild("child")->get<double>("x", "user"));
    const Handle gone = group(tree)->getChild("gone");
    EXPECT_EQ(4.0, gone->get<double>("y", "user"));
    EXPECT_EQ(5.0, gone->get<double>("mine", "user"));
    EXPECT_TRUE(group(tree)->getChild("bare")->getChild("mine"));
    EXPECT_FALSE(gone->getChild("mine")->isVisible());
    EXPECT_TRUE(gone->getChild("mine")->isReadOnly());
    group(tree)->unset("b", "user"); // adopted values are the tree's: this one does not come back
    EXPECT_FALSE(group(start({"b"}))->isSet("b", "user"));
}

TEST_F(LevelFiles, AnAddedSettingTakesTheValueThatWasKeptForIt) {
    group(start({"a", "b"}))->set("b", 7.0, "user");
    const FileTree tree = start({"a"});
    RecordedEvents events;
    group(tree)->addSetting("b", {}, true, false, "session");
    EXPECT_EQ(7.0, group(tree)->get<double>("b", "user"));
    EXPECT_EQ((Names{"added g.b to g", "changed g.b was nothing"}), events.take());
    group(tree)->unset("b", "user"); // it is the tree's now and does not come back
    EXPECT_FALSE(group(start({"a", "b"}))->isSet("b", "user"));
}

TEST_F(LevelFiles, AFailedSaveLeavesTheDamagedFileInItsPlace) {
    group(start({"a"}))->set("a", 1.0, "user");
    const auto file = folder / "user/g.vksettings";
    writeBytes(file, "damaged");
    const FileTree tree = start({"a"});
    {
        const NoRoomForFiles full;
        group(tree)->set("a", 2.0, "user");
    }
    EXPECT_EQ(SaveOutcome::failed, tree.status("g").saved);
    EXPECT_EQ(LoadOutcome::damaged, tree.status("g").loaded);
    EXPECT_TRUE(tree.status("g").isMarked);
    EXPECT_EQ("damaged", bytesOf(file));
    EXPECT_FALSE(std::filesystem::exists(folder / "user/g.vksettings.damaged"));
    group(tree)->set("a", 3.0, "user");
    EXPECT_EQ(SaveOutcome::saved, tree.status("g").saved);
    EXPECT_EQ("damaged", bytesOf(folder / "user/g.vksettings.damaged"));
    EXPECT_EQ(3.0, group(start({"a"}))->get<double>("a", "user"));
}

TEST_F(LevelFiles, AFileThatAppearsAfterAFailedSaveIsReadBeforeItIsReplaced) {
    const FileTree tree = start({"a", "b"});
    {
        const NoRoomForFiles full;
        group(tree)->set("a", 1.0, "user");
    }
    EXPECT_EQ(LoadOutcome::absent, tree.status("g").loaded);
    group(start({"a", "b"}))->set("b", 2.0, "user"); // another process
    group(tree)->set("a", 3.0, "user");
    const FileTree next = start({"a", "b"});
    EXPECT_EQ(3.0, group(next)->get<double>("a", "user"));
    EXPECT_EQ(2.0, group(next)->get<double>("b", "user"));
}

TEST_F(LevelFiles, NodesThatUsersAddedComeBack) {
    {
        const FileTree tree = start({"a"});
        const Handle mine = group(tree)->addGroup("mine", false, false, "user");
        mine->addSetting("x", Array::scalar(1.0), true, true, "user");
        mine->addSetting("none", {}, true, false, "user");
        group(tree)->addSetting("shared", Array::scalar(2.0), true, false, "installation");
        group(tree)->set("shared", 3.0, "user");
        const Handle top = tree.root->addGroup("Über top", true, false, "user");
        top->addGroup("below", true, false, "user")->addSetting("y", Array::text(u"z"), true, false, "user");
        tree.root->addGroup("empty", false, true, "user");
    }
    EXPECT_EQ((Names{"%C3%9Cber%20top.vksettings", "empty.vksettings", "g.vksettings"}),
              namesIn(folder / "user"));
    const FileTree tree = start({"a"});
    const Handle mine = group(tree)->getChild("mine");
    ASSERT_TRUE(mine);
    EXPECT_FALSE(mine->isVisible());
    EXPECT_EQ("user", mine->getOriginLevel());
    EXPECT_EQ(1.0, mine->get<double>("x"));
    EXPECT_TRUE(mine->getChild("x")->isReadOnly());
    EXPECT_TRUE(mine->getChild("none"));
    EXPECT_FALSE(mine->isSet("none", "user"));
    EXPECT_EQ("installation", group(tree)->getChild("shared")->getOriginLevel());
    EXPECT_EQ(2.0, group(tree)->get<double>("shared", "installation"));
    EXPECT_EQ(3.0, group(tree)->get<double>("shared", "user"));

    EXPECT_EQ(2U, tree.keeper->loadAddedGroups(tree.rootNode, LevelIndex::user).size());
    EXPECT_EQ(u"z", tree.root->getSettingsByFullName("Über top.below")->get<std::u16string>("y"));
    EXPECT_TRUE(tree.root->getChild("empty")->isReadOnly());
    EXPECT_FALSE(tree.root->getChild("empty")->isVisible());
    EXPECT_TRUE(tree.keeper->loadAddedGroups(tree.rootNode, LevelIndex::user).empty()); // once
    // Removing them takes their files.
    tree.root->removeNode("Über top");
    EXPECT_EQ((Names{"empty.vksettings", "g.vksettings"}), namesIn(folder / "user"));
    EXPECT_EQ(SaveOutcome::removed, tree.status("Über top").saved);
}

/// Any bytes make a name, also those that would lead out of a package or are no text.
TEST_F(LevelFiles, EveryNameSurvives) {
    const Names names = {".",
                         "..",
                         "/",
                         "a/",
                         "a//b",
                         "a.b",
                         "%2E",
                         "~2E",
                         "\\",
                         "\x01",
                         "\xff",
                         "\xed\xb2\x80",
                         std::string("a\0b", 3),
                         std::string("\0\xfe", 2),
                         "Ä \U0001F600"};
    {
        const FileTree tree = start({});
        for (const std::string& name : names) {
            const Handle child = group(tree)->addGroup(name, true, false, "user");
            child->addSetting(name, Array::text(u"x"), true, false, "user");
            ASSERT_EQ(SaveOutcome::saved, tree.status("g").saved) << name << tree.status("g").saveMessage;
            tree.root->addGroup("top " + name, true, false, "user");
            ASSERT_EQ(SaveOutcome::saved, tree.status("top " + name).saved) << name;
        }
    }
    const FileTree tree = start({});
    EXPECT_EQ("", tree.status("g").loadMessage);
    EXPECT_EQ(names.size(), tree.keeper->loadAddedGroups(tree.rootNode, LevelIndex::user).size());
    for (const std::string& name : names) {
        EXPECT_TRUE(group(tree)->getChild(name)) << name;
        if (group(tree)->getChild(name) == nullptr)
            continue;
        EXPECT_EQ(u"x", group(tree)->getChild(name)->get<std::u16string>(name));
        EXPECT_TRUE(tree.root->getChild("top " + name)) << name << tree.status("top " + name).loadMessage;
    }
}

TEST_F(LevelFiles, AFileNeverRedefinesAFactoryNode) {
    {
        const FileTree tree = start({});
        group(tree)->addSetting("s", Array::scalar(1.0), false, true, "user");
        group(tree)->addGroup("child", false, true, "user")->getName();
        group(tree)->addGroup("otherKind", false, true, "user");
    }
    { // A group of a user's has become a setting: it is kept unseen.
        const FileTree tree = start({"otherKind"});
        EXPECT_TRUE(group(tree)->getChild("otherKind")->isLeafNode());
        group(tree)->set("otherKind", 3.0, "user");
        group(tree)->unset("otherKind", "user");
    }
    EXPECT_FALSE(group(start({}))->getChild("otherKind")->isLeafNode());
    // A new release defines both.
    const FileTree tree = start({"s", "child/x"});
    const Handle s = group(tree)->getChild("s");
    EXPECT_TRUE(s->isVisible());
    EXPECT_FALSE(s->isReadOnly());
    EXPECT_EQ("factory", s->getOriginLevel());
    EXPECT_EQ(1.0, group(tree)->get<double>("s", "user"));
    EXPECT_TRUE(group(tree)->getChild("child")->isVisible());
    group(tree)->set("s", 2.0, "user");
    EXPECT_FALSE(settingIn(partJson(tree.file("g"), topPart), "s").at("isUserDefined").asBool());
}

TEST_F(LevelFiles, FilesOfMissingDefinitionsStay) {
    {
        const FileTree tree = start({"a"});
        group(tree)->set("a", 1.0, "user");
    }
    const std::string before = bytesOf(folder / "user/g.vksettings");
    FileTree tree(folder.path());
    EXPECT_TRUE(tree.keeper->loadAddedGroups(tree.rootNode, LevelIndex::user).empty());
    EXPECT_FALSE(tree.root->getChild("g"));
    EXPECT_EQ(before, bytesOf(folder / "user/g.vksettings"));
    // A group of that name that a user adds meanwhile does not destroy them.
    tree.root->addGroup("g", true, false, "user")
        ->addSetting("mine", Array::scalar(2.0), true, false, "user");
    const FileTree next = start({"a"});
    EXPECT_EQ(1.0, group(next)->get<double>("a", "user"));
    EXPECT_EQ(2.0, group(next)->get<double>("mine", "user"));
}

TEST_F(LevelFiles, TheFileGoesWithTheLastValue) {
    const FileTree tree = start({"a", "b"});
    group(tree)->set("a", 1.0, "user");
    group(tree)->set("b", 1.0, "user");
    group(tree)->unset("a", "user");
    EXPECT_TRUE(std::filesystem::exists(tree.file("g")));
    group(tree)->unset("b", "user");
    EXPECT_FALSE(std::filesystem::exists(tree.file("g")));
    EXPECT_EQ(SaveOutcome::removed, tree.status("g").saved);
    EXPECT_EQ(3U, tree.status("g").revision);
    group(tree)->set("b", 2.0, "user");
    EXPECT_TRUE(std::filesystem::exists(tree.file("g")));
    EXPECT_EQ(4U, tree.status("g").revision); // goes on counting
}

TEST_F(LevelFiles, UnchangedValuesLeaveTheFileAlone) {
    const FileTree tree = start({"a"});
    group(tree)->set("a", 1.0, "user");
    const std::string before = bytesOf(tree.file("g"));
    EXPECT_EQ(1U, tree.status("g").revision);
    tree.keeper->requestSave(SettingsAccess::node(*group(tree)), LevelIndex::user);
    EXPECT_EQ(SaveOutcome::unchanged, tree.status("g").saved);
    EXPECT_EQ(before, bytesOf(tree.file("g")));
    group(tree)->set("a", 2.0, "user");
    EXPECT_EQ(SaveOutcome::saved, tree.status("g").saved);
    EXPECT_EQ(2U, tree.status("g").revision);
    // Another process goes on counting.
    const FileTree other = start({"a"});
    group(other)->set("a", 1.0, "user");
    EXPECT_EQ(3U, other.status("g").revision);
    EXPECT_EQ(before.size(), bytesOf(tree.file("g")).size());
}

TEST_F(LevelFiles, WhatTheSwitchSkippedGoesWithTheNextSave) {
    const FileTree tree = start({"a"});
    const Handle other = tree.group("other");
    define(other, "x");
    tree.load(other);
    tree.root->addGroup("mine", true, false, "user");
    group(tree)->set("a", 1.0, "user");

    settings::core::turnOffSettingsSaving();
    group(tree)->set("a", 2.0, "user");
    tree.root->removeNode("mine");
    EXPECT_EQ(SaveOutcome::switchedOff, tree.status("g").saved);
    EXPECT_TRUE(tree.status("g").isMarked);
    EXPECT_EQ((Names{"g.vksettings", "mine.vksettings"}), namesIn(folder / "user"));
    EXPECT_EQ(1.0, group(start({"a"}))->get<double>("a", "user"));
    settings::core::turnOnSettingsSaving();
    EXPECT_EQ(1.0, group(start({"a"}))->get<double>("a", "user"));
    other->set("x", 1.0, "user");
    EXPECT_EQ(2.0, group(start({"a"}))->get<double>("a", "user"));
    EXPECT_EQ((Names{"g.vksettings", "other.vksettings"}), namesIn(folder / "user"));
    EXPECT_FALSE(tree.status("g").isMarked);
    EXPECT_FALSE(tree.status("mine").isMarked);
}

TEST_F(LevelFiles, EachDamagedFileIsSetAsideOnce) {
    {
        const FileTree tree = start({"a"});
        group(tree)->set("a", 1.0, "user");
    }
    const auto file = folder / "user/g.vksettings";
    const std::string good = bytesOf(file);
    int round = 0;
    const auto aside = [&] {
        return folder / ("user/g.vksettings.damaged" + (round < 2 ? "" : "-" + std::to_string(round)));
    };
    for (const bool isPackage : {false, true}) { // damaged as a package, and as JSON
        SCOPED_TRACE(isPackage);
        writeBytes(file, good);
        if (isPackage)
            putPart(file, topPart, "[");
        else
            writeBytes(file, good.substr(0, 100));
        const std::string damaged = bytesOf(file);
        const FileTree tree = start({"a"});
        EXPECT_EQ(LoadOutcome::damaged, tree.status("g").loaded);
        EXPECT_FALSE(group(tree)->isSet("a", "user"));
        EXPECT_EQ(damaged, bytesOf(file)); // until the next save
        group(tree)->set("a", 10.0 + ++round, "user");
        EXPECT_EQ(damaged, bytesOf(aside()));
        EXPECT_EQ(LoadOutcome::ok, tree.status("g").loaded);
        group(tree)->set("a", 20.0 + round, "user");
        EXPECT_EQ(1U + std::size_t(round), namesIn(folder / "user").size()); // once
        EXPECT_EQ(20.0 + round, group(start({"a"}))->get<double>("a", "user"));
    }
    // Removing the group sets it aside as well.
    putPart(file, topPart, "[");
    const std::string damaged = bytesOf(file);
    const FileTree tree = start({"a"});
    tree.keeper->requestDelete(SettingsAccess::node(*group(tree)), nullptr, LevelIndex::user);
    EXPECT_FALSE(std::filesystem::exists(file));
    ++round;
    EXPECT_EQ(damaged, bytesOf(aside()));
    EXPECT_EQ(3U, namesIn(folder / "user").size());
}

TEST_F(LevelFiles, ReadingSaysWhatItPutsInPlace) {
    {
        const FileTree tree = start({"a", "child/x"});
        group(tree)->set("a", 1.5, "user");
        group(tree)->getChild("child")->addSetting("mine", Array::text(u"ä"), true, false, "user");
    }
    FileLogLines log;
    const FileTree tree = start({"a", "child/x"});
    const std::string file = tree.file("g").string();
    EXPECT_EQ(
        (Lines{
            "Read settings file: " + file + " for level: user",
            "Create setting from file: a for level: user with value: {\"qfdata\":1.5,\"qftype\":\"double\"}",
            "Create setting from file: mine for level: user with value: "
            "{\"qfdata\":\"ä\",\"qftype\":\"char\"}"}),
        log.take());
}

TEST_F(LevelFiles, ChangesRecordsOfReleasesAreKept) {
    const VersionRecord record{3, 1, {"remove", {"g.z"}, {}}, "R2024b"};
    {
        const FileTree tree = start({"a"});
        EXPECT_FALSE(tree.keeper->versionRecord("g", LevelIndex::user));
        tree.keeper->setVersionRecord("g", LevelIndex::user, record);
        group(tree)->set("a", 1.0, "user");
    }
    const FileTree tree = start({"a"});
    ASSERT_TRUE(tree.keeper->versionRecord("g", LevelIndex::user));
    EXPECT_EQ(record, *tree.keeper->versionRecord("g", LevelIndex::user));
    group(tree)->set("a", 2.0, "user");
    EXPECT_EQ(record, *start({"a"}).keeper->versionRecord("g", LevelIndex::user));
}

TEST_F(LevelFiles, ANewRecordOfReleasesIsNotLostToAReading) {
    const FileTree tree = start({"a"});
    group(start({"a"}))->set("a", 1.0, "user"); // another process
    const VersionRecord record{1, 0, {"move", {"g.y"}, {"g.z"}}, "R2025a"};
    tree.keeper->setVersionRecord("g", LevelIndex::user, record);
    group(tree)->set("a", 2.0, "user"); // reads that file first
    EXPECT_EQ(record, *start({"a"}).keeper->versionRecord("g", LevelIndex::user));
    // Once written, the file speaks again; and it goes with the group.
    const VersionRecord later{2, 0, {"remove", {"g.z"}, {}}, "R2025b"};
    const FileTree other = start({"a"});
    other.keeper->setVersionRecord("g", LevelIndex::user, later);
    group(other)->set("a", 3.0, "user");
    tree.keeper->loadLevel(SettingsAccess::node(*group(tree)), LevelIndex::user);
    EXPECT_EQ(later, *tree.keeper->versionRecord("g", LevelIndex::user));
    tree.keeper->requestDelete(SettingsAccess::node(*group(tree)), nullptr, LevelIndex::user);
    EXPECT_FALSE(tree.keeper->versionRecord("g", LevelIndex::user));
}

TEST_F(LevelFiles, UserSettingsAreLoadedOnce) {
    {
        const FileTree tree = start({"a"});
        group(tree)->set("a", 1.0, "user");
    }
    FileTree tree(folder.path());
    const Handle g = tree.group("g");
    define(g, "a");
    FileLogLines log;
    SettingsAccess::node(*g)->loadUserSettingsOncePerPrefdir();
    SettingsAccess::node(*g->getChild("a"))->loadUserSettingsOncePerPrefdir();
    EXPECT_EQ(1.0, g->get<double>("a", "user"));
    EXPECT_EQ(1U, log.take("Read settings file: ").size());
}

/// Two processes that have read the same file: neither loses what the other has written.
TEST_F(LevelFiles, ChangesOfTwoProcessesComeTogether) {
    const Names names = {"a", "b", "both", "dropped", "kept", "child/x"};
    {
        const FileTree first = start(names);
        for (const char* name : {"a", "b", "both", "dropped", "kept"})
            group(first)->set(name, 1.0, "user");
        group(first)->addSetting("removed", Array::scalar(1.0), true, false, "user");
    }
    const FileTree theirs = start(names);
    const FileTree ours = start(names);
    group(theirs)->set("b", 2.0, "user");
    group(theirs)->set("both", 2.0, "user");
    group(theirs)->unset("dropped", "user");
    group(theirs)->getChild("child")->set("x", 2.0, "user");
    group(theirs)->addSetting("added", Array::scalar(2.0), true, false, "user");

    RecordedEvents events;
    group(ours)->removeNode("removed");
    EXPECT_EQ((Lines{"removed removed from g", "changed g.dropped was 1", "changed g.b was 1",
                     "changed g.both was 1", "changed g.child.x was 0", "added g.added to g"}),
              events.take());
    group(ours)->set("both", 3.0, "user");
    group(ours)->unset("kept", "user");
    for (const FileTree* tree : {&ours, &theirs}) {
        tree->keeper->loadLevel(SettingsAccess::node(*group(*tree)), LevelIndex::user);
        const Handle g = group(*tree);
        EXPECT_EQ(1.0, g->get<double>("a", "user"));
        EXPECT_EQ(2.0, g->get<double>("b", "user"));
        EXPECT_EQ(3.0, g->get<double>("both", "user"));
        EXPECT_FALSE(g->isSet("dropped", "user"));
        EXPECT_FALSE(g->isSet("kept", "user"));
        EXPECT_EQ(2.0, g->getChild("child")->get<double>("x", "user"));
        EXPECT_EQ(2.0, g->get<double>("added", "user"));
    }
    EXPECT_FALSE(group(ours)->getChild("removed"));
    // Both have changed one value: the last save counts. A file that is gone holds nothing.
    group(theirs)->set("both", 4.0, "user");
    group(ours)->set("both", 5.0, "user");
    EXPECT_EQ(5.0, group(start(names))->get<double>("both", "user"));
    std::filesystem::remove(ours.file("g"));
    group(ours)->set("a", 6.0, "user");
    const FileTree end = start(names);
    EXPECT_EQ(6.0, group(end)->get<double>("a", "user"));
    EXPECT_FALSE(group(end)->isSet("b", "user"));
    EXPECT_FALSE(group(ours)->isSet("b", "user"));
}

/// What one process removes does not come back through the other.
TEST_F(LevelFiles, NodesThatAnotherProcessRemoved) {
    const Names names = {"a", "kept"};
    {
        const FileTree first = start(names);
        group(first)->set("kept", 1.0, "user"); // else there would be no file any more
        for (const char* name : {"gone", "changed"})
            group(first)->addSetting(name, Array::scalar(1.0), true, false, "user");
        const Handle mine = group(first)->addGroup("mine", true, false, "user");
        mine->addSetting("x", Array::scalar(1.0), true, false, "user");
    }
    const FileTree theirs = start(names);
    const FileTree ours = start(names);
    group(ours)->set("changed", 2.0, "user");
    for (const char* name : {"gone", "changed", "mine"})
        group(theirs)->removeNode(name);
    EXPECT_FALSE(group(theirs)->getChild("gone"));
    RecordedEvents events;
    group(ours)->set("a", 1.0, "user");
    EXPECT_EQ(
        (Lines{"changed g.a was 0", "removed changed from g", "removed gone from g", "removed mine from g"}),
        events.take());
    group(theirs)->set("a", 2.0, "user");
    for (const FileTree& tree : {start(names), start(names)}) {
        EXPECT_FALSE(group(tree)->getChild("gone"));
        EXPECT_FALSE(group(tree)->getChild("mine"));
    }
}

/// What another process adds is announced.
TEST_F(LevelFiles, NodesThatAnotherProcessAdded) {
    const FileTree theirs = start({"a"});
    const FileTree ours = start({"a"});
    group(ours)->set("a", 1.0, "user");
    group(theirs)
        ->addGroup("mine", true, false, "user")
        ->addSetting("x", Array::scalar(1.0), true, false, "user");
    RecordedEvents events;
    ours.keeper->loadLevel(SettingsAccess::node(*group(ours)), LevelIndex::user);
    EXPECT_EQ(Lines{"added g.mine to g"}, events.take());
    EXPECT_EQ(1.0, group(ours)->getChild("mine")->get<double>("x"));
}

/// A listener may change and extend the group whose file is being read again.
TEST_F(LevelFiles, AListenerChangesWhatIsBeingRead) {
    const FileTree theirs = start({"a", "b"});
    const FileTree ours = start({"a", "b"});
    group(ours)->set("b", 1.0, "user");
    group(theirs)->set("a", 2.0, "user");
    int calls = 0;
    setEventNotifyFunction([&](const boost::shared_ptr<const settings::core::SettingsEvent>&) {
        if (++calls > 1)
            return;
        group(ours)->set("b", 3.0, "user");
        group(ours)->addSetting("mine", Array::scalar(1.0), true, false, "user");
    });
    ours.keeper->loadLevel(SettingsAccess::node(*group(ours)), LevelIndex::user);
    EXPECT_EQ(3, calls);
    calls = 0;
    group(theirs)->set("a", 4.0, "user");
    group(ours)->set("b", 5.0, "session"); // first event: nothing is saved
    setEventNotifyFunction({});
    const FileTree end = start({"a", "b"});
    EXPECT_EQ(4.0, group(end)->get<double>("a", "user"));
    EXPECT_EQ(3.0, group(end)->get<double>("b", "user"));
    EXPECT_TRUE(group(end)->getChild("mine"));
}

TEST_F(LevelFiles, AFileThatWentAndCameBackIsNew) {
    group(start({"x", "y"}))->set("x", 1.0, "user");
    const FileTree a = start({"x", "y"});
    const FileTree b = start({"x", "y"});
    group(a)->unset("x", "user");
    group(b)->unset("x", "user"); // the file is gone already
    group(start({"x", "y"}))->set("x", 1.0, "user");
    group(b)->set("y", 1.0, "user");
    const FileTree end = start({"x", "y"});
    EXPECT_EQ(1.0, group(end)->get<double>("x", "user"));
    EXPECT_EQ(1.0, group(end)->get<double>("y", "user"));
}

TEST_F(LevelFiles, ADamagedFileBehindALinkIsKept) {
    group(start({"a"}))->set("a", 1.0, "user");
    const auto file = folder / "user/g.vksettings";
    const auto real = folder / "user/real";
    std::filesystem::rename(file, real);
    std::filesystem::create_symlink("real", file);
    for (const char* damaged : {"first", "second"}) {
        writeBytes(real, damaged);
        group(start({"a"}))->set("a", damaged[0] == 'f' ? 2.0 : 3.0, "user");
    }
    EXPECT_EQ("first", bytesOf(folder / "user/g.vksettings.damaged"));
    EXPECT_EQ("second", bytesOf(folder / "user/g.vksettings.damaged-2"));
    EXPECT_EQ(3.0, group(start({"a"}))->get<double>("a", "user"));
}

TEST_F(LevelFiles, AnotherFolderHasNothingOfTheOldOne) {
    TempFolder other;
    std::filesystem::create_directory(other / "user");
    {
        FileTree all(folder.path());
        const Handle g = all.group("g");
        define(g, "a");
        define(g, "unknown");
        all.load(g);
        g->set("a", 1.0, "user");
        g->set("unknown", 1.0, "user");
    }
    std::filesystem::path user = folder / "user";
    LevelFileKeeper keeper(
        [&](LevelIndex level) { return level == LevelIndex::user ? user : std::filesystem::path(); });
    const TestTree tree;
    const Handle g = tree.group("g");
    define(g, "a");
    const auto node = SettingsAccess::node(*g);
    keeper.loadUserSettings(node);
    EXPECT_EQ(1.0, g->get<double>("a", "user"));
    user = other / "user";
    keeper.loadUserSettings(node);
    EXPECT_FALSE(g->isSet("a", "user"));
    EXPECT_EQ(LoadOutcome::absent, keeper.status("g", LevelIndex::user).loaded);
    g->set("a", 2.0, "user");
    keeper.requestSave(node, LevelIndex::user);
    EXPECT_EQ(1U, partJson(user / "g.vksettings", topPart).at("settings").asArray().size());
}

/// Starts of the program that each change one value, at the same time; the first makes the folder.
TEST_F(LevelFiles, ProcessesThatSaveAtTheSameTime) {
    constexpr int processes = 6;
    const int rounds = std::getenv("VKSETTINGS_SOAK") != nullptr ? 300 : 10;
    Names names;
    for (int i = 0; i < processes; ++i)
        names.push_back("s" + std::to_string(i));
    const auto user = folder / "user";
    for (int round = 1; round <= rounds; ++round) {
        const FileTree tree = start(names);
        if (round % 2 == 1)
            std::filesystem::remove_all(user);
        inChildrenAtOnce(processes, [&](int i) { group(tree)->set(names[i], double(round), "user"); });
        const FileTree end = start(names);
        for (const std::string& name : names)
            ASSERT_TRUE(group(end)->isSet(name, "user") &&
                        group(end)->get<double>(name, "user") == double(round))
                << name << " in round " << round;
    }
    EXPECT_EQ(Names{"g.vksettings"}, namesIn(user));
}

/// Many threads change one group: in the end the file holds what the tree holds, and every request has been
/// met when it returns.
TEST_F(LevelFiles, ThreadsShareTheirSaves) {
    constexpr int threads = 4;
    constexpr int changes = 25;
    Names names;
    for (int i = 0; i < threads; ++i)
        names.push_back("s" + std::to_string(i));
    const FileTree tree = start(names);
    const Handle g = group(tree);
    std::vector<std::thread> workers;
    for (int i = 0; i < threads; ++i)
        workers.emplace_back([&, i] {
            for (int n = 1; n <= changes; ++n) {
                g->set(names[i], double(n), "user");
                const auto json = partJson(tree.file("g"), topPart);
                const double saved = settingIn(json, names[i]).at("value").asObject().at("qfdata").asDouble();
                EXPECT_EQ(double(n), saved);
            }
        });
    for (std::thread& worker : workers)
        worker.join();
    EXPECT_FALSE(tree.status("g").isMarked);
    const FileTree next = start(names);
    for (const std::string& name : names)
        EXPECT_EQ(double(changes), group(next)->get<double>(name, "user"));
}

} // namespace
