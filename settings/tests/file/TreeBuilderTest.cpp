// A start of the process: the tree from the location file, with everything the level folders hold.

#include "settingscore/settings/root/TreeBuilder.hpp"
#include "settingscore/FactoryFileLocation.hpp"
#include "settingscore/Settings.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/factoryfile/FactoryFileGenerator.hpp"
#include "settingscore/root/PersonalUpgrade.hpp"
#include "settingscore/settings/level/LevelFolders.hpp"
#include "support/FileTree.hpp"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

using namespace settings::core;
using namespace settings::test;

struct Start : testing::Test {
    Start() {
        for (const char* name : variables) {
            before.emplace_back(::getenv(name));
            std::filesystem::create_directory(base / name);
            ::setenv(name, (base / name).c_str(), 1);
        }
        detail::forgetLevelFolders();
    }
    ~Start() override {
        for (std::size_t i = 0; i < before.size(); ++i)
            ::setenv(variables[i], before[i].c_str(), 1);
        detail::forgetLevelFolders();
    }

    void define(const std::string& group, const std::string& more = {}) const {
        const auto file = base / (group + ".vksettings");
        varnek::settings::FactoryFileGenerator::fromText(
            "{\"groupName\": \"" + group + "\", \"settings\": [{\"name\": \"x\", \"value\": 1}]" + more + "}",
            group)
            .write(file);
        installFactoryFile(file, base / "SETTINGS_FACTORYDIR", false);
    }
    using Tree = boost::shared_ptr<detail::SettingsRootStateMgr>;
    Tree start() const { return detail::buildTree(DefaultRootIndex(), base / "SETTINGS_FACTORYDIR"); }
    static Handle rootOf(const Tree& tree) { return tree->root->getThisObject(); }

    static constexpr const char* variables[] = {"SETTINGS_USERDIR", "SETTINGS_INSTALLATIONDIR",
                                                "SETTINGS_FACTORYDIR"};
    std::vector<std::string> before;
    TempFolder base;
};

TEST_F(Start, BringsBackTheValuesOfAllLevels) {
    define("editor");
    {
        const auto tree = start();
        rootOf(tree)->getChild("editor")->set("x", 2.0, "installation");
        rootOf(tree)->getChild("editor")->set("x", 3.0, "user");
        // A group that an administrator adds, with a setting that a user changes.
        const Handle site = rootOf(tree)->addGroup("site", true, false, "installation");
        site->addSetting("proxy", Array::scalar(1.0), true, false, "installation");
        site->set("proxy", 2.0, "user");
        rootOf(tree)->addGroup("mine", true, false, "user");
        waitForSettingsSaves();
    }
    const auto tree = start();
    const Handle editor = rootOf(tree)->getChild("editor");
    EXPECT_EQ(3.0, editor->get<double>("x"));
    EXPECT_EQ(2.0, editor->get<double>("x", "installation"));
    EXPECT_EQ(1.0, editor->get<double>("x", "factory"));
    const Handle site = rootOf(tree)->getChild("site");
    ASSERT_TRUE(site);
    EXPECT_EQ("installation", site->getOriginLevel());
    EXPECT_EQ(1.0, site->get<double>("proxy", "installation"));
    EXPECT_EQ(2.0, site->get<double>("proxy"));
    EXPECT_EQ("user", rootOf(tree)->getChild("mine")->getOriginLevel());
    EXPECT_TRUE(problemsOf(*tree).empty());
}

TEST_F(Start, BringsBackWhatTheInstallationHoldsForGroupsThatUsersAdded) {
    {
        const auto tree = start();
        const Handle mine = rootOf(tree)->addGroup("mine", true, false, "user");
        mine->addSetting("k", Array::scalar(1.0), true, false, "user");
        mine->set("k", 2.0, "installation");
        mine->unset("k", "user");
        mine->addSetting("site", Array::scalar(3.0), true, false, "installation");
        mine->set("site", 4.0, "user");
        waitForSettingsSaves();
    }
    for (int round = 0; round < 2; ++round) {
        const auto tree = start();
        const Handle mine = rootOf(tree)->getChild("mine");
        ASSERT_TRUE(mine);
        EXPECT_EQ(2.0, mine->get<double>("k"));
        ASSERT_TRUE(mine->getChild("site"));
        EXPECT_EQ("installation", mine->getChild("site")->getOriginLevel());
        EXPECT_EQ(3.0, mine->get<double>("site", "installation"));
        EXPECT_EQ(4.0, mine->get<double>("site"));
        mine->set("k", 5.0 + round, "user"); // what a save leaves is still complete
        mine->unset("k", "user");
        waitForSettingsSaves();
    }
}

TEST_F(Start, LeavesOutAFactoryFileThatCannotBeRead) {
    define("bad");
    define("good");
    const auto bad = base / "SETTINGS_FACTORYDIR/varnek/settings/factoryFiles/bad.vksettings";
    writeBytes(bad, "no package");
    FileLogLines log;
    const auto tree = start();
    EXPECT_EQ(1.0, rootOf(tree)->getChild("good")->get<double>("x"));
    EXPECT_TRUE(problemsOf(*tree).empty());
    const auto broken = rootOf(tree)->getChildren().front(); // it is declared
    EXPECT_EQ("bad", broken->getName());
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_EQ("PackageCannotBeOpened", failureOf([&] { rootOf(tree)->getChild("bad"); }));
        EXPECT_EQ("PackageCannotBeOpened", failureOf([&] { broken->get("x"); }));
    }
    const auto problems = problemsOf(*tree);
    ASSERT_EQ(1U, problems.size());
    EXPECT_EQ(bad.string(), problems[0].file);
    const auto lines = log.take("Cannot read settings factory file:");
    ASSERT_EQ(4U, lines.size()); // once for each that needed it
    EXPECT_EQ("Cannot read settings factory file:" + bad.string() +
                  "Exception caught: " + problems[0].message,
              lines[0]);
    // Mended, it can be had through the same handle.
    define("bad");
    EXPECT_EQ(1.0, broken->get<double>("x"));
    EXPECT_TRUE(problemsOf(*tree).empty());
}

/// What is to move into its group waits for a start at which it can be read.
TEST_F(Start, AFactoryFileThatCannotBeReadLosesNoValues) {
    define("editor");
    {
        const auto tree = start();
        rootOf(tree)->getChild("editor")->set("x", 3.0, "user");
        waitForSettingsSaves();
    }
    define("editor", R"(, "upgraders": [{"VersionLabel": "R2025a", "VersionChanges": [)"
                     R"({"Operation": "move", "Inputs": ["editor.x"], "Outputs": ["viewer.x"]}]}])");
    define("viewer");
    const auto viewer = base / "SETTINGS_FACTORYDIR/varnek/settings/factoryFiles/viewer.vksettings";
    const std::string sound = bytesOf(viewer);
    writeBytes(viewer, "no package");
    const auto preview = previewUpgrade("editor").results.preValidationExceptions;
    ASSERT_EQ(1U, preview.size());
    EXPECT_NE(std::string::npos, preview[0].exceptionLog.find("viewer"));
    start();
    waitForSettingsSaves();
    writeBytes(viewer, sound);
    const auto tree = start();
    EXPECT_EQ(3.0, rootOf(tree)->getChild("viewer")->get<double>("x", "user"));
    waitForSettingsSaves();
    EXPECT_FALSE(rootOf(start())->getChild("editor")->isSet("x", "user"));
}

} // namespace
