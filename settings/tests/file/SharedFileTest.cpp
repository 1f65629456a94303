// What happens to a group whose file, folder or very existence changes behind its back.

#include "support/AtLine.hpp"
#include "support/Children.hpp"
#include "support/OneGroupsFile.hpp"

#include "settingscore/MSettings.hpp"
#include "settingscore/SettingsFileManager.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/events/EventNotifyFunction.hpp"
#include "settingscore/events/SettingsRemoveNodeEvent.hpp"
#include "settingscore/settings/file/TreeLoader.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <thread>

namespace {

using namespace settings::test;
using namespace settings::core::detail;
using Lines = std::vector<std::string>;
using Names = std::vector<std::string>;

using SharedFiles = OneGroupsFile;

/// A group that is made from a file while somebody adds one of its name: that one takes what it holds.
TEST_F(SharedFiles, AnAdditionWhileTheFileIsLoaded) {
    const FileTree tree = start({"a"});
    const Handle g = group(tree);
    GroupRecord mine;
    mine.name = "mine";
    mine.isUserDefined = true;
    SettingRecord x;
    x.name = "x";
    x.value = {Array::scalar(1.0), false};
    x.isUserDefined = true;
    mine.settings.push_back(std::move(x));
    GroupRecord record;
    record.name = "g";
    record.groups.push_back(std::move(mine));
    bool isAdded = false;
    const LoadRules rules{.level = LevelIndex::user, .makeNode = [&](NodeSpec spec, bool isGroup) {
                              if (isGroup && !std::exchange(isAdded, true))
                                  g->addGroup("mine", true, false, "user");
                              return makePlainNode(std::move(spec), isGroup);
                          }};
    loadIntoTree(std::move(record), SettingsAccess::node(*g), rules);
    const Handle first = g->getChild("mine");
    ASSERT_TRUE(first->getChild("x"));
    EXPECT_EQ("g.mine.x", first->getChild("x")->getFullName());
    first->set("x", 5.0, "user");
    EXPECT_EQ(5.0, group(start({"a"}))->getChild("mine")->get<double>("x"));
}

TEST_F(SharedFiles, ALoadOfAFileThatWentForgetsWhatItHeld) {
    const Names names = {"a", "b", "c"};
    const FileTree ours = start(names);
    group(ours)->set("a", 1.0, "user");
    std::filesystem::remove(ours.file("g"));
    RecordedEvents events;
    load(ours);
    EXPECT_EQ(Lines{"changed g.a was 1"}, events.take());
    group(ours)->set("a", 5.0, "user");
    std::filesystem::remove(ours.file("g"));
    load(ours);
    group(start(names))->set("b", 2.0, "user");
    group(ours)->set("c", 3.0, "user");
    const FileTree end = start(names);
    EXPECT_FALSE(group(end)->isSet("a", "user"));
    EXPECT_EQ(2.0, group(end)->get<double>("b", "user"));
    EXPECT_EQ(3.0, group(end)->get<double>("c", "user"));
}

/// The user's last value, or group, that goes by another process stays gone.
TEST_F(SharedFiles, TheLastValueStaysGone) {
    {
        const FileTree first = start({"a", "b"});
        group(first)->set("a", 1.0, "user");
        first.root->addGroup("mine", true, false, "user")
            ->addSetting("x", Array::scalar(1.0), true, false, "user");
    }
    const auto withGroups = [&] {
        FileTree tree = start({"a", "b"});
        tree.keeper->loadAddedGroups(SettingsAccess::node(*tree.root), LevelIndex::user);
        return tree;
    };
    const FileTree ours = withGroups(), theirs = withGroups();
    group(theirs)->unset("a", "user");
    theirs.root->removeNode("mine");
    EXPECT_EQ(Names{}, namesIn(folder / "user"));
    RecordedEvents events;
    group(ours)->set("b", 2.0, "user");
    ours.root->getChild("mine")->set("x", 1.0, "session");
    ours.keeper->loadLevel(SettingsAccess::node(*ours.root->getChild("mine")), LevelIndex::user);
    EXPECT_EQ((Lines{"changed g.b was 0", "changed g.a was 1", "removed mine from "}), events.take());
    EXPECT_EQ(nullptr, ours.root->getChild("mine"));
    EXPECT_FALSE(group(start({"a", "b"}))->isSet("a", "user"));
    EXPECT_EQ(Names{"g.vksettings"}, namesIn(folder / "user"));
}

/// Somebody who could not wait for the folder any longer, or on a file system without locks.
TEST_F(SharedFiles, WhatComesWhileTheLastValueGoesStays) {
    const Names names = {"a", "b"};
    const FileTree ours = start(names);
    group(ours)->set("a", 1.0, "user");
    const std::string before = bytesOf(ours.file("g"));
    group(start(names))->set("b", 2.0, "user");
    const std::string theirs = bytesOf(ours.file("g"));
    writeBytes(ours.file("g"), before);
    {
        const AtLine moment("settings::core::settingsFile",
                            "Save settings file: ", [&] { writeBytes(ours.file("g"), theirs); });
        group(ours)->unset("a", "user");
    }
    EXPECT_EQ(2.0, group(ours)->get<double>("b", "user"));
    const FileTree end = start(names);
    EXPECT_EQ(2.0, group(end)->get<double>("b", "user"));
    EXPECT_FALSE(group(end)->isSet("a", "user"));
}

TEST_F(SharedFiles, AFolderThatIsAwaySaysNothing) {
    const FileTree ours = start({"a", "b"});
    group(ours)->set("a", 1.0, "user");
    std::filesystem::rename(folder / "user", folder / "away");
    load(ours);
    EXPECT_EQ(1.0, group(ours)->get<double>("a", "user"));
    std::filesystem::rename(folder / "away", folder / "user");
    group(ours)->set("b", 2.0, "user");
    EXPECT_EQ(1.0, group(start({"a", "b"}))->get<double>("a", "user"));
}

/// The usual first save of a program that runs beside another one.
TEST_F(SharedFiles, WhatComesInPlaceOfNothingIsAnnounced) {
    const FileTree theirs = start({"a", "b"}), ours = start({"a", "b"});
    group(theirs)->set("b", 2.0, "user");
    group(theirs)->addSetting("added", Array::scalar(2.0), true, false, "user");
    RecordedEvents events;
    group(ours)->set("a", 1.0, "user");
    EXPECT_EQ((Lines{"changed g.a was 0", "changed g.b was 0", "added g.added to g"}), events.take());
}

TEST_F(SharedFiles, AValueThatIsUnsetElsewhereIsAnnouncedAlsoBehindAnother) {
    {
        const FileTree first = start({"a", "b"});
        group(first)->set("a", 1.0, "user");
        group(first)->set("b", 1.0, "user");
    }
    const FileTree theirs = start({"a", "b"}), ours = start({"a", "b"});
    group(ours)->set("a", 9.0, "session");
    group(theirs)->unset("a", "user");
    RecordedEvents events;
    load(ours);
    EXPECT_EQ(Lines{"changed g.a was 9"}, events.take());
}

/// A group that is added again, by a listener of its removal, keeps its file.
TEST_F(SharedFiles, AGroupThatIsAddedAgainAtOnce) {
    const FileTree tree = start({"a"});
    const auto add = [&](double value) {
        tree.root->addGroup("mine", true, false, "user")
            ->addSetting("x", Array::scalar(value), true, false, "user");
    };
    add(1.0);
    bool isDone = false;
    setEventNotifyFunction([&](const boost::shared_ptr<const settings::core::SettingsEvent>& event) {
        if (dynamic_cast<const settings::core::SettingsRemoveNodeEvent*>(event.get()) != nullptr &&
            !std::exchange(isDone, true))
            add(2.0);
    });
    tree.root->removeNode("mine");
    setEventNotifyFunction({});
    ASSERT_TRUE(tree.root->getChild("mine"));
    EXPECT_EQ(
        2.0,
        settingIn(partJson(tree.file("mine"), topPart), "x").at("value").asObject().at("qfdata").asDouble());
}

TEST_F(SharedFiles, SavesOfARemovedGroupWriteNothing) {
    const FileTree tree = start({"a"});
    const Handle mine = tree.root->addGroup("mine", true, false, "user");
    mine->addSetting("x", Array::scalar(0.0), true, false, "user");
    const auto node = SettingsAccess::node(*mine);
    tree.root->removeNode("mine");
    tree.keeper->requestSave(node, LevelIndex::user); // one that was on its way
    EXPECT_FALSE(std::filesystem::exists(tree.file("mine")));
}

TEST_F(SharedFiles, AnEncryptedFileThatWentIsForgotten) {
    group(start({"a"}))->set("a", 1.0, "user");
    encrypt(folder / "user/g.vksettings", "secret");
    const FileTree tree = start({"a"});
    group(tree)->set("a", 2.0, "user");
    EXPECT_EQ(SaveOutcome::encrypted, tree.status("g").saved);
    std::filesystem::remove(tree.file("g"));
    group(tree)->set("a", 3.0, "user");
    EXPECT_EQ(SaveOutcome::saved, tree.status("g").saved);
    EXPECT_EQ(3.0, group(start({"a"}))->get<double>("a", "user"));
}

/// Where links to other people's files are refused, the damaged file is copied.
TEST_F(SharedFiles, ADamagedFileOfSomebodyElseBehindALink) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to become somebody else";
    const auto user = folder / "user";
    std::filesystem::create_directories(user);
    std::filesystem::create_directories(folder / "installation");
    writeBytes(user / "real", "damaged");
    ASSERT_EQ(0, ::chmod((user / "real").c_str(), 0644));
    std::filesystem::create_symlink("real", user / "g.vksettings");
    ASSERT_EQ(0, ::chmod(folder.path().c_str(), 0777));
    ASSERT_EQ(0, ::chown(user.c_str(), 65534, 65534));
    asOrdinaryUser([&] { group(start({"a"}))->set("a", 2.0, "user"); });
    EXPECT_EQ("damaged", bytesOf(user / "g.vksettings.damaged"));
    EXPECT_EQ(2.0, group(start({"a"}))->get<double>("a", "user"));
}

/// Whoever asks while another thread reads waits for the values.
TEST_F(SharedFiles, NobodyReadsBeforeTheValuesAreThere) {
    group(start({"a"}))->set("a", 1.0, "user");
    const FileTree tree(folder.path());
    const Handle g = tree.group("g");
    TestTree::setting(g, "a", Array::scalar(0.0));
    const auto node = SettingsAccess::node(*g);
    std::vector<double> seen(4);
    std::vector<std::thread> threads;
    for (double& value : seen)
        threads.emplace_back([&] {
            tree.keeper->loadUserSettings(node);
            value = g->get<double>("a");
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(std::vector<double>(4, 1.0), seen);
}

/// A save that was left out while saving was off, and made by somebody else meanwhile.
TEST_F(SharedFiles, ASkippedSaveThatWasMadeMeanwhile) {
    const FileTree tree = start({"a"});
    std::vector<Handle> others;
    for (const char* name : {"h", "i", "k"}) {
        others.push_back(tree.group(name));
        TestTree::setting(others.back(), "x", Array::scalar(0.0));
        tree.load(others.back());
    }
    settings::core::turnOffSettingsSaving();
    for (const Handle& other : others)
        other->set("x", 1.0, "user");
    settings::core::turnOnSettingsSaving();
    const FileLogLines log; // turns the channel on
    const auto before =
        varnek::log::setSink([&](std::string_view, varnek::log::Severity,
                                 std::string_view text) { // while the first of them is written
            if (text.find("Save settings file: " + tree.file("h").string()) != std::string_view::npos)
                others[2]->set("x", 2.0, "user");
        });
    group(tree)->set("a", 1.0, "user");
    varnek::log::setSink(before);
    for (const Handle& other : others)
        EXPECT_TRUE(std::filesystem::exists(tree.file(other->getName()))) << other->getName();
}

TEST_F(SharedFiles, AFolderThatWasDeletedGetsEverythingAgain) {
    const FileTree ours = start({"a", "b"});
    const Handle other = ours.group("h");
    TestTree::setting(other, "x");
    TestTree::setting(other, "y");
    ours.load(other);
    group(ours)->set("a", 1.0, "user");
    other->set("x", 1.0, "user");
    std::filesystem::remove_all(folder / "user");
    group(ours)->set("b", 2.0, "user"); // makes the folder anew
    other->set("y", 2.0, "user");
    EXPECT_EQ(1.0, group(ours)->get<double>("a", "user"));
    EXPECT_EQ(1.0, other->get<double>("x", "user"));
    EXPECT_EQ(1.0, group(start({"a", "b"}))->get<double>("a", "user"));
}

/// A group of this session in the place of one whose removal waits does not keep that one's file.
TEST_F(SharedFiles, ASessionGroupInThePlaceOfARemovedOne) {
    const FileTree tree = start({"a"});
    tree.root->addGroup("mine", true, false, "user")
        ->addSetting("x", Array::scalar(1.0), true, false, "user");
    settings::core::turnOffSettingsSaving();
    tree.root->removeNode("mine");
    const Handle again = tree.root->addGroup("mine", true, false, "session");
    again->addSetting("x", {}, true, false, "session");
    tree.keeper->loadLevel(SettingsAccess::node(*again), LevelIndex::user);
    EXPECT_FALSE(again->isSet("x", "user"));
    settings::core::turnOnSettingsSaving();
    group(tree)->set("a", 1.0, "user");
    EXPECT_FALSE(std::filesystem::exists(tree.file("mine")));
}

TEST_F(SharedFiles, ARemovedGroupTakesItsKeptValuesAlong) {
    {
        const FileTree tree = start({"a"});
        group(tree)->set("a", 1.0, "user");
        const Handle mine = group(tree)->addGroup("mine", true, false, "user");
        mine->addSetting("x", Array::scalar(0.0), true, false, "session");
        mine->set("x", 5.0, "user");
    }
    const FileTree tree = start({"a"});
    group(tree)->removeNode("mine");
    EXPECT_EQ(nullptr, group(tree)->getChild("mine"));
    EXPECT_EQ(nullptr, group(start({"a"}))->getChild("mine"));

    const Handle again = group(tree)->addGroup("mine", true, false, "user");
    again->addSetting("x", Array::scalar(0.0), true, false, "session");
    EXPECT_FALSE(again->isSet("x", "user"));
}

/// Also where nothing but these is in the file of the level.
TEST_F(SharedFiles, ARemovedGroupTakesFilesOfKeptValuesAlong) {
    FileTree tree = start({});
    const Handle mine = tree.root->addGroup("mine", true, false, "user");
    const auto file = tree.file("mine", LevelIndex::installation);
    {
        auto unknown = settings::core::SettingsFileManager::create(file, "installation", false, "mine");
        settings::core::MSettings::of(unknown.getTopLevelNode())
            ->createFactorySetting("x", false, FactorySettingProperties());
        unknown.getTopLevelNode()->set("x", 5.0, "installation");
        unknown.save();
    }
    tree.load(mine);
    EXPECT_FALSE(mine->getChild("x"));
    ASSERT_TRUE(std::filesystem::exists(file));
    tree.root->removeNode("mine");
    EXPECT_FALSE(std::filesystem::exists(file));
}

/// A group of this session, which no file holds, does not swallow the values of its name.
TEST_F(SharedFiles, AGroupOfThisSessionHidesNothingForGood) {
    const auto withGroup = [&] {
        FileTree tree(folder.path());
        const Handle g = tree.group("g");
        TestTree::setting(g, "a", Array::scalar(0.0));
        TestTree::setting(TestTree::childGroup(g, "s"), "y", Array::scalar(0.0));
        tree.load(g);
        return tree;
    };
    group(withGroup())->getChild("s")->set("y", 7.0, "user");
    for (const bool isThereAtLoad : {false, true}) {
        FileTree tree(folder.path());
        const Handle g = tree.group("g");
        TestTree::setting(g, "a", Array::scalar(0.0));
        if (!isThereAtLoad)
            tree.load(g);
        g->addGroup("s", true, false, "session")->addSetting("y", Array::scalar(0.0), true, false, "session");
        if (isThereAtLoad)
            tree.load(g);
        g->set("a", isThereAtLoad ? 2.0 : 3.0, "user");
        EXPECT_TRUE(group(withGroup())->getChild("s")->isSet("y", "user")) << isThereAtLoad;
    }
}

TEST_F(SharedFiles, ARemovalThatWaitsIsNotUndoneByAScan) {
    const FileTree tree = start({"a"});
    tree.root->addGroup("mine", true, false, "user")
        ->addSetting("x", Array::scalar(1.0), true, false, "user");
    settings::core::turnOffSettingsSaving();
    tree.root->removeNode("mine");
    settings::core::turnOnSettingsSaving();
    tree.keeper->loadAddedGroups(SettingsAccess::node(*tree.root), LevelIndex::user);
    EXPECT_EQ(nullptr, tree.root->getChild("mine"));
    group(tree)->set("a", 1.0, "user");
    EXPECT_FALSE(std::filesystem::exists(tree.file("mine")));
}

/// Requests for a removed group do not touch what belongs to another one of its name.
TEST_F(SharedFiles, ANamesakeOfARemovedGroup) {
    const FileTree tree = start({"a"});
    const auto add = [&](double value) {
        const Handle mine = tree.root->addGroup("mine", true, false, "user");
        mine->addSetting("x", Array::scalar(value), true, false, "user");
        return mine;
    };
    const auto old = SettingsAccess::node(*add(1.0));
    tree.root->removeNode("mine");
    settings::core::turnOffSettingsSaving();
    const Handle mine = add(2.0);
    tree.keeper->requestSave(old, LevelIndex::user);
    EXPECT_TRUE(tree.status("mine").isMarked);
    settings::core::turnOnSettingsSaving();
    group(tree)->set("a", 1.0, "user");
    EXPECT_TRUE(std::filesystem::exists(tree.file("mine")));

    const FileTree theirs(folder.path());
    theirs.keeper->loadAddedGroups(SettingsAccess::node(*theirs.root), LevelIndex::user);
    theirs.root->getChild("mine")->addSetting("z", Array::scalar(9.0), true, false, "user");
    tree.keeper->loadLevel(old, LevelIndex::user);
    mine->set("x", 3.0, "user");
    EXPECT_TRUE(mine->getChild("z"));
}

} // namespace
