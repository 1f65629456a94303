// One replacement of a file with every system call in it made to fail, or the process killed at it, one after
// the other. The test program runs itself under strace for that.
#include "files/TemporaryFolder.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/FileReplacement.hpp"

#include <iostream>
#include <map>
#include <stdexcept>

namespace {

using namespace varnek::files;
using testing_support::contentOf;
using testing_support::putContent;
using testing_support::TemporaryFolder;

constexpr auto targetVariable = "VARNEK_TEST_REPLACE";
constexpr auto beginMarker = "/varnek-test-begin", endMarker = "/varnek-test-end";
const std::string oldContent = "old content", newContent(20'000, 'n');
// None of them is what a program gives that ends for another reason.
enum Outcome { replaced = 100, replacedAtSecondTry = 101, refused = 102 };
// AddressSanitizer writes to a pipe when an exception is thrown, and gives up when it cannot.
#ifdef __SANITIZE_ADDRESS__
constexpr bool writesOfItsOwn = true;
#else
constexpr bool writesOfItsOwn = false;
#endif

TEST(FaultInjectionChild, DISABLED_ReplacesOnce) {
    const char* target = std::getenv(targetVariable);
    ASSERT_TRUE(target);
    const auto attempt = [&] {
        try {
            replaceFile(target, newContent);
            return true;
        } catch (const FileError&) {
            return false;
        }
    };
    (void)::access(beginMarker, F_OK);
    const bool first = attempt();
    (void)::access(endMarker, F_OK);
    ::_exit(first ? replaced : attempt() ? replacedAtSecondTry : refused);
}

TEST(FaultInjectionChild, DISABLED_CommitsAgain) {
    const char* target = std::getenv(targetVariable);
    ASSERT_TRUE(target);
    FileReplacement replacement(target);
    replacement.write(newContent);
    replacement.rename();
    const auto commit = [&] {
        try {
            replacement.commit();
            return true;
        } catch (const FileError& failure) {
            return failure.kind() != FileErrorKind::folderFlushFailed;
        } catch (const std::logic_error&) {
            return false;
        }
    };
    ::_exit(commit() ? replaced : commit() ? replacedAtSecondTry : refused);
}

struct Call {
    std::string name;
    int number;    // among the calls of that name in the whole process
    int inSection; // among those between the markers
};

class FaultInjection : public testing::Test {
  protected:
    /// Runs a child under strace with the given options; returns the exit code, -1 when it was killed.
    int run(const std::string& options, const std::string& child = "ReplacesOnce") {
        putContent(target, oldContent);
        const std::string program = std::filesystem::read_symlink("/proc/self/exe").native();
        const std::string command = "ASAN_OPTIONS=detect_leaks=0 " + std::string(targetVariable) + "=" +
                                    target.native() + " strace -qq -f -o " + trace.native() + " " + options +
                                    " " + program +
                                    " --gtest_also_run_disabled_tests"
                                    " --gtest_filter=FaultInjectionChild.DISABLED_" +
                                    child + " >/dev/null 2>&1";
        const int status = std::system(command.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    /// The calls that one replacement makes.
    std::vector<Call> calls() {
        std::vector<Call> result;
        std::map<std::string, int> before, inside;
        std::ifstream lines(trace);
        bool in = false;
        for (std::string line; std::getline(lines, line);) {
            const std::size_t begin = line.find_first_not_of("0123456789 "), end = line.find('(');
            if (end == line.npos || begin > end)
                continue;
            const std::string name = line.substr(begin, end - begin);
            const int number = ++before[name];
            if (line.find(beginMarker) != line.npos)
                in = true;
            else if (line.find(endMarker) != line.npos)
                break;
            else if (in)
                result.push_back({name, number, ++inside[name]});
        }
        return result;
    }

    void expectTidyAfterCleanUp(const std::string& what) {
        removeStaleTemporaryDirectories(folder.path());
        EXPECT_EQ(std::vector<std::string>{"file"}, folder.names()) << what;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
            if (entry.is_directory())
                std::filesystem::remove_all(entry.path());
    }

    /// Skips the test where processes must not be traced, and where a sanitizer makes calls of its own.
    bool canTrace() {
#ifdef __SANITIZE_ADDRESS__
        return false;
#endif
        return run("") == replaced && contentOf(target) == newContent && !calls().empty();
    }

    TemporaryFolder folder, traces;
    std::filesystem::path target = folder / "file", trace = traces / "trace";
};

#define SKIP_UNLESS_TRACING()                                                                                \
    if (!canTrace()) {                                                                                       \
        std::cerr << "NOT TESTED: faults in system calls, because strace does not work here\n";              \
        GTEST_SKIP() << "strace does not work here";                                                         \
    }

const std::map<std::string, std::vector<const char*>> faults = {
    {"openat", {"EACCES", "EMFILE", "ENOSPC", "EROFS"}},
    {"mkdir", {"EACCES", "ENOSPC", "EROFS", "EDQUOT"}},
    {"write", {"ENOSPC", "EIO", "EDQUOT", "EFBIG"}},
    {"fsync", {"EIO", "ENOSPC", "EDQUOT"}},
    {"close", {"EIO", "EDQUOT"}},
    {"renameat", {"EXDEV", "EACCES", "ENOSPC", "EBUSY"}},
    {"fchmod", {"EPERM", "EIO"}},
    {"flock", {"ENOLCK"}},
    {"newfstatat", {"EACCES", "EIO"}},
    {"fstat", {"EIO"}},
    {"readlinkat", {"EACCES", "EIO"}},
    {"unlinkat", {"EIO", "EBUSY"}},
    {"rmdir", {"EIO", "EBUSY"}},
};

TEST_F(FaultInjection, EveryCallFailsOnceOrForEverAndTheFileIsNeverHurt) {
    SKIP_UNLESS_TRACING();
    std::size_t runs = 0, refusals = 0, secondTries = 0;
    for (const Call& call : calls()) {
        const auto errors = faults.find(call.name);
        if (errors == faults.end())
            continue;
        for (const char* error : errors->second) {
            for (const std::string lasting : {"", "+"}) {
                if (writesOfItsOwn && call.name == "write" && lasting == "+")
                    continue;
                const std::string what =
                    call.name + ":error=" + error + ":when=" + std::to_string(call.number) + lasting;
                const int outcome = run("-e trace=" + call.name + " -e inject=" + what);
                ++runs;
                EXPECT_TRUE(outcome == replaced || outcome == replacedAtSecondTry || outcome == refused)
                    << what << " ended with " << outcome;
                refusals += outcome == refused;
                secondTries += outcome == replacedAtSecondTry;
                // When only the folder cannot be flushed, the new content stands already.
                const bool late = call.name == "fsync" && call.inSection == 2;
                const std::string content = contentOf(target);
                EXPECT_TRUE(content == (outcome == refused && !late ? oldContent : newContent))
                    << what << " left " << content.size() << " bytes";
                // Tidy at once, unless tidying is what fails.
                const bool tidying = call.name == "unlinkat" || call.name == "rmdir";
                EXPECT_TRUE(tidying || outcome == refused || folder.names().size() == 1) << what;
                expectTidyAfterCleanUp(what);
            }
        }
    }
    // The injection must have reached the calls that matter.
    EXPECT_GE(runs, 60u);
    EXPECT_GE(refusals, 20u);
    EXPECT_GE(secondTries, 20u);
}

TEST_F(FaultInjection, TheContentIsFlushedBeforeTheRenameAndTheFolderAfterIt) {
    SKIP_UNLESS_TRACING();
    std::string order;
    for (const Call& call : calls())
        if (call.name == "write" || call.name == "fsync" || call.name == "close" || call.name == "renameat")
            order += call.name + " ";
    EXPECT_TRUE(order.starts_with("write fsync close renameat fsync ")) << order;
}

// The system reports a lost write of the folder once only.
TEST_F(FaultInjection, AFolderThatCouldNotBeFlushedIsNotFlushedAgain) {
    SKIP_UNLESS_TRACING();
    EXPECT_EQ(refused, run("-e trace=fsync -e inject=fsync:error=EIO:when=2", "CommitsAgain"));
    EXPECT_TRUE(newContent == contentOf(target));
    expectTidyAfterCleanUp("a failed flush of the folder");
}

TEST_F(FaultInjection, InterruptionsMakeNoDifference) {
    SKIP_UNLESS_TRACING();
    std::size_t runs = 0;
    for (const Call& call : calls()) {
        const std::string what = call.name + ":error=EINTR:when=" + std::to_string(call.number);
        if (call.name != "openat" && call.name != "write" && call.name != "fsync" && call.name != "flock" &&
            call.name != "close")
            continue;
        EXPECT_EQ(replaced, run("-e trace=" + call.name + " -e inject=" + what)) << what;
        EXPECT_TRUE(newContent == contentOf(target)) << what;
        expectTidyAfterCleanUp(what);
        ++runs;
    }
    EXPECT_GE(runs, 8u);
}

TEST_F(FaultInjection, KilledAtAnyCallTheFileIsOldOrNew) {
    SKIP_UNLESS_TRACING();
    std::size_t olds = 0, news = 0;
    for (const Call& call : calls()) {
        const std::string what = call.name + ":signal=SIGKILL:when=" + std::to_string(call.number);
        run("-e trace=" + call.name + " -e inject=" + what);
        const std::string content = contentOf(target);
        EXPECT_TRUE(content == oldContent || content == newContent)
            << what << ": " << content.size() << " bytes";
        ++(content == oldContent ? olds : news);
        expectTidyAfterCleanUp(what);
    }
    EXPECT_GE(olds, 10u); // killed before the rename
    EXPECT_GE(news, 2u);  // and after it
}

} // namespace
