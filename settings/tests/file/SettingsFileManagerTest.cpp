// Files as trees of their own: made, opened, changed and written back, also by several at once.

#include "settingscore/SettingsFileManager.hpp"

#include "support/FileTree.hpp"
#include "support/TempFolder.hpp"

#include "settingscore/MSettings.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/file/SettingsFileWriter.hpp"
#include "settingscore/settings/level/LevelFolders.hpp"
#include "varnek/files/FileStamp.hpp"
#include "varnek/files/PathText.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>

namespace {

using namespace settings::core;
using namespace settings::test;
using settings::core::detail::ChangeRecord;
using settings::core::detail::FactorySettingProperties;
using settings::core::detail::UpgraderRecord;
using settings::core::detail::VersionRecord;
using varnek::files::utf16FromPath;

SettingValueValidator::ConfigData points() {
    NumericMetaData<MustBeScalar> data;
    data.setMinValue(6);
    data.setMaxValue(72);
    return data;
}

FactorySettingProperties sized(double value) {
    return {true, false, Array::scalar(value), {}, {}, false, false, {points()}};
}

unsigned modeOf(const std::filesystem::path& file) {
    struct stat status {};
    return ::stat(file.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

struct FileManager : testing::Test {
    ~FileManager() override { turnOnSettingsSaving(); }

    /// "editor" with "theme" and, in "font", "size" from 6 to 72.
    SettingsFileManager made(bool force = false) const {
        auto manager = SettingsFileManager::create(file, "factory", force, "editor");
        const Handle top = manager.getTopLevelNode();
        top->addSetting("theme", Array::scalar(1.0), true, false, "factory");
        const Handle font = top->addGroup("font", true, false, "factory");
        MSettings::of(font)->createFactorySetting("size", false, sized(12));
        MSettings::of(font)->set("size", 12.0, "factory");
        return manager;
    }
    Handle fontOf(const SettingsFileManager& manager) const {
        return manager.getTopLevelNode()->getChild("font");
    }
    double sizeIn(const std::filesystem::path& path) const {
        return fontOf(SettingsFileManager::open(path, "factory"))->get<double>("size", "factory");
    }

    TempFolder folder;
    std::filesystem::path file = folder / "editor.vksettings";
};

const std::vector<UpgraderRecord> upgraders = {{u"R2024b", {{"remove", {"editor.c"}, {}}}}};

TEST_F(FileManager, AFactoryFileIsMadeAndEdited) {
    auto manager = made();
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_EQ("", manager.getFileReleaseVersion());
    manager.setUpgraders(upgraders);
    FileLogLines log;
    manager.save();
    EXPECT_EQ((std::vector<std::string>{"Start:Write factory file: " + file.string(),
                                        "Finish:Write factory file: " + file.string()}),
              log.take("Write factory file"));
    EXPECT_EQ("R2025a", manager.getFileReleaseVersion());
    EXPECT_EQ(0644U, modeOf(file));
    putPart(file, "/notes.txt", "of somebody else");

    auto opened = SettingsFileManager::open(file, "factory");
    EXPECT_EQ("R2025a", opened.getFileReleaseVersion());
    EXPECT_EQ("factory", opened.getLevelName());
    EXPECT_EQ(upgraders, opened.getUpgraders());
    const Handle root = opened.getRootNode();
    EXPECT_TRUE(root->isRoot());
    ASSERT_EQ(1U, root->getChildren().size());
    EXPECT_TRUE(Settings::equal(opened.getTopLevelNode(), root->getChild("editor")));
    EXPECT_EQ(InvalidRootIndex(), root->getRootIndex());
    const Handle font = fontOf(opened);
    EXPECT_EQ("editor.font", font->getFullName());
    EXPECT_EQ(12.0, font->get<double>("size"));

    // Its rules hold here as well, and only its level can be modified.
    EXPECT_EQ("ValueIsNotInRange", failureOf([&] { font->set("size", 80.0, "factory"); }));
    EXPECT_EQ("CantModifyValuesOnReadOnlyLevel", failureOf([&] { font->set("size", 8.0, "user"); }));
    EXPECT_EQ("CanNotAddKeyToRootException",
              failureOf([&] { root->addSetting("s", {}, true, false, "factory"); }));
    EXPECT_EQ("CannotAddRemoveNodeUnderReadOnlyParent",
              failureOf([&] { root->addGroup("other", true, false, "factory"); }));
    EXPECT_EQ("CannotAddRemoveNodeUnderReadOnlyParent", failureOf([&] { root->removeNode("editor"); }));

    font->set("size", 14.0, "factory");
    opened.getTopLevelNode()->removeNode("theme");
    opened.save();
    EXPECT_EQ(14.0, sizeIn(file));
    const auto again = SettingsFileManager::open(file, "factory");
    EXPECT_EQ(nullptr, again.getTopLevelNode()->getChild("theme"));
    EXPECT_EQ(upgraders, again.getUpgraders());
    EXPECT_EQ("of somebody else", partText(file, "/notes.txt"));

    const auto before = varnek::files::FileStamp::of(file);
    opened.save();
    EXPECT_EQ(before, varnek::files::FileStamp::of(file)); // the same content is left alone
}

TEST_F(FileManager, WhatCannotBeOpened) {
    made().save();
    auto values = SettingsFileManager::create(folder / "values.vksettings", "user", false, "editor");
    values.save();
    std::filesystem::create_directory(folder / "folder.vksettings");
    writeBytes(folder / "text.vksettings", "no package");
    std::filesystem::copy_file(file, folder / "broken.vksettings");
    putPart(folder / "broken.vksettings", topPart, "{");
    const std::string whole = bytesOf(file);
    writeBytes(folder / "cut.vksettings", whole.substr(0, whole.size() / 2));
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"missing", "factory", "FileDoesNotExist"},
        {"folder", "factory", "FileCannotBeOpened"},
        {"text", "user", "FileCannotBeOpened"},
        {"cut", "factory", "FileCannotBeOpened"},
        {"broken", "factory", "ErrorReadingSettingsData"},
        {"values", "factory", "ErrorReadingSettingsData"},
        {"editor", "installation", "ErrorReadingSettingsData"},
        {"editor", "session", "UnSupportedLevel"},
        {"editor", "nowhere", "UnSupportedLevel"},
    };
    for (const auto& [name, level, failure] : cases)
        EXPECT_EQ(failure, failureOf([&, level = level, name = name] {
                      SettingsFileManager::open(folder / (std::string(name) + ".vksettings"), level);
                  }))
            << name << ' ' << level;
    try {
        SettingsFileManager::open(folder / "text.vksettings", "user");
        FAIL();
    } catch (const exception::FileCannotBeOpened& failure) {
        EXPECT_STREQ("Requested file does not exist.", failure.what());
        EXPECT_EQ(utf16FromPath(folder / "text.vksettings"), failure.getFilePath());
        EXPECT_EQ("user", failure.getLevelName());
        EXPECT_FALSE(failure.getCause().empty());
    }
    try {
        SettingsFileManager::open(utf16FromPath(folder.path()), "missing", "factory", false);
        FAIL();
    } catch (const exception::FileDoesNotExist& failure) {
        EXPECT_STREQ("Requested file does not exist.", failure.what());
        EXPECT_EQ(utf16FromPath(folder / "toolbox/missing.vksettings"), failure.getFilePath());
    }
    EXPECT_EQ("UnSupportedLevel",
              failureOf([&] { SettingsFileManager::create(file, "session", false, ""); }));
}

TEST_F(FileManager, AFileIsFoundByItsGroup) {
    std::filesystem::create_directory(folder / "toolbox");
    file = folder / "toolbox/gr%C3%B6%C3%9Fe.vksettings";
    SettingsFileManager::create(file, "factory", false, "").save();
    const auto opened = SettingsFileManager::open(utf16FromPath(folder.path()), "größe", "factory", false);
    EXPECT_EQ(file, opened.getFilePath());
    EXPECT_EQ("größe", opened.getTopLevelNode()->getName());
}

TEST_F(FileManager, SavingSwitchedOff) {
    made().save();
    const std::string before = bytesOf(file);
    ASSERT_EQ(0, ::chmod(file.c_str(), 0444));
    turnOffSettingsSaving();
    EXPECT_NO_THROW(made().save()); // not even refused
    EXPECT_NO_THROW(made(true).save());
    const Handle apart = MSettings::createSettingsNode("editor", false);
    EXPECT_NO_THROW(Settings::createFactorySettingsFile(apart, utf16FromPath(file), 1));
    SettingsFileManager::create(folder / "u.vksettings", "user", false, "u").save();
    EXPECT_EQ(before, bytesOf(file));
    EXPECT_EQ(0444U, modeOf(file));
    EXPECT_EQ(1U, namesIn(folder.path()).size());
}

TEST_F(FileManager, AFactoryFileWithoutWritePermission) {
    made().save();
    auto manager = made();
    auto forced = made(true);
    fontOf(manager)->set("size", 20.0, "factory");
    fontOf(forced)->set("size", 30.0, "factory");
    ASSERT_EQ(0, ::chmod(file.c_str(), 0444));
    try {
        manager.save();
        FAIL();
    } catch (const exception::ErrorSaveSettingsDueToFileIOError& failure) {
        EXPECT_EQ(utf16FromPath(file), failure.getFileName());
        EXPECT_EQ("editor", failure.getCausingObject()->getName());
    }
    {
        const NoRoomForFiles full;
        EXPECT_EQ("SettingsFileNotWritten", failureOf([&] { forced.save(); }));
    }
    EXPECT_EQ(0444U, modeOf(file));
    EXPECT_EQ(12.0, sizeIn(file));
    forced.save();
    EXPECT_EQ(0444U, modeOf(file));
    EXPECT_EQ(30.0, sizeIn(file));
    EXPECT_EQ(1U, namesIn(folder.path()).size());
}

/// Also a file that its owner may not write, and a folder without permission; in a process of their own.
TEST_F(FileManager, WithoutRights) {
    if (::getuid() != 0)
        GTEST_SKIP() << "NOT RUN: needs the administrator, who lets go of the rights";
    made().save();
    ASSERT_EQ(0, ::chmod(file.c_str(), 0444));
    ASSERT_EQ(0, ::chown(file.c_str(), 65534, 65534));
    ASSERT_EQ(0, ::chmod(folder.path().c_str(), 0755));
    const std::string before = bytesOf(file);
    const pid_t child = ::fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
        if (::setgid(65534) != 0 || ::setuid(65534) != 0)
            ::_exit(3);
        EXPECT_EQ("ErrorSaveSettingsDueToFileIOError", failureOf([&] { made().save(); }));
        EXPECT_EQ("NoFileWritePermission", failureOf([&] { made(true).save(); }));
        EXPECT_EQ(0444U, modeOf(file)); // the permission that was lent is gone
        auto values = SettingsFileManager::create(folder / "v.vksettings", "installation", false, "v");
        try {
            values.save();
            ADD_FAILURE();
        } catch (const exception::NoFileWritePermission& failure) {
            EXPECT_EQ("installation", failure.getLevelName());
            EXPECT_EQ((std::vector{utf16FromPath(folder / "v.vksettings"), utf16FromPath(folder.path())}),
                      failure.getPaths());
        }
        EXPECT_EQ("NoFileWritePermission", failureOf([&] {
                      SettingsFileManager::createOrUpdateInstallationFile(utf16FromPath(folder.path()), "v");
                  }));
        ::_exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
    EXPECT_EQ(before, bytesOf(file));
    EXPECT_EQ(1U, namesIn(folder.path()).size());
}

struct InstallationLevel : FileManager {
    InstallationLevel() {
        if (const char* value = ::getenv("SETTINGS_INSTALLATIONDIR"))
            before = value;
        use(folder.path());
    }
    ~InstallationLevel() override { use(before); }
    static void use(const std::filesystem::path& installation) {
        ::setenv("SETTINGS_INSTALLATIONDIR", installation.c_str(), 1);
        settings::core::detail::forgetLevelFolders();
    }
    std::string before;
};

TEST_F(InstallationLevel, IsCreatedThenUpdated) {
    auto first = SettingsFileManager::createOrUpdateInstallationFile({}, "editor");
    EXPECT_FALSE(std::filesystem::exists(file));
    first.getTopLevelNode()->addSetting("proxy", Array::scalar(1.0), true, false, "installation");
    first.save();
    EXPECT_EQ(0644U, modeOf(file));
    auto second = SettingsFileManager::createOrUpdateInstallationFile({}, "editor");
    EXPECT_EQ(file, second.getFilePath());
    EXPECT_EQ("installation", second.getLevelName());
    EXPECT_EQ(1.0, second.getTopLevelNode()->get<double>("proxy"));

    // Elsewhere: below that folder, or anywhere.
    std::filesystem::create_directory(folder / "site");
    for (const std::filesystem::path& place : {std::filesystem::path("site"), folder / "site"})
        EXPECT_EQ(folder / "site/editor.vksettings",
                  SettingsFileManager::createOrUpdateInstallationFile(utf16FromPath(place), "editor")
                      .getFilePath());

    for (const auto& place : {folder / "missing", file}) // no folder at all, and a file
        EXPECT_EQ("NoFileWritePermission", failureOf([&] {
                      SettingsFileManager::createOrUpdateInstallationFile(utf16FromPath(place), "editor");
                  }));
    use({});
    EXPECT_EQ("NoFileWritePermission",
              failureOf([] { SettingsFileManager::createOrUpdateInstallationFile({}, "editor"); }));
    use(folder.path());
    writeBytes(file, "damaged");
    EXPECT_EQ("FileCannotBeOpened",
              failureOf([] { SettingsFileManager::createOrUpdateInstallationFile({}, "editor"); }));
    EXPECT_EQ("damaged", bytesOf(file));
}

/// An installation file that has values of defined settings, of unknown ones, and what was added there.
TEST_F(InstallationLevel, IsChangedByTheRulesOfTheDefinitions) {
    std::filesystem::create_directory(folder / "user");
    std::filesystem::create_directory(folder / "installation");
    const auto define = [](const FileTree& tree) {
        const Handle editor = tree.group("editor");
        TestTree::setting(editor, "theme", Array::scalar(1.0));
        TestTree::setting(editor, "fixed", Array::scalar(1.0), ReadOnlyState::readOnly);
        TestTree::setting(editor, "old", {}, ReadOnlyState::inherited, "editor.theme");
        TestTree::setting(TestTree::childGroup(editor, "font"), "size", sized(12));
        tree.load(editor);
        return editor;
    };
    const FileTree tree(folder.path());
    const Handle editor = define(tree);
    file = tree.file("editor", LevelIndex::installation);
    auto unknown = SettingsFileManager::create(file, "installation", false, "editor");
    MSettings::of(unknown.getTopLevelNode())->createFactorySetting("gone", false, FactorySettingProperties());
    unknown.getTopLevelNode()->set("gone", 5.0, "installation");
    unknown.getTopLevelNode()->addSetting("proxy", Array::scalar(1.0), true, false, "installation");
    unknown.save();

    auto manager = SettingsFileManager::open(file, "installation");
    manager.define(*editor);
    const Handle top = manager.getTopLevelNode();
    const Handle font = top->getChild("font");
    EXPECT_EQ("ValueIsNotInRange", failureOf([&] { font->set("size", 80.0, "installation"); }));
    EXPECT_EQ("CannotChangeValueForReadOnlySetting",
              failureOf([&] { top->set("fixed", 2.0, "installation"); }));
    EXPECT_EQ("ValueNotDefinedForGivenLevel", failureOf([&] { font->unset("size", "installation"); }));
    EXPECT_EQ("CantModifyValuesOnReadOnlyLevel", failureOf([&] { font->set("size", 8.0, "user"); }));
    font->set("size", 20.0, "installation");
    top->set("old", 3.0, "installation"); // stands for itself: the caller has followed the alias
    EXPECT_EQ(1.0, top->get<double>("proxy"));
    manager.save();

    // The tree of a process sees it; nothing was taken for an addition, and what nobody knows is still there.
    const FileTree later(folder.path());
    const Handle seen = define(later);
    EXPECT_EQ(20.0, seen->getChild("font")->get<double>("size"));
    EXPECT_EQ("factory", seen->getChild("font")->getChild("size")->getOriginLevel());
    EXPECT_EQ(1.0, seen->get<double>("proxy"));
    EXPECT_EQ("installation", seen->getChild("proxy")->getOriginLevel());
    EXPECT_FALSE(seen->isSet("theme", "installation"));
    EXPECT_EQ(5.0, settingIn(partJson(file, topPart), "gone").at("value").asObject().at("qfdata").asDouble());
    EXPECT_FALSE(partJson(file, topPart).contains("visible"));

    EXPECT_EQ("invalid_argument", failureOf([&] { manager.define(*later.group("other")); }));
    EXPECT_EQ("invalid_argument", failureOf([&] { made().define(*editor); }));
    EXPECT_EQ("NotANodeName", failureOf([&] { manager.define(*seen->getChild("proxy")); }));
}

// ---- several at once ----

struct TogetherCase {
    const char* what;
    std::function<void(Settings&top)> mine, theirs; // theirs is saved first
    const char* expected;
};

std::string shown(const Settings& group) {
    std::string text;
    for (const Handle& child : group.getChildren())
        text += child->isLeafNode()
                    ? child->getName() + "=" +
                          (group.isSet(child->getName(), "installation")
                               ? std::to_string(static_cast<int>(group.get<double>(child->getName())))
                               : "") +
                          " "
                    : child->getName() + "{" + shown(*child) + "} ";
    return text;
}

Handle add(Settings& group, const char* name, double value) {
    return group.addSetting(name, Array::scalar(value), true, false, "installation");
}

TEST_F(FileManager, ChangesOfSeveralComeTogether) {
    const auto set = [](const char* name, double value) {
        return [=](Settings& top) { top.set(name, value, "installation"); };
    };
    const auto nothing = [](Settings&) {};
    const auto unset = [](const char* name) {
        return [=](Settings& top) { top.unset(name, "installation"); };
    };
    const auto remove = [](const char* name) { return [=](Settings& top) { top.removeNode(name); }; };
    const TogetherCase cases[] = {
        {"different settings", set("a", 5), set("b", 6), "a=5 b=6 g{c=3 } "},
        {"one setting", set("a", 5), set("a", 6), "a=5 b=2 g{c=3 } "},
        {"nothing here", nothing, set("a", 6), "a=6 b=2 g{c=3 } "},
        {"set and unset", set("a", 5), unset("b"), "a=5 b= g{c=3 } "},
        {"unset and set", unset("a"), set("b", 6), "a= b=6 g{c=3 } "},
        {"removed there, untouched here", set("b", 5), remove("a"), "b=5 g{c=3 } "},
        {"removed there, changed here", set("a", 5), remove("a"), "a=5 b=2 g{c=3 } "},
        {"removed here, changed there", remove("a"), set("a", 6), "b=2 g{c=3 } "},
        {"group removed there, untouched here", set("a", 5), remove("g"), "a=5 b=2 "},
        {"group removed there, changed here",
         [](Settings& top) { top.getChild("g")->set("c", 5.0, "installation"); }, remove("g"),
         "a=1 b=2 g{c=5 } "},
        {"group removed here, added to there", remove("g"),
         [](Settings& top) { add(*top.getChild("g"), "d", 6); }, "a=1 b=2 g{d=6 } "},
        {"both add", [](Settings& top) { add(top, "m", 5); },
         [](Settings& top) { add(*top.addGroup("n", true, false, "installation"), "x", 6); },
         "a=1 b=2 g{c=3 } m=5 n{x=6 } "},
        {"a setting here, a group there", [](Settings& top) { add(top, "m", 5); },
         [](Settings& top) { add(*top.addGroup("m", true, false, "installation"), "x", 6); },
         "a=1 b=2 g{c=3 } m=5 "},
    };
    for (const TogetherCase& each : cases) {
        std::filesystem::remove(file);
        {
            auto base = SettingsFileManager::create(file, "installation", false, "editor");
            const Handle top = base.getTopLevelNode();
            add(*top, "a", 1), add(*top, "b", 2);
            add(*top->addGroup("g", true, false, "installation"), "c", 3);
            base.save();
        }
        auto mine = SettingsFileManager::open(file, "installation");
        auto theirs = SettingsFileManager::open(file, "installation");
        each.mine(*mine.getTopLevelNode());
        each.theirs(*theirs.getTopLevelNode());
        theirs.save();
        for (int i = 0; i < 2; ++i) { // what was merged does not look like a change the next time
            mine.save();
            EXPECT_EQ(each.expected,
                      shown(*SettingsFileManager::open(file, "installation").getTopLevelNode()))
                << each.what;
        }
    }
}

TEST_F(FileManager, FactoryFilesComeTogetherAsWell) {
    made().save();
    auto mine = SettingsFileManager::open(file, "factory");
    auto theirs = SettingsFileManager::open(file, "factory");
    fontOf(mine)->addSetting("bold", Array::scalar(true), true, false, "factory");
    theirs.setUpgraders(upgraders);
    theirs.getTopLevelNode()->set("theme", 2.0, "factory");
    theirs.save();
    mine.save();
    const auto both = SettingsFileManager::open(file, "factory");
    EXPECT_EQ(upgraders, both.getUpgraders());
    EXPECT_EQ(upgraders, mine.getUpgraders());
    EXPECT_EQ(2.0, both.getTopLevelNode()->get<double>("theme"));
    EXPECT_TRUE(fontOf(both)->get<bool>("bold"));
    EXPECT_EQ("ValueIsNotInRange", failureOf([&] { fontOf(both)->set("size", 80.0, "factory"); }));
}

/// Of one group, and still two kinds of file: one in the other's place would destroy it.
TEST_F(FileManager, DefinitionsAndValuesDoNotReplaceEachOther) {
    made().save();
    const auto refused = [&](const char* level) {
        const std::string before = bytesOf(file);
        auto manager = SettingsFileManager::create(file, level, false, "editor");
        EXPECT_EQ("SettingsFileNotWritten", failureOf([&] { manager.save(); })) << level;
        EXPECT_EQ(before, bytesOf(file)) << level;
    };
    refused("installation");
    std::filesystem::remove(file);
    SettingsFileManager::create(file, "installation", false, "editor").save();
    refused("factory");
}

TEST_F(FileManager, AFileThatIsAnotherOneByNow) {
    made().save();
    {
        auto fresh = SettingsFileManager::create(file, "factory", false, "editor");
        fresh.getTopLevelNode()->addSetting("only", Array::scalar(1.0), true, false, "factory");
        fresh.save(); // what was there when it was made is replaced
        EXPECT_EQ(1U, SettingsFileManager::open(file, "factory").getTopLevelNode()->getChildren().size());
        EXPECT_EQ(2U, detail::readSettingsFile(file, detail::FileUse::factory).revision);
    }
    auto manager = SettingsFileManager::open(file, "factory");
    const std::string whole = bytesOf(file);
    std::filesystem::remove(file);
    manager.save(); // written whole
    EXPECT_EQ(1.0, SettingsFileManager::open(file, "factory").getTopLevelNode()->get<double>("only"));

    manager.getTopLevelNode()->set("only", 2.0, "factory");
    const auto refused = [&](const char* failure) {
        const std::string before = bytesOf(file);
        EXPECT_EQ(failure, failureOf([&] { manager.save(); }));
        EXPECT_EQ(before, bytesOf(file));
    };
    writeBytes(file, "no package");
    refused("SettingsFileNotWritten");
    writeBytes(file, whole);
    putPart(file, topPart, "[]");
    refused("ErrorReadingSettingsData");
    std::filesystem::remove(file);
    SettingsFileManager::create(file, "factory", false, "other").save();
    refused("SettingsFileNotWritten");
    std::filesystem::remove(file);
    SettingsFileManager::create(file, "user", false, "editor").save();
    refused("ErrorReadingSettingsData");
    writeBytes(file, whole);
    encrypt(file, "sesame");
    refused("SettingsFileNotWritten");
    writeBytes(file, whole);
    manager.save();
    EXPECT_EQ(2.0, SettingsFileManager::open(file, "factory").getTopLevelNode()->get<double>("only"));
}

TEST_F(FileManager, APersonalFileKeepsItsVersionRecord) {
    const VersionRecord record{3, 1, ChangeRecord{"move", {"editor.a"}, {"editor.b"}}, "R2024a"};
    detail::SettingsFileContent content;
    content.tree.name = "editor";
    content.version = record;
    detail::SettingsFileWriter::write(std::move(content), LevelIndex::user, file);
    putPart(file, "/notes.txt", "of somebody else");
    auto manager = SettingsFileManager::open(file, "user");
    EXPECT_EQ(record, *manager.getVersionRecord());
    EXPECT_EQ("R2024a", manager.getFileReleaseVersion());
    manager.getTopLevelNode()->addSetting("mine", Array::scalar(1.0), true, false, "user");
    manager.save();
    EXPECT_EQ(0600U, modeOf(file));
    EXPECT_EQ("of somebody else", partText(file, "/notes.txt"));
    EXPECT_EQ(record, *SettingsFileManager::open(file, "user").getVersionRecord());
    EXPECT_TRUE(SettingsFileManager::open(file, "user").getUpgraders().empty());
    EXPECT_EQ("invalid_argument", failureOf([&] { manager.setUpgraders({}); }));
    SettingsFileManager::create(folder / "n.vksettings", "user", false, "n").save();
    EXPECT_FALSE(SettingsFileManager::open(folder / "n.vksettings", "user").getVersionRecord());
}

} // namespace
