// Files as trees of their own: made, opened, changed and written back.

#include "settingscore/SettingsFileManager.hpp"

#include "support/ManagedFile.hpp"

#include "opc/model/Package.hpp"
#include "opc/qfservices/CorePropertiesManager.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/file/SettingsFileWriter.hpp"
#include "varnek/files/FileStamp.hpp"
#include "varnek/files/PathText.hpp"

namespace {

using namespace settings::core;
using namespace settings::test;
using settings::core::detail::ChangeRecord;
using settings::core::detail::FactorySettingProperties;
using settings::core::detail::UpgraderRecord;
using settings::core::detail::VersionRecord;
using varnek::files::utf16FromPath;

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
    // Not by what the file is called.
    std::filesystem::rename(file, folder / "toolbox/editor.vksettings");
    EXPECT_EQ("ErrorReadingSettingsData", failureOf([&] {
                  SettingsFileManager::open(utf16FromPath(folder.path()), "editor", "factory", false);
              }));
}

/// The parts that only one of the two kinds of file has.
TEST_F(FileManager, TheLevelDecidesTheKindOfFile) {
    for (const char* level : {"factory", "installation", "user"}) {
        const auto place = folder / level;
        auto manager = SettingsFileManager::create(place, level, false, "editor");
        const bool isFactory = std::string_view(level) == "factory";
        EXPECT_EQ(isFactory ? "" : "invalid_argument", failureOf([&] { manager.setUpgraders({}); }));
        manager.save();
        std::vector<std::string> parts{"/schema.json", topPart};
        if (isFactory)
            parts.push_back("/upgraders.json");
        EXPECT_EQ(parts, partsOf(place)) << level;
        EXPECT_EQ(isFactory ? "" : "invalid_argument",
                  failureOf([&] { SettingsFileManager::open(place, level).setUpgraders({}); }));
    }
    EXPECT_EQ("InvalidSettingOrGroupName",
              failureOf([&] { SettingsFileManager::create(file, "user", false, std::string(300, 'n')); }));
}

TEST_F(FileManager, TheReleaseThatWroteTheFile) {
    made().save();
    {
        auto package = opc::model::Package::open(file, opc::model::Access::readWrite);
        opc::qfservices::CorePropertiesManager properties(package);
        auto older = properties.getCoreProperties();
        older.version = "R2023b";
        properties.setCoreProperties(older);
        package.close();
    }
    auto manager = SettingsFileManager::open(file, "factory");
    EXPECT_EQ("R2023b", manager.getFileReleaseVersion());
    fontOf(manager)->set("size", 14.0, "factory");
    manager.save();
    EXPECT_EQ("R2025a", manager.getFileReleaseVersion());
    EXPECT_EQ("R2025a", SettingsFileManager::open(file, "factory").getFileReleaseVersion());
}

TEST_F(InstallationLevel, IsCreatedThenUpdated) {
    FileLogLines log;
    auto first = SettingsFileManager::createOrUpdateInstallationFile({}, "editor");
    EXPECT_EQ(std::vector<std::string>(), log.take("Cannot read")); // that there is none is no fault
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
    SettingsFileManager::create(folder / "site/editor.vksettings", "installation", false, "other").save();
    EXPECT_EQ("ErrorReadingSettingsData",
              failureOf([] { SettingsFileManager::createOrUpdateInstallationFile(u"site", "editor"); }));
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
