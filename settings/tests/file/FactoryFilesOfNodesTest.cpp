// Factory files that are written from nodes outside any tree, and those that come into a tree in use.

#include "support/Definitions.hpp"
#include "support/FileTree.hpp"

#include "settingscore/MSettings.hpp"
#include "settingscore/SettingsFileManager.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/file/TreeLoader.hpp"
#include "settingscore/settings/root/RootStates.hpp"
#include "varnek/files/PathText.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

using namespace settings::core;
using namespace settings::test;
using settings::core::detail::UpgraderRecord;
using varnek::files::utf16FromPath;
using MHandle = boost::shared_ptr<MSettings>;

const std::vector<UpgraderRecord> released = {{u"R2024b", {{"remove", {"editor.c"}, {}}}}};
const std::vector<UpgraderRecord> extended = {released.front(), {u"R2025a", {{"remove", {"editor.d"}, {}}}}};

struct NodesAndFiles : testing::Test {
    NodesAndFiles() {
        MSettings::setSettingsFileLocation(index, boost::none, place("installation"), place("user"),
                                           boost::none);
        EXPECT_TRUE(MSettings::createEmptySettingsFor(index));
        root = MSettings::getMSettingsRoot(index);
    }
    ~NodesAndFiles() override {
        settings::core::detail::RootStates::instance().erase(index.index());
        const std::u16string none;
        MSettings::setSettingsFileLocation(index, none, none, none, none);
    }
    std::u16string place(const std::string& name) const {
        std::filesystem::create_directories(folder / name);
        return utf16FromPath(folder / name);
    }
    static MHandle apart() {
        const MHandle group = MSettings::createSettingsNode("editor", false);
        group->createFactorySetting("width", false, definitionOf(Array::scalar(80.0)));
        return group;
    }
    Handle addedToTheTree() const {
        const Handle group = root->addGroup("mine", true, false, "user");
        group->addSetting("s", Array::scalar(4.0), true, false, "user");
        return group;
    }
    std::u16string path16(const char* name) const { return utf16FromPath(folder / name); }
    std::vector<UpgraderRecord> upgradersIn(const std::filesystem::path& factoryFile) const {
        return SettingsFileManager::open(factoryFile, "factory").getUpgraders();
    }

    TempFolder folder;
    std::filesystem::path file = folder / "editor.vksettings";
    const std::u16string path = utf16FromPath(file);
    const RootIndex index{13, true, false};
    MHandle root;
};

TEST_F(NodesAndFiles, AFactoryFileOfANodeApart) {
    Settings::createFactorySettingsFile(apart(), path, 4000000000U);
    auto content = settings::core::detail::readSettingsFile(file, settings::core::detail::FileUse::factory);
    EXPECT_EQ(1U, content.tree.settings.size());
    const auto loaded = settings::core::detail::buildTree(std::move(content.tree), {});
    EXPECT_EQ(4000000000U, *loaded->getVersionNumber());
    EXPECT_TRUE(loaded->attributes().empty());
    EXPECT_EQ(80.0, loaded->get("width", "factory").element<double>());

    // Read and written again it keeps its number; a node without one says nothing.
    auto manager = SettingsFileManager::open(file, "factory");
    EXPECT_EQ(4000000000U, *manager.getTopLevelNode()->getVersionNumber());
    manager.getTopLevelNode()->set("width", 90.0, "factory");
    manager.save();
    EXPECT_EQ(4000000000U, *SettingsFileManager::open(file, "factory").getTopLevelNode()->getVersionNumber());
    apart()->writeFactoryFile(path, released);
    EXPECT_FALSE(SettingsFileManager::open(file, "factory").getTopLevelNode()->getVersionNumber());
    EXPECT_EQ(released, upgradersIn(file));

    const std::string before = bytesOf(file);
    const MHandle inTree = MSettings::of(root->addGroup("editor", true, false, "user"));
    const auto refused = [&](const char* failure, const auto& write) {
        EXPECT_EQ(failure, failureOf(write));
        EXPECT_EQ(before, bytesOf(file));
    };
    refused("ErrorCreateFactoryFileFromATreeNode",
            [&] { Settings::createFactorySettingsFile(inTree, path, 1); });
    refused("ErrorCreateFactoryFileFromATreeNode", [&] { inTree->writeFactoryFile(path, {}); });
    refused("ErrorCreateFactoryFileFromATreeNode",
            [&] { Settings::createFactorySettingsFile(root, path, 1); });
    refused("invalid_argument", [&] { Settings::createFactorySettingsFile(nullptr, path, 1); });
    refused("NotANodeName",
            [&] { Settings::createFactorySettingsFile(apart()->getChild("width"), path, 1); });
    refused("SettingsFileNotWritten", [&] { Settings::createFactorySettingsFile(apart(), u"editor", 1); });
    ASSERT_EQ(0, ::chmod(file.c_str(), 0444));
    refused("ErrorSaveSettingsDueToFileIOError",
            [&] { Settings::createFactorySettingsFile(apart(), path, 1); });
}

TEST_F(NodesAndFiles, WhatWasAddedApartIsDefinedByTheFile) {
    const MHandle group = apart();
    group->addSetting("word", Array::text(u"x"), false, true, "user");
    const Handle sub = group->addGroup("sub", true, false, "user");
    sub->addSetting("number", Array::scalar(1.0), true, false, "user");
    sub->set("number", 2.0, "user");
    sub->set("number", 3.0, "session");
    sub->addSetting("bare", {}, true, false, "user");
    group->addGroup("now", true, false, "session")->addSetting("s", Array::scalar(1.0), true, false, "user");
    for (const bool isByHandle : {true, false}) {
        if (isByHandle)
            Settings::createFactorySettingsFile(group, path, 1);
        else
            group->writeFactoryFile(path, released);
        const auto manager = SettingsFileManager::open(file, "factory");
        const Handle read = manager.getTopLevelNode();
        EXPECT_EQ(80.0, read->get<double>("width", "factory"));
        EXPECT_EQ(u"x", read->get<std::u16string>("word", "factory"));
        EXPECT_FALSE(read->getChild("word")->isVisible());
        EXPECT_TRUE(read->getChild("word")->isReadOnly());
        EXPECT_EQ("factory", read->getChild("word")->getOriginLevel());
        ASSERT_TRUE(read->getChild("sub"));
        EXPECT_EQ(2.0, read->getChild("sub")->get<double>("number", "factory"));
        EXPECT_TRUE(read->getChild("sub")->getChild("bare"));
        EXPECT_FALSE(read->getChild("now")) << "for this session only";
    }
    // What an application reads from a file of values, too.
    Settings::exportSettings({addedToTheTree()}, path16("values.vksettings"), "user");
    Settings::createFactorySettingsFile(
        Settings::importAsStandaloneObject(path16("values.vksettings"), "user"), path16("defined.vksettings"),
        1);
    EXPECT_EQ(4.0, SettingsFileManager::open(folder / "defined.vksettings", "factory")
                       .getTopLevelNode()
                       ->get<double>("s", "factory"));
}

TEST_F(NodesAndFiles, AFactoryFileComesIntoATreeInUse) {
    apart()->writeFactoryFile(path, released);
    const auto folderPath = utf16FromPath(folder.path());
    const std::string before = bytesOf(file);
    {
        auto user = SettingsFileManager::create(folder / "user/editor.vksettings", "user", false, "");
        user.define(*SettingsFileManager::open(file, "factory").getTopLevelNode());
        user.getTopLevelNode()->set("width", 60.0, "user");
        MSettings::of(user.getTopLevelNode())->createFactorySetting("c", false, definitionOf({}));
        user.getTopLevelNode()->set("c", 5.0, "user");
        user.save();
    }
    const auto failure = [&](const MHandle& node, const std::u16string& name,
                             const std::vector<UpgraderRecord>& upgraders, const char* group) {
        return failureOf([&] { node->registerFactoryFile(name, folderPath, upgraders, false, group); });
    };
    EXPECT_THROW(apart()->registerFactoryFile(u"editor.vksettings", folderPath, {}, false, "editor"),
                 VARNEK::settings::core::SettingsLibraryNotInitialized);
    EXPECT_EQ("FileDoesNotExist", failure(root, u"none.vksettings", {}, "editor"));
    EXPECT_EQ("ErrorReadingSettingsData", failure(root, u"editor.vksettings", {}, "other"));
    EXPECT_EQ("invalid_argument", failure(root, u"editor.vksettings", {extended.back()}, "editor"));
    ASSERT_EQ(0, ::chmod(file.c_str(), 0444));
    EXPECT_EQ("ErrorSaveSettingsDueToFileIOError", failure(root, u"editor.vksettings", extended, "editor"));
    EXPECT_EQ(before, bytesOf(file));
    EXPECT_TRUE(root->getChildren().empty());

    Additions told;
    root->registerFactoryFile(u"editor.vksettings", folderPath, extended, true, "editor");
    EXPECT_EQ(std::vector<std::string>{"/editor"}, told.lines);
    EXPECT_EQ(extended, upgradersIn(file));
    const Handle editor = root->getChild("editor");
    EXPECT_EQ("factory", editor->getOriginLevel());
    EXPECT_EQ(80.0, editor->get<double>("width", "factory"));
    EXPECT_EQ(60.0, editor->get<double>("width"));
    editor->set("width", 70.0, "user"); // the tree's own files
    waitForSettingsSaves();
    const auto personal = SettingsFileManager::open(folder / "user/editor.vksettings", "user");
    EXPECT_EQ(70.0, personal.getTopLevelNode()->get<double>("width"));
    EXPECT_EQ(nullptr, personal.getTopLevelNode()->getChild("c")); // it has followed the upgraders
    EXPECT_EQ(2U, personal.getVersionRecord()->upgraderIndex);
    EXPECT_EQ("ProductNodeAlreadyExisted", failure(root, u"editor.vksettings", {}, ""));
}

/// The tree follows the upgraders that it is given, the file stays as it is.
TEST_F(NodesAndFiles, AFactoryFileThatComesWhileSavingIsOff) {
    apart()->writeFactoryFile(path, released);
    {
        auto user = SettingsFileManager::create(folder / "user/editor.vksettings", "user", false, "");
        MSettings::of(user.getTopLevelNode())->createFactorySetting("d", false, definitionOf({}));
        user.getTopLevelNode()->set("d", 5.0, "user");
        user.save();
    }
    const std::string before = bytesOf(file);
    ASSERT_EQ(0, ::chmod(file.c_str(), 0444));
    turnOffSettingsSaving();
    root->registerFactoryFile(u"editor.vksettings", utf16FromPath(folder.path()), extended, false, "editor");
    EXPECT_EQ(before, bytesOf(file));
    turnOnSettingsSaving();
    root->getChild("editor")->set("width", 70.0, "user");
    waitForSettingsSaves();
    const auto personal = SettingsFileManager::open(folder / "user/editor.vksettings", "user");
    EXPECT_EQ(nullptr, personal.getTopLevelNode()->getChild("d"));
    EXPECT_EQ(2U, personal.getVersionRecord()->upgraderIndex);
}

} // namespace
