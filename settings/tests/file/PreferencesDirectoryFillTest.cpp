// A new preferences directory: what it is given, and from where.

#include "support/LogLines.hpp"
#include "support/PrefdirHome.hpp"

#include "settingscore/exception/CatalogueFailures.hpp"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/level/SettingsLevelManager.hpp"
#include "settingscore/prefdir/PreferencesDirectoryReport.hpp"
#include "settingscore/settings/prefdir/FillRecord.hpp"
#include "settingscore/settings/prefdir/FirstFill.hpp"
#include "varnek/host/HostError.hpp"
#include "json/Parser.hpp"
#include "json/Value.hpp"

#include <gmock/gmock.h>

#include <sys/resource.h>
#include <sys/syscall.h>

#include <atomic>
#include <csignal>
#include <ctime>
#include <fstream>
#include <functional>
#include <thread>

namespace {

using namespace settings::core;
using namespace settings::test;
namespace fs = std::filesystem;
using Names = std::vector<std::string>;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;

/// What the disk refuses to take, and what it took.
struct Flushes {
    std::string failing; // the name of a file; empty: none
    bool isRecording = false;
    Names done;
    std::function<void(const std::string& name)> before;
};
Flushes& flushes() {
    static thread_local Flushes seen;
    return seen;
}

struct FirstFill : PrefdirHome {
    ~FirstFill() override { flushes() = {}; }
    /// Everybody may reach the releases, and put new ones beside them.
    void open() const {
        for (const char* name : {".config", ".config/Quillfern", ".config/Quillfern/VARNEK"})
            fs::permissions(home / name, fs::perms::all);
    }
    static PreferencesDirectoryFill fillOf(const fs::path& directory) {
        const auto fill = detail::readFillRecord(directory);
        EXPECT_TRUE(fill);
        return fill.value_or(PreferencesDirectoryFill());
    }
};

TEST_F(FirstFill, StampedFilledAndMarkedForItsOwnerOnly) {
    makeRelease(standard("R2024b"),
                {"a.vksettings", "b.vksettings", "notes.txt", "b.vksettings.damaged", "a.vksettings.tmp",
                 "creation.timestamp", "migratePref.txt", "upgrade.pending"});
    fs::permissions(standard("R2024b") / "a.vksettings", fs::perms(0644));
    const mode_t mask = ::umask(0);
    getPreferencesDirectoryUStr();
    ::umask(mask);
    EXPECT_EQ(withOwnFiles({"a.vksettings", "b.vksettings", "upgrade.pending"}), namesIn(standard()));
    EXPECT_EQ(0700U, modeOf(standard()));
    for (const std::string& name : namesIn(standard()))
        EXPECT_EQ(0600U, modeOf(standard() / name)) << name;
    const std::string time = bytesOf(standard() / "creation.timestamp");
    EXPECT_THAT(time, MatchesRegex("20[0-9][0-9]-[01][0-9]-[0-3][0-9]T[0-2][0-9]:[0-5][0-9]:[0-5][0-9]Z\n"));
    EXPECT_EQ("", bytesOf(standard() / "migratePref.txt"));
    EXPECT_EQ("a.vksettings", bytesOf(standard() / "a.vksettings"));

    const auto record = varnek::json::parseObject(bytesOf(standard() / "prefdir.json"));
    EXPECT_EQ("R2025a", record.at("createdBy").asString());
    EXPECT_EQ(time, std::string(record.at("created").asString()) + "\n");
    EXPECT_EQ("R2024b", record.at("filledFrom").asObject().at("release").asString());
    EXPECT_EQ(standard("R2024b").native(), record.at("filledFrom").asObject().at("directory").asString());

    const auto report = describePreferencesDirectory();
    EXPECT_TRUE(report.isReadable && report.isWritable && report.hasMigrationMarker);
    ASSERT_TRUE(report.fill && report.fill->source);
    EXPECT_EQ("R2025a", report.fill->createdBy);
    EXPECT_EQ((Names{"a.vksettings", "b.vksettings", "upgrade.pending"}), report.fill->source->files);
    EXPECT_EQ(Names{}, report.fill->source->skipped);
    EXPECT_EQ((Names{"R2024b", "R2025a"}), namesIn(standard().parent_path()));
}

TEST_F(FirstFill, OneThatIsThereIsLeftAlone) {
    makeRelease(standard("R2024b"), {"a.vksettings"});
    fs::create_directories(standard());
    getPreferencesDirectoryUStr();
    EXPECT_EQ(Names{}, namesIn(standard()));
    EXPECT_FALSE(describePreferencesDirectory().fill);
    EXPECT_FALSE(describePreferencesDirectory().hasMigrationMarker);
}

TEST_F(FirstFill, TheNewestEarlierReleaseThatHasADirectory) {
    struct Row {
        Names releases; // "-" before a name: an empty directory; "=": a file of that name
        const char* stops;
        std::string source; // empty: none
    };
    const Row rows[] = {
        {{}, nullptr, ""},
        {{"R2024b", "R2024a"}, nullptr, "R2024b"},
        {{"R2024a", "R2023b"}, nullptr, "R2024a"},
        {{"R2022b", "R2019b", "R2019a"}, nullptr, "R2022b"},
        {{"R2019a"}, nullptr, "R2019a"},
        {{"R2018b", "R2018a"}, nullptr, ""},
        {{"R2025b", "R2026a"}, nullptr, ""},
        {{"-R2024b", "R2024a"}, nullptr, "R2024b"},
        {{"R2024a", "-R2022a", "R2019a"}, nullptr, "R2024a"},
        {{"-R2022a", "R2019a"}, nullptr, "R2022a"},
        {{"=R2024b", "R2023b"}, nullptr, "R2023b"},
        {{"R2024b", "R2024a"}, "1", "R2024b"},
        {{"R2024a", "R2023b"}, "1", ""},
        {{"R2024a", "R2023b"}, "", "R2024a"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.releases) + (row.stops != nullptr ? row.stops : ""));
        fs::remove_all(home / ".config");
        start();
        set("DISABLE_PREFCOPY3RELEASES",
            row.stops != nullptr ? std::optional<std::string>(row.stops) : std::nullopt);
        bool isEmpty = false;
        for (const std::string& release : row.releases) {
            const std::string name = release.substr(release.find('R'));
            if (release[0] == '=') {
                fs::create_directories(standard().parent_path());
                writeBytes(standard(name), "");
            } else if (release[0] == '-') {
                fs::create_directories(standard(name));
                isEmpty = isEmpty || name == row.source;
            } else {
                makeRelease(standard(name), {name + ".vksettings"});
            }
        }
        getPreferencesDirectoryUStr();
        const Names copied = row.source.empty() || isEmpty ? Names{} : Names{row.source + ".vksettings"};
        EXPECT_EQ(withOwnFiles(copied), namesIn(standard()));
        const auto source = fillOf(standard()).source;
        EXPECT_EQ(row.source, source ? source->release : "");
        EXPECT_EQ(row.source.empty() ? std::u16string() : text(standard(row.source)),
                  source ? source->directory : std::u16string());
    }
}

TEST_F(FirstFill, ElsewhereTheReleaseBeforeIsBesideAndOlderOnesAreStandard) {
    makeRelease(standard("R2024b"), {"standard-b.vksettings"});
    makeRelease(standard("R2024a"), {"standard-a.vksettings"});
    set("VARNEK_PREFDIR", folder / "x/mine");
    getPreferencesDirectoryUStr();
    EXPECT_EQ(withOwnFiles({"standard-a.vksettings"}), namesIn(folder / "x/mine"));

    start();
    fs::remove_all(folder / "x/mine");
    makeRelease(folder / "x/R2024b", {"beside.vksettings"});
    getPreferencesDirectoryUStr();
    EXPECT_EQ(withOwnFiles({"beside.vksettings"}), namesIn(folder / "x/mine"));

    start();
    fs::remove_all(folder / "x/mine");
    makeRelease(folder / "checks", {"check.vksettings"});
    setUnitTestPreviousPrefDir(text(folder / "checks"));
    getPreferencesDirectoryUStr();
    EXPECT_EQ(withOwnFiles({"check.vksettings"}), namesIn(folder / "x/mine"));
    EXPECT_EQ("R2024b", fillOf(folder / "x/mine").source->release);

    start(); // one that is not there is as good as none
    fs::remove_all(folder / "x/mine");
    setUnitTestPreviousPrefDir(text(folder / "nowhere"));
    getPreferencesDirectoryUStr();
    EXPECT_EQ(withOwnFiles({"standard-a.vksettings"}), namesIn(folder / "x/mine"));
}

TEST_F(FirstFill, NothingIsFollowedOutOfTheFolder) {
    const fs::path old = standard("R2024b");
    makeRelease(old, {"a.vksettings", "real", "b\xff.vksettings"});
    writeBytes(folder / "secret", "secret");
    fs::create_symlink("real", old / "inside.vksettings");
    fs::create_symlink(folder / "secret", old / "out.vksettings");
    fs::create_symlink("../../../../../secret", old / "up.vksettings");
    fs::create_symlink("nothing", old / "dangling.vksettings");
    fs::create_directory(old / "folder.vksettings");
    ASSERT_EQ(0, ::mkfifo((old / "pipe.vksettings").c_str(), 0600));
    LogLines log("settings::core::settingsPathUtil");
    getPreferencesDirectoryUStr();
    EXPECT_EQ(withOwnFiles({"a.vksettings", "b\xff.vksettings", "inside.vksettings"}), namesIn(standard()));
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(standard() / "inside.vksettings")));
    EXPECT_EQ("real", bytesOf(standard() / "inside.vksettings"));
    EXPECT_THAT(fillOf(standard()).source->skipped,
                ElementsAre("dangling.vksettings", "folder.vksettings", "out.vksettings", "pipe.vksettings",
                            "up.vksettings"));
    EXPECT_EQ((Names{"a.vksettings", "b\xff.vksettings", "inside.vksettings"}),
              fillOf(standard()).source->files);
    int told = 0;
    for (const std::string& line : log.lines)
        told += line.starts_with("not copied: ");
    EXPECT_EQ(5, told);
}

TEST_F(FirstFill, AFileThatCannotBeCopiedEndsTheStart) {
    makeRelease(standard("R2024b"), {"a.vksettings", "b.vksettings"});
    fs::permissions(standard("R2024b") / "b.vksettings", fs::perms::none);
    open();
    asOrdinaryUser([&] {
        for (int again = 0; again < 2; ++again)
            try {
                getPreferencesDirectoryUStr();
                ADD_FAILURE();
            } catch (const VARNEK::settings::core::ErrorCopyFileInPrefDir& failure) {
                const std::string from = standard("R2024b") / "b.vksettings",
                                  to = standard() / "b.vksettings";
                const std::string detail = "cannot read file \"" + from + "\": Permission denied";
                EXPECT_THAT(failure.arguments(), ElementsAre(from, to, detail));
                EXPECT_THAT(failure.what(), AllOf(HasSubstr(from), HasSubstr(to), HasSubstr(detail)));
            }
        EXPECT_EQ(Names{"R2024b"}, namesIn(standard().parent_path())); // nothing is left of it
    });
    fs::permissions(standard("R2024b") / "b.vksettings", fs::perms(0600));
    getPreferencesDirectoryUStr();
    EXPECT_EQ(withOwnFiles({"a.vksettings", "b.vksettings"}), namesIn(standard()));
}

TEST_F(FirstFill, AFolderThatCannotBeListedEndsTheStart) {
    makeRelease(standard("R2024b"), {"a.vksettings"});
    fs::permissions(standard("R2024b"), fs::perms(0311));
    open();
    const char* const sentence =
        "Error copying the files from the previous release prefdir to the current release prefdir.";
    const std::string detail = " cannot list \"" + standard("R2024b").native() + "\": Permission denied";
    asOrdinaryUser([&] {
        try {
            getPreferencesDirectoryUStr();
            ADD_FAILURE();
        } catch (const EarlierReleaseNotReadable& failure) {
            EXPECT_EQ("R2024b", failure.getPrevFullRelTag());
            EXPECT_EQ("R2025a", failure.getCurrFullRelTag());
            EXPECT_STREQ(sentence, failure.what());
            EXPECT_EQ(sentence + detail, failure.getErrorMessage());
            EXPECT_THROW(failure.rethrow(), EarlierReleaseNotReadable);
        }
        EXPECT_EQ(Names{"R2024b"}, namesIn(standard().parent_path()));
        // The last line of a program that ends for it.
        GTEST_FLAG_SET(death_test_style, "fast");
        const SettingsLevel& user = SettingsLevelManager::getSettingsLevelObjs()[position(LevelIndex::user)];
        EXPECT_EXIT(user.levelRootPath(), testing::ExitedWithCode(1), testing::Eq(sentence + detail + " \n"));
    });
}

/// Whether a release can be looked at depends on the folder above it.
TEST_F(FirstFill, AReleaseThatCannotBeLookedAtEndsTheStart) {
    makeRelease(standard("R2024b"), {"a.vksettings"});
    makeRelease(folder / "closed/R2024b", {"b.vksettings"});
    fs::create_directory(folder / "mine");
    fs::permissions(folder / "mine", fs::perms::all);
    fs::permissions(folder / "closed", fs::perms::none);
    struct Row {
        fs::path given, previous, refused;
        std::string release;
    };
    const Row rows[] = {
        {standard(), folder / "closed/R2024b", folder / "closed/R2024b", "R2024b"},
        {folder / "mine/R2025a", {}, standard("R2024a"), "R2024a"},
    };
    for (const Row& row : rows) {
        start();
        open();
        if (row.previous.empty())
            fs::permissions(home / ".config/Quillfern/VARNEK", fs::perms::none);
        set("VARNEK_PREFDIR", row.given);
        setUnitTestPreviousPrefDir(text(row.previous));
        asOrdinaryUser([&] {
            const std::string detail = "cannot look at \"" + row.refused.native() + "\": Permission denied";
            LogLines log("settings::core::settingsPathUtil");
            try {
                getPreferencesDirectoryUStr();
                ADD_FAILURE() << row.given;
            } catch (const exception::ErrorMigratePrefsBetweenReleases& failure) {
                EXPECT_EQ(row.release, failure.getPrevFullRelTag());
                EXPECT_EQ("R2025a", failure.getCurrFullRelTag());
                EXPECT_THAT(log.lines, testing::Contains(detail));
            }
            EXPECT_FALSE(fs::exists(row.given));
        });
    }
    open();
    fs::permissions(folder / "closed", fs::perms::all);
}

TEST_F(FirstFill, WithoutAHomeFolderTheSearchEndsAndTheStartGoesOn) {
    set("VARNEK_PREFDIR", folder / "mine/R2025a");
    const auto startWithoutHome = [&] { // a user of whom the database knows nothing
        set("HOME", std::nullopt);
        if (::geteuid() == 0 && ::setuid(61234) != 0)
            ::_exit(3);
        EXPECT_THROW(getStandardPreferencesDirectoryUStr(), varnek::host::HostError);
        EXPECT_EQ(text(folder / "mine/R2025a"), getPreferencesDirectoryUStr());
        EXPECT_EQ(withOwnFiles({}), namesIn(folder / "mine/R2025a"));
    };
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root becomes a user without a home folder";
    inAnotherProcess(startWithoutHome);
}

TEST_F(FirstFill, AFileThatDoesNotReachTheDiskEndsTheStartAndIsNamed) {
    for (const int count : {1, 40}) { // more than are flushed at once
        Names files;
        for (int i = 0; i < count; ++i)
            files.push_back("g" + std::to_string(i) + ".vksettings");
        makeRelease(standard("R2024b"), files);
        flushes().failing = "g0.vksettings";
        try {
            getPreferencesDirectoryUStr();
            ADD_FAILURE() << count;
        } catch (const VARNEK::settings::core::ErrorCopyFileInPrefDir& failure) {
            EXPECT_THAT(failure.arguments(),
                        ElementsAre(standard("R2024b") / "g0.vksettings", standard() / "g0.vksettings",
                                    HasSubstr("Input/output error")));
        }
        flushes().failing = "creation.timestamp";
        try {
            getPreferencesDirectoryUStr();
            ADD_FAILURE() << count;
        } catch (const VARNEK::settings::core::ErrorCreatePreferenceDirectoryTimeStamp& failure) {
            EXPECT_THAT(failure.arguments(),
                        ElementsAre(standard() / "creation.timestamp", HasSubstr("Input/output error")));
        }
        EXPECT_EQ(Names{"R2024b"}, namesIn(standard().parent_path()));
    }
    makeRelease(standard("R2024b"), {"g.vksettings"});
    for (const char* worthless : {"prefdir.json", "migratePref.txt"}) {
        start();
        flushes().failing = worthless;
        testing::internal::CaptureStderr();
        EXPECT_EQ(text(standard()), getPreferencesDirectoryUStr()) << worthless;
        EXPECT_EQ(std::string(worthless) == "migratePref.txt",
                  testing::internal::GetCapturedStderr() ==
                      "Warning: failed to create migratePref.txt file \n");
        Names expected = withOwnFiles(namesIn(standard("R2024b")));
        std::erase(expected, worthless);
        EXPECT_EQ(expected, namesIn(standard()));
        fs::remove_all(standard());
    }
}

TEST_F(FirstFill, WithoutRoomForACopyNothingIsMade) {
    makeRelease(standard("R2024b"), {"a.vksettings"});
    writeBytes(standard("R2024b") / "b.vksettings", std::string(1000, 'x'));
    inAnotherProcess([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit little{100, 100}; // enough for the others
        ::setrlimit(RLIMIT_FSIZE, &little);
        try {
            getPreferencesDirectoryUStr();
            ADD_FAILURE();
        } catch (const VARNEK::settings::core::ErrorCopyFileInPrefDir& failure) {
            EXPECT_THAT(failure.arguments(),
                        ElementsAre(standard("R2024b") / "b.vksettings", standard() / "b.vksettings",
                                    HasSubstr("File too large")));
        }
        EXPECT_EQ(Names{"R2024b"}, namesIn(standard().parent_path()));
    });
}

TEST_F(FirstFill, TheStampIsTheTimeOfTheMakingInUtc) {
    set("TZ", "ABC-5");
    ::tzset();
    const std::time_t before = std::time(nullptr);
    getPreferencesDirectoryUStr();
    std::tm parts{};
    const std::string stamp = bytesOf(standard() / "creation.timestamp");
    ASSERT_NE(nullptr, ::strptime(stamp.c_str(), "%Y-%m-%dT%H:%M:%SZ", &parts));
    EXPECT_LE(before, ::timegm(&parts));
    EXPECT_GE(std::time(nullptr), ::timegm(&parts));
    set("TZ", std::nullopt);
    ::tzset();
}

/// The marker says that everything else is there.
TEST_F(FirstFill, StampCopiesRecordAndMarkerReachTheDiskInThisOrder) {
    makeRelease(standard("R2024b"), {"a.vksettings", "b.vksettings"});
    flushes().isRecording = true;
    getPreferencesDirectoryUStr();
    ASSERT_EQ(7U, flushes().done.size());
    flushes().done.resize(5); // then the folder and the one above it
    EXPECT_THAT(flushes().done, ElementsAre("creation.timestamp", "a.vksettings", "b.vksettings",
                                            "prefdir.json", "migratePref.txt"));
}

/// It would be made again when it has gone meanwhile.
TEST_F(FirstFill, WhoHasWaitedForTheFirstDoesNotFindItAgain) {
    std::thread second;
    flushes().before = [&](const std::string& name) {
        if (name == "creation.timestamp") {
            std::atomic<long> id{0};
            second = std::thread([&id] {
                id = ::syscall(SYS_gettid);
                getDefaultPreferencesDirectoryUStr();
            });
            std::string state;
            while (id == 0 || state != "S") { // until it waits
                std::ifstream stat("/proc/self/task/" + std::to_string(id) + "/stat");
                for (int word = 0; word < 3; ++word)
                    stat >> state;
            }
        } else if (name == standard().parent_path().filename()) { // the last thing to be flushed
            fs::remove_all(standard());
        }
    };
    getPreferencesDirectoryUStr();
    second.join();
    EXPECT_FALSE(fs::exists(standard()));
}

TEST_F(FirstFill, WithoutRoomForTheStampNothingIsMade) {
    makeRelease(standard("R2024b"), {"a.vksettings"});
    {
        const NoRoomForFiles full;
        try {
            getPreferencesDirectoryUStr();
            ADD_FAILURE();
        } catch (const VARNEK::settings::core::ErrorCreatePreferenceDirectoryTimeStamp& failure) {
            EXPECT_EQ(standard() / "creation.timestamp", failure.arguments().at(0));
            EXPECT_THAT(failure.arguments().at(1), testing::HasSubstr("File too large"));
        }
    }
    EXPECT_EQ(Names{"R2024b"}, namesIn(standard().parent_path()));
    getPreferencesDirectoryUStr();
    EXPECT_EQ(withOwnFiles({"a.vksettings"}), namesIn(standard()));
}

/// Each step is hindered by something that has its file's name already; those before it are done then.
TEST_F(FirstFill, FirstTheStampThenTheFilesThenTheMarker) {
    makeRelease(folder / "R2024b", {"a.vksettings", "b.vksettings"});
    const auto filled = [&](const char* obstacle,
                            const std::function<void(varnek::files::NewFolder&)>& fill) {
        varnek::files::NewFolder made(folder / "new");
        fs::create_directory(made.path() / obstacle);
        fill(made);
        return namesIn(made.path());
    };
    const auto fill = [&](varnek::files::NewFolder& made) {
        detail::fillNewDirectory(made, folder / "new", {});
    };
    EXPECT_EQ(Names{"creation.timestamp"}, filled("creation.timestamp", [&](auto& made) {
                  EXPECT_THROW(fill(made), VARNEK::settings::core::ErrorCreatePreferenceDirectoryTimeStamp);
              }));
    EXPECT_EQ((Names{"a.vksettings", "b.vksettings", "creation.timestamp"}),
              filled("b.vksettings", [&](auto& made) {
                  try {
                      fill(made);
                      ADD_FAILURE();
                  } catch (const VARNEK::settings::core::ErrorOverwriteFileInPrefDir& failure) {
                      EXPECT_THAT(failure.arguments(), ElementsAre(folder / "new/b.vksettings"));
                  }
              }));
    testing::internal::CaptureStderr();
    EXPECT_EQ(withOwnFiles({"a.vksettings", "b.vksettings"}), filled("migratePref.txt", fill));
    EXPECT_EQ("Warning: failed to create migratePref.txt file \n", testing::internal::GetCapturedStderr());
    EXPECT_EQ(withOwnFiles({"a.vksettings", "b.vksettings"}), filled("prefdir.json", fill));
}

TEST_F(FirstFill, ARecordThatIsNoRecordIsNone) {
    getPreferencesDirectoryUStr();
    const std::string record = bytesOf(standard() / "prefdir.json");
    EXPECT_TRUE(detail::readFillRecord(standard()));
    EXPECT_FALSE(detail::readFillRecord(standard())->source);
    for (const std::string& damaged :
         Names{"", record.substr(0, record.size() / 2), "[]", "{}",
               R"({"created": "x", "createdBy": "R2025a", "filledFrom": {"release": 1}})"}) {
        writeBytes(standard() / "prefdir.json", damaged);
        EXPECT_FALSE(detail::readFillRecord(standard())) << damaged;
        EXPECT_FALSE(describePreferencesDirectory().fill);
    }
}

} // namespace

/// Stands before that of the system.
extern "C" __attribute__((visibility("default"))) int fsync(int descriptor) {
    std::error_code ignored;
    const auto name = fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor), ignored).filename();
    if (!flushes().failing.empty() && name == flushes().failing) {
        errno = EIO;
        return -1;
    }
    if (flushes().before)
        flushes().before(name);
    if (flushes().isRecording)
        flushes().done.push_back(name.native());
    return static_cast<int>(::syscall(SYS_fsync, descriptor));
}
