// A pass over many files, which share the waiting for the disk: in which order things happen, and what is
// left when system calls in it fail, the process is killed at one, or the disk is full.

#include "support/Children.hpp"
#include "support/TracedCalls.hpp"
#include "support/Waiting.hpp"
#include "support/WriterTree.hpp"

#include "settingscore/SaveReport.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/settings/file/prefdirWriter.hpp"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <map>

namespace {

using namespace settings::test;
using namespace settings::core;
using namespace settings::core::detail;

constexpr auto folderVariable = "SETTINGS_TEST_SHARED_PASS";
constexpr int files = 12;
constexpr double before = 1.0, after = 2.0, afterwards = 3.0;
// None of them is what a program gives that ends for another reason.
enum Outcome { saved = 100, savedAtSecondTry = 101, never = 102 };

std::string nameOf(int i) {
    return "g" + std::to_string(100 + i);
}

std::vector<Handle> groupsOf(const FileTree& tree, int count = files) {
    std::vector<Handle> groups;
    for (int i = 0; i < count; ++i)
        groups.push_back(WriterTree::group(tree, nameOf(i)));
    return groups;
}

/// Whether all of them are on the disk afterwards.
bool setAll(const std::vector<Handle>& groups, double value) {
    for (const Handle& g : groups)
        g->set("s", value, "user");
    waitForSettingsSaves();
    return std::all_of(groups.begin(), groups.end(),
                       [](const Handle& g) { return lastSave(*g, "user").isOnDisk; });
}

struct SharedPassChild : testing::Test {};

TEST_F(SharedPassChild, DISABLED_SavesMany) {
    const char* const base = std::getenv(folderVariable);
    ASSERT_NE(nullptr, base);
    const SavesThroughTheHook through;
    auto& tree = *new FileTree(std::filesystem::path(base), prefdirWriter);
    const auto groups = groupsOf(tree);
    (void)::access(beginMarker, F_OK);
    const bool first = setAll(groups, after);
    (void)::access(endMarker, F_OK);
    ::_exit(first ? saved : setAll(groups, afterwards) ? savedAtSecondTry : never);
}

TEST_F(SharedPassChild, DISABLED_SetsManyAndEnds) {
    const char* const base = std::getenv(folderVariable);
    ASSERT_NE(nullptr, base);
    static const SavesThroughTheHook through;
    auto& tree = *new FileTree(std::filesystem::path(base), prefdirWriter);
    for (const Handle& g : groupsOf(tree))
        g->set("s", after, "user");
    std::exit(saved); // while all of them still wait
}

struct SharedPass : testing::Test {
    SharedPass() {
        const FileTree tree(folder.path());
        for (const Handle& g : groupsOf(tree))
            g->set("s", before, "user");
        for (const std::string& name : namesIn(folder / "user"))
            contents.emplace_back(name, bytesOf(folder / "user" / name));
    }

    /// Runs a child under strace with the given options; returns the exit code, -1 when it was killed.
    int run(const std::string& options, const std::string& child = "SavesMany") const {
        for (const auto& [name, bytes] : contents)
            writeBytes(folder / "user" / name, bytes);
        const std::string command = "ASAN_OPTIONS=detect_leaks=0 " + std::string(folderVariable) + "=" +
                                    folder.path().native() + " strace -qq -f -o " + trace.native() + " " +
                                    options + " " + std::filesystem::read_symlink("/proc/self/exe").native() +
                                    " --gtest_also_run_disabled_tests "
                                    "--gtest_filter=SharedPassChild.DISABLED_" +
                                    child + " >/dev/null 2>&1";
        const int status = std::system(command.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    bool canTrace() const {
        if (callsAreOurs && run("") == saved && !callsOfOtherThreads(trace).empty())
            return true;
        std::cerr << "NOT TESTED: passes over many files with failing system calls, because strace does not "
                     "work here\n";
        return false;
    }

    /// What the next start finds: whole files, and nothing else in their folder.
    std::vector<double> nextStart(const std::string& what) const {
        const FileTree next(folder.path());
        next.keeper->loadAddedGroups(SettingsAccess::node(*next.root), LevelIndex::user);
        std::vector<double> values;
        for (const Handle& g : groupsOf(next)) {
            const auto status = next.status(g->getName());
            EXPECT_EQ(LoadOutcome::ok, status.loaded) << what << status.loadMessage;
            values.push_back(g->get<double>("s", "user"));
        }
        EXPECT_EQ(static_cast<std::size_t>(files), namesIn(folder / "user").size()) << what;
        return values;
    }

    TempFolder folder;
    std::filesystem::path trace = folder / "trace";
    std::vector<std::pair<std::string, std::string>> contents; // of the files before
};

// ---- order ----

/// The steps on the disk, "flush NAME", "rename NAME" or "flush folder", up to the marker or the end.
std::vector<std::string> stepsIn(const std::filesystem::path& trace, const std::filesystem::path& folder) {
    std::vector<std::string> steps;
    std::ifstream lines(trace);
    const auto between = [](const std::string& line, const std::string& begin, const std::string& end) {
        const auto from = line.find(begin) + begin.size();
        return line.substr(from, line.find(end, from) - from);
    };
    for (std::string line; std::getline(lines, line) && line.find(endMarker) == line.npos;) {
        if (line.find("fsync(") != line.npos) {
            const std::filesystem::path path = between(line, "<", ">");
            steps.push_back("flush " + (path == folder ? "folder" : path.stem().native()));
        } else if (line.find("renameat(") != line.npos) {
            steps.push_back("rename " + between(line, "\"", ".tmp\""));
        }
    }
    return steps;
}

/// As strace is told.
std::string fault(const std::string& call, const std::string& kind, int number) {
    return call + ':' + kind + ":when=" + std::to_string(number);
}
std::string injecting(const std::string& call, const std::string& what) {
    return "-e trace=" + call + " -e inject=" + what;
}

TEST_F(SharedPass, EverythingIsFlushedBeforeItCounts) {
    for (const char* child : {"SavesMany", "SetsManyAndEnds"}) {
        if (run("-y -e trace=access,fsync,renameat", child) != saved) {
            std::cerr << "NOT TESTED: the order of a pass, because strace does not work here\n";
            GTEST_SKIP() << "strace does not work here";
        }
        const auto steps = stepsIn(trace, folder / "user");
        std::vector<std::string> last; // the renames in order, then the folder, once
        for (int i = 0; i < files; ++i) {
            const std::string name = nameOf(i) + ".vksettings";
            last.push_back("rename " + name);
            EXPECT_EQ(1, std::count(steps.begin(), steps.end(), "flush " + name)) << child;
        }
        last.emplace_back("flush folder");
        ASSERT_EQ(files + last.size(), steps.size()) << child << testing::PrintToString(steps);
        EXPECT_EQ(last, std::vector<std::string>(steps.begin() + files, steps.end())) << child;
        EXPECT_EQ(std::vector(files, after), nextStart(child));
    }
}

// ---- kills and faults ----

/// Calls of a pass that the start of a program does not make, so that they can be hit by their number.
const std::map<std::string, std::vector<const char*>> faults = {{"readlinkat", {"EIO"}},
                                                                {"fchmod", {"EIO"}},
                                                                {"write", {"EIO", "ENOSPC", "EINTR"}},
                                                                {"sync_file_range", {"EIO"}},
                                                                {"fsync", {"EIO", "ENOSPC", "EINTR"}},
                                                                {"renameat", {"EIO", "ENOSPC"}},
                                                                {"rmdir", {"EIO"}},
                                                                {"flock", {"EIO", "EINTR"}}};

TEST_F(SharedPass, KilledAtAnyCallEachFileIsOldOrNew) {
    if (!canTrace())
        GTEST_SKIP() << "strace does not work here";
    const int rounds = times(10, 1); // the threads do not share the work in the same way each time
    const int step = times(1, 4);
    int at = 0, halves = 0, olds = 0, kills = 0;
    const auto calls = callsOfOtherThreads(trace);
    for (int round = 0; round < rounds; ++round)
        for (const auto& [name, number] : calls) {
            if (!faults.contains(name) || at++ % step != 0)
                continue;
            const std::string what = fault(name, "signal=SIGKILL", number);
            kills += run(injecting(name, what)) == saved ? 0 : 1;
            const auto values = nextStart(what);
            const auto firstOld = std::find(values.begin(), values.end(), before);
            EXPECT_EQ(values.end() - firstOld, std::count(firstOld, values.end(), before))
                << what << " left " << testing::PrintToString(values); // the renames go in order
            EXPECT_EQ(firstOld - values.begin(), std::count(values.begin(), firstOld, after)) << what;
            olds += firstOld == values.begin();
            halves += firstOld != values.begin() && firstOld != values.end();
        }
    std::cerr << kills << " kills: " << olds << " left all files old, " << halves << " some\n";
    EXPECT_GE(kills, 5);
    EXPECT_GE(olds, 1);
    EXPECT_GE(halves, 1);
}

TEST_F(SharedPass, WhenCallsFailTheNextSaveSucceeds) {
    if (!canTrace())
        GTEST_SKIP() << "strace does not work here";
    const int step = times(1, 7);
    int at = 0, runs = 0, failures = 0;
    for (const auto& [name, number] : callsOfOtherThreads(trace)) {
        const auto errors = faults.find(name);
        if (errors == faults.end())
            continue;
        for (const char* error : errors->second) {
            if (at++ % step != 0)
                continue;
            const std::string what = fault(name, std::string("error=") + error, number);
            const int outcome = run(injecting(name, what));
            ++runs;
            const auto values = nextStart(what);
            failures += outcome == savedAtSecondTry || outcome == never;
            if (outcome == never) // the threads of the second try meet the fault again
                EXPECT_TRUE(std::all_of(values.begin(), values.end(), [](double value) {
                    return value == before || value == after || value == afterwards;
                })) << what;
            else
                EXPECT_EQ(std::vector(files, outcome == saved ? after : afterwards), values) << what;
            const FileTree next(folder.path());
            for (const Handle& g : groupsOf(next)) {
                g->set("s", 7.0, "user");
                EXPECT_TRUE(lastSave(*g, "user").isOnDisk) << what;
            }
        }
    }
    std::cerr << runs << " faults: " << failures << " were saves that failed at first\n";
    EXPECT_GE(runs, 5);
    EXPECT_GE(failures, 1);
}

TEST_F(SharedPass, WhatFailsForGoodLeavesTheOldFiles) {
    if (!canTrace())
        GTEST_SKIP() << "strace does not work here";
    for (const char* call : {"fchmod", "write", "fsync", "renameat"}) {
        const std::string what = std::string(call) + ":error=ENOSPC:when=1+";
        EXPECT_EQ(never, run("-e trace=" + std::string(call) + " -e inject=" + what)) << what;
        EXPECT_EQ(std::vector(files, before), nextStart(what)) << what;
    }
}

// ---- a full disk ----

/// Content that no packing makes small.
std::u16string bigText(int seed) {
    std::u16string text;
    auto state = static_cast<unsigned>(seed);
    for (int i = 0; i < 12'000; ++i)
        text += static_cast<char16_t>(u'A' + (state = state * 1103515245 + 12345) / 65536 % 26);
    return text;
}

/// Takes all names that there are.
void fillWithNames(const std::filesystem::path& folder) {
    std::filesystem::create_directory(folder);
    for (int i = 0; ::mkdir((folder / std::to_string(i)).c_str(), 0700) == 0; ++i) {
    }
}

/// Takes all the room there is but for `left` pages.
void fill(const std::filesystem::path& file, int left) {
    const int to = ::open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const std::vector<char> page(4096, 'x');
    off_t pages = 0;
    while (::write(to, page.data(), page.size()) == static_cast<ssize_t>(page.size()))
        ++pages;
    EXPECT_EQ(0, ::ftruncate(to, (pages - left) * off_t(page.size())));
    ::close(to);
}

void saveOnAFullDisk(const std::filesystem::path& base) {
    const SavesThroughTheHook through;
    const FileTree alone(base); // in the caller, one file by itself
    const Handle g = WriterTree::group(alone, "alone");
    g->set("s", before, "user");
    const std::string old = bytesOf(alone.file("alone"));
    fill(base / "filler", 0);
    g->set("t", bigText(0), "user");
    EXPECT_FALSE(lastSave(*g, "user").isOnDisk);
    EXPECT_NE(std::string::npos, lastSave(*g, "user").message.find("No space left on device"))
        << lastSave(*g, "user").message;
    EXPECT_EQ(old, bytesOf(alone.file("alone")));
    EXPECT_EQ(std::vector<std::string>{"alone.vksettings"}, namesIn(base / "user"));
    std::filesystem::remove(base / "filler");
    g->set("s", after, "user");
    EXPECT_TRUE(lastSave(*g, "user").isOnDisk);
    const std::string next = bytesOf(alone.file("alone"));
    fillWithNames(base / "names");
    g->set("s", afterwards, "user");
    EXPECT_FALSE(lastSave(*g, "user").isOnDisk);
    EXPECT_EQ(next, bytesOf(alone.file("alone")));
    std::filesystem::remove_all(base / "names");
    g->set("t", bigText(1), "user");
    EXPECT_TRUE(lastSave(*g, "user").isOnDisk);

    PrefdirFileWriterQueue queue(std::chrono::hours(24)); // by the thread, many together
    WriterTree::current = &queue;
    const FileTree tree(base, WriterTree::writer);
    const auto groups = groupsOf(tree);
    const auto isOnDisk = [](const Handle& each) { return lastSave(*each, "user").isOnDisk; };
    const auto setAllTo = [&](double value) {
        for (int i = 0; i < files; ++i) {
            groups[std::size_t(i)]->set("s", value, "user");
            groups[std::size_t(i)]->set("t", bigText(i + static_cast<int>(value)), "user");
        }
        queue.waitForAll();
        return std::count_if(groups.begin(), groups.end(), isOnDisk);
    };
    EXPECT_EQ(files, setAllTo(before));
    fill(base / "filler", 14);
    const auto there = setAllTo(after);
    EXPECT_LT(there, files);
    const FileTree other(base);
    const auto read = groupsOf(other);
    for (std::size_t i = 0; i < groups.size(); ++i) {
        EXPECT_EQ(LoadOutcome::ok, other.status(nameOf(int(i))).loaded);
        EXPECT_EQ(isOnDisk(groups[i]) ? after : before, read[i]->get<double>("s", "user"));
        EXPECT_EQ(bigText(int(i) + static_cast<int>(isOnDisk(groups[i]) ? after : before)),
                  read[i]->get<std::u16string>("t", "user"));
    }
    EXPECT_EQ(files + 1U, namesIn(base / "user").size());
    std::filesystem::remove(base / "filler");
    fillWithNames(base / "names");
    EXPECT_EQ(0, setAllTo(7.0));
    EXPECT_EQ(files + 1U, namesIn(base / "user").size());
    std::filesystem::remove_all(base / "names");
    EXPECT_EQ(files, setAllTo(afterwards));
    queue.terminate(true);
}

/// On a file system of its own, which only this test's process sees.
TEST(FullDisk, KeepsTheOldFilesAndTheNextSaveSucceeds) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "ThreadSanitizer does not follow the threads of a child of fork()";
#endif
    const TempFolder folder;
    constexpr int cannotMount = 77;
    const int status =
        Child([&] {
            if (::unshare(CLONE_NEWNS) != 0 ||
                ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                ::mount("none", folder.path().c_str(), "tmpfs", 0, "size=1m,nr_inodes=200,mode=700") != 0)
                ::_exit(cannotMount);
            saveOnAFullDisk(folder.path());
        }).wait();
    if (WIFEXITED(status) && WEXITSTATUS(status) == cannotMount) {
        std::cerr << "NOT TESTED: a full disk, because no file system can be mounted here\n";
        GTEST_SKIP() << "no file system can be mounted here";
    }
    EXPECT_EQ(0, status);
}

} // namespace
