// What hooks, listeners, other trees, other processes and the end of the process do to the file-writer
// thread.

#include "support/AtLine.hpp"
#include "support/Children.hpp"
#include "support/WriterTree.hpp"

#include "settingscore/SaveReport.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/events/EventNotifyFunction.hpp"
#include "settingscore/events/SettingsValueChangeEvent.hpp"
#include "settingscore/settings/file/SaveHook.hpp"
#include "settingscore/settings/file/prefdirWriter.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <latch>
#include <thread>

namespace {

using namespace settings::test;
using namespace settings::core;
using namespace settings::core::detail;
using namespace std::chrono_literals;

struct FileWriterFaults : WriterTree {
    ~FileWriterFaults() override {
        setSaveHook({});
        setEventNotifyFunction({});
    }

    /// The next save of the group finds a change of another process, and tells it on the writer's thread.
    void changeElsewhere(const std::string& name) {
        queue.waitForAll();
        const FileTree other(folder.path());
        group(other, name)->set("t", 5.0, "user");
    }
    static void onChangeOf(const std::string& name, const std::function<void()>& work) {
        setEventNotifyFunction([name, work](const auto& event) {
            if (event->getObj()->getName() == name)
                work();
        });
    }
};

/// Ends the process when the scope takes too long, where a fault means waiting for ever.
struct Within {
    explicit Within(unsigned seconds) { ::alarm(seconds); }
    Within(const Within&) = delete;
    Within& operator=(const Within&) = delete;
    ~Within() { ::alarm(0); }
};

TEST_F(FileWriterFaults, ARemovalForgetsNoOtherTreesSave) {
    const Within limit(60);
    const FileTree second(folder.path(), writer);
    const auto add = [](const FileTree& to, double value) {
        const Handle g = to.root->addGroup("mine", true, false, "user");
        g->addSetting("s", Array::scalar(value), true, false, "user");
        return g;
    };
    const Handle theirs = add(second, 7.0);
    add(tree, 1.0);
    tree.root->removeNode("mine");
    queue.waitForAll();
    EXPECT_TRUE(lastSave(*theirs, "user").isOnDisk);
    theirs->set("s", 8.0, "user");
    EXPECT_TRUE(awaitSave(*theirs, "user").isOnDisk);
    EXPECT_TRUE(std::filesystem::exists(tree.file("mine")));
}

TEST_F(FileWriterFaults, AHookMaySaveAgainAfterTheEnd) {
    const Within limit(60);
    const SavesThroughTheHook through;
    const Handle a = group(tree, "a");
    int calls = 0;
    setSaveHook([&](SettingsFileAccess& access, const std::filesystem::path& path) {
        access.writeTo(path);
        if (++calls == 1)
            a->set("s", 2.0, "user");
    });
    queue.terminate(true);
    a->set("s", 1.0, "user");
    EXPECT_TRUE(lastSave(*a, "user").isOnDisk);
    EXPECT_EQ(2.0, onDisk("a"));
    a->set("s", 3.0, "user");
    EXPECT_TRUE(awaitSave(*a, "user").isOnDisk);
    EXPECT_EQ(3.0, onDisk("a"));
}

TEST_F(FileWriterFaults, AListenerOnItsThreadWaitsForNothing) {
    const Within limit(60);
    const SavesThroughTheHook through;
    const Handle g = group(tree, "g");
    const Handle h = group(tree, "h");
    g->set("s", 1.0, "user");
    changeElsewhere("g");
    std::atomic<int> heard = 0;
    onChangeOf("t", [&] {
        ++heard;
        h->addSetting("fresh", Array::scalar(1.0), true, false, "user"); // the file is in the same pass
        h->set("s", 9.0, "user");
        EXPECT_FALSE(awaitSave(*h, "user").isOnDisk);
        waitForSettingsSaves();
    });
    g->set("s", 2.0, "user");
    h->set("s", 2.0, "user");
    queue.waitForAll();
    EXPECT_EQ(1, heard);
    EXPECT_TRUE(awaitSave(*h, "user").isOnDisk);
    EXPECT_EQ(9.0, onDisk("h"));
}

TEST_F(FileWriterFaults, WaitingCoversTheCallersOwnChange) {
    PrefdirFileWriterQueue quick(0ms);
    current = &quick;
    const FileTree shared(folder.path(), writer);
    const int rounds = std::getenv("VKSETTINGS_SOAK") != nullptr ? 5'000 : 100;
    const std::vector<Handle> groups{group(shared, "g0"), group(shared, "g1")};
    std::atomic<int> early = 0;
    std::vector<std::thread> threads;
    for (int n = 0; n < 4; ++n) // two write the same file
        threads.emplace_back([&, g = groups[static_cast<std::size_t>(n % 2)], name = n < 2 ? "s" : "t"] {
            for (int i = 1; i <= rounds; ++i) {
                g->set(name, static_cast<double>(i), "user");
                quick.waitForAll();
                if (i % 10 == 0 && onDisk(g->getName(), name) < i)
                    ++early;
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(0, early);
    for (const Handle& g : groups)
        EXPECT_TRUE(lastSave(*g, "user").isOnDisk);
    quick.terminate(true);
    current = &queue;
}

TEST_F(FileWriterFaults, WhoWaitsWhileAnotherEndsTheThreadWaits) {
    const SavesThroughTheHook through;
    const Handle a = group(tree, "a");
    const Handle b = group(tree, "b");
    std::latch inside(1);
    std::latch goOn(1);
    std::atomic<int> calls = 0;
    setSaveHook([&](SettingsFileAccess& access, const std::filesystem::path& path) {
        if (++calls == 1) {
            inside.count_down();
            goOn.wait();
        }
        access.writeTo(path);
    });
    a->set("s", 1.0, "user");
    b->set("s", 1.0, "user");
    std::thread ender([&] { queue.terminate(true); });
    inside.wait();
    std::thread releaser([&] { goOn.count_down(); });
    queue.waitForAll();
    EXPECT_TRUE(lastSave(*b, "user").isOnDisk);
    ender.join();
    releaser.join();
}

TEST_F(FileWriterFaults, FewDescriptorsAreEnough) {
    const SavesThroughTheHook through;
    std::vector<Handle> groups;
    for (int i = 0; i < 150; ++i)
        groups.push_back(group(tree, "g" + std::to_string(1000 + i)));
    rlimit before{};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &before));
    rlimit low = before;
    low.rlim_cur = 256;
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &low));
    for (const Handle& g : groups)
        g->set("s", 1.0, "user");
    queue.waitForAll();
    EXPECT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &before));
    for (const Handle& g : groups)
        EXPECT_TRUE(lastSave(*g, "user").isOnDisk) << lastSave(*g, "user").message;
}

TEST_F(FileWriterFaults, AChildThatGoesOnSavesItself) {
    const SavesThroughTheHook through;
    const FileTree shared(folder.path(), prefdirWriter);
    const Handle g = group(shared, "g");
    std::latch inside(1);
    std::atomic<bool> once = false;
    setSaveHook([&](SettingsFileAccess& access, const std::filesystem::path& path) {
        if (!once.exchange(true))
            inside.count_down();
        access.writeTo(path);
    });
    g->set("s", 1.0, "user");
    std::thread waiter(waitForSettingsSaves);
    inside.wait(); // a pass is at work: the fork waits for it
    Child child([&] {
        ::alarm(60);
        const bool isThere = awaitSave(*g, "user").isOnDisk;
        g->set("t", 2.0, "user");
        ::_exit(isThere && awaitSave(*g, "user").isOnDisk ? 0 : 1);
    });
    EXPECT_EQ(0, child.wait());
    waiter.join();
    awaitSave(*g, "user");
    EXPECT_EQ(2.0, onDisk("g", "t"));
}

TEST_F(FileWriterFaults, AChildSavesWhatWasStillWaiting) {
    const FileTree shared(folder.path(), prefdirWriter);
    const Handle g = group(shared, "g");
    prefdirWriter()->holdPasses(); // so that the change still waits
    g->set("s", 1.0, "user");
    const int status = Child([&] {
                           ::alarm(60);
                           ::_exit(awaitSave(*g, "user").isOnDisk ? 0 : 1);
                       }).wait();
    prefdirWriter()->releasePasses();
    EXPECT_EQ(0, status);
    EXPECT_TRUE(awaitSave(*g, "user").isOnDisk);
}

TEST_F(FileWriterFaults, ASaveThatBeginsAnewKeepsTheFolder) {
    const SavesThroughTheHook through;
    const FileTree alone(folder.path());
    const Handle g = group(alone, "g");
    g->set("s", 1.0, "user");
    std::string foreign;
    {
        const TempFolder elsewhere;
        const FileTree other(elsewhere.path());
        group(other, "g")->set("t", 5.0, "user");
        foreign = bytesOf(other.file("g"));
    }
    std::vector<bool> isLocked;
    setSaveHook([&](SettingsFileAccess& access, const std::filesystem::path& path) {
        const int folderOfFile = ::open(path.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        isLocked.push_back(::flock(folderOfFile, LOCK_EX | LOCK_NB) != 0);
        ::close(folderOfFile);
        if (isLocked.size() == 1)
            writeBytes(path, foreign);
        access.writeTo(path);
    });
    g->set("s", 2.0, "user");
    EXPECT_EQ((std::vector<bool>{true, true}), isLocked);
    EXPECT_EQ(2.0, onDisk("g"));
    EXPECT_EQ(5.0, onDisk("g", "t"));
}

/// Without a writer thread the caller saves, and tells of a failure while others wait for the file.
TEST_F(FileWriterFaults, ALogSinkMaySetWhatCouldNotBeSaved) {
    inAnotherProcess([&] {
        ::alarm(60); // rather than wait for itself for ever
        const SavesThroughTheHook through;
        const FileTree alone(folder.path());
        const Handle g = group(alone, "g");
        setSaveHook(
            [](SettingsFileAccess&, const std::filesystem::path&) { throw std::runtime_error("cause"); });
        {
            const AtLine failed("settings::core::settingsFile", "Exception caught: ", [&] {
                setSaveHook([](SettingsFileAccess& access, const std::filesystem::path& path) {
                    access.writeTo(path);
                });
                g->set("t", 2.0, "user");
            });
            g->set("s", 1.0, "user");
        }
        EXPECT_EQ(1.0, onDisk("g"));
        EXPECT_EQ(2.0, onDisk("g", "t"));
    });
}

TEST_F(FileWriterFaults, AStoppedProcessHoldsAPassUpOnce) {
    const SavesThroughTheHook through;
    const std::vector<Handle> groups{group(tree, "a"), group(tree, "b"), group(tree, "c")};
    const int held = ::open((folder / "user").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(0, ::flock(held, LOCK_EX));
    for (const Handle& g : groups)
        g->set("s", 1.0, "user");
    const auto begin = std::chrono::steady_clock::now();
    queue.waitForAll();
    const auto took = std::chrono::steady_clock::now() - begin;
    ::close(held);
    EXPECT_LT(took, 19s); // and not ten for each
    for (const Handle& g : groups)
        EXPECT_TRUE(lastSave(*g, "user").isOnDisk);
}

TEST_F(FileWriterFaults, TheLogSaysWhatWasDone) {
    const SavesThroughTheHook through;
    const Handle a = group(tree, "a");
    const Handle mine = tree.root->addGroup("mine", true, false, "user");
    mine->addSetting("s", Array::scalar(1.0), true, false, "user");
    queue.waitForAll();
    FileLogLines log;
    int calls = 0;
    setSaveHook([&](SettingsFileAccess& access, const std::filesystem::path& path) {
        access.writeTo(path);
        if (++calls == 1)
            tree.root->removeNode("mine");
    });
    a->set("s", 1.0, "user");
    mine->set("s", 2.0, "user");
    queue.waitForAll();
    queue.waitForAll();
    EXPECT_FALSE(std::filesystem::exists(tree.file("mine")));
    EXPECT_EQ(1U, log.take("Delete settings file: " + tree.file("mine").string()).size());
}

TEST_F(FileWriterFaults, TheLogNamesTheFileOfAFailure) {
    const Handle a = group("a");
    const Handle b = group("b");
    FileLogLines log;
    double value = 0;
    const auto failures = [&] {
        a->set("s", ++value, "user");
        b->set("s", value, "user");
        queue.waitForAll();
        return log.take("Exception caught: ");
    };
    const auto expectNamed = [&](const std::vector<std::string>& lines) {
        ASSERT_EQ(2U, lines.size()) << testing::PrintToString(lines);
        EXPECT_TRUE(lines[0].starts_with("Exception caught: ")) << lines[0];
        EXPECT_NE(std::string::npos, lines[0].find("a.vksettings")) << lines[0];
        EXPECT_NE(std::string::npos, lines[1].find("b.vksettings")) << lines[1];
    };
    {
        const NoRoomForFiles full;
        expectNamed(failures());
    }
    const SavesThroughTheHook through;
    setSaveHook([](SettingsFileAccess&, const std::filesystem::path&) { throw std::runtime_error("cause"); });
    expectNamed(failures());
    setSaveHook([](SettingsFileAccess&, const std::filesystem::path&) { throw 1; });
    expectNamed(failures());
}

/// A pass has found saving turned off, and has not noted it yet, when it is turned on and something else is
/// changed.
TEST_F(FileWriterFaults, WhatIsSkippedWhileSavingIsTurnedOnIsSaved) {
    const Handle a = group("a");
    const Handle b = group("b");
    const FileLogLines on;
    std::atomic<bool> isOn = false;
    varnek::log::setSink([&](std::string_view, varnek::log::Severity, std::string_view line) {
        if (line != "Save settings file: " + tree.file("a").string() || isOn.exchange(true))
            return;
        turnOnSettingsSaving();
        std::thread([&] { b->set("s", 1.0, "user"); }).join();
    });
    turnOffSettingsSaving();
    a->set("s", 1.0, "user");
    queue.waitForAll();
    queue.waitForAll();
    varnek::log::setSink({});
    turnOnSettingsSaving();
    EXPECT_TRUE(isOn);
    EXPECT_EQ(1.0, onDisk("b"));
    EXPECT_EQ(1.0, onDisk("a"));
}

TEST_F(FileWriterFaults, WhatWasChangedBeforeSavingWasTurnedOffIsSaved) {
    const FileTree shared(folder.path(), prefdirWriter);
    const Handle g = group(shared, "g");
    g->set("s", 1.0, "user");
    turnOffSettingsSaving();
    g->set("s", 2.0, "user");
    waitForSettingsSaves();
    const double saved = onDisk("g");
    turnOnSettingsSaving();
    EXPECT_EQ(1.0, saved);
}

/// Without a thread a caller may take over what another one has just asked for.
TEST_F(FileWriterFaults, WaitsAlsoForWhatAnotherCallerSaves) {
    const Within limit(60);
    const SavesThroughTheHook through;
    const Handle mine = group("mine"), theirs = group("theirs");
    queue.terminate(true);
    std::latch isTaking(1), isRequested(1), hasTaken(1), isAwaited(1);
    setSaveHook([&](SettingsFileAccess& access, const std::filesystem::path& path) {
        if (path == tree.file("mine")) {
            hasTaken.count_down();
            isAwaited.wait();
            for (int i = 0; i < 1000; ++i) // so that one who does not wait gets ahead
                std::this_thread::yield();
        }
        access.writeTo(path);
    });
    const AtLine beforeItTakes("settings::core::settingsFile", "Process the File I/O", [&] {
        isTaking.count_down();
        isRequested.wait();
    });
    std::thread other([&] { theirs->set("s", 2.0, "user"); });
    isTaking.wait();
    mine->set("s", 1.0, "user");
    isRequested.count_down();
    hasTaken.wait();
    isAwaited.count_down();
    queue.waitForAll();
    EXPECT_TRUE(std::filesystem::exists(tree.file("mine")));
    other.join();
}

// ---- the end of the process ----

TEST_F(FileWriterFaults, DISABLED_EndsTwice) {
    const char* const base = std::getenv("FILE_WRITER_FOLDER");
    ASSERT_NE(nullptr, base);
    endSettingsWriter(); // before there is one
    auto& shared = *new FileTree(std::filesystem::path(base), prefdirWriter);
    const Handle first = group(shared, "first");
    first->set("s", 1.0, "user");
    ::_exit(lastSave(*first, "user").isOnDisk ? 0 : 1); // by this thread, since none was to be started
}

TEST_F(FileWriterFaults, DISABLED_EndsWhileAnotherThreadEndsTheWriter) {
    const char* const base = std::getenv("FILE_WRITER_FOLDER");
    ASSERT_NE(nullptr, base);
    auto& shared = *new FileTree(std::filesystem::path(base), prefdirWriter);
    for (int i = 0; i < 100; ++i)
        group(shared, "g" + std::to_string(i))->set("s", 1.0, "user");
    std::thread([] { endSettingsWriter(); }).detach();
    while (prefdirWriter()->isRunning())
        std::this_thread::yield();
    std::exit(0);
}

TEST_F(FileWriterFaults, TheEndOfTheProcess) {
    const auto run = [&](const std::string& test) {
        return Child([&] { becomeTest("FileWriterFaults.DISABLED_" + test, folder.path()); }).wait();
    };
    EXPECT_EQ(0, run("EndsWhileAnotherThreadEndsTheWriter"));
    EXPECT_EQ(100U, namesIn(folder / "user").size());
    EXPECT_EQ(0, run("EndsTwice"));
}

} // namespace
