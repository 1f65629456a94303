// What a save or a reading meets that nobody left there on purpose: folders that come and go, hooks that
// change files, definitions that appear in between.

#include "support/OneGroupsFile.hpp"

#include "settingscore/SettingsSaving.hpp"
#include "settingscore/events/EventNotifyFunction.hpp"
#include "settingscore/settings/file/SaveHook.hpp"
#include "settingscore/settings/file/SettingsFileAccess.hpp"

#include <algorithm>
#include <atomic>
#include <future>
#include <thread>

namespace {

using namespace settings::test;
using namespace settings::core::detail;
using Lines = std::vector<std::string>;

using UnexpectedFiles = OneGroupsFile;

/// Puts the default hook back.
struct HookOfATest {
    HookOfATest() = default;
    HookOfATest(const HookOfATest&) = delete;
    HookOfATest& operator=(const HookOfATest&) = delete;
    ~HookOfATest() { setSaveHook({}); }
};

/// What was kept for a definition is not taken for something that was removed here.
TEST_F(UnexpectedFiles, ADefinitionThatAppearsWhileTheFileIsReadAgain) {
    group(start({"a", "b"}))->set("b", 7.0, "user");
    const FileTree ours = start({"a"});              // b is kept unseen
    group(start({"a", "b"}))->set("a", 1.0, "user"); // another process
    std::thread adder;
    const FileLogLines log;
    std::atomic<bool> once{false};
    const auto before =
        varnek::log::setSink([&](std::string_view, varnek::log::Severity, std::string_view text) {
            if (text.find("Read settings file: ") != std::string_view::npos && !once.exchange(true)) {
                adder = std::thread([&] { group(ours)->addSetting("b", Array(), true, false, "session"); });
                while (group(ours)->getChild("b") == nullptr)
                    std::this_thread::yield();
            }
        });
    load(ours); // what the watch does
    adder.join();
    varnek::log::setSink(before);
    EXPECT_TRUE(group(ours)->isSet("b", "user")) << "in memory";
    group(ours)->set("a", 2.0, "user");
    EXPECT_TRUE(group(start({"a", "b"}))->isSet("b", "user")) << "in the file";
}
TEST_F(UnexpectedFiles, ADefinitionThatAppearsBeforeTheFileIsReadAgain) {
    group(start({"a", "b"}))->set("b", 7.0, "user");
    const FileTree ours = start({"a"});
    TestTree::setting(group(ours), "b", Array::scalar(0.0));
    load(ours);
    EXPECT_TRUE(group(ours)->isSet("b", "user"));
}

/// The hook must not wait; the one who reads carries the request out.
TEST_F(UnexpectedFiles, ARequestFromAHookForAFileThatIsBeingRead) {
    const FileTree tree = start({"a"});
    const Handle other = tree.group("h");
    TestTree::setting(other, "x", Array::scalar(0.0));
    tree.load(other);
    other->set("x", 1.0, "user");
    const SavesThroughTheHook route;
    const HookOfATest ownHook;
    std::promise<void> reading, hookDone;
    std::thread reader;
    std::atomic<bool> once{false};
    const FileLogLines log;
    const auto before =
        varnek::log::setSink([&](std::string_view, varnek::log::Severity, std::string_view text) {
            if (text.find("Read settings file: " + tree.file("h").string()) != std::string_view::npos &&
                !once.exchange(true)) {
                reading.set_value();
                hookDone.get_future().wait();
            }
        });
    setSaveHook([&](SettingsFileAccess& saved, const std::filesystem::path& path) {
        if (path == tree.file("g")) {
            reader =
                std::thread([&] { tree.keeper->loadLevel(SettingsAccess::node(*other), LevelIndex::user); });
            reading.get_future().wait();
            other->set("x", 2.0, "user");
            hookDone.set_value();
        }
        saved.writeTo(path);
    });
    group(tree)->set("a", 1.0, "user");
    reader.join();
    varnek::log::setSink(before);
    EXPECT_EQ(2.0, other->get<double>("x", "user"));
    EXPECT_FALSE(tree.status("h").isMarked);
    const auto value = [&] {
        return settingIn(partJson(tree.file("h"), topPart), "x")
            .at("value")
            .asObject()
            .at("qfdata")
            .asDouble();
    };
    EXPECT_EQ(2.0, value());
}

TEST_F(UnexpectedFiles, AnUnsetWhileTheFolderIsAway) {
    const FileTree ours = start({"a", "b"});
    group(ours)->set("a", 1.0, "user");
    std::filesystem::rename(folder / "user", folder / "away");
    group(ours)->unset("a", "user");
    EXPECT_TRUE(ours.status("g").isMarked);
    std::filesystem::rename(folder / "away", folder / "user");
    RecordedEvents events;
    load(ours);
    EXPECT_EQ(Lines{}, events.take());
    EXPECT_FALSE(group(ours)->isSet("a", "user"));
    group(ours)->set("b", 2.0, "user");
    EXPECT_FALSE(group(start({"a", "b"}))->isSet("a", "user"));
}
TEST_F(UnexpectedFiles, ARemovalWhileTheFolderIsAway) {
    const FileTree ours = start({"a"});
    ours.root->addGroup("mine", true, false, "user")
        ->addSetting("x", Array::scalar(1.0), true, false, "user");
    std::filesystem::rename(folder / "user", folder / "away");
    ours.root->removeNode("mine");
    EXPECT_TRUE(ours.status("mine").isMarked);
    std::filesystem::rename(folder / "away", folder / "user");
    ours.keeper->loadAddedGroups(SettingsAccess::node(*ours.root), LevelIndex::user);
    EXPECT_EQ(nullptr, ours.root->getChild("mine"));
}

TEST_F(UnexpectedFiles, AFolderThatAnotherProcessMadeAnew) {
    const FileTree ours = start({"a", "b", "c"});
    group(ours)->set("a", 1.0, "user");
    std::filesystem::remove_all(folder / "user");
    std::filesystem::create_directory(folder / "spacer");
    group(start({"a", "b", "c"}))->set("b", 2.0, "user"); // a new process
    RecordedEvents events;
    group(ours)->set("c", 3.0, "user");
    EXPECT_EQ((Lines{"changed g.c was 0", "changed g.b was 0"}), events.take());
    EXPECT_TRUE(group(ours)->isSet("a", "user"));
}

TEST_F(UnexpectedFiles, ASettingOfThisSessionKeepsNoGroupAlive) {
    {
        const FileTree first = start({"a"});
        first.root->addGroup("mine", true, false, "user")
            ->addSetting("x", Array::scalar(1.0), true, false, "user");
        const Handle nested = group(first)->addGroup("nested", true, false, "user");
        nested->addSetting("x", Array::scalar(1.0), true, false, "user");
        group(first)->set("a", 1.0, "user");
    }
    const auto withGroups = [&] {
        FileTree tree = start({"a"});
        tree.keeper->loadAddedGroups(SettingsAccess::node(*tree.root), LevelIndex::user);
        return tree;
    };
    const FileTree ours = withGroups(), theirs = withGroups();
    group(ours)->getChild("nested")->addSetting("tmp", Array::scalar(1.0), true, false, "session");
    ours.root->getChild("mine")->addSetting("tmp", Array::scalar(1.0), true, false, "session");
    theirs.root->removeNode("mine");
    group(theirs)->removeNode("nested");
    load(ours);
    ours.keeper->loadLevel(SettingsAccess::node(*ours.root->getChild("mine")), LevelIndex::user);
    EXPECT_EQ(nullptr, group(ours)->getChild("nested"));
    EXPECT_EQ(nullptr, ours.root->getChild("mine"));
    group(ours)->set("a", 2.0, "user");
    EXPECT_EQ(nullptr, group(withGroups())->getChild("nested")) << "back in the file";
}

TEST_F(UnexpectedFiles, AHookThatGoesOnAfterWriting) {
    const SavesThroughTheHook route;
    const HookOfATest ownHook;
    const FileTree ours = start({"a", "b"});
    group(ours)->set("a", 1.0, "user");
    int calls = 0;
    setSaveHook([&](SettingsFileAccess& saved, const std::filesystem::path& path) {
        saved.writeTo(path);
        if (++calls == 1) { // a step that brings in what another machine has
            TempFolder elsewhere;
            FileTree t(elsewhere.path());
            const Handle g = t.group("g");
            for (const char* n : {"a", "b"})
                TestTree::setting(g, n, Array::scalar(0.0));
            t.load(g);
            calls = 10;
            g->set("a", 2.0, "user");
            g->set("b", 9.0, "user");
            std::filesystem::copy_file(t.file("g"), path, std::filesystem::copy_options::overwrite_existing);
        }
    });
    group(ours)->set("a", 2.0, "user");
    group(ours)->set("a", 3.0, "user");
    EXPECT_EQ(9.0, group(start({"a", "b"}))->get<double>("b", "user"));
}

TEST_F(UnexpectedFiles, AHookThatSavesTheSameFileThroughAnotherTree) {
    const SavesThroughTheHook route;
    const HookOfATest ownHook;
    const FileTree one = start({"a", "b"}), two = start({"a", "b"});
    bool isDone = false;
    setSaveHook([&](SettingsFileAccess& saved, const std::filesystem::path& path) {
        if (!std::exchange(isDone, true))
            group(two)->set("b", 5.0, "user"); // the other tree, the same file
        saved.writeTo(path);
    });
    group(one)->set("a", 1.0, "user");
    setSaveHook({});
    EXPECT_TRUE(group(start({"a", "b"}))->isSet("b", "user")) << "file";
    load(two);
    EXPECT_TRUE(group(two)->isSet("b", "user")) << "memory";
}

TEST_F(UnexpectedFiles, AGroupOfThisSessionReadsNoFile) {
    {
        const FileTree first = start({"a"});
        first.root->addGroup("mine", true, false, "user")
            ->addSetting("x", Array::scalar(1.0), true, false, "user");
    }
    const FileTree ours = start({"a"});
    const Handle mine = ours.root->addGroup("mine", true, false, "session");
    mine->addSetting("y", Array::scalar(0.0), true, false, "session");
    mine->set("y", 1.0, "user");
    EXPECT_EQ(nullptr, mine->getChild("x"));
}

TEST_F(UnexpectedFiles, AFirstReadingInASaveTellsEvents) {
    const FileTree ours = start({"a"});
    {
        const FileTree theirs = start({"a"});
        theirs.root->addGroup("mine", true, false, "user")
            ->addSetting("x", Array::scalar(1.0), true, false, "user");
    }
    RecordedEvents events;
    const Handle mine = ours.root->addGroup("mine", true, false, "user");
    EXPECT_NE(nullptr, mine->getChild("x"));
    EXPECT_EQ((Lines{"added mine to ", "added mine.x to mine"}), events.take());
}

TEST_F(UnexpectedFiles, AFirstReadingThatSucceedsLaterTellsEvents) {
    group(start({"a", "b"}))->set("b", 7.0, "user");
    const auto file = folder / "user/g.vksettings";
    const std::string good = bytesOf(file);
    writeBytes(file, good.substr(0, 100));
    const FileTree ours = start({"a", "b"});
    writeBytes(folder / "mended", good);
    std::filesystem::rename(folder / "mended", file);
    RecordedEvents events;
    load(ours);
    EXPECT_EQ(7.0, group(ours)->get<double>("b"));
    EXPECT_EQ(Lines{"changed g.b was 0"}, events.take());
}
/// With the file goes what was kept beside the tree.
TEST_F(UnexpectedFiles, AFileThatGoesTakesAlongWhatWasKept) {
    group(start({"a", "unknown"}))->set("unknown", 7.0, "user");
    const auto file = folder / "user/g.vksettings";
    putPart(file, "/foreign.txt", "of somebody else");
    const FileTree ours = start({"a"});
    group(ours)->set("a", 1.0, "user");
    ASSERT_EQ("of somebody else", partText(file, "/foreign.txt"));
    std::filesystem::remove(file);
    load(ours);
    group(ours)->set("a", 2.0, "user");
    const auto parts = partsOf(file);
    EXPECT_EQ(0, std::count(parts.begin(), parts.end(), "/foreign.txt"));
    EXPECT_FALSE(group(start({"a", "unknown"}))->isSet("unknown", "user"));
}

/// What was changed here stays although somebody else removed it meanwhile; the rest goes.
TEST_F(UnexpectedFiles, NodesThatWereRemovedElsewhereAndChangedHere) {
    const auto withSub = [&](const FileTree& tree) {
        const Handle sub = TestTree::childGroup(group(tree), "sub");
        TestTree::setting(sub, "p");
        TestTree::setting(sub, "q");
        tree.load(group(tree));
        tree.keeper->loadAddedGroups(SettingsAccess::node(*tree.root), LevelIndex::user);
    };
    {
        const FileTree first = start({"a"});
        withSub(first);
        group(first)->getChild("sub")->set("p", 1.0, "user");
        group(first)->getChild("sub")->set("q", 1.0, "user");
        for (const Handle& parent : {first.root, group(first)}) {
            const Handle mine = parent->addGroup("mine", true, false, "user");
            mine->addSetting("x", Array::scalar(1.0), true, false, "user");
            mine->addGroup("inner", true, false, "user")
                ->addSetting("y", Array::scalar(1.0), true, false, "user");
        }
        group(first)->addSetting("own", Array::scalar(1.0), true, false, "user");
    }
    const FileTree ours = start({"a"});
    withSub(ours);
    settings::core::turnOffSettingsSaving();
    group(ours)->getChild("sub")->set("p", 2.0, "user");
    group(ours)->set("own", 2.0, "user");
    group(ours)->getChild("mine")->getChild("inner")->set("y", 2.0, "user");
    ours.root->getChild("mine")->set("x", 2.0, "user");
    settings::core::turnOnSettingsSaving();
    {
        const FileTree theirs = start({"a"});
        withSub(theirs);
        group(theirs)->getChild("sub")->unset("p", "user");
        group(theirs)->getChild("sub")->unset("q", "user");
        group(theirs)->removeNode("own");
        group(theirs)->removeNode("mine");
        theirs.root->removeNode("mine");
    }
    load(ours);
    ours.keeper->loadLevel(SettingsAccess::node(*ours.root->getChild("mine")), LevelIndex::user);
    EXPECT_EQ(2.0, group(ours)->getChild("sub")->get<double>("p"));
    EXPECT_FALSE(group(ours)->getChild("sub")->isSet("q", "user"));
    EXPECT_EQ(2.0, group(ours)->get<double>("own"));
    ASSERT_NE(nullptr, group(ours)->getChild("mine"));
    EXPECT_EQ(2.0, group(ours)->getChild("mine")->getChild("inner")->get<double>("y"));
    ASSERT_NE(nullptr, ours.root->getChild("mine"));
    EXPECT_EQ(2.0, ours.root->getChild("mine")->get<double>("x"));
}

} // namespace
