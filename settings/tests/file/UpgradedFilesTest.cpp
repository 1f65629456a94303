// Personal files of older releases that are loaded into a tree: what is used, what is saved, what is kept.

#include "settingscore/SettingsSaving.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/upgrade/KeptFile.hpp"
#include "settingscore/settings/upgrade/LogFileAccess.hpp"
#include "settingscore/settings/upgrade/UserSettingsUpgrade.hpp"
#include "settingscore/upgrade/SettingsRenames.hpp"
#include "support/FileTree.hpp"
#include "support/LogLines.hpp"

#include <gtest/gtest.h>

#include <thread>

namespace {

using namespace settings::core;
using namespace settings::core::detail;
using namespace settings::test;
using Lines = std::vector<std::string>;
using Names = std::vector<std::string>;
using Upgraders = std::vector<UpgraderRecord>;

ChangeRecord move(const std::string& from, const std::string& to) {
    return {"move", {from}, {to}};
}
ChangeRecord removal(const std::string& path) {
    return {"remove", {path}, {}};
}

/// A group as one release defines it.
struct Product {
    std::string name;
    Names settings; // "font.size" stands in the group "font"
    Upgraders upgraders{};
    bool isInTree = true; // false: known, but not added yet
};

struct UpgradedFiles : testing::Test {
    struct Start : FileTree {
        explicit Start(const std::filesystem::path& base) : FileTree(base) {}
        std::shared_ptr<UserSettingsUpgrade> upgrade = std::make_shared<UserSettingsUpgrade>();
    };

    /// A start of the application with these products; they are loaded in that order.
    Start start(const std::vector<Product>& products) const {
        Start tree(folder.path());
        tree.keeper->setUpgrade(tree.upgrade);
        for (const Product& product : products) {
            tree.upgrade->setFactoryChanges(product.name, product.upgraders);
            if (!product.isInTree)
                continue;
            const Handle group = tree.group(product.name);
            for (const std::string& name : product.settings)
                define(group, name);
        }
        for (const Product& product : products)
            if (product.isInTree)
                tree.load(tree.root->getChild(product.name));
        return tree;
    }
    static void define(Handle group, std::string name) {
        for (std::size_t dot = 0; (dot = name.find('.')) != std::string::npos; name.erase(0, dot + 1)) {
            const std::string below = name.substr(0, dot);
            const Handle child = group->getChild(below);
            group = child == nullptr ? TestTree::childGroup(group, below) : child;
        }
        TestTree::setting(group, name, Array::scalar(0.0));
    }
    /// Sets the settings of a product to 1, 2, ... by an earlier release that defines them.
    void use(const Product& product) const {
        const Start tree = start({product});
        double value = 0;
        for (const std::string& name : product.settings) {
            const std::size_t dot = name.rfind('.');
            const std::string path =
                product.name + (dot == std::string::npos ? "" : "." + name.substr(0, dot));
            tree.root->getSettingsByFullName(path)->set(name.substr(dot + 1), ++value, "user");
        }
    }
    /// The personal value; "-" for none.
    static std::string valueOf(const FileTree& tree, const std::string& fullName) {
        const std::size_t dot = fullName.rfind('.');
        const Handle group = tree.root->getSettingsByFullName(fullName.substr(0, dot));
        const std::string name = fullName.substr(dot + 1);
        return group->isSet(name, "user") ? std::to_string(static_cast<int>(group->get<double>(name, "user")))
                                          : "-";
    }
    static std::string valuesOf(const FileTree& tree, const Names& names) {
        std::string text;
        for (const std::string& name : names)
            text += (text.empty() ? "" : " ") + valueOf(tree, name);
        return text;
    }
    std::filesystem::path file(const std::string& group) const {
        return folder / "user" / (group + ".vksettings");
    }
    /// "(1, 2) R2025a"; "none".
    std::string recordIn(const std::string& group) const {
        const Names parts = partsOf(file(group));
        if (std::find(parts.begin(), parts.end(), "/version.json") == parts.end())
            return "none";
        const auto json = partJson(file(group), "/version.json");
        return "(" + std::to_string(json.at("UpgraderIndex").asUint64()) + ", " +
               std::to_string(json.at("ChangeIndex").asUint64()) + ") " +
               std::string(json.at("ReleaseVersion").asString());
    }
    std::vector<ReleaseCompatibilityResults> logOf(const std::string& group,
                                                   std::string_view type = userSettingsUpgrade) const {
        return readResultsLog(resultsLogOf(folder / "user", type))[group];
    }
    /// "Succeeded Failed" of the last run.
    std::string statusesOf(const std::string& group) const {
        std::string text;
        const auto runs = logOf(group);
        for (const VersionResults& version :
             runs.empty() ? std::vector<VersionResults>() : runs.back().results)
            for (const OperationResult& result : version.versionChanges)
                text += (text.empty() ? "" : " ") + std::string(nameOf(result.status));
        return text;
    }

    TempFolder folder;
};

TEST_F(UpgradedFiles, ComeThroughTwoReleases) {
    use({"g", {"size", "margin", "name"}});
    EXPECT_EQ("none", recordIn("g"));
    const std::string original = bytesOf(file("g"));
    const UpgraderRecord first{u"R2024b", {move("g.size", "g.font.size"), removal("g.margin")}};
    const UpgraderRecord second{u"R2025a", {move("g.font", "g.view.font"), move("g.name", "g.title")}};
    const Product product2024{"g", {"font.size", "name"}, {first}};
    {
        const Start tree = start({product2024});
        EXPECT_EQ("1 3", valuesOf(tree, {"g.font.size", "g.name"}));
        EXPECT_EQ(SaveOutcome::saved, tree.status("g").saved);
    }
    EXPECT_EQ("(1, 0) R2024b", recordIn("g"));
    EXPECT_EQ(original, bytesOf(keptFileOf(file("g"), VersionLabel(u"R2024b"))));
    EXPECT_EQ("Succeeded Succeeded", statusesOf("g"));
    const std::string upgradedOnce = bytesOf(file("g"));

    const Product product2025{"g", {"view.font.size", "title"}, {first, second}};
    for (int i = 0; i < 3; ++i) { // only the first start has something to do
        const Start tree = start({product2025});
        EXPECT_EQ("1 3", valuesOf(tree, {"g.view.font.size", "g.title"}));
        EXPECT_EQ(i == 0 ? SaveOutcome::saved : SaveOutcome::none, tree.status("g").saved);
    }
    EXPECT_EQ("(2, 0) R2025a", recordIn("g"));
    EXPECT_EQ(2U, logOf("g").size());
    const auto kept = keptFilesOf(file("g"));
    ASSERT_EQ(2U, kept.size());
    EXPECT_EQ(original, bytesOf(kept[0].path));
    EXPECT_EQ(upgradedOnce, bytesOf(kept[1].path));

    // From the first release to the last one at once.
    std::filesystem::copy_file(kept[0].path, file("g"), std::filesystem::copy_options::overwrite_existing);
    const Start tree = start({product2025});
    EXPECT_EQ("1 3", valuesOf(tree, {"g.view.font.size", "g.title"}));
    EXPECT_EQ(upgradedOnce, bytesOf(kept[1].path)) << "kept once";
}

TEST_F(UpgradedFiles, AFirstFileHasBeenThroughEverything) {
    const Product product{"g", {"x"}, {{u"R2024b", {removal("g.x")}}, {u"R2025a", {}}}};
    start({product}).root->getChild("g")->set("x", 5.0, "user");
    EXPECT_EQ("(2, 0) R2025a", recordIn("g"));
    EXPECT_EQ("5", valueOf(start({product}), "g.x"));
    start({product}).root->getChild("g")->unset("x", "user");
    EXPECT_FALSE(std::filesystem::exists(file("g")));
    start({product}).root->getChild("g")->set("x", 6.0, "user");
    EXPECT_EQ("6", valueOf(start({product}), "g.x"));
}

TEST_F(UpgradedFiles, AReleaseThatDropsEverythingLeavesTheFileForTheOlderOne) {
    use({"g", {"x"}});
    start({{"g", {"y"}, {{u"R2025a", {removal("g.x")}}}}});
    EXPECT_FALSE(std::filesystem::exists(file("g")));
    std::filesystem::rename(keptFileOf(file("g"), VersionLabel(u"R2025a")), file("g"));
    EXPECT_EQ("1", valueOf(start({{"g", {"x"}}}), "g.x"));
}

TEST_F(UpgradedFiles, OfANewerReleaseGoThroughAnOlderOneUnchanged) {
    use({"g", {"known", "later"}});
    const std::string version =
        R"({"ChangeIndex":3,"ReleaseVersion":"R2031a","SettingsFileChange":)"
        R"({"Inputs":["g.a"],"Operation":"split","Outputs":["g.b","g.c"]},"UpgraderIndex":7})";
    putPart(file("g"), "/version.json", version);
    putPart(file("g"), "/future.json", "[1]");
    LogLines log("settings::core::upgrade");
    const Product product{"g", {"known"}, {{u"R2025a", {removal("g.known")}}}};
    {
        const Start tree = start({product});
        EXPECT_EQ("1", valueOf(tree, "g.known"));
        tree.root->getChild("g")->set("known", 9.0, "user");
    }
    EXPECT_EQ(version, partText(file("g"), "/version.json"));
    EXPECT_EQ("[1]", partText(file("g"), "/future.json"));
    EXPECT_EQ("9 2", valuesOf(start({{"g", {"known", "later"}, product.upgraders}}), {"g.known", "g.later"}));
    const auto refused = std::count_if(log.lines.begin(), log.lines.end(), [](const std::string& line) {
        return line.starts_with("Exception caught: VARNEK:settings:config:InvalidPersonalSettingsVersion");
    });
    EXPECT_EQ(2, refused);
    ASSERT_EQ(1U, logOf("g").size());
    EXPECT_EQ("VARNEK:settings:config:InvalidPersonalSettingsVersion",
              logOf("g")[0].preValidationExceptions.at(0).exceptionId);
}

TEST_F(UpgradedFiles, AMoveOntoANameInUseLeavesBoth) {
    use({"g", {"old", "new"}});
    const Product product{"g", {"old", "new"}, {{u"R2025a", {move("g.old", "g.new")}}}};
    {
        const Start tree = start({product});
        EXPECT_EQ("1 2", valuesOf(tree, {"g.old", "g.new"}));
        EXPECT_EQ("Failed", statusesOf("g"));
        EXPECT_EQ("none", recordIn("g")) << "nothing changed that would be worth a save";
        tree.root->getChild("g")->set("new", 7.0, "user");
    }
    EXPECT_EQ("(1, 0) R2025a", recordIn("g"));
    EXPECT_EQ("1 7", valuesOf(start({product}), {"g.old", "g.new"}));
    EXPECT_EQ(1U, logOf("g").size());
}

TEST_F(UpgradedFiles, SavingThatIsOffLeavesThemAlone) {
    use({"g", {"a"}});
    const std::string original = bytesOf(file("g"));
    const Product product{"g", {"b"}, {{u"R2025a", {move("g.a", "g.b")}}}};
    turnOffSettingsSaving();
    const Start tree = start({product});
    turnOnSettingsSaving();
    EXPECT_EQ("1", valueOf(tree, "g.b"));
    EXPECT_EQ(original, bytesOf(file("g")));
    EXPECT_EQ(Names{"g.vksettings"}, namesIn(folder / "user"));
    tree.root->getChild("g")->set("b", 3.0, "user");
    EXPECT_EQ("(1, 0) R2025a", recordIn("g"));
    EXPECT_EQ(original, bytesOf(keptFileOf(file("g"), VersionLabel(u"R2025a"))));
}

TEST_F(UpgradedFiles, AnotherProcessOfTheOlderReleaseIsFollowed) {
    const Product older{"g", {"a", "x"}};
    const Product newer{"g", {"b", "x"}, {{u"R2025a", {move("g.a", "g.b")}}}};
    for (const bool isSavedFirst : {true, false}) {
        SCOPED_TRACE(isSavedFirst);
        std::filesystem::remove_all(folder / "user");
        use({"g", {"a", "x"}});
        const std::string original = bytesOf(file("g"));
        const Start old = start({older});
        if (!isSavedFirst)
            turnOffSettingsSaving();
        const Start tree = start({newer});
        turnOnSettingsSaving();
        writeBytes(file("g"), original); // what the older one writes has not been through the changes
        old.root->getChild("g")->set("a", 5.0, "user");
        tree.root->getChild("g")->set("x", 6.0, "user");
        EXPECT_EQ("5 6", valuesOf(tree, {"g.b", "g.x"}));
        EXPECT_EQ("5 6", valuesOf(start({newer}), {"g.b", "g.x"}));
    }
}

// ---- from one top-level group to another ----

TEST_F(UpgradedFiles, ValuesMoveToAnotherGroup) {
    use({"g", {"font.size", "x"}});
    use({"h", {"y"}});
    const Product g{"g", {"x"}, {{u"R2025a", {move("g.font.size", "h.text.size")}}}};
    const Product h{"h", {"text.size", "y"}};
    for (const bool isSourceFirst : {true, false}) {
        SCOPED_TRACE(isSourceFirst);
        const TempFolder before;
        std::filesystem::copy(folder / "user", before.path());
        LogLines log("settings::core::upgrade");
        {
            const Start tree = isSourceFirst ? start({g, h}) : start({h, g});
            EXPECT_EQ("1 2 1", valuesOf(tree, {"h.text.size", "g.x", "h.y"}));
            EXPECT_EQ("Succeeded", statusesOf("g"));
        }
        EXPECT_NE(log.lines.end(),
                  std::find(log.lines.begin(), log.lines.end(),
                            "SRC: Moving a value between top level nodes from g.font.size to h.text.size"));
        EXPECT_EQ("1 2 1", valuesOf(start({g, h}), {"h.text.size", "g.x", "h.y"}));
        EXPECT_EQ(1U, keptFilesOf(file("g")).size());
        EXPECT_EQ(1U, keptFilesOf(file("h")).size());
        std::filesystem::remove_all(folder / "user");
        std::filesystem::copy(before.path(), folder / "user");
    }
}

TEST_F(UpgradedFiles, AGroupWithoutAFileGetsOneForWhatMovesThere) {
    use({"g", {"a"}});
    const Product g{"g", {"x"}, {{u"R2024b", {move("g.a", "h.a")}}}};
    // What the other group did to the place before does not count, what it did since does.
    const Product h{"h",
                    {"c"},
                    {{u"R2024a", {removal("h.a")}},
                     {u"R2024b", {removal("h.a")}},
                     {u"R2025a", {move("h.a", "h.b"), move("h.b", "h.c")}}}};
    EXPECT_EQ("1", valueOf(start({g, h}), "h.c"));
    EXPECT_EQ("(3, 0) R2025a", recordIn("h"));
    EXPECT_FALSE(std::filesystem::exists(file("g")));
    EXPECT_EQ("1", valueOf(start({g, h}), "h.c"));
}

TEST_F(UpgradedFiles, TwoGroupsExchangeValues) {
    use({"g", {"a", "x"}});
    use({"h", {"b", "y"}});
    const Product g{"g", {"b", "x"}, {{u"R2025a", {move("g.a", "h.a")}}}};
    const Product h{"h", {"a", "y"}, {{u"R2025a", {move("h.b", "g.b")}}}};
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ("1 1 2 2", valuesOf(start({g, h}), {"h.a", "g.b", "g.x", "h.y"}));
    EXPECT_EQ("(1, 0) R2025a", recordIn("g"));
    EXPECT_EQ("(1, 0) R2025a", recordIn("h"));
}

TEST_F(UpgradedFiles, AnotherGroupThatCannotTakeItKeepsBoth) {
    use({"g", {"a", "x"}});
    use({"h", {"a"}});
    const Product g{
        "g", {"a", "z"}, {{u"R2025a", {move("g.a", "h.a"), move("g.a", "nowhere.a"), move("g.x", "g.z")}}}};
    const Product h{"h", {"a"}};
    const Start tree = start({g, h});
    EXPECT_EQ("1 1 2", valuesOf(tree, {"g.a", "h.a", "g.z"}));
    EXPECT_EQ("Failed Failed Succeeded", statusesOf("g"));
    const auto changes = logOf("g").back().results.at(0).versionChanges;
    EXPECT_EQ("VARNEK:settings:config:GroupOrSettingNameAlreadyExists",
              changes.at(0).exceptionLog.at(0).exceptionId);
    EXPECT_EQ("VARNEK:settings:config:PathNotRelativeToMasterFile",
              changes.at(1).preValidationExceptions.at(0).exceptionId);
}

TEST_F(UpgradedFiles, AGroupThatIsUpgradedOnTheWayIsUpgradedOnce) {
    use({"g", {"a"}});
    use({"h", {"b", "c"}});
    const Product g{"g", {}, {{u"R2025a", {move("g.a", "h.b")}}}};
    const Product h{"h", {"b"}, {{u"R2025a", {move("h.c", "k.c")}}}};
    const Product k{"k", {"c"}};
    EXPECT_EQ("1 2", valuesOf(start({g, h, k}), {"h.b", "k.c"}));
    EXPECT_EQ("Failed", statusesOf("g"));
    EXPECT_EQ("Succeeded", statusesOf("h"));
    EXPECT_EQ("(1, 0) R2025a", recordIn("h"));
}

TEST_F(UpgradedFiles, AMoveThatCannotBeWrittenNowIsMadeLater) {
    use({"g", {"a", "b", "c"}});
    use({"h", {"y"}});
    const Product g{
        "g", {"b", "d", "e"}, {{u"R2025a", {move("g.c", "g.d"), move("g.a", "h.a"), move("g.b", "g.e")}}}};
    const Product h{"h", {"a", "y"}};
    const auto isInterrupted = [&](const Start& tree) {
        EXPECT_EQ("3 2 -", valuesOf(tree, {"g.d", "g.b", "g.e"}));
        tree.root->getChild("g")->set("d", 4.0, "user");
        tree.root->getChild("g")->set("d", 3.0, "user");
        EXPECT_EQ("(0, 1) ", recordIn("g"));
    };
    const std::string original = bytesOf(file("g")), sound = bytesOf(file("h"));
    turnOffSettingsSaving();
    {
        const Start tree = start({g, h});
        turnOnSettingsSaving();
        isInterrupted(tree);
    }
    // Other ways in which a file cannot be had.
    writeBytes(file("h"), "no package");
    isInterrupted(start({g, {"h", {}}}));
    writeBytes(file("h"), sound);
    encrypt(file("h"), "no key for it");
    isInterrupted(start({g, {"h", {}}}));
    writeBytes(file("h"), sound);
    writeBytes(file("g"), original);
    isInterrupted(start({g, {"h", {}, {}, false}}));
    EXPECT_EQ(sound, bytesOf(file("h")));
    EXPECT_EQ("1 3 - 2", valuesOf(start({g, h}), {"h.a", "g.d", "g.b", "g.e"}));
}

// ---- what is said ----

TEST_F(UpgradedFiles, SayWhatHappens) {
    use({"g", {"a", "old"}});
    writeBytes(folder / "user/migratePref.txt", "");
    setSettingsRenames({{"g.old", "g.new"}, {"", "g.x"}});
    LogLines log("settings::core::upgrade");
    const Product product{"g", {"b"}, {{u"R2025a", {move("g.a", "g.b")}}}};
    {
        const Start tree = start({product});
        tree.load(tree.root->getChild("g"));
    }
    setSettingsRenames({});
    const Lines expected = {"Handle upgraders for g",
                            "Migrate for: g",
                            "Start upgrade for: g; FF UpgIdx: 1; UF UpgIdx: 0; FF ChgIdx: 0; UF ChgIdx: 0",
                            "Apply change: move",
                            "Setting pref dir version of: " + file("g").string() + " to: R2025a",
                            "kept as it was before the upgrade: " +
                                keptFileOf(file("g"), VersionLabel(u"R2025a")).string(),
                            "Handle upgraders for g",
                            "Start upgrade for: g; FF UpgIdx: 1; UF UpgIdx: 1; FF ChgIdx: 0; UF ChgIdx: 0"};
    EXPECT_EQ(expected, log.lines);
    const auto names = logOf("g", nameDependencyModelResults);
    ASSERT_EQ(1U, names.size());
    EXPECT_EQ(Names{"g.old"}, names[0].results.at(0).versionChanges.at(0).inputs);
}

TEST_F(UpgradedFiles, TheResultsLogNamesItself) {
    use({"g", {"a"}});
    FileLogLines log;
    start({{"g", {"b"}, {{u"R2025a", {move("g.a", "g.b")}}}}});
    EXPECT_EQ(Lines{"Saving log of results for: gTarget version: R2025a"}, log.take("Saving log of results"));
}

/// Several threads, and a second process in one, start on the same files.
TEST_F(UpgradedFiles, StartsAtTheSameTimeLoseNothing) {
    const Product g{"g", {"x"}, {{u"R2025a", {move("g.a", "h.a"), move("g.b", "g.x")}}}};
    const Product h{"h", {"a", "y"}, {{u"R2025a", {move("h.old", "h.y")}}}};
    for (int round = 0; round < 5; ++round) {
        std::filesystem::remove_all(folder / "user");
        use({"g", {"a", "b"}});
        use({"h", {"old"}});
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&] { start({g, h}); });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ("1 2 1", valuesOf(start({g, h}), {"h.a", "g.x", "h.y"}));
        EXPECT_EQ("(1, 0) R2025a", recordIn("g"));
    }
}

} // namespace
