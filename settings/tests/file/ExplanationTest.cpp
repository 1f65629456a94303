// What tools ask of a tree: everything about one setting, and how its last save ended.

#include "settingscore/SettingExplanation.hpp"

#include "settingscore/FactoryFileLocation.hpp"
#include "settingscore/SaveReport.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/factoryfile/FactoryFileGenerator.hpp"
#include "settingscore/settings/root/TreeBuilder.hpp"
#include "support/Definitions.hpp"
#include "support/FileTree.hpp"

#include <gtest/gtest.h>

namespace {

using namespace settings::core;
using namespace settings::test;

/// A tree as applications have it: from the location file, over the level folders of this process.
struct Explanation : testing::Test {
    Explanation() {
        varnek::settings::FactoryFileGenerator::fromText(R"({
            "groupName": "explained",
            "settings": [
                {"name": "size", "value": {"qfdata": 12, "qftype": "int32"},
                 "attributes": {"title": "Size", "description": "In points."},
                 "settingValueValidator": {"MustBeInteger": true, "isVector": false, "MinValue": 6, "MaxValue": 72}},
                {"name": "old", "visible": false, "attributes": {"aliasName": "explained.size", "title": "Old"}},
                {"name": "older", "attributes": {"aliasName": "explained.old"}},
                {"name": "lost", "value": 1, "attributes": {"aliasName": "explained.nothing"}},
                {"name": "fixed", "value": [1, 2], "readonly": true},
                {"name": "computed", "language": "C", "packageName": "lib", "runtimeDefaultFcn": "make",
                 "validationFcn": "VARNEK:pack:check"}
            ]})",
                                                         "explained.json")
            .write(folder / "explained.vksettings");
        copy = installFactoryFile(folder / "explained.vksettings", folder.path(), false);
        built = detail::buildTree(DefaultRootIndex(), folder.path());
        group = built->root->getThisObject()->getChild("explained");
        userFile = built->files->fileOf("explained", LevelIndex::user);
        installationFile = built->files->fileOf("explained", LevelIndex::installation);
    }
    ~Explanation() override {
        waitForSettingsSaves();
        std::filesystem::remove(userFile);
        std::filesystem::remove(installationFile);
    }
    /// The setting itself, also where it is an alias.
    SettingExplanation explained(const std::string& name) const {
        for (const Handle& child : group->getChildren())
            if (child->getName() == name)
                return explain(*child);
        throw std::out_of_range(name);
    }

    TempFolder folder;
    std::filesystem::path copy, userFile, installationFile;
    boost::shared_ptr<detail::SettingsRootStateMgr> built;
    Handle group;
};

TEST_F(Explanation, LevelsInOrderWithValueFileAndWinner) {
    const auto summary = [&] {
        waitForSettingsSaves();
        std::string text;
        for (const LevelExplanation& level : explained("size").levels)
            text += level.level + (level.wins ? "*" : "") +
                    (level.value.isVoid() ? "" : "=" + std::to_string(level.value.element<std::int32_t>())) +
                    (level.isVector ? "v" : "") + (level.fileExists ? "f " : " ");
        return text;
    };
    EXPECT_EQ("session user installation factory*=12f ", summary());
    group->set("size", std::int32_t{20}, "installation");
    EXPECT_EQ("session user installation*=20f factory=12f ", summary());
    group->set("size", std::vector<int>{14}, "user");
    EXPECT_EQ("session user*=14vf installation=20f factory=12f ", summary());
    group->set("size", std::int32_t{9}, "session");
    EXPECT_EQ("session*=9 user=14vf installation=20f factory=12f ", summary());
    const auto e = explained("size");
    EXPECT_EQ("", e.levels[0].file);
    EXPECT_EQ(userFile.string(), e.levels[1].file);
    EXPECT_EQ(installationFile.string(), e.levels[2].file);
    EXPECT_EQ(copy.string(), e.levels[3].file);
}

TEST_F(Explanation, FlagsTextsAndFunctions) {
    const auto size = explained("size");
    EXPECT_EQ("explained.size", size.fullName);
    EXPECT_EQ("factory", size.originLevel);
    EXPECT_EQ("Size", size.title);
    EXPECT_EQ("In points.", size.description);
    EXPECT_TRUE(size.visible);
    EXPECT_FALSE(size.readOnly);
    ASSERT_EQ(1U, size.validators.size());
    EXPECT_NE(std::string::npos, size.validators[0].find("72")) << size.validators[0];
    EXPECT_EQ("", size.validationFunction + size.runTimeDefault + size.aliasOf);
    const auto fixed = explained("fixed");
    EXPECT_TRUE(fixed.readOnly);
    EXPECT_TRUE(fixed.levels[3].isVector);
    EXPECT_TRUE(fixed.validators.empty());
    const auto computed = explained("computed");
    EXPECT_EQ("VARNEK pack.check", computed.validationFunction);
    EXPECT_EQ("C lib.make", computed.runTimeDefault);
    group->addSetting("mine", Array::scalar(1.0), true, false, "user");
    EXPECT_EQ("user", explained("mine").originLevel);
    EXPECT_EQ("NotAKeyName", failureOf([&] { explain(*group); }));
}

TEST_F(Explanation, AnAliasIsExplainedByWhatItStandsFor) {
    group->set("old", std::int32_t{15}, "user");
    const auto old = explained("old");
    EXPECT_EQ("explained.old", old.fullName);
    EXPECT_EQ("explained.size", old.aliasOf);
    EXPECT_EQ("Old", old.title);
    EXPECT_EQ("In points.", old.description) << "its own texts first";
    EXPECT_FALSE(old.visible) << "its own flag";
    EXPECT_EQ(1U, old.validators.size());
    EXPECT_TRUE(old.levels[1].wins);
    EXPECT_EQ(Array::scalar(std::int32_t{15}), old.levels[1].value);
    EXPECT_EQ(userFile.string(), old.levels[1].file);
    // One step only, as reading does.
    EXPECT_EQ("explained.old", explained("older").aliasOf);
    EXPECT_TRUE(group->get("older").isVoid());
    EXPECT_FALSE(explained("older").levels[1].wins);
    // Without destination it stands for itself.
    EXPECT_EQ("explained.nothing", explained("lost").aliasOf);
    EXPECT_TRUE(explained("lost").levels[3].wins);
}

TEST_F(Explanation, ARunTimeDefaultIsTheFactoryValueAsReadersSeeIt) {
    const CRunTimeDefault seven("tests", "seven", [] { return Array::scalar(7.0); });
    TestTree::setting(group, "given", definitionOf({}, {}, seven));
    TestTree::setting(group, "also", {}, ReadOnlyState::inherited, "explained.given");
    for (const char* name : {"given", "also"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(7.0, group->get<double>(name));
        const LevelExplanation factory = explained(name).levels[3];
        EXPECT_EQ(Array::scalar(7.0), factory.value);
        EXPECT_FALSE(factory.isVector);
        EXPECT_TRUE(factory.wins);
    }
    group->set("given", 8.0, "session");
    EXPECT_TRUE(explained("given").levels[0].wins);
    EXPECT_EQ(Array::scalar(7.0), explained("given").levels[3].value);
    EXPECT_FALSE(explained("given").levels[3].wins);
    EXPECT_TRUE(explained("computed").levels[3].value.isVoid()) << "its library is not there";
    EXPECT_FALSE(explained("computed").levels[3].wins);
}

TEST_F(Explanation, TheLastSaveSaysWhetherTheValueIsOnDisk) {
    EXPECT_TRUE(lastSave(*group, "user").isOnDisk);
    EXPECT_EQ("none", lastSave(*group, "user").outcome);
    group->set("size", std::int32_t{15}, "user");
    const SaveReport saved = awaitSave(*group->getChild("size"), "user");
    EXPECT_TRUE(saved.isOnDisk);
    EXPECT_EQ(userFile.string(), saved.file);
    EXPECT_EQ("saved", saved.outcome);
    {
        const NoRoomForFiles full;
        group->set("size", std::int32_t{16}, "user");
        const SaveReport failed = awaitSave(*group, "user");
        EXPECT_FALSE(failed.isOnDisk);
        EXPECT_EQ("failed", failed.outcome);
        EXPECT_NE("", failed.message);
    }
    group->set("size", std::int32_t{17}, "user");
    EXPECT_TRUE(awaitSave(*group, "user").isOnDisk);
    group->set("size", std::int32_t{18}, "session");
    EXPECT_EQ("", lastSave(*group, "session").file);
    EXPECT_EQ("UnSupportedLevel", failureOf([&] { lastSave(*group, "none"); }));
    EXPECT_EQ("UnSupportedLevel", failureOf([&] { awaitSave(*group, "none"); }));
}

} // namespace
