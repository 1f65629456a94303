// Files that users hand to each other, and single values that are read before there is a tree.

#include "support/FileTree.hpp"

#include "settingscore/SettingsFileManager.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/file/FileFault.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/file/SettingsFileWriter.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/settingsImpl.hpp"
#include "varnek/files/PathText.hpp"

#include <gtest/gtest.h>

namespace {

using namespace settings::test;
using namespace settings::core::detail;
using settings::core::Settings;
using ConstHandles = std::vector<boost::shared_ptr<const Settings>>;

/// "g" with "a", "font.size", "font.name", "font.glyph.shape", each with a user value.
struct ExportImport : testing::Test {
    ExportImport() {
        g = define(tree);
        g->set("a", 1.0, "user");
        font->set("size", 2.0, "user");
        font->set("name", std::u16string(u"mono"), "user");
        font->getChild("glyph")->set("shape", std::vector<double>{3.0}, "user");
        g->set("a", 9.0, "installation");
    }
    Handle define(const FileTree& in) {
        const Handle group = in.group("g");
        TestTree::setting(group, "a", Array::scalar(0.0));
        font = TestTree::childGroup(group, "font");
        TestTree::setting(font, "size");
        TestTree::setting(font, "name");
        TestTree::setting(TestTree::childGroup(font, "glyph"), "shape");
        in.load(group);
        return group;
    }
    std::u16string path(std::string_view name) const { return varnek::files::utf16FromPath(folder / name); }
    Handle import(std::string_view name, std::string_view level = "user") const {
        return Settings::importAsStandaloneObject(path(name), level);
    }

    TempFolder folder;
    FileTree tree{folder.path()};
    Handle font;
    Handle g;
};

TEST_F(ExportImport, AWholeProductAndBack) {
    Settings::exportSettings({g}, path("all.vksettings"), "user");
    const Handle imported = import("all.vksettings");
    EXPECT_EQ("g", imported->getName());
    EXPECT_FALSE(imported->isConnectedToTheSettingsTree());
    EXPECT_EQ(1.0, imported->get<double>("a", "user"));
    EXPECT_FALSE(imported->isSet("a", "installation"));
    EXPECT_EQ("factory", imported->getChild("a")->getOriginLevel());

    TempFolder elsewhere;
    const FileTree other(elsewhere.path());
    const Handle target = define(other);
    target->mergeDescendants(imported, "user");
    EXPECT_EQ(1.0, target->get<double>("a", "user"));
    EXPECT_EQ(u"mono", target->getChild("font")->get<std::u16string>("name"));
    const auto shape = target->getChild("font")->getChild("glyph")->getAny("shape");
    EXPECT_EQ(typeid(std::vector<double>), shape.type()); // the vector flag came along
    EXPECT_EQ(SaveOutcome::saved, other.status("g").saved);
}

TEST_F(ExportImport, SeveralNodesOfOneProductInOnePackage) {
    const ConstHandles nodes = {font->getChild("size"), font->getChild("glyph"), font->getChild("size")};
    Settings::exportSettings(nodes, path("some.vksettings"), "user");
    const Handle imported = import("some.vksettings", "session");
    EXPECT_FALSE(imported->getChild("a"));
    const Handle theirs = imported->getChild("font");
    EXPECT_EQ(2.0, theirs->get<double>("size", "session"));
    EXPECT_FALSE(theirs->getChild("name"));
    EXPECT_TRUE(theirs->getChild("glyph")->isSet("shape", "session"));
    // A group and one of its settings: the whole group.
    Settings::exportSettings({font->getChild("size"), font}, path("some.vksettings"), "user");
    EXPECT_TRUE(import("some.vksettings")->getChild("font")->isSet("name", "user"));
    // The level is the one asked for.
    Settings::exportSettings({g->getChild("a")}, path("other.vksettings"), "installation");
    EXPECT_EQ(9.0, import("other.vksettings", "installation")->get<double>("a", "installation"));
}

TEST_F(ExportImport, GroupsOfThisSessionAreLeftOut) {
    const Handle passing = g->addGroup("passing", true, false, "session");
    const Handle setting = passing->addSetting("x", Array::scalar(1.0), true, false, "user");
    Settings::exportSettings({g->getChild("a"), setting, passing}, path("x.vksettings"), "user");
    EXPECT_TRUE(import("x.vksettings")->isSet("a", "user"));
    EXPECT_FALSE(import("x.vksettings")->getChild("passing"));
}

/// Definitions go with what personal files of earlier releases have to follow.
TEST_F(ExportImport, AFactoryFile) {
    const std::vector<UpgraderRecord> upgraders = {{u"R2024b", {{"remove", {"g.b"}, {}}}}};
    auto released =
        settings::core::SettingsFileManager::create(folder / "r.vksettings", "factory", false, "g");
    released.setUpgraders(upgraders);
    released.save();
    auto& node = dynamic_cast<SettingsImpl&>(*SettingsAccess::node(*g));
    node.setFactoryFile((folder / "r.vksettings").string());
    Settings::exportSettings({g->getChild("a")}, path("f.vksettings"), "factory");
    const auto content = readSettingsFile(folder / "f.vksettings", FileUse::factory);
    EXPECT_EQ(upgraders, content.upgraders);
    ASSERT_EQ(1U, content.tree.settings.size());
    EXPECT_EQ(Array::scalar(0.0), content.tree.settings.front().value.first);
    Settings::exportSettings({g->getChild("a")}, path("u.vksettings"), "user");
    EXPECT_TRUE(readSettingsFile(folder / "u.vksettings", FileUse::level).upgraders.empty());
    std::filesystem::remove(folder / "r.vksettings");
    EXPECT_EQ("FileDoesNotExist", failureOf([&] {
                  Settings::exportSettings({g->getChild("a")}, path("f.vksettings"), "factory");
              }));
    node.setFactoryFile({}); // defined in a program
    Settings::exportSettings({g->getChild("a")}, path("f.vksettings"), "factory");
    EXPECT_TRUE(readSettingsFile(folder / "f.vksettings", FileUse::factory).upgraders.empty());
}

TEST_F(ExportImport, TheChecksOfExportInTheirOrder) {
    const Handle alone = standaloneGroup("alone");
    const Handle other = tree.group("other");
    const auto failure = [&](const ConstHandles& nodes, const std::u16string& to, const char* level) {
        return failureOf([&] { Settings::exportSettings(nodes, to, level); });
    };
    const std::u16string file = path("x.vksettings");
    EXPECT_EQ("ErrorExportOrImportSettingsUsingRelativePath", failure({tree.root}, u"x.vksettings", "none"));
    EXPECT_EQ("CannotExportSettingsRoot", failure({alone, tree.root, other}, file, "none"));
    EXPECT_EQ("CannotExportStandaloneSettings", failure({g, other, alone}, file, "none"));
    EXPECT_EQ("ErrorExportMultipleNodesBelongsToDiffProducts", failure({font, other}, file, "none"));
    EXPECT_EQ("UnSupportedLevel", failure({font}, file, "none"));
    EXPECT_EQ("invalid_argument", failure({}, file, "user"));
    EXPECT_EQ("invalid_argument", failure({font, nullptr}, file, "user"));
    EXPECT_EQ("SettingsFileNotWritten", failure({font}, path("missing/x.vksettings"), "user"));
    EXPECT_FALSE(std::filesystem::exists(folder / "x.vksettings"));
    try {
        Settings::exportSettings({font, other}, file, "user");
    } catch (const settings::core::exception::ErrorExportMultipleNodesBelongsToDiffProducts& products) {
        EXPECT_EQ(u"g", products.getProduct1Name());
        EXPECT_EQ(u"other", products.getProduct2Name());
    }
}

TEST_F(ExportImport, NothingButSettingsIsReplaced) {
    const auto exportTo = [&](const char* name) {
        return failureOf([&] { Settings::exportSettings({font}, path(name), "user"); });
    };
    writeBytes(folder / "notes", "mine");
    EXPECT_EQ("SettingsFileNotWritten", exportTo("notes"));
    EXPECT_EQ("mine", bytesOf(folder / "notes"));
    Settings::exportSettings({font}, path("package"), "user");
    deletePart(folder / "package", topPart); // a package of another kind
    const std::string package = bytesOf(folder / "package");
    EXPECT_EQ("SettingsFileNotWritten", exportTo("package"));
    EXPECT_EQ(package, bytesOf(folder / "package"));
    writeBytes(folder / "empty", "");
    Settings::exportSettings({font}, path("empty"), "user");
    Settings::exportSettings({g}, path("empty"), "user");
    EXPECT_TRUE(import("empty")->isSet("a", "user"));
}

TEST_F(ExportImport, TheFileOfAnotherGroupIsNotReplaced) {
    const Handle other = tree.group("other");
    TestTree::setting(other, "x", Array::scalar(0.0));
    other->set("x", 1.0, "user");
    const std::string before = bytesOf(tree.file("other"));
    try {
        Settings::exportSettings({g}, varnek::files::utf16FromPath(tree.file("other")), "user");
        FAIL();
    } catch (const settings::core::exception::SettingsFileNotWritten& refused) {
        EXPECT_NE(std::string::npos, std::string(refused.what()).find("holds the settings of \"other\""))
            << refused.what();
    }
    EXPECT_EQ(before, bytesOf(tree.file("other")));
    // A group that does not say its name is that of the file's.
    std::filesystem::copy_file(tree.file("g"), folder / "other.vksettings");
    putPart(folder / "other.vksettings", topPart, "{\"settings\":[]}");
    const auto exportTo = [&](const Handle& group) {
        return failureOf([&] { Settings::exportSettings({group}, path("other.vksettings"), "user"); });
    };
    EXPECT_EQ("SettingsFileNotWritten", exportTo(g));
    EXPECT_EQ("", exportTo(other));
    putPart(folder / "other.vksettings", topPart, "{\"settings\":3}"); // whose it is cannot be told
    EXPECT_EQ("SettingsFileNotWritten", exportTo(other));
}

/// They hold more than an export does.
TEST_F(ExportImport, TheTreesOwnFilesAreNotReplaced) {
    const std::filesystem::path user = tree.file("g"), linked = folder / "linked.vksettings";
    std::filesystem::create_hard_link(user, linked);
    const std::string before = bytesOf(user);
    g->set("a", 5.0, "session");
    for (const auto& file :
         {user, linked, user.parent_path() / "." / user.filename(), tree.file("g", LevelIndex::installation)})
        EXPECT_EQ("SettingsFileNotWritten", failureOf([&] {
                      Settings::exportSettings({g}, varnek::files::utf16FromPath(file), "session");
                  }))
            << file;
    EXPECT_EQ(before, bytesOf(user));
}

TEST_F(ExportImport, PlainNumbersThatADoubleDoesNotHoldAreRefused) {
    Settings::exportSettings({g}, path("x.vksettings"), "user");
    const auto read = [&](const std::string& value) {
        putPart(folder / "x.vksettings", topPart,
                R"({"groupName":"g","settings":[{"name":"a","value":)" + value + "}]}");
        return failureOf([&] { import("x.vksettings"); });
    };
    EXPECT_EQ("", read("9007199254740992"));
    EXPECT_EQ("", read("[-18446744073709549568]"));
    EXPECT_EQ("ErrorReadingSettingsData", read("9007199254740993"));
    EXPECT_EQ("ErrorReadingSettingsData", read("[[1],[18446744073709551615]]"));
    try {
        import("x.vksettings");
    } catch (const settings::core::exception::ErrorReadingSettingsData& refused) {
        EXPECT_EQ(ReadError::numberRange, refused.getErrorCode());
        EXPECT_NE(std::string::npos, std::string(refused.what()).find("$.settings[0].value[1][0]: "))
            << refused.what();
    }
}

TEST_F(ExportImport, TheChecksOfImportInTheirOrder) {
    const auto failure = [](const std::u16string& from, const char* level) {
        return failureOf([&] { Settings::importAsStandaloneObject(from, level); });
    };
    EXPECT_EQ("ErrorExportOrImportSettingsUsingRelativePath", failure(u"x.vksettings", "none"));
    EXPECT_EQ("FileDoesNotExist", failure(path("x.vksettings"), "none"));
    writeBytes(folder / "x.vksettings", "no package");
    EXPECT_EQ("UnSupportedLevel", failure(path("x.vksettings"), "none"));
    EXPECT_EQ("PackageCannotBeOpened", failure(path("x.vksettings"), "user"));
    try {
        import("x.vksettings");
    } catch (const settings::core::exception::PackageCannotBeOpened& refused) {
        const std::string file = (folder / "x.vksettings").string();
        EXPECT_EQ(0U,
                  std::string(refused.what()).find("Failed to open OPC Package; Error: \"" + file + "\": "));
    }
    std::filesystem::remove(folder / "x.vksettings");
    Settings::exportSettings({g}, path("x.vksettings"), "user");
    putPart(folder / "x.vksettings", topPart, "{\"settings\":3}");
    EXPECT_EQ("ErrorReadingSettingsData", failure(path("x.vksettings"), "user"));
}

TEST_F(ExportImport, StartUpSettings) {
    const std::u16string file = varnek::files::utf16FromPath(tree.file("g"));
    const auto read = [&](const char* group, const char* name) {
        return Settings::getStartupSetting(file, group, name, "user");
    };
    EXPECT_EQ(Array::scalar(1.0), read("g", "a"));
    EXPECT_EQ(Array::text(u"mono"), read("g.font", "name"));
    EXPECT_EQ(Array::scalar(3.0), read("g.font.glyph", "shape"));
    EXPECT_TRUE(read("g", "missing").isVoid());
    EXPECT_TRUE(read("g.missing", "a").isVoid());
    const Handle dotted = g->addGroup("x.y", true, false, "user")->addGroup("z", true, false, "user");
    dotted->addSetting("s", Array::scalar(5.0), true, false, "user");
    g->addGroup("x", true, false, "user")->addGroup("w", true, false, "user");
    EXPECT_EQ(Array::scalar(5.0), read("g.x.y.z", "s"));
    EXPECT_TRUE(read("g.x.z", "s").isVoid());
    EXPECT_TRUE(read("h", "a").isVoid());
    EXPECT_EQ("UnSupportedLevel", failureOf([&] { Settings::getStartupSetting(file, "g", "a", "none"); }));
    EXPECT_EQ("FileDoesNotExist",
              failureOf([&] { Settings::getStartupSetting(path("none"), "g", "a", "user"); }));
    putPart(tree.file("g"), topPart, "[");
    EXPECT_EQ("ErrorReadingSettingsData", failureOf([&] { read("g", "a"); }));
    writeBytes(tree.file("g"), "x");
    EXPECT_EQ("PackageCannotBeOpened", failureOf([&] { read("g", "a"); }));
    Settings::removeStartupSettings(file);
    EXPECT_FALSE(std::filesystem::exists(tree.file("g")));
    Settings::removeStartupSettings(file);
}

} // namespace
