// The file-writer thread: the requests that are merged, the passes, the end of the process.

#include "support/Children.hpp"
#include "support/Waiting.hpp"
#include "support/WriterTree.hpp"

#include "settingscore/SaveReport.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/settings/file/SaveHook.hpp"
#include "settingscore/settings/file/prefdirWriter.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <latch>
#include <random>
#include <thread>

namespace {

using namespace settings::test;
using namespace settings::core::detail;
using namespace std::chrono_literals;

// ---- requests and passes ----

using FileWriter = WriterTree;

TEST_F(FileWriter, ABurstOfChangesIsOneWrite) {
    const Handle g = group("g");
    FileLogLines log;
    for (int i = 1; i <= 10; ++i)
        g->set("s", static_cast<double>(i), "user");
    EXPECT_FALSE(std::filesystem::exists(tree.file("g")));
    EXPECT_FALSE(lastSave(*g, "user").isOnDisk);
    const auto report = awaitSave(*g, "user");
    EXPECT_TRUE(report.isOnDisk);
    EXPECT_EQ("saved", report.outcome);
    EXPECT_EQ(10.0, onDisk("g"));
    const auto all = log.take();
    const auto count = [&](const std::string& text) { return std::count(all.begin(), all.end(), text); };
    const std::string file = tree.file("g").string();
    EXPECT_EQ(10, count("Request file update: " + file));
    EXPECT_EQ(10, count("Wake up the file I/O thread."));
    EXPECT_EQ(1, count("Process the File I/O"));
    EXPECT_EQ(1, count("Save settings file: " + file));
}

/// Whether or not the file had to be read again for it.
TEST_F(FileWriter, AFileThatHoldsTheValuesAlreadyIsLeftAlone) {
    const Handle g = group("g");
    const auto saves = [&](std::initializer_list<double> values) {
        for (const double value : values)
            g->set("s", value, "user");
        queue.waitForAll();
        return lastSave(*g, "user").outcome;
    };
    EXPECT_EQ("saved", saves({1.0}));
    const auto first = tree.status("g").revision;
    const std::string bytes = bytesOf(tree.file("g"));
    EXPECT_EQ("unchanged", saves({2.0, 1.0}));
    EXPECT_EQ(bytes, bytesOf(tree.file("g")));
    EXPECT_EQ("saved", saves({2.0}));
    EXPECT_EQ("saved", saves({std::nan("")}));
    EXPECT_EQ("unchanged", saves({2.0, std::nan("")}));
    EXPECT_EQ("saved", saves({3.0}));
    const FileTree other(folder.path());
    group(other, "g");
    EXPECT_EQ(first + 3, other.status("g").revision);
    EXPECT_EQ(first + 3, tree.status("g").revision);
}

TEST_F(FileWriter, TheLatestRequestWins) {
    const auto addGroup = [&](double value) {
        const Handle added = tree.root->addGroup("mine", true, false, "user");
        added->addSetting("s", Array::scalar(value), true, false, "user");
    };
    const std::string file = tree.file("mine").string();
    FileLogLines log;
    addGroup(1.0);
    queue.waitForAll();
    ASSERT_TRUE(std::filesystem::exists(file));
    log.take();

    tree.root->getChild("mine")->set("s", 2.0, "user");
    tree.root->removeNode("mine");
    queue.waitForAll();
    EXPECT_FALSE(std::filesystem::exists(file));
    auto lines = log.take(file);
    EXPECT_EQ(1, std::count(lines.begin(), lines.end(), "Request delete file: " + file));
    EXPECT_EQ(1, std::count(lines.begin(), lines.end(), "Delete settings file: " + file));
    EXPECT_EQ(0, std::count(lines.begin(), lines.end(), "Save settings file: " + file));

    addGroup(3.0);
    queue.waitForAll();
    tree.root->removeNode("mine");
    addGroup(4.0);
    log.take();
    queue.waitForAll();
    EXPECT_EQ(4.0, onDisk("mine"));
    lines = log.take(file);
    EXPECT_EQ(0, std::count(lines.begin(), lines.end(), "Delete settings file: " + file));
    EXPECT_EQ(1, std::count(lines.begin(), lines.end(), "Save settings file: " + file));
}

TEST_F(FileWriter, APassGoesByLevelAndPath) {
    const std::vector<Handle> groups{group("c"), group("a"), group("b")};
    FileLogLines log;
    for (const Handle& g : groups)
        g->set("s", 1.0, "user");
    groups[0]->set("s", 1.0, "installation");
    groups[1]->set("t", 1.0, "user");
    queue.waitForAll();
    const auto line = [&](const char* name, LevelIndex level) {
        return "Save settings file: " + tree.file(name, level).string();
    };
    EXPECT_EQ((std::vector<std::string>{line("c", LevelIndex::installation), line("a", LevelIndex::user),
                                        line("b", LevelIndex::user), line("c", LevelIndex::user)}),
              log.take("Save settings file: "));
}

/// An operation after which the next one is asked for, as by a thread that sets all the time.
struct EndlessOperation : FileOperation {
    EndlessOperation(PrefdirFileWriterQueue& of, std::atomic<int>& count, const std::atomic<bool>& ended)
        : FileOperation(LevelIndex::user, "/a/file", 0), queue(of), runs(count), isOver(ended) {}
    void begin() override {}
    void prepare(const FolderTurn&) override {}
    void write() noexcept override {}
    void flush() noexcept override {}
    bool execute() override {
        ++runs;
        if (!isOver)
            queue.requestFileUpdate(std::make_unique<EndlessOperation>(queue, runs, isOver));
        return false;
    }
    void finish() override {}
    void tell() override {}
    void letGo() noexcept override {}
    PrefdirFileWriterQueue& queue;
    std::atomic<int>& runs;
    const std::atomic<bool>& isOver;
};

TEST(FileWriterQueue, WhoWaitsDoesNotWaitLongerEachTime) {
    std::atomic<int> runs{0};
    std::atomic<bool> isOver{false};
    PrefdirFileWriterQueue queue;
    queue.requestFileUpdate(std::make_unique<EndlessOperation>(queue, runs, isOver));
    int fewest = 1000;
    for (int i = 0; i < 20; ++i) {
        const int before = runs;
        queue.waitForAll();
        if (i >= 10)
            fewest = std::min(fewest, runs - before);
    }
    EXPECT_GE(5, fewest);
    isOver = true;
    queue.terminate(true);
}

TEST_F(FileWriter, AFailureIsItsOwn) {
    const Handle a = group("a");
    const Handle b = group("b");
    std::filesystem::create_directories(tree.file("a") / "in the way");
    FileLogLines log;
    a->set("s", 1.0, "user");
    b->set("s", 2.0, "user");
    const auto failed = awaitSave(*a, "user");
    EXPECT_FALSE(failed.isOnDisk);
    EXPECT_EQ("waitingForRead", failed.outcome);
    EXPECT_TRUE(awaitSave(*b, "user").isOnDisk);
    EXPECT_EQ(2.0, onDisk("b"));
    std::filesystem::remove_all(tree.file("a"));
    a->set("t", 3.0, "user");
    EXPECT_TRUE(awaitSave(*a, "user").isOnDisk); // and what could not be saved goes with it
    EXPECT_EQ(1.0, onDisk("a", "s"));
    EXPECT_EQ(3.0, onDisk("a", "t"));
}

TEST_F(FileWriter, TwoTreesOverOneFile) {
    const FileTree second(folder.path(), writer);
    const Handle ours = group("g");
    const Handle theirs = group(second, "g");
    ours->set("s", 1.0, "user");
    theirs->set("t", 2.0, "user");
    queue.waitForAll();
    EXPECT_EQ(1.0, onDisk("g", "s"));
    EXPECT_EQ(2.0, onDisk("g", "t"));
}

TEST_F(FileWriter, ATreeStaysUntilItIsSaved) {
    {
        FileTree shortLived(folder.path(), writer);
        group(shortLived, "g")->set("s", 5.0, "user");
    }
    queue.terminate(true);
    EXPECT_EQ(5.0, onDisk("g"));
}

TEST_F(FileWriter, AfterItsEndSavesAreMadeInTheCaller) {
    const Handle g = group("g");
    g->set("s", 1.0, "user");
    queue.terminate(true);
    EXPECT_EQ(1.0, onDisk("g"));
    g->set("s", 2.0, "user");
    EXPECT_EQ(2.0, onDisk("g"));
    EXPECT_TRUE(awaitSave(*g, "user").isOnDisk);
}

TEST_F(FileWriter, RequestsThatRaceTheEndAreMet) {
    const int rounds = times(2'000, 50);
    for (int round = 0; round < rounds; ++round) {
        PrefdirFileWriterQueue ending(0ms);
        current = &ending;
        const FileTree shared(folder.path(), writer);
        const Handle g = group(shared, "g" + std::to_string(round));
        std::latch together(2);
        std::thread setter([&] {
            together.arrive_and_wait();
            for (int i = 1; i <= 5; ++i)
                g->set("s", static_cast<double>(i), "user");
        });
        together.arrive_and_wait();
        for (int i = 0; i < round % 5; ++i)
            std::this_thread::yield();
        ending.terminate(true);
        setter.join();
        ASSERT_TRUE(awaitSave(*g, "user").isOnDisk);
        ASSERT_EQ(5.0, onDisk(g->getName()));
        current = &queue;
    }
}

TEST_F(FileWriter, ManyFilesOfOneFolderGoTogether) {
    const SavesThroughTheHook through;
    constexpr int files = 150;
    std::vector<Handle> groups;
    for (int i = 0; i < files; ++i)
        groups.push_back(group("g" + std::to_string(1000 + i)));
    writeBytes(tree.file("g1007"), "damaged");
    std::filesystem::create_directories(tree.file("g1009") / "in the way");
    FileLogLines log;
    for (int i = 0; i < files; ++i)
        groups[static_cast<std::size_t>(i)]->set("s", static_cast<double>(i), "user");
    queue.waitForAll();
    for (int i = 0; i < files; ++i) {
        const Handle& g = groups[static_cast<std::size_t>(i)];
        if (i == 9)
            EXPECT_FALSE(lastSave(*g, "user").isOnDisk);
        else
            ASSERT_EQ(static_cast<double>(i), onDisk(g->getName())) << lastSave(*g, "user").message;
    }
    EXPECT_EQ("damaged", bytesOf(tree.file("g1007").string() + ".damaged"));
    const auto names = namesIn(folder / "user");
    EXPECT_EQ(files + 1U, names.size()) << testing::PrintToString(names); // nothing temporary is left
    EXPECT_EQ(static_cast<std::size_t>(files), log.take("Save settings file: ").size());
}

TEST_F(FileWriter, AHookMaySaveAgainAndReplacesTheOrderingOfTheDisk) {
    const SavesThroughTheHook through;
    const Handle a = group("a");
    const Handle b = group("b");
    std::vector<std::string> hooked;
    const SaveHook before = setSaveHook([&](SettingsFileAccess& access, const std::filesystem::path& path) {
        hooked.push_back(path.filename().string());
        if (hooked.size() == 2) {
            EXPECT_FALSE(lastSave(*a, "user").isOnDisk); // what came after the first save is not forgotten
        }
        access.writeTo(path);
        if (hooked.size() == 1) {
            a->set("s", 2.0, "user");
            b->set("s", 7.0, "user");
        }
    });
    a->set("s", 1.0, "user");
    queue.waitForAll();
    setSaveHook(before);
    EXPECT_EQ((std::vector<std::string>{"a.vksettings", "a.vksettings", "b.vksettings"}), hooked);
    EXPECT_TRUE(lastSave(*a, "user").isOnDisk);
    EXPECT_EQ(2.0, onDisk("a"));
    EXPECT_EQ(7.0, onDisk("b"));
}

// ---- processes ----

std::unique_ptr<Child> startAlone(const std::string& test, const TempFolder& folder) {
    return std::make_unique<Child>([&] { becomeTest("AloneInFolder.DISABLED_" + test, folder.path()); });
}

struct AloneInFolder : testing::Test {
    static std::filesystem::path base() {
        const char* folder = std::getenv("FILE_WRITER_FOLDER");
        return folder == nullptr ? std::filesystem::path() : std::filesystem::path(folder);
    }
    static Handle group(const FileTree& tree) { return FileWriter::group(tree, "g"); }
};

TEST_F(AloneInFolder, DISABLED_SetsAndEnds) {
    auto& tree = *new FileTree(base(), prefdirWriter); // as in an application, nobody takes it down
    const Handle g = group(tree);
    for (int i = 1; i <= 100; ++i)
        g->set("s", static_cast<double>(i), "user");
}

TEST_F(AloneInFolder, DISABLED_SetsUntilItIsKilled) {
    auto& tree = *new FileTree(base(), prefdirWriter);
    const Handle g = group(tree);
    for (double i = 1;; ++i) {
        g->set("s", i, "user");
        g->set("t", i, "user");
        if (static_cast<long>(i) % 16 == 0)
            awaitSave(*g, "user");
    }
}

TEST_F(AloneInFolder, DISABLED_CountsUp) {
    auto& tree = *new FileTree(base(), prefdirWriter);
    const Handle g = tree.group("g");
    const char* const setting = std::getenv("FILE_WRITER_SETTING");
    ASSERT_NE(nullptr, setting);
    TestTree::setting(g, setting);
    tree.load(g);
    const int count = times(500, 25);
    for (int i = 1; i <= count; ++i) {
        g->set(setting, static_cast<double>(i), "user");
        if (i % 5 == 0)
            awaitSave(*g, "user");
    }
}

TEST_F(FileWriter, WhatWasChangedIsOnDiskWhenAProcessEnds) {
    ASSERT_EQ(0, startAlone("SetsAndEnds", folder)->wait());
    EXPECT_EQ(100.0, onDisk("g"));
}

TEST_F(FileWriter, AProcessKilledAtAnyMomentLeavesAWholeFile) {
    const int rounds = times(2'000, 8);
    std::mt19937 random(20'261'121);
    int kept = 0;
    double last = -1.0;
    for (int round = 0; round < rounds; ++round) {
        const auto child = startAlone("SetsUntilItIsKilled", folder);
        const auto before = varnek::files::FileStamp::of(tree.file("g"));
        waitUntil([&] { return varnek::files::FileStamp::of(tree.file("g")) != before; });
        const int spins = std::uniform_int_distribution<int>(0, 20'000)(random);
        for (int i = 0; i < spins; ++i)
            std::atomic_signal_fence(std::memory_order_seq_cst);
        ::kill(child->id(), SIGKILL);
        child->wait();
        const FileTree next(folder.path());
        next.keeper->loadAddedGroups(SettingsAccess::node(*next.root), LevelIndex::user); // clears up
        const Handle g = group(next, "g");
        ASSERT_EQ(LoadOutcome::ok, next.status("g").loaded) << next.status("g").loadMessage;
        const double s = g->get<double>("s", "user");
        const double t = g->isSet("t", "user") ? g->get<double>("t", "user") : 0.0;
        EXPECT_TRUE(s == t || s == t + 1) << s << ' ' << t; // as they stood at one moment
        kept += s == last ? 1 : 0;
        last = s;
        ASSERT_EQ(std::vector<std::string>{"g.vksettings"}, namesIn(folder / "user"));
    }
    EXPECT_LT(kept, rounds);
}

TEST_F(FileWriter, EightProcessesLoseNothingOfEachOther) {
    std::vector<std::unique_ptr<Child>> children;
    for (int i = 0; i < 8; ++i) {
        ::setenv("FILE_WRITER_SETTING", ("s" + std::to_string(i)).c_str(), 1);
        children.push_back(startAlone("CountsUp", folder));
    }
    ::unsetenv("FILE_WRITER_SETTING");
    for (const auto& child : children)
        EXPECT_EQ(0, child->wait());
    const Handle g = tree.group("g");
    for (int i = 0; i < 8; ++i)
        TestTree::setting(g, "s" + std::to_string(i));
    tree.load(g);
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(static_cast<double>(times(500, 25)), g->get<double>("s" + std::to_string(i), "user")) << i;
}

} // namespace
