// The list of factory files: installing, reading, and the tree that is built from it.

#include "settingscore/FactoryFileLocation.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/factoryfile/FactoryFileGenerator.hpp"
#include "settingscore/settings/file/SettingsFileWriter.hpp"
#include "settingscore/settings/root/TreeBuilder.hpp"
#include "support/TempFolder.hpp"
#include "support/TestTree.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace settings::core;
using namespace settings::test;
using varnek::settings::FactoryFileGenerator;

const std::filesystem::path installed = "varnek/settings/factoryFiles";

struct FactoryFiles : testing::Test {
    /// A factory file of one group with one setting "x".
    std::filesystem::path build(const std::string& group, const std::string& file, int value = 1) const {
        std::filesystem::create_directories((source / file).parent_path());
        FactoryFileGenerator::fromText(
            "{\"groupName\": \"" + group +
                "\", \"settings\": [{\"name\": \"x\", \"value\": " + std::to_string(value) + "}]}",
            file)
            .write(source / file);
        return source / file;
    }
    std::filesystem::path install(const std::filesystem::path& file, bool hidden = false) const {
        return installFactoryFile(file, folder.path(), hidden);
    }
    std::vector<FactoryFileLocation> entries() const { return readFactoryFileLocations(folder.path()); }
    void writeLocations(const std::string& text) const {
        std::filesystem::create_directories(folder.path() / installed);
        writeBytes(locationFileOf(folder.path()), text);
    }
    auto tree() const { return detail::buildTree(DefaultRootIndex(), folder.path()); }

    TempFolder folder, source;
};

TEST_F(FactoryFiles, EachGroupHasAFileOfItsOwnWhateverTheInputIsCalled) {
    const auto alpha = install(build("alpha", "one/factory.vksettings"));
    const auto beta = install(build("beta", "two/factory.vksettings"), true);
    install(build("größe/x", "other.bin"));
    EXPECT_EQ(alpha, folder.path() / installed / "alpha.vksettings");
    EXPECT_EQ(bytesOf(alpha), bytesOf(source / "one/factory.vksettings"));
    EXPECT_EQ(bytesOf(beta), bytesOf(source / "two/factory.vksettings"));
    const std::vector<FactoryFileLocation> expected = {
        {"alpha", installed / "alpha.vksettings", false},
        {"beta", installed / "beta.vksettings", true},
        {"größe/x", installed / "gr%C3%B6%C3%9Fe%2Fx.vksettings", false}};
    EXPECT_EQ(entries(), expected);
    EXPECT_TRUE(problemsOf(*tree()).empty());
}

TEST_F(FactoryFiles, AGroupThatIsListedAlreadyIsReplacedUnderWhateverNameItStood) {
    writeLocations(R"([{"ToolboxGroupName": "alpha", "FactoryFileName": "old/a.vksettings", "Hidden": true},
                       {"ToolboxGroupName": "beta", "FactoryFileName": "b.vksettings"},
                       {"ToolboxGroupName": "alpha", "FactoryFileName": "/other/a.vksettings"}])");
    install(build("alpha", "first.vksettings", 1));
    const auto copy = install(build("alpha", "second.vksettings", 2));
    const std::vector<FactoryFileLocation> expected = {{"alpha", installed / "alpha.vksettings", false},
                                                       {"beta", "b.vksettings", false}};
    EXPECT_EQ(entries(), expected);
    EXPECT_EQ(bytesOf(copy), bytesOf(source / "second.vksettings"));
    EXPECT_EQ(install(copy), copy) << "from where it is already";
    EXPECT_EQ(entries(), expected);
}

TEST_F(FactoryFiles, WhatIsRefusedLeavesEverythingAsItWas) {
    const auto copy = install(build("alpha", "a.vksettings"));
    const std::string before = bytesOf(locationFileOf(folder.path()));
    const std::string definitions = bytesOf(copy);
    detail::SettingsFileContent values;
    values.tree.name = "alpha";
    detail::SettingsFileWriter::write(std::move(values), LevelIndex::user, source / "export.vksettings");
    writeBytes(source / "bad.vksettings", "no package");
    const struct {
        std::string failure;
        std::filesystem::path file;
    } table[] = {{"ProductNodeAlreadyExisted", build("Alpha", "case.vksettings")},
                 {"ErrorReadingSettingsData", source / "export.vksettings"}, // no definitions
                 {"PackageCannotBeOpened", source / "bad.vksettings"},
                 {"FileDoesNotExist", source / "none.vksettings"}};
    for (const auto& row : table) {
        EXPECT_EQ(failureOf([&] { install(row.file); }), row.failure) << row.file;
        EXPECT_EQ(bytesOf(locationFileOf(folder.path())), before);
        EXPECT_EQ(bytesOf(copy), definitions);
        EXPECT_EQ(namesIn(copy.parent_path()).size(), 2U);
    }
    // A file that is another group's is not taken over.
    writeLocations(R"([{"ToolboxGroupName": "beta",
                        "FactoryFileName": "varnek/settings/../settings/factoryFiles/alpha.vksettings"}])");
    EXPECT_EQ(failureOf([&] { install(source / "a.vksettings"); }), "SettingsFileNotWritten");
    EXPECT_EQ(entries().at(0).toolboxGroupName, "beta");
}

TEST_F(FactoryFiles, FailuresOfTheDiskAreThoseOfTheLibrary) {
    const auto file = build("alpha", "a.vksettings");
    writeBytes(folder / "plain", "");
    EXPECT_EQ(failureOf([&] { installFactoryFile(file, folder / "plain", false); }),
              "SettingsFileNotWritten");
    std::filesystem::create_directories(locationFileOf(folder.path())); // a folder in its place
    EXPECT_EQ(failureOf([&] { install(file); }), "ErrorReadingSettingsData");
    try {
        tree();
        FAIL();
    } catch (const exception::SettingsException& failure) {
        EXPECT_NE(std::string(failure.what()).find(locationFileOf(folder.path()).string()),
                  std::string::npos);
    }
    std::filesystem::remove(locationFileOf(folder.path()));
    const NoRoomForFiles full;
    EXPECT_EQ(failureOf([&] { install(file); }), "SettingsFileNotWritten");
    EXPECT_TRUE(entries().empty());
}

TEST_F(FactoryFiles, InstallingAtOnceLosesNothing) {
    constexpr int count = 8;
    std::vector<std::filesystem::path> files;
    for (int i = 0; i < count; ++i)
        files.push_back(build("group" + std::to_string(i), std::to_string(i) + ".vksettings"));
    {
        std::vector<std::jthread> threads;
        for (const auto& file : files)
            threads.emplace_back([&] { install(file); });
    }
    EXPECT_EQ(entries().size(), std::size_t{count});
    EXPECT_EQ(tree()->root->getThisObject()->getChildren().size(), std::size_t{count});
}

TEST_F(FactoryFiles, TheLocationFileIsReadStrictly) {
    EXPECT_TRUE(entries().empty()) << "no file, no entries";
    const struct {
        const char* text;
        const char* rule;
    } table[] = {
        {"", "the text ends too early, at byte 0 ($)"},
        {"{}", "it holds an array"},
        {"[5]", "every entry is an object"},
        {R"([{"ToolboxGroupName": "a"}])", "every entry needs the text \"FactoryFileName\""},
        {R"([{"ToolboxGroupName": "", "FactoryFileName": "a"}])",
         "every entry needs the text \"ToolboxGroupName\""},
        {R"([{"ToolboxGroupName": "a", "FactoryFileName": 1}])",
         "every entry needs the text \"FactoryFileName\""},
        {R"([{"ToolboxGroupName": "a", "FactoryFileName": "b", "Hidden": 1}])",
         "\"Hidden\" is true or false"},
    };
    for (const auto& row : table) {
        writeLocations(row.text);
        try {
            tree();
            ADD_FAILURE() << row.text;
        } catch (const exception::SettingsException& failure) {
            EXPECT_EQ("factoryFileLocation.json is not properly formatted: " +
                          locationFileOf(folder.path()).string() + ": " + row.rule,
                      failure.what());
            EXPECT_NE(dynamic_cast<const MalformedLocationFile*>(failure.clone().get()), nullptr);
        }
    }
}

TEST_F(FactoryFiles, TheTreeHasTheGroupsOfTheList) {
    const auto absolute = build("absolute", "elsewhere.vksettings");
    std::filesystem::copy_file(build("relative", "r.vksettings"), folder / "r.vksettings");
    std::filesystem::copy_file(build("hidden", "h.vksettings"), folder / "h.vksettings");
    std::filesystem::copy_file(build("Other", "o.vksettings"), folder / "o.vksettings");
    writeLocations(R"([{"ToolboxGroupName": "relative", "FactoryFileName": "r.vksettings"},
                       {"ToolboxGroupName": "hidden", "FactoryFileName": "h.vksettings", "Hidden": true},
                       {"ToolboxGroupName": "named", "FactoryFileName": "o.vksettings"},
                       {"ToolboxGroupName": "missing", "FactoryFileName": "m.vksettings"},
                       {"ToolboxGroupName": "absolute", "FactoryFileName": ")" +
                   absolute.string() + "\"}]");
    const auto built = tree();
    const Handle root = built->root->getThisObject();
    std::string groups;
    for (const Handle& group : root->getChildren())
        groups += group->getName() + (group->isVisible() ? " " : "(hidden) ");
    EXPECT_EQ(groups, "absolute hidden(hidden) missing named relative ");
    EXPECT_TRUE(root->getChild("relative")->getChild("x"));
    EXPECT_TRUE(problemsOf(*built).empty()); // of groups that nobody has needed nothing is known
    const auto other = (folder / "o.vksettings").string(), missing = (folder / "m.vksettings").string();
    EXPECT_EQ(failureOf([&] { root->getChild("named"); }), "ErrorReadingSettingsData");
    EXPECT_EQ(failureOf([&] { root->getChild("missing"); }), "FileDoesNotExist");
    const auto problems = problemsOf(*built);
    ASSERT_EQ(problems.size(), 2U);
    EXPECT_EQ(problems[0].file, missing);
    EXPECT_EQ(problems[1].file, other);
    EXPECT_NE(problems[1].message.find("holds the definitions of \"Other\", not of \"named\""),
              std::string::npos)
        << problems[1].message;
}

} // namespace
