// A new preferences directory is there as a whole or not at all, whoever else starts and whoever dies
// meanwhile.

#include "support/Children.hpp"
#include "support/PrefdirHome.hpp"
#include "support/TracedCalls.hpp"

#include "settingscore/prefdir/PreferencesDirectory.hpp"
#include "settingscore/settings/prefdir/FillRecord.hpp"
#include "varnek/files/NewFolder.hpp"

#include <sys/resource.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <iostream>
#include <random>

namespace {

using namespace settings::core;
using namespace settings::test;
namespace fs = std::filesystem;
using Names = std::vector<std::string>;

bool isSoak() {
    return std::getenv("VKSETTINGS_SOAK") != nullptr;
}

/// Several processes start for the first time; some more look whether there is ever a directory in the
/// making.
struct FirstStarts : PrefdirHome {
    FirstStarts() {
        for (int i = 0; i < 20; ++i)
            files.push_back("g" + std::to_string(i) + ".vksettings");
        std::sort(files.begin(), files.end());
        makeRelease(standard("R2024b"), files);
    }
    bool isWhole() const {
        if (withOwnFiles(files) != namesIn(standard()))
            return false;
        for (const std::string& file : files)
            if (bytesOf(standard() / file) != file)
                return false;
        return bytesOf(standard() / "creation.timestamp").size() == 21 &&
               detail::readFillRecord(standard()).has_value();
    }
    void expectTidy() const { EXPECT_EQ((Names{"R2024b", "R2025a"}), namesIn(standard().parent_path())); }
    Names files;
};

TEST_F(FirstStarts, EightProcessesMakeOneDirectoryAndNobodySeesItHalf) {
    constexpr int starters = 8, observers = 1;
    const int rounds = isSoak() ? 200 : 5;
    for (int round = 0; round < rounds; ++round) {
        fs::remove_all(standard());
        SCOPED_TRACE("round " + std::to_string(round));
        inChildrenAtOnce(starters + observers, [&](int i) {
            if (i < starters)
                EXPECT_EQ(text(standard()), getPreferencesDirectoryUStr());
            else
                while (!fs::exists(standard())) {
                }
            EXPECT_TRUE(isWhole());
        });
        expectTidy();
    }
}

TEST_F(FirstStarts, KilledAtAnyMomentTheNextOneFinishes) {
    for (int i = 0; i < 100; ++i) // so that there is time to be killed in
        files.push_back("more" + std::to_string(i) + ".vksettings");
    std::sort(files.begin(), files.end());
    makeRelease(standard("R2024b"), files);
    const int rounds = isSoak() ? 300 : 20;
    std::minstd_rand random(1);
    int halves = 0;
    for (int round = 0; round < rounds; ++round) {
        fs::remove_all(standard());
        Child child([&] {
            if (round % 2 == 0) { // every other one dies for sure: of a record that is too large for it
                const rlimit little{100, 100};
                ::setrlimit(RLIMIT_FSIZE, &little);
                std::signal(SIGXFSZ, SIG_DFL);
            }
            getPreferencesDirectoryUStr();
        });
        const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 8'000);
        while (round % 2 == 1 && std::chrono::steady_clock::now() < end) {
        }
        if (round % 2 == 1)
            ::kill(child.id(), SIGKILL);
        child.wait();
        const auto inTheMaking = namesIn(standard().parent_path());
        halves += !fs::exists(standard()) && inTheMaking.size() == 2;
        EXPECT_TRUE(!fs::exists(standard()) || isWhole());
        inAnotherProcess([&] {
            getPreferencesDirectoryUStr();
            EXPECT_TRUE(isWhole());
        });
        expectTidy();
    }
    EXPECT_GE(halves, rounds / 2);
}

TEST(FirstFillChild, DISABLED_Starts) {
    if (std::getenv("SETTINGS_TEST_FIRST_START") == nullptr)
        GTEST_SKIP() << "a part of another test";
    ::setenv("HOME", std::getenv("SETTINGS_TEST_FIRST_START"), 1); // which the test environment has replaced
    ::unsetenv("SETTINGS_USERDIR");
    (void)::access(beginMarker, F_OK);
    getPreferencesDirectoryUStr();
    (void)::access(endMarker, F_OK);
    ::_exit(100);
}

/// The same, at every system call of a fill in turn.
struct KilledStarts : FirstStarts {
    KilledStarts() {
        fs::remove_all(standard("R2024b"));
        files = {"a.vksettings", "b.vksettings"};
        makeRelease(standard("R2024b"), files);
    }
    /// The exit code of a start under strace; -1 when it was killed.
    int start(const std::string& options) {
        fs::remove_all(standard());
        const std::string command = "ASAN_OPTIONS=detect_leaks=0 SETTINGS_TEST_FIRST_START=" + home.native() +
                                    " strace -qq -f -o " + trace.native() + " " + options + " " +
                                    fs::read_symlink("/proc/self/exe").native() +
                                    " --gtest_also_run_disabled_tests "
                                    "--gtest_filter=FirstFillChild.DISABLED_Starts >/dev/null 2>&1";
        const int status = std::system(command.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::vector<TracedCall> calls() const { return callsBetweenMarkers(trace); }
    void expectTheNextStartFinishes(const std::string& what) {
        inAnotherProcess([&] {
            getPreferencesDirectoryUStr();
            EXPECT_TRUE(isWhole()) << what;
        });
        expectTidy();
    }
    fs::path trace = folder / "trace";
};

TEST_F(KilledStarts, AtAnySystemCallNothingIsHalf) {
    if (start("") != 100 || calls().empty()) {
        std::cerr << "NOT TESTED: kills at system calls, because strace does not work here\n";
        GTEST_SKIP() << "strace does not work here";
    }
    ASSERT_TRUE(isWhole());
    const auto all = calls();
    int flushes = 0, flushesBefore = 0;
    for (const auto& [name, number] : all) {
        flushes += name == "fsync";
        if (name == "renameat2")
            flushesBefore = flushes;
    }
    EXPECT_EQ(int(withOwnFiles(files).size() + 1),
              flushesBefore); // each file and the folder, then it is moved
    EXPECT_EQ(1, flushes - flushesBefore);
    const std::size_t step = isSoak() ? 1 : 5;
    std::size_t halves = 0, wholes = 0;
    for (std::size_t i = 0; i < all.size(); i += step) {
        const std::string what = all[i].name + ":signal=SIGKILL:when=" + std::to_string(all[i].number);
        EXPECT_NE(100, start("-e trace=" + all[i].name + " -e inject=" + what)) << what;
        ++(fs::exists(standard()) ? wholes : halves);
        EXPECT_TRUE(!fs::exists(standard()) || isWhole()) << what;
        expectTheNextStartFinishes(what);
    }
    EXPECT_GE(halves, all.size() / step / 2);
    EXPECT_GE(wholes, 1U);
}

/// Where the system cannot refuse to replace a folder by itself.
TEST_F(KilledStarts, FileSystemsWithoutTheFlagServeAsWell) {
    if (start("") != 100) {
        std::cerr
            << "NOT TESTED: a file system without RENAME_NOREPLACE, because strace does not work here\n";
        GTEST_SKIP() << "strace does not work here";
    }
    for (const char* error : {"EINVAL", "ENOSYS", "EOPNOTSUPP"}) {
        EXPECT_EQ(100, start(std::string("-e trace=renameat2 -e inject=renameat2:error=") + error)) << error;
        EXPECT_TRUE(isWhole()) << error;
        expectTidy();
    }
}

/// What another process has in the making is none of our business.
TEST_F(FirstStarts, TheWorkOfTheLivingIsLeftAlone) {
    fs::path theirs;
    {
        varnek::files::NewFolder slow(standard());
        slow.addFile("f", "theirs");
        theirs = slow.path();
        inAnotherProcess([&] {
            getPreferencesDirectoryUStr();
            EXPECT_TRUE(isWhole());
        });
        EXPECT_TRUE(fs::exists(theirs / "f"));
        EXPECT_FALSE(slow.publish());
    }
    EXPECT_TRUE(isWhole());
    expectTidy();
}

} // namespace
