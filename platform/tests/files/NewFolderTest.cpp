// Folders that appear as a whole, and folders of one process.
#include "varnek/files/NewFolder.hpp"

#include "files/TemporaryFolder.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/FileReplacement.hpp"
#include "varnek/files/Folder.hpp"
#include "varnek/files/FolderLock.hpp"
#include "varnek/files/SessionFolder.hpp"

#include <csignal>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>

namespace {

using namespace varnek::files;
using testing_support::asOrdinaryUser;
using testing_support::contentOf;
using testing_support::putContent;
using testing_support::TemporaryFolder;
using Names = std::vector<std::string>;
namespace fs = std::filesystem;

unsigned modeOf(const fs::path& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

FileError failureOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const FileError& error) {
        return error;
    }
    return {FileErrorKind::notFound, "fail", "nothing failed", 0};
}

struct UmaskOf {
    explicit UmaskOf(mode_t mask) : before(::umask(mask)) {}
    ~UmaskOf() { ::umask(before); }
    mode_t before;
};

TEST(NewFolder, AppearsWholePrivateAndUnlocked) {
    for (const mode_t mask : {0U, 0777U}) {
        TemporaryFolder folder;
        {
            const UmaskOf umask(mask);
            NewFolder made(folder / "new");
            for (int i = 0; i < 100; ++i) // more than are kept open
                made.addFile("f" + std::to_string(i), std::string(i * 100, 'x'));
            EXPECT_FALSE(fs::exists(folder / "new"));
            EXPECT_EQ(0700U, modeOf(made.path()));
            EXPECT_TRUE(made.publish());
            EXPECT_THROW(made.publish(), std::logic_error);
            EXPECT_THROW(made.addFile("late", ""), std::logic_error);
            EXPECT_TRUE(FolderLock(folder / "new", std::chrono::milliseconds(0)).isHeld());
        }
        EXPECT_EQ(Names{"new"}, folder.names());
        EXPECT_EQ(0700U, modeOf(folder / "new"));
        for (int i = 0; i < 100; ++i) {
            EXPECT_EQ(std::string(i * 100, 'x'), contentOf(folder / "new" / ("f" + std::to_string(i))));
            EXPECT_EQ(0600U, modeOf(folder / "new" / ("f" + std::to_string(i))));
        }
    }
}

TEST(NewFolder, ReplacesNothing) {
    const std::pair<const char*, std::function<void(const fs::path&)>> obstacles[] = {
        {"an empty folder", [](const fs::path& p) { fs::create_directory(p); }},
        {"a folder", [](const fs::path& p) { fs::create_directories(p), putContent(p / "f", "theirs"); }},
        {"a file", [](const fs::path& p) { putContent(p, "theirs"); }},
        {"a link to nowhere", [](const fs::path& p) { fs::create_symlink("nowhere", p); }},
    };
    for (const auto& [what, put] : obstacles) {
        TemporaryFolder folder;
        NewFolder made(folder / "new");
        made.addFile("f", "ours");
        put(folder / "new");
        EXPECT_FALSE(made.publish()) << what;
        EXPECT_EQ(Names{"new"}, folder.names()) << what;
        EXPECT_NE("ours", contentOf(folder / "new" / "f")) << what;
    }
}

TEST(NewFolder, WhatIsNotPublishedLeavesNothing) {
    TemporaryFolder folder;
    {
        NewFolder made(folder / "new");
        made.addFile("f", "x");
        const FileError taken = failureOf([&] { made.addFile("f", "y"); });
        EXPECT_EQ(FileErrorKind::openFailed, taken.kind());
        EXPECT_EQ(EEXIST, taken.errorNumber());
        EXPECT_EQ("x", contentOf(made.path() / "f"));
        for (const std::string name : {"", ".", "..", "a/b", "/a"})
            EXPECT_EQ(FileErrorKind::invalidName, failureOf([&] { made.addFile(name, ""); }).kind()) << name;
    }
    EXPECT_EQ(Names{}, folder.names());
    EXPECT_EQ(FileErrorKind::cannotCreateTemporaryDirectory,
              failureOf([&] { NewFolder(folder / "missing/new"); }).kind());
    EXPECT_EQ(FileErrorKind::invalidName, failureOf([] { NewFolder("/"); }).kind());
    const FileError tooLong = failureOf([&] { NewFolder(folder / std::string(300, 'n')).publish(); });
    EXPECT_EQ(FileErrorKind::renameFailed, tooLong.kind());
    EXPECT_EQ(ENAMETOOLONG, tooLong.errorNumber());
    EXPECT_EQ(Names{}, folder.names());
    EXPECT_EQ(0, asOrdinaryUser([&] {
                  return failureOf([&] { NewFolder(folder / "new"); }).kind() !=
                         FileErrorKind::directoryNotWritable;
              }));
}

/// The name of the file whose flush fails; empty: none.
std::string& failingFlush() {
    static std::string name;
    return name;
}

TEST(NewFolder, AFlushThatFailsLosesItsOwnFileWheneverItComes) {
    for (const int others : {0, 1, 31, 32, 70}) // many more than are kept open
        for (const bool flushed : {true, false}) {
            SCOPED_TRACE(others);
            TemporaryFolder folder;
            NewFolder made(folder / "new");
            failingFlush() = "lost";
            const FileError failure = failureOf([&] {
                made.addFile("lost", "x");
                for (int i = 0; i < others; ++i)
                    made.addFile("f" + std::to_string(i), "x");
                flushed ? made.flush() : static_cast<void>(made.publish());
            });
            EXPECT_EQ(FileErrorKind::flushFailed, failure.kind());
            EXPECT_EQ("lost", failure.path().filename());
            EXPECT_EQ(EIO, failure.errorNumber());
            failingFlush().clear();
            if (!flushed && others < 32) { // given up by publish()
                EXPECT_THROW(made.publish(), std::logic_error);
                EXPECT_EQ(Names{}, folder.names());
                continue;
            }
            made.addFile("after", "x");
            EXPECT_TRUE(made.publish());
            EXPECT_FALSE(fs::exists(folder / "new/lost"));
            EXPECT_TRUE(fs::exists(folder / "new/after"));
            EXPECT_EQ(others > 0, fs::exists(folder / "new/f0"));
        }
}

/// Leaves nothing to the destructor.
[[noreturn]] void endAbruptly() {
    ::kill(::getpid(), SIGKILL);
    ::_exit(1);
}

TEST(NewFolder, LeftoversOfTheDeadAreRemovedThoseOfTheLivingStay) {
    TemporaryFolder folder;
    NewFolder living(folder / "new");
    living.addFile("f", "x");
    const pid_t child = ::fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
        NewFolder dead(folder / "new");
        dead.addFile("f", "x");
        endAbruptly();
    }
    ASSERT_EQ(child, ::waitpid(child, nullptr, 0));
    ASSERT_EQ(2U, folder.names().size());
    EXPECT_EQ(1U, removeStaleTemporaryDirectories(folder.path()));
    EXPECT_EQ(Names{living.path().filename().native()}, folder.names());
    EXPECT_TRUE(living.publish());
    EXPECT_EQ("x", contentOf(folder / "new/f"));
}

/// A clean-up that has opened the hidden directory must not go on in the folder that it has become.
TEST(NewFolder, CleanUpsNeverReachWhatWasPublished) {
    TemporaryFolder folder;
    std::atomic<bool> stop{false};
    std::vector<std::thread> cleaners;
    for (int i = 0; i < 2; ++i)
        cleaners.emplace_back([&] {
            while (!stop)
                removeStaleTemporaryDirectories(folder.path());
        });
    const int rounds = std::getenv("VKSETTINGS_SOAK") != nullptr ? 2'000 : 200;
    int whole = 0;
    for (int i = 0; i < rounds; ++i) {
        const auto place = folder / std::to_string(i);
        NewFolder made(place);
        made.addFile("f", "x");
        whole += made.publish() && contentOf(place / "f") == "x";
    }
    stop = true;
    for (std::thread& cleaner : cleaners)
        cleaner.join();
    EXPECT_EQ(rounds, whole);
    for (int i = 0; i < rounds; ++i)
        EXPECT_EQ("x", contentOf(folder / std::to_string(i) / "f")) << i;
}

TEST(NewFolder, OfManyWhoTryOneWins) {
    TemporaryFolder folder;
    constexpr int contenders = 8;
    const int rounds = std::getenv("VKSETTINGS_SOAK") != nullptr ? 200 : 20;
    for (int round = 0; round < rounds; ++round) {
        const auto place = folder / std::to_string(round);
        std::atomic<int> wins{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < contenders; ++i)
            threads.emplace_back([&, i] {
                NewFolder made(place);
                for (const char* name : {"a", "b", "c"})
                    made.addFile(name, std::to_string(i));
                wins += made.publish();
            });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(1, wins);
        const std::string winner = contentOf(place / "a");
        EXPECT_TRUE(contentOf(place / "b") == winner && contentOf(place / "c") == winner) << round;
    }
    EXPECT_EQ(std::size_t(rounds), folder.names().size());
}

TEST(SessionFolder, IsPrivateLockedAndGoesWhenItIsEmpty) {
    TemporaryFolder folder;
    fs::path used;
    {
        const SessionFolder empty(folder.path(), "part"), filled(folder.path(), "part");
        EXPECT_NE(empty.path(), filled.path());
        for (const SessionFolder* made : {&empty, &filled}) {
            EXPECT_TRUE(made->path().filename().native().starts_with("part"));
            EXPECT_EQ(made->path().native() + "_lock", made->lockFile().native());
            EXPECT_EQ(0700U, modeOf(made->path()));
            EXPECT_EQ(0600U, modeOf(made->lockFile()));
        }
        used = filled.path();
        putContent(used / "g.vksettings", "x");
        EXPECT_EQ(4U, folder.names().size());
    }
    EXPECT_EQ((Names{used.filename().native(), used.filename().native() + "_lock"}), folder.names());
    EXPECT_EQ(FileErrorKind::cannotCreateTemporaryDirectory,
              failureOf([&] { SessionFolder(folder / "missing", "part"); }).kind());
}

TEST(SessionFolder, LeftoversGoWhenTheyAreEmptyAndTheirProcessHasEnded) {
    TemporaryFolder folder;
    const SessionFolder living(folder.path(), "part");
    for (const bool isFilled : {false, true}) {
        const pid_t child = ::fork();
        ASSERT_NE(-1, child);
        if (child == 0) {
            const SessionFolder dead(folder.path(), "part");
            if (isFilled)
                putContent(dead.path() / "g.vksettings", "x");
            endAbruptly();
        }
        ASSERT_EQ(child, ::waitpid(child, nullptr, 0));
    }
    putContent(folder / "partABCDEF", "no folder");
    putContent(folder / "partABCDEF_lock", "");
    fs::create_symlink(folder / "partABCDEF", folder / "partGHIJKL_lock");
    ASSERT_EQ(7U, folder.names().size()); // the second child has removed what the first one left
    {
        const SessionFolder next(folder.path(), "part");
        EXPECT_EQ(9U, folder.names().size());
    }
    EXPECT_EQ(7U, folder.names().size());
    EXPECT_TRUE(fs::is_directory(living.path()));
}

} // namespace

/// Stands before that of the system.
extern "C" __attribute__((visibility("default"))) int fsync(int descriptor) {
    std::error_code ignored;
    const auto file = fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor), ignored);
    if (!failingFlush().empty() && file.filename() == failingFlush()) {
        errno = EIO;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_fsync, descriptor));
}
