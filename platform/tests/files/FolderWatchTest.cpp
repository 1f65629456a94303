// Changes of a folder that others make, seen by a watch; every wait is for a condition.

#include "varnek/files/FolderWatch.hpp"

#include "files/TemporaryFolder.hpp"
#include "varnek/files/FileReplacement.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <thread>

namespace {

using namespace testing_support;
using varnek::files::FolderChanges;
using varnek::files::FolderWatch;
namespace fs = std::filesystem;

constexpr std::chrono::seconds patience{20};

/// What a watch has told so far.
class Told {
  public:
    FolderWatch::Listener listener() {
        return [this](const FolderChanges& changes) {
            const std::lock_guard lock(mutex_);
            ++calls_;
            names_.insert(changes.names.begin(), changes.names.end());
            everything_ += changes.isEverything ? 1 : 0;
            news_.notify_all();
        };
    }
    /// Whether the file is told of in time. Forgets it.
    bool file(const std::string& name) {
        return await([&] { return names_.erase(name) != 0; });
    }
    /// Whether it is told that everything may have changed. Forgets it.
    bool everything() {
        return await([&] { return std::exchange(everything_, 0) != 0; });
    }
    std::set<std::string> names() const {
        const std::lock_guard lock(mutex_);
        return names_;
    }
    int calls() const {
        const std::lock_guard lock(mutex_);
        return calls_;
    }

  private:
    template <class Condition>
    bool await(Condition condition) {
        std::unique_lock lock(mutex_);
        return news_.wait_for(lock, patience, condition);
    }

    mutable std::mutex mutex_;
    std::condition_variable news_;
    std::set<std::string> names_;
    int everything_ = 0;
    int calls_ = 0;
};

TEST(FolderWatch, TellsWhatIsWrittenReplacedRenamedAndRemoved) {
    const TemporaryFolder folder;
    putContent(folder / "old", "1");
    Told told;
    const FolderWatch watch(folder.path(), told.listener());
    putContent(folder / "written", "1");
    EXPECT_TRUE(told.file("written"));
    varnek::files::replaceFile(folder / "old", "2", {});
    EXPECT_TRUE(told.file("old"));
    fs::rename(folder / "old", folder / "new");
    EXPECT_TRUE(told.file("old"));
    EXPECT_TRUE(told.file("new"));
    fs::remove(folder / "new");
    EXPECT_TRUE(told.file("new"));
    // Neither folders, nor what is in them, nor reading.
    fs::create_directory(folder / "sub");
    putContent(folder / "sub/inner", "1");
    EXPECT_EQ("1", contentOf(folder / "written"));
    putContent(folder / "last", "1");
    EXPECT_TRUE(told.file("last"));
    EXPECT_EQ(std::set<std::string>{}, told.names());
}

TEST(FolderWatch, FollowsAFolderThatComesAndGoes) {
    const TemporaryFolder base;
    const fs::path folder = base / "a/b/c";
    Told told;
    const FolderWatch watch(folder.string() + "/", told.listener());
    fs::create_directory(base / "a");
    fs::create_directories(folder);
    ASSERT_TRUE(told.everything()) << "made";
    putContent(folder / "one", "1");
    ASSERT_TRUE(told.file("one"));
    fs::remove_all(base / "a");
    ASSERT_TRUE(told.everything()) << "removed";
    fs::create_directories(folder);
    ASSERT_TRUE(told.everything()) << "made again";
    putContent(folder / "two", "1");
    ASSERT_TRUE(told.file("two"));
    fs::rename(folder, base / "elsewhere");
    ASSERT_TRUE(told.everything()) << "moved away";
    putContent(base / "elsewhere/stray", "1");
    fs::create_directories(base / "ready");
    putContent(base / "ready/three", "1");
    fs::rename(base / "ready", folder);
    ASSERT_TRUE(told.everything()) << "moved in, with what it holds";
    putContent(folder / "four", "1");
    ASSERT_TRUE(told.file("four"));
    EXPECT_FALSE(told.names().contains("stray"));
}

/// The system does not tell that a folder is removed as long as somebody uses it.
TEST(FolderWatch, FollowsAFolderThatIsRemovedWhileItIsInUse) {
    const TemporaryFolder base;
    const fs::path folder = base / "folder";
    fs::create_directory(folder);
    Told told;
    const FolderWatch watch(folder, told.listener());
    const int inUse = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (int round = 0; round < 3; ++round) {
        fs::remove(folder);
        ASSERT_TRUE(told.everything()) << "removed";
        fs::create_directory(folder);
        ASSERT_TRUE(told.everything()) << "made again";
        putContent(folder / "file", "1");
        ASSERT_TRUE(told.file("file"));
        fs::remove(folder / "file");
        ASSERT_TRUE(told.file("file"));
    }
    fs::rename(folder, base / "away");
    ASSERT_TRUE(told.everything()) << "renamed";
    putContent(base / "unrelated", "1");
    fs::create_directory(folder);
    ASSERT_TRUE(told.everything()) << "made again";
    EXPECT_EQ(std::set<std::string>{}, told.names());
    ::close(inUse);
}

TEST(FolderWatch, AFileInPlaceOfTheFolderIsNoFolder) {
    const TemporaryFolder base;
    putContent(base / "place", "1");
    Told told;
    const FolderWatch watch(base / "place", told.listener());
    fs::remove(base / "place");
    fs::create_directory(base / "place");
    ASSERT_TRUE(told.everything());
    putContent(base / "place/file", "1");
    EXPECT_TRUE(told.file("file"));
}

TEST(FolderWatch, ManyChangesDuringOneCallAreOneMore) {
    const TemporaryFolder folder;
    std::mutex mutex;
    std::condition_variable news;
    bool mayGoOn = false;
    std::vector<FolderChanges> calls;
    const FolderWatch watch(folder.path(), [&](const FolderChanges& changes) {
        std::unique_lock lock(mutex);
        calls.push_back(changes);
        news.notify_all();
        news.wait(lock, [&] { return mayGoOn; });
    });
    putContent(folder / "first", "1");
    {
        std::unique_lock lock(mutex);
        ASSERT_TRUE(news.wait_for(lock, patience, [&] { return calls.size() == 1; }));
    }
    for (int i = 0; i < 100; ++i)
        for (const char* name : {"b", "a"})
            putContent(folder / name, std::to_string(i));
    std::unique_lock lock(mutex);
    mayGoOn = true;
    news.notify_all();
    ASSERT_TRUE(news.wait_for(lock, patience, [&] { return calls.size() == 2; }));
    EXPECT_EQ((std::vector<std::string>{"a", "b"}), calls[1].names);
    EXPECT_FALSE(calls[1].isEverything);
}

TEST(FolderWatch, WhatTheSystemCouldNotKeepMayBeAnything) {
    std::ifstream limit("/proc/sys/fs/inotify/max_queued_events");
    std::size_t most = 0;
    if (!(limit >> most) || most > 100'000)
        GTEST_SKIP() << "the queue of this system is too long to be filled";
    const TemporaryFolder folder;
    std::mutex blocked;
    Told told;
    std::optional<FolderWatch> watch;
    {
        const std::lock_guard lock(blocked);
        watch.emplace(folder.path(), [&, tell = told.listener()](const FolderChanges& changes) {
            const std::lock_guard wait(blocked);
            tell(changes);
        });
        for (std::size_t i = 0; i <= most; ++i) { // two names in turn: equal neighbours are merged
            putContent(folder / "x", "");
            putContent(folder / "y", "");
        }
    }
    EXPECT_TRUE(told.everything());
    putContent(folder / "after", "1");
    EXPECT_TRUE(told.file("after"));
}

TEST(FolderWatch, AFailingListenerIsCalledAgain) {
    const TemporaryFolder folder;
    Told told;
    const FolderWatch watch(folder.path(), [&, tell = told.listener()](const FolderChanges& changes) {
        tell(changes);
        if (changes.names.front() == "typed")
            throw std::runtime_error("listener");
        throw 1;
    });
    for (const char* name : {"typed", "other", "after"}) {
        putContent(folder / name, "1");
        EXPECT_TRUE(told.file(name));
    }
}

TEST(FolderWatch, EndsAtAnyTimeAndCallsNobodyAfterwards) {
    const TemporaryFolder folder;
    std::atomic<bool> isOver{false};
    std::jthread writer([&] {
        for (int i = 0; !isOver; ++i)
            putContent(folder / std::to_string(i % 10), "1");
    });
    for (int i = 0; i < 50; ++i) {
        Told told;
        std::optional<FolderWatch> watch(std::in_place, folder.path(), told.listener());
        if (i % 2 == 0)
            while (told.calls() == 0)
                std::this_thread::yield();
        watch.reset();
    }
    isOver = true;
}

TEST(FolderWatch, AChildThatEndsItDoesNotWaitAndLeavesTheParentItsOwn) {
    const TemporaryFolder folder;
    Told told;
    std::optional<FolderWatch> watch(std::in_place, folder.path(), told.listener());
    putContent(folder / "before", "1");
    ASSERT_TRUE(told.file("before"));
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(static_cast<unsigned>(patience.count()));
        watch.reset();
        ::_exit(3);
    }
    ASSERT_GT(child, 0);
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 3) << status;
    putContent(folder / "after", "1");
    EXPECT_TRUE(told.file("after"));
}

TEST(FolderWatch, AListenerMayEndIt) {
    const TemporaryFolder folder;
    Told told;
    std::promise<std::unique_ptr<FolderWatch>> given;
    std::promise<void> letGo; // broken when the thread has dropped the listener
    std::future<void> isLetGo = letGo.get_future();
    {
        FolderWatch::Listener listener =
            [&, tell = told.listener(), watch = given.get_future().share(),
             last = std::make_shared<std::promise<void>>(std::move(letGo))](const FolderChanges& changes) {
                const_cast<std::unique_ptr<FolderWatch>&>(watch.get()).reset();
                tell(changes);
            };
        given.set_value(std::make_unique<FolderWatch>(folder.path(), std::move(listener)));
    }
    putContent(folder / "first", "1");
    EXPECT_TRUE(told.file("first"));
    ASSERT_EQ(std::future_status::ready, isLetGo.wait_for(patience));
    putContent(folder / "second", "1");
    EXPECT_EQ(1, told.calls());
}

TEST(FolderWatch, SignalsGoToOtherThreads) {
    const TemporaryFolder folder;
    std::mutex mutex;
    std::condition_variable news;
    std::optional<bool> isBlocked;
    const FolderWatch watch(folder.path(), [&](const FolderChanges&) {
        sigset_t mask;
        ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        const std::lock_guard lock(mutex);
        isBlocked = sigismember(&mask, SIGTERM) == 1;
        news.notify_all();
    });
    sigset_t mine;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &mine);
    EXPECT_EQ(0, sigismember(&mine, SIGTERM));
    putContent(folder / "file", "1");
    std::unique_lock lock(mutex);
    ASSERT_TRUE(news.wait_for(lock, patience, [&] { return isBlocked.has_value(); }));
    EXPECT_TRUE(*isBlocked);
}

/// A limit below what the thread waits for makes its waiting fail.
TEST(FolderWatch, EndsWhileWaitingFails) {
    const TemporaryFolder folder;
    rlimit before{};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &before));
    auto watch = std::make_unique<FolderWatch>(folder.path(), [](const FolderChanges&) {});
    putContent(folder / "file", "1");
    const rlimit none{0, before.rlim_max};
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &none));
    std::filesystem::rename(folder / "file", folder / "other"); // wakes it
    auto ended = std::async(std::launch::async, [&] { watch.reset(); });
    const bool isOver = ended.wait_for(patience) == std::future_status::ready;
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &before));
    EXPECT_TRUE(isOver);
}

TEST(FolderWatch, NeedsAFolderAndAListener) {
    EXPECT_THROW(FolderWatch("", [](const FolderChanges&) {}), std::invalid_argument);
    EXPECT_THROW(FolderWatch("/", {}), std::invalid_argument);
}

} // namespace
