// When files as trees of their own are not written, and what permissions they have.

#include "settingscore/SettingsFileManager.hpp"

#include "support/Children.hpp"
#include "support/ManagedFile.hpp"

#include "settingscore/FactoryFileLocation.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/factoryfile/FactoryFileGenerator.hpp"
#include "varnek/files/PathText.hpp"

#include <unistd.h>

namespace {

using namespace settings::core;
using namespace settings::test;
using varnek::files::utf16FromPath;
using varnek::settings::FactoryFileGenerator;

TEST_F(FileManager, SavingSwitchedOff) {
    made().save();
    const std::string before = bytesOf(file);
    ASSERT_EQ(0, ::chmod(file.c_str(), 0444));
    turnOffSettingsSaving();
    EXPECT_NO_THROW(made().save()); // not even refused
    EXPECT_NO_THROW(made(true).save());
    const Handle apart = MSettings::createSettingsNode("editor", false);
    EXPECT_NO_THROW(Settings::createFactorySettingsFile(apart, utf16FromPath(file), 1));
    EXPECT_NO_THROW(MSettings::of(apart)->writeFactoryFile(utf16FromPath(file), upgraders));
    EXPECT_NO_THROW(FactoryFileGenerator::fromText("{\"groupName\": \"editor\"}", "d").write(file));
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
    asOrdinaryUser([&] {
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
    });
    EXPECT_EQ(before, bytesOf(file));
    EXPECT_EQ(1U, namesIn(folder.path()).size());
}

TEST_F(FileManager, TheGeneratorKeepsOffProtectedFilesToo) {
    const auto generator = FactoryFileGenerator::fromText("{\"groupName\": \"editor\"}", "d");
    made().save();
    ASSERT_EQ(0, ::chmod(file.c_str(), 0444));
    const std::string before = bytesOf(file);
    EXPECT_EQ("ErrorSaveSettingsDueToFileIOError", failureOf([&] { generator.write(file); }));
    {
        const NoRoomForFiles full;
        EXPECT_EQ("SettingsFileNotWritten", failureOf([&] { generator.write(file, true); }));
    }
    EXPECT_EQ(0444U, modeOf(file));
    EXPECT_EQ(before, bytesOf(file));
    generator.write(file, true);
    EXPECT_EQ(0444U, modeOf(file));
    EXPECT_TRUE(SettingsFileManager::open(file, "factory").getTopLevelNode()->getChildren().empty());
}

TEST_F(FileManager, AFileThatIsFoundByItsGroupIsForcedToo) {
    std::filesystem::create_directory(folder / "toolbox");
    file = folder / "toolbox/editor.vksettings";
    made().save();
    ASSERT_EQ(0, ::chmod(file.c_str(), 0444));
    for (const bool force : {false, true}) {
        auto manager = SettingsFileManager::open(utf16FromPath(folder.path()), "editor", "factory", force);
        fontOf(manager)->set("size", 20.0, "factory");
        EXPECT_EQ(force ? "" : "ErrorSaveSettingsDueToFileIOError", failureOf([&] { manager.save(); }));
    }
    EXPECT_EQ(20.0, sizeIn(file));
    EXPECT_EQ(0444U, modeOf(file));
}

/// An administrator has protected it.
TEST_F(InstallationLevel, AFileWithoutWritePermission) {
    auto manager = SettingsFileManager::createOrUpdateInstallationFile({}, "editor");
    manager.save();
    const std::string before = bytesOf(file);
    manager.getTopLevelNode()->addSetting("proxy", Array::scalar(1.0), true, false, "installation");
    ASSERT_EQ(0, ::chmod(file.c_str(), 0444));
    for (const std::function<void()>& refused : std::initializer_list<std::function<void()>>{
             [&] { manager.save(); },
             [] { SettingsFileManager::createOrUpdateInstallationFile({}, "editor"); }})
        try {
            refused();
            ADD_FAILURE();
        } catch (const exception::NoFileWritePermission& failure) {
            EXPECT_EQ("installation", failure.getLevelName());
            EXPECT_EQ(std::vector{utf16FromPath(file)}, failure.getPaths());
        }
    EXPECT_EQ(before, bytesOf(file));
    EXPECT_EQ(0444U, modeOf(file));
    ASSERT_EQ(0, ::chmod(file.c_str(), 0644));
    manager.save();
    EXPECT_NE(before, bytesOf(file));
}

TEST_F(InstallationLevel, PermissionsThatSomebodyGaveStay) {
    made().save();
    for (const mode_t mode : {0664U, 0660U, 0600U}) {
        ASSERT_EQ(0, ::chmod(file.c_str(), mode));
        auto manager = SettingsFileManager::open(file, "factory");
        fontOf(manager)->set("size", 10.0 + mode % 7, "factory");
        manager.save();
        EXPECT_EQ(mode, modeOf(file));
        FactoryFileGenerator::fromText("{\"groupName\": \"editor\"}", "d").write(file);
        EXPECT_EQ(mode, modeOf(file));
        made().save();
        const auto copy = installFactoryFile(file, folder / "factory", false);
        ASSERT_EQ(0, ::chmod(copy.c_str(), mode));
        installFactoryFile(file, folder / "factory", false);
        EXPECT_EQ(mode, modeOf(copy));
    }
    ASSERT_EQ(0, ::chmod(file.c_str(), 0464)); // not for its owner
    made(true).save();
    EXPECT_EQ(0464U, modeOf(file));
    std::filesystem::remove(file);

    const FileTree tree(folder.path());
    const Handle editor = tree.group("editor");
    TestTree::setting(editor, "theme", Array::scalar(1.0));
    tree.load(editor);
    for (const LevelIndex level : {LevelIndex::installation, LevelIndex::user}) {
        const auto place = tree.file("editor", level);
        const std::string name(levelName(level));
        std::filesystem::create_directories(place.parent_path());
        editor->set("theme", 2.0, name);
        ASSERT_EQ(0, ::chmod(place.c_str(), 0664)) << name;
        editor->set("theme", 3.0, name);
        EXPECT_EQ(level == LevelIndex::user ? 0600U : 0664U, modeOf(place)); // personal is personal
        if (level == LevelIndex::user)
            continue;
        auto manager = SettingsFileManager::open(place, name);
        manager.getTopLevelNode()->addSetting("proxy", Array::scalar(1.0), true, false, name);
        manager.save();
        EXPECT_EQ(0664U, modeOf(place));
    }
}

} // namespace
