#include "varnek/files/FileReplacement.hpp"

#include "files/TemporaryFolder.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/Folder.hpp"

#include <grp.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
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
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : ~0u;
}

/// The kind of the failure of `work`, or an empty text.
template <class Work>
std::optional<FileErrorKind> failureOf(Work work) {
    try {
        work();
    } catch (const FileError& error) {
        return error.kind();
    }
    return std::nullopt;
}

std::size_t openDescriptors() {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

TEST(FileReplacement, CreatesAndReplacesAFileAndLeavesNothingElse) {
    TemporaryFolder folder;
    const std::string big(3'000'000, 'b');
    for (const std::string& content : {std::string("first"), std::string(), big, std::string("x\0y", 3)}) {
        replaceFile(folder / "group.vksettings", content);
        EXPECT_EQ(content, contentOf(folder / "group.vksettings"));
        EXPECT_EQ(Names{"group.vksettings"}, folder.names());
    }
    const std::size_t before = openDescriptors();
    replaceFile(folder / "group.vksettings", big);
    EXPECT_EQ(before, openDescriptors());
}

TEST(FileReplacement, StepsCanBeWatchedByTheCaller) {
    TemporaryFolder folder;
    putContent(folder / "g.vksettings", "old");
    putContent(folder / "g.settings", "legacy");
    FileReplacement replacement(folder / "g.vksettings");
    EXPECT_EQ(folder.path(), replacement.temporaryDirectory().parent_path());
    EXPECT_EQ(0700u, modeOf(replacement.temporaryDirectory()));
    EXPECT_EQ(replacement.temporaryDirectory() / "g.vksettings.tmp", replacement.temporaryFile());
    EXPECT_EQ(folder / "g.vksettings", replacement.target());

    replacement.write("new ");
    replacement.write("content");
    EXPECT_EQ("new content", contentOf(replacement.temporaryFile()));
    EXPECT_EQ(0600u, modeOf(replacement.temporaryFile()));
    EXPECT_EQ("old", contentOf(folder / "g.vksettings"));
    replacement.commit();
    EXPECT_EQ("new content", contentOf(folder / "g.vksettings"));
    EXPECT_TRUE(fs::exists(replacement.temporaryDirectory())); // the caller still works on the folder
    EXPECT_TRUE(removeFile(folder / "g.settings"));
    replacement.removeTemporaryDirectory();
    EXPECT_EQ(Names{"g.vksettings"}, folder.names());
    EXPECT_THROW(replacement.write("more"), std::logic_error);
    EXPECT_THROW(replacement.commit(), std::logic_error);
}

TEST(FileReplacement, AbandonedOneLeavesTheOldFile) {
    TemporaryFolder folder;
    putContent(folder / "a", "old");
    for (const int stepsDone : {0, 1, 2, 3}) {
        FileReplacement replacement(folder / "a");
        if (stepsDone >= 1)
            replacement.write("new");
        if (stepsDone >= 2)
            replacement.flush();
        if (stepsDone >= 3) {
            replacement.removeTemporaryDirectory();
            EXPECT_THROW(replacement.rename(), std::logic_error);
        }
    }
    EXPECT_EQ("old", contentOf(folder / "a"));
    EXPECT_EQ(Names{"a"}, folder.names());
}

TEST(FileReplacement, ManyFilesShareTheWaitForTheDisk) {
    TemporaryFolder folder;
    constexpr int files = 20;
    putContent(folder / "0", "old");
    fs::create_symlink("0", folder / "link");
    const std::size_t descriptors = openDescriptors();
    std::vector<std::unique_ptr<FileReplacement>> replacements(files);
    {
        ReplacementFolder together(folder.path());
        EXPECT_EQ((Names{"0", "link"}), folder.names()); // nothing until it is needed
        std::vector<std::jthread> threads;
        for (int i = 0; i < files; ++i)
            threads.emplace_back([&, i] {
                auto& replacement = replacements[static_cast<std::size_t>(i)];
                replacement = std::make_unique<FileReplacement>(together, std::to_string(i));
                replacement->write("content " + std::to_string(i));
                replacement->beginFlush();
                replacement->flush();
            });
        threads.clear();
        EXPECT_EQ(3u, folder.names().size()); // one temporary directory
        // Two that end at one file have one name there: the second one is refused, and harms nobody.
        FileReplacement same(together, "link");
        EXPECT_EQ(FileErrorKind::openFailed, failureOf([&] { same.write("never"); }));
        FileReplacement dropped(together, "dropped");
        dropped.write("never");
        dropped.removeTemporaryDirectory(); // of its own it has none
        for (auto& replacement : replacements)
            replacement->rename();
        together.removeTemporaryDirectory();
    }
    flushFolder(folder.path());
    EXPECT_EQ(files + 1u, folder.names().size());
    for (int i = 0; i < files; ++i)
        EXPECT_EQ("content " + std::to_string(i), contentOf(folder / std::to_string(i)));
    replacements.clear();
    EXPECT_EQ(descriptors, openDescriptors());
}

TEST(FileReplacement, ASharedDirectoryGoesWithTheLastOne) {
    TemporaryFolder folder;
    std::optional<ReplacementFolder> together(std::in_place, folder.path());
    std::optional<FileReplacement> last(std::in_place, *together, "a");
    {
        FileReplacement abandoned(*together, "b");
        abandoned.write("never");
        last->write("new");
        together->removeTemporaryDirectory(); // too early: it stays
        together.reset();
    }
    EXPECT_EQ(1u, folder.names().size());
    last->commit();
    last.reset();
    EXPECT_EQ(Names{"a"}, folder.names());
    EXPECT_EQ("new", contentOf(folder / "a"));
    for (const char* name : {"", ".", "..", "x/y"}) {
        ReplacementFolder here(folder.path());
        EXPECT_EQ(FileErrorKind::invalidName, failureOf([&] { FileReplacement(here, name).write("x"); }))
            << name;
    }
    ReplacementFolder away(folder / "away");
    EXPECT_EQ(FileErrorKind::cannotCreateTemporaryDirectory,
              failureOf([&] { FileReplacement(away, "x").write("x"); }));
}

TEST(FileReplacement, ModeIsAsAskedWhateverTheUmaskAndNeverWiderThanBefore) {
    TemporaryFolder folder;
    struct Case {
        unsigned existing, wanted, expected; // existing 0: no file
        bool keepsMode = false;
    };
    for (const mode_t umask : {0777u, 0277u, 022u, 0u}) {
        for (const Case& c :
             {Case{0, 0600, 0600}, Case{0, 0644, 0644}, Case{0644, 0600, 0600}, Case{0600, 0644, 0600},
              Case{0400, 0600, 0400}, Case{0444, 0644, 0444}, Case{0664, 0644, 0644},
              Case{0664, 0644, 0664, true}, Case{0640, 0644, 0640, true}, Case{0, 0644, 0644, true}}) {
            fs::remove(folder / "f");
            if (c.existing != 0) {
                putContent(folder / "f", "old");
                ASSERT_EQ(0, ::chmod((folder / "f").c_str(), c.existing));
            }
            // As an ordinary user, to whom a directory without permissions is closed.
            ASSERT_EQ(0, ::chmod(folder.path().c_str(), 0777));
            ASSERT_TRUE(c.existing == 0 || ::geteuid() != 0 ||
                        ::chown((folder / "f").c_str(), 65534, 65534) == 0);
            EXPECT_EQ(0, asOrdinaryUser([&] {
                          ::umask(umask);
                          const ReplacementOptions options{{}, c.wanted, c.keepsMode};
                          return failureOf([&] { replaceFile(folder / "f", "new", options); }).has_value();
                      }))
                << "umask " << umask;
            EXPECT_EQ("new", contentOf(folder / "f"));
            EXPECT_EQ(c.expected, modeOf(folder / "f")) << c.existing << ' ' << c.wanted;
            EXPECT_EQ(Names{"f"}, folder.names());
        }
    }
}

TEST(FileReplacement, FollowsLinksOnlyWithinTheFolder) {
    TemporaryFolder folder, elsewhere;
    putContent(folder / "real", "old");
    putContent(elsewhere / "victim", "untouched");
    const auto link = [&](const fs::path& to, const char* name) { fs::create_symlink(to, folder / name); };
    link("real", "plain");
    link(folder / "real", "absolute");
    link("./plain", "chain");
    link(elsewhere / "victim", "outside");
    link("../" + elsewhere.path().filename().native() + "/victim", "relativeOutside");
    link("loop", "loop");
    link("..", "parent");
    link("outside", "chainOutside");
    for (const char* name : {"plain", "absolute", "chain"}) {
        replaceFile(folder / name, name);
        EXPECT_EQ(name, contentOf(folder / "real"));
        EXPECT_TRUE(fs::is_symlink(folder / name));
        EXPECT_EQ(name, readFile(folder / name, 100));
    }
    for (const char* name : {"outside", "relativeOutside", "loop", "parent", "chainOutside"}) {
        EXPECT_EQ(FileErrorKind::linkLeavesFolder, failureOf([&] { replaceFile(folder / name, "new"); }))
            << name;
        EXPECT_EQ(FileErrorKind::linkLeavesFolder, failureOf([&] { readFile(folder / name, 100); })) << name;
    }
    EXPECT_EQ("untouched", contentOf(elsewhere / "victim"));
    EXPECT_EQ(9u, folder.names().size());
}

TEST(FileReplacement, HardLinkedFilesAreReplacedNotWrittenThrough) {
    TemporaryFolder folder;
    putContent(folder / "a", "old");
    fs::create_hard_link(folder / "a", folder / "b");
    replaceFile(folder / "a", "new");
    EXPECT_EQ("old", contentOf(folder / "b"));
}

TEST(FileReplacement, RefusesWhatCannotBeReplacedAndSaysWhy) {
    TemporaryFolder folder;
    fs::create_directory(folder / "folder");
    ASSERT_EQ(0, ::mkfifo((folder / "pipe").c_str(), 0600));
    putContent(folder / "file", "old");
    struct Case {
        fs::path target;
        FileErrorKind kind;
    };
    for (const Case& c : {Case{folder / "folder", FileErrorKind::notRegularFile},
                          Case{folder / "pipe", FileErrorKind::notRegularFile},
                          Case{folder / "no/such/folder", FileErrorKind::cannotCreateTemporaryDirectory},
                          Case{folder / "file/x", FileErrorKind::cannotCreateTemporaryDirectory},
                          Case{folder.path() / "", FileErrorKind::invalidName},
                          Case{folder / "..", FileErrorKind::invalidName},
                          Case{folder / std::string_view("nul\0l", 5), FileErrorKind::invalidName},
                          Case{"", FileErrorKind::invalidName}}) {
        EXPECT_EQ(c.kind, failureOf([&] { replaceFile(c.target, "new"); })) << c.target;
    }
    try {
        replaceFile(folder / "missing/group.vksettings", "new");
        FAIL();
    } catch (const FileError& error) {
        EXPECT_EQ("cannot create temporary directory in \"" + (folder / "missing").native() +
                      "\": No such file or directory",
                  std::string(error.what()));
        EXPECT_EQ(ENOENT, error.errorNumber());
        EXPECT_THROW(error.rethrow(), FileError);
    }
    // Another file system cannot take part in a rename.
    if (struct stat shared, own; ::stat("/dev/shm", &shared) == 0 &&
                                 ::stat(folder.path().c_str(), &own) == 0 && shared.st_dev != own.st_dev &&
                                 ::access("/dev/shm", W_OK) == 0) {
        EXPECT_EQ(FileErrorKind::renameFailed, failureOf([&] {
                      replaceFile(folder / "file", "new", {.temporaryDirectoryRoot = "/dev/shm"});
                  }));
        EXPECT_EQ("old", contentOf(folder / "file"));
    }
    EXPECT_EQ((Names{"file", "folder", "pipe"}), folder.names());
}

TEST(FileReplacement, TheTemporaryDirectoryMayLieElsewhere) {
    TemporaryFolder folder;
    fs::create_directory(folder / "root");
    FileReplacement replacement(folder / "file", {.temporaryDirectoryRoot = folder / "root"});
    EXPECT_EQ(folder / "root", replacement.temporaryDirectory().parent_path());
    replacement.write("new");
    replacement.commit();
    replacement.removeTemporaryDirectory();
    EXPECT_EQ("new", contentOf(folder / "file"));
    EXPECT_TRUE(fs::is_empty(folder / "root"));
}

TEST(FileReplacement, LongestPossibleNamesWork) {
    TemporaryFolder folder;
    for (const std::size_t length : {250u, 251u, 255u}) {
        const std::string name(length, 'n');
        replaceFile(folder / name, "new");
        EXPECT_EQ("new", contentOf(folder / name));
    }
}

TEST(FileReplacement, ReadOnlyFoldersAreRefusedForOrdinaryUsers) {
    TemporaryFolder folder;
    putContent(folder / "file", "old");
    ASSERT_EQ(0, ::chmod(folder.path().c_str(), 0555));
    const auto kind = asOrdinaryUser([&] {
        const auto failure = failureOf([&] { replaceFile(folder / "file", "new"); });
        return failure ? static_cast<int>(*failure) : 100;
    });
    EXPECT_EQ(static_cast<int>(FileErrorKind::directoryNotWritable), kind);
    EXPECT_EQ(0, asOrdinaryUser([&] { return int{probeWritable(folder.path(), "tmp.txt")}; }));
    ASSERT_EQ(0, ::chmod(folder.path().c_str(), 0700));
    EXPECT_EQ("old", contentOf(folder / "file"));
    EXPECT_EQ(Names{"file"}, folder.names());
}

TEST(FileReplacement, AFullDiskLeavesTheOldFile) {
    TemporaryFolder folder;
    putContent(folder / "file", "old");
    ASSERT_EQ(0, ::chmod(folder.path().c_str(), 0777));
    const auto kind = asOrdinaryUser([&] {
        ::signal(SIGXFSZ, SIG_IGN); // the limit on file sizes stands in for the full disk
        const rlimit limit{4096, 4096};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const auto failure = failureOf([&] { replaceFile(folder / "file", std::string(100'000, 'x')); });
        return failure ? static_cast<int>(*failure) : 100;
    });
    EXPECT_EQ(static_cast<int>(FileErrorKind::writeFailed), kind);
    EXPECT_EQ("old", contentOf(folder / "file"));
    EXPECT_EQ(Names{"file"}, folder.names());
}

TEST(FileReplacement, CleanUpTakesLeftoversOnlyAndNotWorkInProgress) {
    TemporaryFolder folder;
    // A crash: the child ends in the middle of a replacement.
    for (int i = 0; i < 3; ++i) {
        const ::pid_t child = ::fork();
        if (child == 0) {
            FileReplacement replacement(folder / "file");
            replacement.write("half");
            ::_exit(0);
        }
        ::waitpid(child, nullptr, 0);
    }
    putContent(folder / ".varnek-replace-notAFo", "a file of that name");
    fs::create_directory(folder / ".varnek-replace-other-pattern");
    fs::create_directory(folder / "user");
    fs::create_directory_symlink(folder / "user", folder / ".varnek-replace-ALink0");
    putContent(folder / "user/data", "user's own");
    FileReplacement living(folder / "file");
    living.write("complete");

    EXPECT_EQ(3u, removeStaleTemporaryDirectories(folder.path()));
    living.commit();
    living.removeTemporaryDirectory();
    EXPECT_EQ("complete", contentOf(folder / "file"));
    EXPECT_EQ("user's own", contentOf(folder / "user/data"));
    EXPECT_EQ((Names{".varnek-replace-ALink0", ".varnek-replace-notAFo", ".varnek-replace-other-pattern",
                     "file", "user"}),
              folder.names());
    EXPECT_EQ(0u, removeStaleTemporaryDirectories(folder / "no such folder"));
}

TEST(FileReplacement, AnAdministratorLeavesAUsersFileToTheUser) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only an administrator can replace the file of another user";
    TemporaryFolder folder;
    putContent(folder / "file", "old");
    ASSERT_EQ(0, ::chown((folder / "file").c_str(), 65534, 65534));
    replaceFile(folder / "file", "new");
    struct stat status;
    ASSERT_EQ(0, ::stat((folder / "file").c_str(), &status));
    EXPECT_EQ(65534u, status.st_uid);
    EXPECT_EQ(65534u, status.st_gid);
    EXPECT_EQ(0600u, status.st_mode & 07777);
}

/// What the members of a group may do is for them: others do not get it.
TEST(FileReplacement, AUserKeepsTheGroupOrLeavesTheFileAlone) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only an administrator can make files of other groups";
    struct Case {
        unsigned mode;
        bool isMember, isReplaced;
        unsigned group; // afterwards
    };
    constexpr ::gid_t team = 12345;
    for (const Case& c : {Case{0664, true, true, team}, Case{0664, false, false, team},
                          Case{0644, false, true, 65534}, Case{0640, false, false, team}}) {
        TemporaryFolder folder;
        ASSERT_EQ(0, ::chmod(folder.path().c_str(), 0777));
        putContent(folder / "file", "old");
        ASSERT_EQ(0, ::chmod((folder / "file").c_str(), c.mode));
        ASSERT_EQ(0, ::chown((folder / "file").c_str(), 1, team));
        const ::gid_t groups[] = {team};
        const ::pid_t child = ::fork();
        if (child == 0) {
            if (::setgroups(c.isMember ? 1 : 0, groups) != 0 || ::setgid(65534) != 0 || ::setuid(65534) != 0)
                ::_exit(254);
            const auto failure = failureOf([&] {
                replaceFile(folder / "file", "new", {.temporaryDirectoryRoot = {}, .keepsMode = true});
            });
            ::_exit(failure == FileErrorKind::openFailed ? 1 : failure ? 2 : 0);
        }
        int status = 0;
        ASSERT_EQ(child, ::waitpid(child, &status, 0));
        EXPECT_EQ(c.isReplaced ? 0 : 1, WEXITSTATUS(status)) << std::oct << c.mode;
        EXPECT_EQ(c.isReplaced ? "new" : "old", contentOf(folder / "file"));
        struct stat after;
        ASSERT_EQ(0, ::stat((folder / "file").c_str(), &after));
        EXPECT_EQ(c.mode, after.st_mode & 07777);
        EXPECT_EQ(c.group, after.st_gid);
        EXPECT_EQ(Names{"file"}, folder.names());
    }
}

TEST(FileReplacement, CleanUpLeavesOtherUsersAlone) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only an administrator can make a directory of another user";
    TemporaryFolder folder;
    fs::create_directory(folder / ".varnek-replace-AbCdEf");
    ASSERT_EQ(0, ::chown((folder / ".varnek-replace-AbCdEf").c_str(), 65534, 65534));
    EXPECT_EQ(0u, removeStaleTemporaryDirectories(folder.path()));
    EXPECT_EQ(1u, folder.names().size());
}

TEST(FileReplacement, SavesAndCleanUpsMayRace) {
    TemporaryFolder folder;
    replaceFile(folder / "file", "start");
    std::atomic<bool> stop{false};
    std::thread cleaner([&] {
        while (!stop)
            removeStaleTemporaryDirectories(folder.path());
    });
    std::size_t torn = 0;
    for (int i = 0; i < 200; ++i) {
        const std::string content(1000, static_cast<char>('a' + i % 26));
        EXPECT_NO_THROW(replaceFile(folder / "file", content)) << i;
        torn += readFile(folder / "file", 2000) != content;
    }
    stop = true;
    cleaner.join();
    EXPECT_EQ(0u, torn);
    EXPECT_EQ(Names{"file"}, folder.names());
}

} // namespace
