// Where the preferences directory is, and what happens when it cannot be there.

#include "support/FileTree.hpp"
#include "support/LogLines.hpp"
#include "support/PrefdirHome.hpp"

#include "settingscore/exception/CatalogueFailures.hpp"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/level/SettingsLevelManager.hpp"
#include "settingscore/plugin/InstallationRoot.hpp"
#include "settingscore/prefdir/PreferencesDirectoryReport.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/prefdir/DirectoryCreation.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/host/HostError.hpp"

#include <boost/make_shared.hpp>

#include <gmock/gmock.h>

#include <barrier>
#include <fcntl.h>
#include <thread>

namespace {

using namespace settings::core;
using namespace settings::test;
namespace fs = std::filesystem;
using Names = std::vector<std::string>;
using testing::ElementsAre;
using testing::HasSubstr;
using Origin = PreferencesDirectoryOrigin;

struct PreferencesDirectory : PrefdirHome {
    static std::string refusal(const std::function<void()>& work) {
        try {
            work();
        } catch (const exception::RelativePreferencePathNotSupported& failure) {
            EXPECT_STREQ("Unable to start VARNEK. The preference folder path must be an absolute path.",
                         failure.what());
            return failure.getErrorMessage();
        }
        return "nothing is refused";
    }
    static Names linesOf(const LogLines& log, const std::string& start) {
        Names found;
        for (const std::string& line : log.lines)
            if (line.starts_with(start))
                found.push_back(line);
        return found;
    }
    static std::vector<InvalidPrefdirKind> kinds() {
        std::vector<InvalidPrefdirKind> found;
        for (const InvalidPrefdir& finding : describePreferencesDirectory().findings)
            found.push_back(finding.kind);
        return found;
    }
};

TEST_F(PreferencesDirectory, TheRulesForItsPlace) {
    EXPECT_EQ(text(standard()), getStandardPreferencesDirectoryUStr());
    EXPECT_EQ(text(home / ".config"), varnekDefaultPrefDirPrefixUStr(u"R2025a"));
    EXPECT_EQ(u"Quillfern/VARNEK/R2019b", varnekDefaultPrefDirSuffixUStr(u"R2019b"));
    EXPECT_EQ(text(home / ".local/state"), varnekLocalSettingsDirPrefixUStr());
    EXPECT_EQ(text(home / ".local/state/Quillfern/VARNEK/R2025a"), getLocalSettingsDirectoryUStr());
    EXPECT_EQ(u"creation.timestamp", getTimestampFileNameUStr());
    EXPECT_EQ(Names{}, namesIn(home)); // nothing is created by asking
    set("XDG_CONFIG_HOME", folder / "configuration");
    EXPECT_EQ(text(folder / "configuration/Quillfern/VARNEK/R2025a"), getStandardPreferencesDirectoryUStr());
    for (const char16_t* unknown : {u"", u"R2025c", u"2025a", u"R2025a ", u"R2025", u"../R2025a"}) {
        EXPECT_THROW(varnekDefaultPrefDirSuffixUStr(unknown), std::invalid_argument);
        EXPECT_THROW(varnekDefaultPrefDirPrefixUStr(unknown), std::invalid_argument);
    }
    const std::pair<const char16_t*, const char16_t*> separators[] = {
        {u"/a/b/", u"/a/b"}, {u"/a/b//", u"/a/b/"}, {u"/a/b", u"/a/b"}, {u"/", u"/"}, {u"", u""}};
    for (const auto& [path, stripped] : separators) {
        EXPECT_EQ(stripped, stripFinalPathNameSepUStr(path));
        EXPECT_EQ(varnek::files::pathFromUtf16(stripped).native(),
                  StripFinalPathNameSep(varnek::files::pathFromUtf16(path).native()));
    }
}

TEST_F(PreferencesDirectory, TheFirstOfBlessedVariableAndStandard) {
    struct Row {
        const char *blessed, *variable, *expected;
        Origin origin;
    };
    fs::create_directories(folder / "a/b");
    fs::create_directory_symlink("a/b", folder / "link");
    const Row rows[] = {{"", "", "home/.config/Quillfern/VARNEK/R2025a", Origin::standard},
                        {"", "given", "given", Origin::variable},
                        {"", "given///", "given", Origin::variable},
                        {"", "./a//b/.", "a/b", Origin::variable},
                        {"", "a/./b/../c/./", "a/b/../c", Origin::variable},
                        {"", "link/..", "a", Origin::variable}, // a name is needed to make or to compare it
                        {"", "nowhere/x/..", "nowhere", Origin::variable},
                        {"link/../", "", "a", Origin::blessed},
                        {"blessed/", "", "blessed", Origin::blessed},
                        {"blessed", "given", "blessed", Origin::blessed}};
    for (const Row& row : rows) {
        start();
        set("VARNEK_PREFDIR", *row.variable == '\0' ? "" : folder.path().native() + "/" + row.variable);
        if (*row.blessed != '\0')
            setBlessedPreferencesDirectoryUStr(text(folder.path()) + u"/" + text(row.blessed));
        EXPECT_EQ(text(folder / row.expected), getPreferencesDirectoryUStr());
        EXPECT_TRUE(fs::is_directory(folder / row.expected));
        EXPECT_EQ(row.origin, describePreferencesDirectory().origin) << row.expected;
        // Found once: what is said later has no part in it.
        set("VARNEK_PREFDIR", folder / "later");
        setBlessedPreferencesDirectoryUStr(text(folder / "later"));
        EXPECT_EQ(text(folder / row.expected), getPreferencesDirectoryUStr());
        EXPECT_EQ(text(folder / row.expected), getDefaultPreferencesDirectoryUStr());
        EXPECT_EQ(text((folder / row.expected).parent_path() / "R2024b"),
                  getPreviousPreferencesDirectoryUStr());
        EXPECT_EQ(TempMessage(), getTempMessage());
    }
}

TEST_F(PreferencesDirectory, ItIsTheFolderOfTheUserLevel) {
    const SettingsLevel& user = SettingsLevelManager::getSettingsLevelObjs()[position(LevelIndex::user)];
    EXPECT_EQ(text(standard()), user.levelRootPath());
    start();
    fs::remove_all(home);
    set("SETTINGS_USERDIR", "/elsewhere");
    EXPECT_EQ(u"/elsewhere", user.levelRootPath());
    const auto report = describePreferencesDirectory();
    EXPECT_EQ(u"/elsewhere", report.path);
    EXPECT_EQ(Origin::userFolderVariable, report.origin);
    EXPECT_FALSE(report.isReadable || report.isWritable || report.fill || report.hasMigrationMarker);
    EXPECT_FALSE(fs::exists(home)); // the preferences directory is not consulted
}

TEST_F(PreferencesDirectory, ARelativePathIsRefusedAtEveryEntry) {
    const std::string message = "Unable to start VARNEK. Relative path for preferences directory "
                                "('rel/dir') is not supported";
    set("VARNEK_PREFDIR", "rel/dir");
    EXPECT_EQ(message, refusal([] { getPreferencesDirectoryUStr(); }));
    EXPECT_EQ(message, refusal([] { getDefaultPreferencesDirectoryUStr(); }));
    EXPECT_EQ(message, refusal([] { setBlessedPreferencesDirectoryUStr(u"rel/dir"); }));
    EXPECT_EQ(message, refusal([] { setUnitTestPreviousPrefDir(u"rel/dir"); }));
    setPreferencesDirectoryUStrEnabled(true);
    EXPECT_EQ(message, refusal([] { setPreferencesDirectoryUStr(u"rel/dir"); }));
    EXPECT_EQ(Names{}, namesIn(home));

    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const SettingsLevel& user = SettingsLevelManager::getSettingsLevelObjs()[position(LevelIndex::user)];
    EXPECT_EXIT(user.levelRootPath(), testing::ExitedWithCode(1), testing::Eq(message + " \n"));

    set("VARNEK_PREFDIR", std::nullopt);
    EXPECT_EQ(text(standard()), getPreferencesDirectoryUStr()); // a failure is not remembered
}

TEST_F(PreferencesDirectory, OverridingItMustBeEnabled) {
    const auto other = text(folder / "other");
    try {
        setPreferencesDirectoryUStr(other);
        ADD_FAILURE();
    } catch (const exception::SettingsException& failure) {
        EXPECT_STREQ("Overriding the default preferences directory path not supported in this configuration.",
                     failure.what());
        EXPECT_THROW(failure.rethrow(), OverridingPreferencesDirectoryNotSupported);
    }
    EXPECT_EQ(text(standard()), getPreferencesDirectoryUStr());
    setPreferencesDirectoryUStrEnabled(true);
    setPreferencesDirectoryUStr(other + u"//");
    EXPECT_EQ(other, getPreferencesDirectoryUStr(false));
    EXPECT_FALSE(fs::exists(folder / "other"));
    EXPECT_EQ(text(standard()), getDefaultPreferencesDirectoryUStr());
    EXPECT_EQ(text(folder / "R2024b"), getPreviousPreferencesDirectoryUStr());
    EXPECT_EQ(Origin::setByHost, describePreferencesDirectory().origin);
    setPreferencesDirectoryUStrEnabled(false);
    EXPECT_THROW(setPreferencesDirectoryUStr(text(standard())), OverridingPreferencesDirectoryNotSupported);

    start(); // before anything is found nothing else is made
    fs::remove_all(home / ".config");
    setPreferencesDirectoryUStrEnabled(true);
    setPreferencesDirectoryUStr(other);
    EXPECT_EQ(other, getPreferencesDirectoryUStr(false));
    EXPECT_EQ(Names{}, namesIn(home));
    EXPECT_EQ(text(standard()), getDefaultPreferencesDirectoryUStr()); // found, but not used
    EXPECT_EQ(other, getPreferencesDirectoryUStr(false));
    EXPECT_EQ(Origin::setByHost, describePreferencesDirectory().origin);
}

TEST_F(PreferencesDirectory, OneThatIsGoneIsMissed) {
    getPreferencesDirectoryUStr();
    fs::remove_all(standard());
    for (const char* cause : {"No such file or directory", "Not a directory"}) {
        try {
            getPreferencesDirectoryUStr();
            ADD_FAILURE() << cause;
        } catch (const VARNEK::settings::core::PreferenceDirectoryNotExist& failure) {
            EXPECT_THAT(failure.arguments(), ElementsAre(standard().native(), cause));
        }
        EXPECT_EQ(text(standard()), getPreferencesDirectoryUStr(false));
        writeBytes(standard(), "");
    }
}

/// A save into a folder that cannot be there says so, keeps the value for the next save, and makes no
/// directory that would count as filled.
TEST_F(PreferencesDirectory, SavesIntoAFolderThatIsGone) {
    const auto failureOfSave = [](const fs::path& directory) {
        const TempFolder elsewhere;
        FileTree tree(elsewhere.path());
        tree.saveInto(boost::make_shared<LevelFileKeeper>([&](LevelIndex) { return directory; }));
        const Handle group = tree.group("g");
        TestTree::setting(group, "s");
        tree.keeper->loadLevel(detail::SettingsAccess::node(*group), LevelIndex::user);
        group->set("s", 1.0, "user");
        EXPECT_TRUE(tree.status("g").isMarked);
        EXPECT_EQ(SaveOutcome::failed, tree.status("g").saved);
        EXPECT_EQ(1.0, group->get<double>("s"));
        return tree.status("g").saveMessage;
    };
    const fs::path used(getPreferencesDirectoryUStr());
    fs::remove_all(used);
    const VARNEK::settings::core::PreferenceDirectoryNotExist gone(used.native(),
                                                                   "No such file or directory");
    EXPECT_EQ(gone.what(), failureOfSave(used));
    EXPECT_FALSE(fs::exists(used));

    writeBytes(folder / "file", "");
    set("SETTINGS_USERDIR", folder / "file/settings");
    for (const char* end : {"", "/", "//", "/."}) {
        set("SETTINGS_USERDIR", (folder / "file/settings").native() + end);
        EXPECT_EQ(VARNEK::settings::core::SettingsUserDirectoryNotExist().what(),
                  failureOfSave((folder / "file/settings").native() + end))
            << end;
    }
}

TEST_F(PreferencesDirectory, TheSelfChecksMayTellThePreviousOne) {
    EXPECT_EQ(text(standard("R2024b")), getPreviousPreferencesDirectoryUStrAccountingForUnitTests());
    setUnitTestPreviousPrefDir(u"/checks/previous/");
    EXPECT_EQ(u"/checks/previous", getPreviousPreferencesDirectoryUStrAccountingForUnitTests());
    EXPECT_EQ(text(standard("R2024b")), getPreviousPreferencesDirectoryUStr());
    setUnitTestPreviousPrefDir({});
    EXPECT_EQ(text(standard("R2024b")), getPreviousPreferencesDirectoryUStrAccountingForUnitTests());
}

TEST_F(PreferencesDirectory, TheInstallationDirectoryIsThatOfThePlugIns) {
    const auto byDefault = varnekRootUStr();
    setInstallationDirectoryUStr(u"/opt/varnek");
    EXPECT_EQ(u"/opt/varnek", varnekRootUStr());
    EXPECT_EQ("/opt/varnek", installationRoot());
    EXPECT_THROW(setInstallationDirectoryUStr(u"opt/varnek"), std::invalid_argument);
    EXPECT_EQ(u"/opt/varnek", varnekRootUStr());
    setInstallationDirectoryUStr({});
    EXPECT_EQ(byDefault, varnekRootUStr());
}

TEST_F(PreferencesDirectory, OneThatIsThereIsCheckedAndUsedWhateverComesOut) {
    const std::string line = ": " + standard().native();
    struct Row {
        unsigned mode;
        std::vector<InvalidPrefdirKind> findings;
        Names lines;
    };
    const Row rows[] = {
        {0700, {}, {}},
        {0500, {InvalidPrefdirKind::notWritable}, {"Prefdir is not writable" + line}},
        {0300, {InvalidPrefdirKind::notReadable}, {"Prefdir is not readable" + line}},
        {0000,
         {InvalidPrefdirKind::notWritable, InvalidPrefdirKind::notReadable},
         {"Prefdir is not writable" + line, "Prefdir is not readable" + line}},
    };
    asOrdinaryUser([&] {
        fs::create_directories(standard());
        makeRelease(standard("R2024b"), {"g.vksettings"});
        for (const Row& row : rows) {
            start();
            ASSERT_EQ(0, ::chmod(standard().c_str(), row.mode));
            LogLines log("settings::core::settingsPathUtil");
            EXPECT_EQ(text(standard()), getPreferencesDirectoryUStr());
            EXPECT_EQ(row.findings, kinds());
            EXPECT_EQ(row.lines, linesOf(log, "Prefdir is not"));
            const auto report = describePreferencesDirectory();
            EXPECT_EQ((row.mode & 0200) != 0, report.isWritable);
            EXPECT_EQ((row.mode & 0400) != 0, report.isReadable);
            ::chmod(standard().c_str(), 0700);
            EXPECT_EQ(Names{}, namesIn(standard())); // neither stamped nor filled
        }
    });
}

TEST_F(PreferencesDirectory, WithoutItATemporaryFolderServes) {
    fs::permissions(home, fs::perms(0755));
    asOrdinaryUser([&] {
        LogLines log("settings::core::settingsPathUtil");
        const fs::path used = varnek::files::pathFromUtf16(getPreferencesDirectoryUStr());
        EXPECT_EQ(folder / "tmp", used.parent_path());
        EXPECT_TRUE(used.filename().native().starts_with("tmpSubPrefDir"));
        EXPECT_EQ((Names{used.filename().native(), used.filename().native() + "_lock"}),
                  namesIn(folder / "tmp"));
        EXPECT_EQ(0700U, modeOf(used));
        EXPECT_EQ(Names{}, namesIn(used)); // neither stamped nor marked
        const std::string expected = "The preferences folder \"" + standard().native() +
                                     "\" could not be created: cannot create folder \"" +
                                     (home / ".config").native() +
                                     "\": Permission denied The temporary preferences folder \"" +
                                     used.native() + "\" is used for this session.";
        EXPECT_EQ("VARNEK:settings:prefdir:SystemError", getTempMessage().identifier);
        EXPECT_EQ(expected, varnek::files::messageUtf8(getTempMessage().text));
        EXPECT_EQ(Origin::temporary, describePreferencesDirectory().origin);
        EXPECT_EQ(std::vector{InvalidPrefdirKind::notWritable}, kinds());
        EXPECT_EQ(text(standard()), describePreferencesDirectory().findings.at(0).path);
        EXPECT_EQ(1U, linesOf(log, "Prefdir could not be created, code -3: " + standard().native()).size());
        EXPECT_EQ(text(used), getDefaultPreferencesDirectoryUStr());

        set("TMPDIR", folder / "closed");
        fs::create_directory(folder / "closed", folder.path());
        fs::permissions(folder / "closed", fs::perms(0500));
        start();
        EXPECT_THROW(getPreferencesDirectoryUStr(), varnek::files::FileError);
    });
    EXPECT_EQ(Names{}, namesIn(home));
}

TEST_F(PreferencesDirectory, WhetherItExistsMayBeImpossibleToTell) {
    fs::create_directories(standard());
    fs::permissions(home / ".config", fs::perms(0700));
    asOrdinaryUser([&] {
        LogLines log("settings::core::settingsPathUtil");
        getPreferencesDirectoryUStr();
        EXPECT_EQ(Origin::temporary, describePreferencesDirectory().origin);
        EXPECT_EQ((std::vector{InvalidPrefdirKind::notTestable, InvalidPrefdirKind::notWritable}), kinds());
        EXPECT_EQ(1U, linesOf(log, "Cannot tell whether the prefdir exists: " + standard().native()).size());
    });
}

TEST_F(PreferencesDirectory, EveryFailureOfTheFileSystemHasItsCodeAndMessage) {
    writeBytes(folder / "file", "");
    const auto made = [](const fs::path& directory) {
        return detail::createDirectory(directory, [](varnek::files::NewFolder&) {});
    };
    const auto failed = [](auto failure) {
        return detail::creationFailure(std::make_exception_ptr(failure));
    };
    const auto error = [](int number) {
        return varnek::files::FileError(varnek::files::FileErrorKind::cannotCreateFolder, "create folder",
                                        "d", number, number == 0 ? "why" : "");
    };
    struct Row {
        detail::CreationOutcome outcome;
        int code;
        const char *key, *text;
    };
    struct NoReason : std::exception {
        const char* what() const noexcept override { return ""; }
    };
    const char* const nothing = "no message when trying to create prefdir";
    const Row rows[] = {
        {made({}), -1, "InvalidArgument", "\"\\x22d\" is no name for a preferences folder."},
        {failed(error(EINVAL)), -1, "InvalidArgument", "\"\\x22d\" is no name for a preferences folder."},
        {made(folder / std::string(300, 'n')), 0, "FileNameTooLarge",
         "The name of the preferences folder \"\\x22d\" is too long."},
        {made("/proc/new/below"), -2, "PathNotFound",
         "The preferences folder \"\\x22d\" could not be created: a folder above it does not exist."},
        {made(folder / "file"), -3, "SystemError", "file\": Not a directory"},
        {made(folder / "file/below"), -3, "SystemError", "file\": Not a directory"},
        {failed(error(ENOSPC)), -3, "SystemError",
         "The preferences folder \"\\x22d\" could not be created: cannot create folder \"d\": No space left"},
        {made(std::string("/a\0b", 4)), -4, "FileNameConversionFailure",
         "The name of the preferences folder \"\\x22d\" cannot be expressed on this file system."},
        {failed(
             std::filesystem::filesystem_error("x", std::make_error_code(std::errc::illegal_byte_sequence))),
         -4, "FileNameConversionFailure", "cannot be expressed"},
        {failed(std::bad_alloc()), -5, "BadAlloc",
         "There was not enough memory to create the preferences folder \"\\x22d\"."},
        {failed(error(ENOMEM)), -5, "BadAlloc", "not enough memory"},
        {failed(error(0)), -6, "DefaultError", "The preferences folder \"\\x22d\" could not be created. "},
        {failed(std::runtime_error("x")), 3, "DefaultError", "could not be created. "},
        {failed(NoReason()), 3, "DefaultError", nothing},
        {failed(1), 3, "DefaultError", nothing},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.code, static_cast<int>(row.outcome.code)) << row.outcome.reason;
        EXPECT_FALSE(row.outcome.hasDirectory());
        const TempMessage message = detail::tempMessageFor(row.outcome, "\"d", "/tmp/t");
        EXPECT_EQ(std::string("VARNEK:settings:prefdir:") + row.key, message.identifier);
        const std::string shown = varnek::files::messageUtf8(message.text);
        EXPECT_THAT(shown, HasSubstr(row.text));
        EXPECT_THAT(shown, testing::EndsWith(
                               " The temporary preferences folder \"/tmp/t\" is used for this session."));
    }
    EXPECT_EQ(1, static_cast<int>(made(folder / "made/here").code));
    EXPECT_EQ(2, static_cast<int>(made(folder / "made/here").code));
}

TEST_F(PreferencesDirectory, WhatIsInItsPlaceCountsMoreThanTheFill) {
    const auto place = folder / "place";
    const auto failing = [](varnek::files::NewFolder&) { throw std::runtime_error("no copies"); };
    EXPECT_THROW(detail::createDirectory(place, failing), std::runtime_error);
    const auto outcome = detail::createDirectory(place, [&](varnek::files::NewFolder& made) {
        fs::create_directory(place);
        failing(made);
    });
    EXPECT_EQ(2, static_cast<int>(outcome.code));
    EXPECT_EQ((Names{"home", "place", "tmp"}), namesIn(folder.path())); // nothing is left of the fills
    fs::remove(place);

    writeBytes(place, "theirs");
    EXPECT_EQ(-3, static_cast<int>(detail::createDirectory(place, failing).code)); // nothing to fill
    EXPECT_EQ("theirs", bytesOf(place));
    fs::remove(place);
    fs::create_symlink("nowhere", place);
    EXPECT_EQ(-3, static_cast<int>(detail::createDirectory(place, failing).code));

    // A start finds the file, reads no earlier release, and goes on with a temporary folder.
    makeRelease(standard("R2024b"), {"g.vksettings"});
    writeBytes(standard(), "theirs");
    LogLines log("settings::core::settingsPathUtil");
    getPreferencesDirectoryUStr();
    EXPECT_EQ(Origin::temporary, describePreferencesDirectory().origin);
    EXPECT_EQ(std::vector{InvalidPrefdirKind::notWritable}, kinds());
    EXPECT_EQ(Names{}, linesOf(log, "Filling "));
    EXPECT_EQ("VARNEK:settings:prefdir:SystemError", getTempMessage().identifier);
}

TEST_F(PreferencesDirectory, ItsNameDrivesNoTerminal) {
    const std::string name = "\x1b[2J\nb\xc2\x9b", shown = "\\x1B[2J\\x0Ab\\xC2\\x9B";
    set("VARNEK_PREFDIR", "rel" + name);
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const SettingsLevel& user = SettingsLevelManager::getSettingsLevelObjs()[position(LevelIndex::user)];
    EXPECT_EXIT(user.levelRootPath(), testing::ExitedWithCode(1),
                testing::Eq("Unable to start VARNEK. Relative path for preferences directory ('rel" + shown +
                            "') is not supported \n"));
    makeRelease(folder / "R2024b", {});
    LogLines log("settings::core::settingsPathUtil");
    for (const char* directory : {"made", "file/made"}) {
        start();
        writeBytes(folder / "file", "");
        set("VARNEK_PREFDIR", (folder / directory).concat(name));
        getPreferencesDirectoryUStr();
    }
    EXPECT_EQ(1U, linesOf(log, "Filling " + (folder / "made").native() + shown + " from").size());
    for (const std::string& line : log.lines)
        EXPECT_EQ(std::string::npos, line.find_first_of("\x1b\n")) << line;
    EXPECT_THAT(varnek::files::messageUtf8(getTempMessage().text), HasSubstr("made" + shown));
}

/// What eight threads get that ask at the same time.
std::vector<std::u16string> answersAtOnce(std::u16string (*ask)()) {
    constexpr int count = 8;
    std::barrier together(count);
    std::vector<std::u16string> answers(count);
    std::vector<std::thread> threads;
    for (std::u16string& answer : answers)
        threads.emplace_back([&] {
            together.arrive_and_wait();
            answer = ask();
        });
    for (std::thread& thread : threads)
        thread.join();
    return answers;
}

TEST_F(PreferencesDirectory, ThreadsWaitForTheFirstOfThemAndAgree) {
    makeRelease(standard("R2024b"), {"g.vksettings"});
    LogLines log("settings::core::settingsPathUtil");
    const auto seen = answersAtOnce([] { return getPreferencesDirectoryUStr(); });
    EXPECT_EQ(std::vector(seen.size(), text(standard())), seen);
    EXPECT_EQ(1U, linesOf(log, "Filling " + standard().native()).size());
}

/// Not one temporary folder each.
TEST_F(PreferencesDirectory, ThreadsThatCannotHaveItShareOneTemporaryFolder) {
    writeBytes(folder / "file", "");
    set("VARNEK_PREFDIR", folder / "file/below");
    for (int round = 0; round < 20; ++round) {
        start();
        const auto seen = answersAtOnce(getDefaultPreferencesDirectoryUStr);
        EXPECT_EQ(std::vector(seen.size(), seen.front()), seen);
    }
}

/// What there is to log while it is found comes afterwards, without a lock that others could wait for.
TEST_F(PreferencesDirectory, LogSinksMayAskForItAlsoOnAnotherThread) {
    makeRelease(standard("R2024b"), {});
    std::vector<std::u16string> seen;
    varnek::log::setLevel("settings::core::settingsPathUtil", varnek::log::Severity::debug);
    const auto before = varnek::log::setSink([&](std::string_view, varnek::log::Severity, std::string_view) {
        seen.push_back(getPreferencesDirectoryUStr());
        std::thread([&] { seen.push_back(getDefaultPreferencesDirectoryUStr()); }).join();
    });
    EXPECT_EQ(text(standard()), getPreferencesDirectoryUStr());
    varnek::log::setSink(before);
    varnek::log::setLevel("settings::core::settingsPathUtil", varnek::log::Severity::off);
    EXPECT_THAT(seen, ElementsAre(text(standard()), text(standard())));
}

/// A host that keeps its log in the directory must not look for it again and again, nor wait for itself.
TEST_F(PreferencesDirectory, AskingForItWhereNoneWasFoundEnds) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "ThreadSanitizer does not follow the threads of a child of fork()";
#endif
    writeBytes(folder / "file", "");
    set("VARNEK_PREFDIR", folder / "file/below");
    set("TMPDIR", folder / "tmp");
    ASSERT_EQ(0, ::chmod((folder / "tmp").c_str(), 0500));
    asOrdinaryUser([&] {
        int asked = 0, refused = 0;
        varnek::log::setLevel("settings::core::settingsPathUtil", varnek::log::Severity::debug);
        const auto before =
            varnek::log::setSink([&](std::string_view, varnek::log::Severity, std::string_view) {
                ++asked;
                try {
                    getPreferencesDirectoryUStr();
                } catch (const std::logic_error&) {
                    ++refused;
                }
                if (asked == 1)
                    std::thread([] {
                        EXPECT_THROW(getPreferencesDirectoryUStr(), varnek::files::FileError);
                    }).join();
            });
        EXPECT_THROW(getPreferencesDirectoryUStr(), varnek::files::FileError);
        varnek::log::setSink(before);
        varnek::log::setLevel("settings::core::settingsPathUtil", varnek::log::Severity::off);
        EXPECT_GT(asked, 0);
        EXPECT_EQ(asked, refused);
    });
}

} // namespace
