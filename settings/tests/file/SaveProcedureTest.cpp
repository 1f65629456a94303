// How one file is saved: the order of the checks, the two ways to the disk, what the log says, what a failure
// leaves behind.

#include "support/Children.hpp"
#include "support/FileTree.hpp"

#include "settingscore/SettingsSaving.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/file/PrefdirFileAccess.hpp"
#include "settingscore/settings/file/SaveHook.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/settingsFile.hpp"
#include "varnek/files/FileError.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <thread>

namespace {

using namespace settings::test;
using namespace settings::core::detail;
using settings::core::LevelIndex;
using Lines = std::vector<std::string>;

struct SaveProcedure : testing::Test {
    SaveProcedure() : group(tree.group("g")) {
        TestTree::setting(group, "s");
        tree.load(group);
        node = SettingsAccess::node(*group);
        node->getChild("s", false)->loadValue(LevelIndex::user, {Array::scalar(1.0), false});
        file = tree.file("g");
    }

    PrefdirFileAccess access(LevelIndex level, NodePtr saved,
                             const std::optional<std::string>& bytes = "content") const {
        return {
            level, std::move(saved), file,
            [bytes](const NodePtr&, const std::filesystem::path&, std::string_view, SaveOutcome& outcome) {
                if (bytes && *bytes == "fail")
                    throw std::runtime_error("cause");
                if (bytes && *bytes == "failUnknown")
                    throw 1;
                outcome = SaveOutcome::unchanged;
                return bytes;
            },
            false};
    }

    void expectNotWritten(SettingsFileAccess& save, const std::string& cause) {
        try {
            saveSettingsFile(save);
            ADD_FAILURE() << "no failure";
        } catch (const settings::core::exception::SettingsFileNotWritten& failure) {
            EXPECT_EQ("Failed to write settings file; Error: " + cause, failure.what());
            EXPECT_EQ(save.filePath().u16string(), failure.getFilePath());
        }
        EXPECT_EQ(Lines{"Failed to write settings file; Error: " + cause}, log.take("Failed to write"));
    }

    TempFolder folder;
    FileTree tree{folder.path()};
    Handle group;
    NodePtr node;
    std::filesystem::path file;
    FileLogLines log;
};

TEST_F(SaveProcedure, TheWayIsChosenOnce) {
    int asked = 0;
    const SaveHook before = setSaveHook([&](SettingsFileAccess&, const std::filesystem::path&) { ++asked; });
    {
        const SavesThroughTheHook route;
        auto first = access(LevelIndex::user, node);
        saveSettingsFile(first);
        ::setenv("SETTINGS_USERDIR", route.folder().c_str(), 1);
        auto second = access(LevelIndex::user, node);
        saveSettingsFile(second);
        EXPECT_EQ(2, asked);
    }
    setSaveHook(before);
    auto third = access(LevelIndex::user, node);
    saveSettingsFile(third);
    ::unsetenv("SETTINGS_USERDIR");
    auto fourth = access(LevelIndex::user, node);
    log.take();
    saveSettingsFile(fourth);
    EXPECT_EQ(1U, log.take("Renaming tmp file").size());
    ::setenv("SETTINGS_USERDIR", (folder / "user").c_str(), 1);
}

TEST_F(SaveProcedure, TheFileWriterIsToldGroupPathAndLevel) {
    for (const auto& [level, name] :
         {std::pair(LevelIndex::user, "user"), std::pair(LevelIndex::installation, "installation")}) {
        node->getChild("s", false)->loadValue(level, {Array::scalar(1.0), false});
        int calls = 0;
        PrefdirFileAccess save(
            level, node, file,
            [&, name = name](const NodePtr& saved, const std::filesystem::path& path,
                             std::string_view levelName, SaveOutcome&) -> std::optional<std::string> {
                ++calls;
                EXPECT_EQ(node, saved);
                EXPECT_EQ(file, path);
                EXPECT_EQ(name, levelName);
                return "content";
            },
            false);
        EXPECT_EQ(SaveOutcome::saved, saveSettingsFile(save));
        EXPECT_EQ(1, calls);
    }
}

TEST_F(SaveProcedure, ThroughTheTemporaryFile) {
    writeBytes(folder / "user/g.settings", "earlier format");
    auto save = access(LevelIndex::user, node);
    EXPECT_EQ(SaveOutcome::saved, saveSettingsFile(save));
    EXPECT_EQ("content", bytesOf(file));
    EXPECT_EQ(Lines{"g.vksettings"}, namesIn(folder / "user")); // no temporary directory, no earlier format
    struct stat status {};
    ASSERT_EQ(0, ::stat(file.c_str(), &status));
    EXPECT_EQ(0600U, status.st_mode & 0777U);

    const Lines lines = log.take();
    ASSERT_EQ(4U, lines.size());
    EXPECT_EQ("ENTER SettingsFile::saveSettingsFile() ", lines[0]);
    EXPECT_EQ("getTempDirectory: \\ttempDirRoot = " + (folder / "user").string(), lines[1]);
    EXPECT_EQ(0U, lines[2].find("Renaming tmp file: \\ttmpFilePath = " + (folder / "user").string()));
    EXPECT_NE(std::string::npos, lines[2].find("g.vksettings.tmp\\trealFilePath = " + file.string()));
    EXPECT_EQ("EXIT  SettingsFile::saveSettings(), I think it's all good - ", lines[3]);
}

TEST_F(SaveProcedure, ThroughTheHook) {
    const SavesThroughTheHook route;
    writeBytes(folder / "user/g.settings", "earlier format");
    auto save = access(LevelIndex::user, node);
    EXPECT_EQ(SaveOutcome::saved, saveSettingsFile(save));
    EXPECT_EQ("content", bytesOf(file));
    EXPECT_EQ((Lines{"g.settings", "g.vksettings"}), namesIn(folder / "user")); // stays on this way
    EXPECT_EQ(Lines{"ENTER SettingsFile::saveSettingsFile() "}, log.take());

    std::vector<std::filesystem::path> seen;
    SaveHook before = setSaveHook([&](SettingsFileAccess& saved, const std::filesystem::path& path) {
        seen.push_back(path);
        EXPECT_EQ("SaveObj : gLevel : user", saved.description());
        EXPECT_TRUE(saved.isPrefdirFile());
    });
    EXPECT_FALSE(before);
    auto again = access(LevelIndex::user, node, "other");
    EXPECT_EQ(SaveOutcome::saved, saveSettingsFile(again));
    EXPECT_EQ(1U, seen.size());
    EXPECT_EQ(file, seen.at(0));
    EXPECT_EQ("content", bytesOf(file)); // the hook decides
    setSaveHook([](SettingsFileAccess&, const std::filesystem::path&) { throw 1; });
    log.take();
    expectNotWritten(again, "Unknown");
    EXPECT_TRUE(setSaveHook(before));
    auto failing = access(LevelIndex::user, node, "fail");
    expectNotWritten(failing, "cause");
    auto growing = access(LevelIndex::user, node, "longer content");
    {
        const NoRoomForFiles full;
        EXPECT_THROW(saveSettingsFile(growing), settings::core::exception::SettingsFileNotWritten);
    }
    EXPECT_EQ("content", bytesOf(file));
    auto unchanged = access(LevelIndex::user, node, std::nullopt);
    EXPECT_EQ(SaveOutcome::unchanged, saveSettingsFile(unchanged));
}

/// A hook may save again from inside a save: the file holds the last value in the end.
TEST_F(SaveProcedure, AHookMaySaveAgain) {
    const SavesThroughTheHook route;
    const Handle other = tree.group("other");
    TestTree::setting(other, "s");
    tree.load(other);
    int calls = 0;
    setSaveHook([&](SettingsFileAccess& saved, const std::filesystem::path& path) {
        if (++calls == 1) {
            group->set("s", 7.0, "user");
            other->set("s", 8.0, "user");
        }
        saved.writeTo(path);
    });
    group->set("s", 2.0, "user");
    setSaveHook({});
    EXPECT_EQ(3, calls); // the first, the other group inside it, the first group once more
    const auto value = [&](const char* name) {
        return settingIn(partJson(tree.file(name), topPart), "s")
            .at("value")
            .asObject()
            .at("qfdata")
            .asDouble();
    };
    EXPECT_EQ(7.0, value("g"));
    EXPECT_EQ(8.0, value("other"));
    EXPECT_FALSE(tree.status("g").isMarked);
}

/// A hook changes a group whose files somebody else works on, who fails.
TEST_F(SaveProcedure, WhatAHookCouldNotSaveIsSavedAfterWorkThatFails) {
    const SavesThroughTheHook route;
    const Handle other = tree.group("other");
    TestTree::setting(other, "s");
    tree.load(other);
    setSaveHook([&](SettingsFileAccess& saved, const std::filesystem::path& path) {
        if (path != file)
            group->set("s", 7.0, "user");
        saved.writeTo(path);
    });
    const auto work = [&] {
        std::thread([&] { other->set("s", 8.0, "user"); }).join();
        EXPECT_TRUE(tree.status("g").isMarked);
        throw std::runtime_error("cause");
    };
    EXPECT_THROW(tree.keeper->inTurns(node, work), std::runtime_error);
    setSaveHook({});
    EXPECT_FALSE(tree.status("g").isMarked);
    EXPECT_EQ(7.0, settingIn(partJson(file, topPart), "s").at("value").asObject().at("qfdata").asDouble());
}

/// Threads that save two groups, through a hook that changes the other group each time: nobody may wait for
/// somebody who waits for the hook.
TEST_F(SaveProcedure, ThreadsAndHooksDoNotBlockEachOther) {
    const SavesThroughTheHook route;
    const Handle other = tree.group("other");
    TestTree::setting(other, "s");
    for (const Handle& each : {group, other})
        TestTree::setting(each, "fromHook");
    tree.load(other);
    std::atomic<int> left = 40;
    setSaveHook([&](SettingsFileAccess& saved, const std::filesystem::path& path) {
        if (const int count = --left; count > 0)
            (path == file ? other : group)->set("fromHook", double(count), "user");
        saved.writeTo(path);
    });
    std::vector<std::thread> threads;
    for (const Handle& each : {group, other, group, other})
        threads.emplace_back([each] {
            for (int n = 1; n <= 10; ++n)
                each->set("s", double(n), "user");
        });
    for (std::thread& thread : threads)
        thread.join();
    setSaveHook({});
    for (const Handle& each : {group, other}) {
        const auto json = partJson(tree.file(each->getName()), topPart);
        for (const char* name : {"s", "fromHook"})
            EXPECT_EQ(each->get<double>(name, "user"),
                      settingIn(json, name).at("value").asObject().at("qfdata").asDouble());
        EXPECT_FALSE(tree.status(each->getName()).isMarked);
    }
}

TEST_F(SaveProcedure, OrderOfTheChecks) {
    using settings::core::exception::CantModifyValuesOnReadOnlyLevel;
    // 1. a level without file, before everything else
    auto session = access(LevelIndex::session, {});
    EXPECT_EQ(SaveOutcome::levelWithoutFile, saveSettingsFile(session));
    EXPECT_EQ(Lines{"ENTER SettingsFile::saveSettingsFile() "}, log.take());
    // 2. a level that cannot be modified, also without a group
    auto factory = access(LevelIndex::factory, {});
    try {
        saveSettingsFile(factory);
        ADD_FAILURE() << "factory files are not saved this way";
    } catch (const CantModifyValuesOnReadOnlyLevel& failure) {
        EXPECT_EQ("factory", failure.getLevelToModify());
    }
    log.take();
    // 3. no group, also in a folder that is not there
    std::filesystem::remove_all(folder / "user");
    auto nobody = access(LevelIndex::user, {});
    EXPECT_EQ(SaveOutcome::nothingToSave, saveSettingsFile(nobody));
    EXPECT_EQ((Lines{"ENTER SettingsFile::saveSettingsFile() ",
                     "EXIT  SettingsFile::saveSettings(), nothing to save"}),
              log.take());
    // 4. a group without values, silently
    NodeSpec spec;
    spec.name = "g";
    const auto emptyGroup = SettingsImpl::makeGroup(std::move(spec));
    auto empty = access(LevelIndex::user, emptyGroup);
    EXPECT_EQ(SaveOutcome::nothingToSave, saveSettingsFile(empty));
    EXPECT_EQ(1U, log.take().size());
    EXPECT_FALSE(std::filesystem::exists(folder / "user"));
    //    unless the tree stands for one file
    const auto fileRoot =
        SettingsImplRoot::make({.rootIndex = {}, .connected = false, .fileTree = true, .saves = {}});
    fileRoot->adoptChildren({emptyGroup});
    auto ofFileTree = access(LevelIndex::user, emptyGroup);
    EXPECT_EQ(SaveOutcome::saved, saveSettingsFile(ofFileTree));
    std::filesystem::remove_all(folder / "user");
    log.take();
    // 5. a folder that cannot be written; a missing one of the user level is made
    writeBytes(folder / "user", "a file in the folder's place");
    auto unwritable = access(LevelIndex::user, node);
    EXPECT_EQ(SaveOutcome::notWritable, saveSettingsFile(unwritable));
    EXPECT_EQ(Lines{"EXIT settingsFile::saveSettingsFileAccess(), no write permission "},
              log.take("no write permission"));
    std::filesystem::remove(folder / "user");
    auto writable = access(LevelIndex::user, node);
    EXPECT_EQ(SaveOutcome::saved, saveSettingsFile(writable));
    struct stat status {};
    ASSERT_EQ(0, ::stat((folder / "user").c_str(), &status));
    EXPECT_EQ(0700U, status.st_mode & 0777U);
}

TEST_F(SaveProcedure, AFailingTemporaryFileLeavesTheRealOne) {
    using settings::core::exception::ErrorWriteToTempSettingsFile;
    const auto detailOf = [&](const char* content) {
        auto failing = access(LevelIndex::user, node, content);
        try {
            saveSettingsFile(failing);
            ADD_FAILURE() << content;
            return std::u16string();
        } catch (const ErrorWriteToTempSettingsFile& failure) {
            EXPECT_EQ("g", failure.getCausingObject()->getName());
            EXPECT_EQ(failure.getErrorNum() != 0,
                      failure.getTempFilePath().ends_with(u".tmp")); // only a file has a number
            return failure.getDetail();
        }
    };
    writeBytes(file, "before");
    writeBytes(folder / "user/g.settings", "earlier format");
    EXPECT_EQ(u"Failed to write settings file; Error: cause", detailOf("fail"));
    EXPECT_EQ(u"Failed to write settings file; Error: Unknown", detailOf("failUnknown"));
    EXPECT_EQ(2U, log.take("Failed to write settings file; Error: ").size());
    {
        const NoRoomForFiles full;
        EXPECT_NE(std::u16string::npos, detailOf("content").find(u"File too large"));
    }
    EXPECT_EQ("before", bytesOf(file));
    EXPECT_EQ((Lines{"g.settings", "g.vksettings"}), namesIn(folder / "user"));
}

/// A file that is not one of the preferences directory.
struct OtherFile : SettingsFileAccess {
    explicit OtherFile(std::filesystem::path file) : SettingsFileAccess(std::move(file)) {}
    bool checkBeforeSaving() override { return true; }
    std::optional<std::string> content() override { return "content"; }
    std::string description() const override { return "other"; }
};

TEST_F(SaveProcedure, OtherFilesNeverGoThroughTheHook) {
    const SavesThroughTheHook route;
    const SaveHook before = setSaveHook(
        [](SettingsFileAccess&, const std::filesystem::path&) { ADD_FAILURE() << "asked the hook"; });
    OtherFile other(folder / "other");
    EXPECT_EQ(SaveOutcome::saved, saveSettingsFile(other));
    setSaveHook(before);
    EXPECT_EQ("content", bytesOf(folder / "other"));
    EXPECT_EQ(1U, log.take("getTempDirectory: ").size());
}

TEST_F(SaveProcedure, AFolderThatTakesNoTemporaryDirectory) {
    const auto failureOfSaveTo = [](const std::filesystem::path& path) {
        OtherFile save(path);
        try {
            saveSettingsFile(save);
            return std::string("none");
        } catch (const VARNEK::settings::core::CanNotCreateTempDirectory& failure) {
            return std::string("CanNotCreateTempDirectory ") + failure.what();
        } catch (const VARNEK::settings::core::NoWritePermissionOnDirectory& failure) {
            return std::string("NoWritePermissionOnDirectory ") + failure.what();
        }
    };
    const std::string missing = failureOfSaveTo(folder / "missing/file");
    EXPECT_EQ(0U, missing.find("CanNotCreateTempDirectory ")) << missing;
    EXPECT_NE(std::string::npos, missing.find((folder / "missing").string())) << missing;
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to become somebody else";
    ASSERT_EQ(0, ::chmod(folder.path().c_str(), 0755));
    asOrdinaryUser([&] {
        const std::string refused = failureOfSaveTo(folder / "file");
        EXPECT_EQ(0U, refused.find("NoWritePermissionOnDirectory ")) << refused;
        EXPECT_NE(std::string::npos, refused.find(folder.path().string())) << refused;
    });
}

/// A process that dies while it has written the temporary file: the old file stands, and the next start
/// clears what is left.
TEST_F(SaveProcedure, ADeathBetweenWriteAndRename) {
    group->set("s", 2.0, "user");
    const std::string before = bytesOf(file);
    Child child([&] {
        auto save = access(LevelIndex::user, node);
        save.onReplacing([] { ::_exit(7); });
        saveSettingsFile(save);
    });
    ASSERT_EQ(7, WEXITSTATUS(child.wait()));
    EXPECT_EQ(before, bytesOf(file));
    std::filesystem::path left;
    for (const auto& entry : std::filesystem::directory_iterator(folder / "user"))
        if (entry.is_directory())
            left = entry.path();
    EXPECT_EQ(Lines{"g.vksettings.tmp"}, namesIn(left));
    const FileTree next(folder.path());
    next.keeper->loadAddedGroups(SettingsAccess::node(*next.root), LevelIndex::user);
    EXPECT_EQ(Lines{"g.vksettings"}, namesIn(folder / "user"));
}

TEST_F(SaveProcedure, SwitchedOff) {
    settings::core::turnOffSettingsSaving();
    EXPECT_FALSE(settings::core::isSettingsSavingTurnedOn());
    auto save = access(LevelIndex::user, node);
    EXPECT_EQ(SaveOutcome::switchedOff, saveSettingsFile(save));
    settings::core::turnOnSettingsSaving();
    EXPECT_TRUE(settings::core::isSettingsSavingTurnedOn());
    EXPECT_EQ((Lines{"Turn off Settings Save", "Turn on Settings Save"}), log.take());
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(SaveProcedure, FoldersAndFilesThatOthersOwn) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to become somebody else";
    group->set("s", 1.5, "user");
    TestTree::setting(group, "t");
    group->set("t", 0.5, "user");
    const std::string before = bytesOf(file);
    ASSERT_EQ(0, ::chmod(folder.path().c_str(), 0755));
    ASSERT_EQ(0, ::chmod((folder / "user").c_str(), 0755));
    ASSERT_EQ(0, ::chmod(file.c_str(), 0644));
    asOrdinaryUser([&] { // readable, but not writable
        const FileTree theirs(folder.path());
        const Handle g = theirs.group("g");
        TestTree::setting(g, "s");
        theirs.load(g);
        EXPECT_EQ(1.5, g->get<double>("s"));
        g->set("s", 2.0, "user");
        EXPECT_EQ(2.0, g->get<double>("s"));
        EXPECT_EQ(SaveOutcome::notWritable, theirs.status("g").saved);
        EXPECT_TRUE(theirs.status("g").isMarked);
    });
    EXPECT_EQ(before, bytesOf(file));

    // A file that cannot be read at first is not overwritten, and saved once it could be read.
    ASSERT_EQ(0, ::chmod((folder / "user").c_str(), 0777));
    ASSERT_EQ(0, ::chmod(file.c_str(), 0600));
    int ready[2];
    ASSERT_EQ(0, ::pipe(ready));
    int goOn[2];
    ASSERT_EQ(0, ::pipe(goOn));
    Child child([&] {
        becomeOrdinaryUser();
        const FileTree theirs(folder.path());
        const Handle g = theirs.group("g");
        TestTree::setting(g, "s");
        TestTree::setting(g, "t");
        theirs.load(g);
        EXPECT_EQ(LoadOutcome::unreadable, theirs.status("g").loaded);
        EXPECT_FALSE(g->isSet("s", "user"));
        g->set("t", 3.0, "user");
        EXPECT_EQ(SaveOutcome::waitingForRead, theirs.status("g").saved);
        char byte = 'x';
        EXPECT_EQ(1, ::write(ready[1], &byte, 1));
        EXPECT_EQ(1, ::read(goOn[0], &byte, 1));
        g->set("t", 4.0, "user");
        EXPECT_EQ(SaveOutcome::saved, theirs.status("g").saved) << theirs.status("g").saveMessage;
        EXPECT_EQ(1.5, g->get<double>("s", "user")); // what the file held came with it,
        EXPECT_EQ(4.0, g->get<double>("t", "user")); // but not over what was set meanwhile
    });
    char byte = 0;
    ASSERT_EQ(1, ::read(ready[0], &byte, 1));
    EXPECT_EQ(before, bytesOf(file));
    ASSERT_EQ(0, ::chmod(file.c_str(), 0644));
    ASSERT_EQ(1, ::write(goOn[1], &byte, 1));
    EXPECT_EQ(0, child.wait());
    EXPECT_EQ(2U, partJson(file, topPart).at("settings").asArray().size());
}

} // namespace
