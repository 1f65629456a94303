// The lock on a folder between processes.

#include "varnek/files/FolderLock.hpp"
#include "varnek/files/FileStamp.hpp"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <thread>

namespace varnek::files {
namespace {

constexpr std::chrono::milliseconds noPatience{0};

struct FolderLocks : testing::Test {
    FolderLocks() {
        std::string pattern = (std::filesystem::temp_directory_path() / "folder-lock-XXXXXX").string();
        folder = ::mkdtemp(pattern.data());
    }
    ~FolderLocks() override { std::filesystem::remove_all(folder); }

    bool isFreeForOthers(const std::filesystem::path& asked) const {
        bool isFree = false;
        std::thread([&] { isFree = FolderLock(asked, noPatience).isHeld(); }).join();
        return isFree;
    }
    std::filesystem::path folder;
};

TEST_F(FolderLocks, KeepsOthersOutUntilTheOutermostIsGone) {
    EXPECT_TRUE(isFreeForOthers(folder));
    {
        const FolderLock outer(folder);
        EXPECT_TRUE(outer.isHeld());
        EXPECT_FALSE(isFreeForOthers(folder));
        std::thread([&] { EXPECT_TRUE(FolderLock(folder, noPatience).isTimeUp()); }).join();
        EXPECT_TRUE(FolderLock(folder, noPatience).isHeld()); // again in this thread
        EXPECT_FALSE(isFreeForOthers(folder));
        EXPECT_TRUE(std::filesystem::is_empty(folder));
    }
    EXPECT_TRUE(isFreeForOthers(folder));
}

TEST_F(FolderLocks, AMissingFolderIsThatAboveIt) {
    const auto below = folder / "a" / "b";
    const FolderLock lock(below);
    EXPECT_TRUE(lock.isHeld());
    EXPECT_FALSE(isFreeForOthers(folder));
    EXPECT_FALSE(isFreeForOthers(folder / "c"));
    std::filesystem::create_directories(below);
    EXPECT_TRUE(isFreeForOthers(below));
}

/// Whoever waited while the folder was made gets that one.
TEST_F(FolderLocks, AFolderThatIsMadeMeanwhile) {
    const auto below = folder / "a";
    auto first = std::make_unique<FolderLock>(below);
    std::atomic<bool> isHeld = false;
    std::thread other([&] {
        const FolderLock waiting(below);
        EXPECT_FALSE(isFreeForOthers(below));
        isHeld = waiting.isHeld();
    });
    std::filesystem::create_directory(below);
    first.reset();
    other.join();
    EXPECT_TRUE(isHeld);
}

TEST_F(FolderLocks, AProcessThatDiesGivesItBack) {
    int ready[2];
    ASSERT_EQ(0, ::pipe(ready));
    const pid_t child = ::fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
        const FolderLock lock(folder);
        [[maybe_unused]] const auto written = ::write(ready[1], "x", 1);
        ::pause();
    }
    char byte = 0;
    ASSERT_EQ(1, ::read(ready[0], &byte, 1));
    EXPECT_FALSE(FolderLock(folder, noPatience).isHeld());
    ::kill(child, SIGKILL);
    ASSERT_EQ(child, ::waitpid(child, nullptr, 0));
    EXPECT_TRUE(FolderLock(folder, noPatience).isHeld());
}

/// A child that was forked while the lock was held does not keep it.
TEST_F(FolderLocks, IsGivenBackAlsoWhenAChildHoldsTheDescriptor) {
    pid_t child = 0;
    {
        const FolderLock lock(folder);
        child = ::fork();
        ASSERT_NE(-1, child);
        if (child == 0) {
            ::pause();
            ::_exit(0);
        }
    }
    EXPECT_TRUE(FolderLock(folder, noPatience).isHeld());
    ::kill(child, SIGKILL);
    ASSERT_EQ(child, ::waitpid(child, nullptr, 0));
}

TEST_F(FolderLocks, StampsTellStatesApart) {
    const auto file = folder / "file";
    const FileStamp missing = FileStamp::of(file);
    EXPECT_FALSE(missing.exists);
    std::ofstream(file) << "content";
    const FileStamp first = FileStamp::of(file);
    EXPECT_TRUE(first.exists);
    EXPECT_NE(missing, first);
    EXPECT_EQ(first, FileStamp::of(file));
    std::ofstream(folder / "other") << "content";
    std::filesystem::rename(folder / "other", file);
    EXPECT_NE(first, FileStamp::of(file));
}

} // namespace
} // namespace varnek::files
