// Personal files of older releases that are loaded into a tree: what is used, what is saved, what is kept.

#include "support/UpgradedFiles.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/upgrade/SettingsRenames.hpp"
#include "support/AllocationCount.hpp"
#include "support/LogLines.hpp"
#include "support/PrefdirHome.hpp"

namespace {

using namespace settings::test;

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
    EXPECT_EQ(upgradedOnce, bytesOf(kept[1].path));
    ASSERT_EQ(3U, keptFilesOf(file("g")).size());
    EXPECT_EQ(original, bytesOf(keptFilesOf(file("g"))[2].path));
}

/// The user goes back and forth between two releases.
TEST_F(UpgradedFiles, AreKeptAsOftenAsTheyDiffer) {
    const Product older{"g", {"a"}}, newer{"g", {"b"}, {{u"R2025a", {move("g.a", "g.b")}}}};
    for (const double value : {1.0, 2.0, 2.0, 3.0}) {
        std::filesystem::remove(file("g"));
        start({older}).root->getChild("g")->set("a", value, "user");
        start({newer});
    }
    writeBytes(file("g").string() + ".before-R2024b-7", "");
    writeBytes(file("g").string() + ".before-R2025a-1", "");
    Names names;
    for (const KeptFile& kept : keptFilesOf(file("g")))
        names.push_back(kept.path.extension());
    EXPECT_EQ((Names{".before-R2025a-1", ".before-R2024b-7", ".before-R2025a", ".before-R2025a-2",
                     ".before-R2025a-3"}),
              names);
    std::filesystem::rename(keptFilesOf(file("g")).back().path, file("g"));
    EXPECT_EQ("3", valueOf(start({older}), "g.a"));
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
    ASSERT_EQ(1U, logOf("g").size());
    const auto refusal = logOf("g")[0].preValidationExceptions.at(0);
    EXPECT_EQ("VARNEK:settings:config:InvalidPersonalSettingsVersion", refusal.exceptionId);
    EXPECT_EQ(2, std::count(log.lines.begin(), log.lines.end(), "Exception caught: " + refusal.exceptionLog));
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

/// The newer release takes values to their new places; the session of the older one keeps its own.
TEST_F(UpgradedFiles, ASessionOfTheOlderReleaseKeepsItsValues) {
    use({"g", {"a", "x"}});
    const Product older{"g", {"a", "x"}};
    const Product newer{"g", {"b", "x"}, {{u"R2025a", {move("g.a", "g.b")}}}};
    const Start old = start({older});
    start({newer});
    old.root->getChild("g")->set("x", 6.0, "user");
    EXPECT_EQ("1 6", valuesOf(old, {"g.a", "g.x"}));
    EXPECT_EQ("1 6", valuesOf(start({newer}), {"g.b", "g.x"}));
    EXPECT_EQ("(1, 0) R2025a", recordIn("g"));
    old.root->getChild("g")->unset("a", "user");
    start({newer}).root->getChild("g")->unset("x", "user");
    old.load(old.root->getChild("g"));
    EXPECT_EQ("- -", valuesOf(old, {"g.a", "g.x"})) << "a file of the release that it has seen last";
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
                            "Start upgrade for: g; FF UpgIdx: 1; UF UpgIdx: 1; FF ChgIdx: 0; UF ChgIdx: 0"};
    EXPECT_EQ(expected, log.lines);
    const auto names = logOf("g", nameDependencyModelResults);
    ASSERT_EQ(1U, names.size());
    EXPECT_EQ(Names{"g.old"}, names[0].results.at(0).versionChanges.at(0).inputs);
}

TEST_F(UpgradedFiles, SayWhatHappensWithoutAFile) {
    std::filesystem::create_directories(folder / "user");
    const auto linesOf = [&](const Upgraders& upgraders) {
        LogLines log("settings::core::upgrade");
        const Start tree = start({{"g", {"b"}, upgraders}});
        const Lines ofTheFirstLoad = log.lines;
        tree.load(tree.root->getChild("g"));
        for (std::size_t i = ofTheFirstLoad.size(); i < log.lines.size(); ++i)
            EXPECT_TRUE(log.lines[i].starts_with("Setting pref dir version of: ")) << log.lines[i];
        return ofTheFirstLoad;
    };
    const std::string handled = "Handle upgraders for g", migrated = "Migrate for: g",
                      made = "Setting pref dir version of: " + file("g").string() + " to: R2025a";
    EXPECT_EQ(Lines{handled}, linesOf({}));
    EXPECT_EQ((Lines{handled, made}), linesOf({{u"R2025a", {}}}));
    writeBytes(folder / "user/migratePref.txt", "");
    EXPECT_EQ((Lines{handled, migrated}), linesOf({}));
    EXPECT_EQ((Lines{handled, migrated, made}), linesOf({{u"R2025a", {}}}));
}

TEST_F(UpgradedFiles, TheResultsLogNamesItsTarget) {
    use({"g", {"a"}});
    FileLogLines log;
    const std::string text = "Saving log of results for: gTarget version: ";
    const Product product{"g", {"b"}, {{u"R2024b", {move("g.a", "g.b")}}, {u"R2026a", {move("g.b", "h.b")}}}};
    const Product other{"h", {"b", "x"}};
    use({"h", {"x"}});
    const std::string sound = bytesOf(file("h"));
    writeBytes(file("h"), "no package");
    start({product, other});
    EXPECT_EQ(Lines{text + "R2026a"}, log.take(text)) << "interrupted";
    writeBytes(file("h"), sound);
    start({product, other});
    EXPECT_EQ(Lines{text + "R2026a"}, log.take(text));
    putPart(file("h"), "/version.json",
            R"({"ChangeIndex":9,"ReleaseVersion":"","SettingsFileChange":)"
            R"({"Inputs":[],"Operation":"","Outputs":[]},"UpgraderIndex":0})");
    start({{"h", {"x"}, {{u"R2027a", {removal("h.y")}}}}});
    EXPECT_EQ(Lines{"Saving log of results for: hTarget version: R2027a"}, log.take("Saving log of"))
        << "refused";
    start({{"h", {"x"}}});
    EXPECT_EQ(Lines{"Saving log of results for: hTarget version: R2025a"}, log.take("Saving log of"))
        << "nothing is declared: the running release";
}

/// Memory runs out in the middle.
TEST_F(UpgradedFiles, AnErrorLeavesTheFileAndTheTreeAsTheyWere) {
    use({"g", {"a", "b"}});
    writeBytes(folder / "user/migratePref.txt", "");
    const std::string original = bytesOf(file("g"));
    const Product product{"g", {"a", "x"}, {{u"R2025a", {move("g.a", "g.x"), removal("g.b")}}}};
    LogLines log("settings::core::upgrade");
    const auto sink = varnek::log::setSink({});
    varnek::log::setSink(
        [&](std::string_view channel, varnek::log::Severity severity, std::string_view text) {
            sink(channel, severity, text);
            if (text == "Apply change: remove")
                varnek::test::failNextAllocation();
        });
    const Start tree = start({product});
    varnek::log::setSink(sink);
    EXPECT_EQ("1 -", valuesOf(tree, {"g.a", "g.x"}));
    EXPECT_EQ(original, bytesOf(file("g")));
    const settings::core::exception::ErrorMigrateSettingsBetweenReleases failure(u"g", u"std::bad_alloc");
    EXPECT_EQ(1, std::count(log.lines.begin(), log.lines.end(), "Exception caught: std::bad_alloc"));
    EXPECT_EQ(std::string(failure.what()) + " g", log.lines.back());
    EXPECT_EQ("- 1", valuesOf(start({product}), {"g.a", "g.x"}));
}

/// What was to be kept is in the hands of another process meanwhile.
TEST_F(UpgradedFiles, AFileThatAnotherProcessHasUpgradedIsNotKept) {
    use({"g", {"a", "x"}});
    const Product product{"g", {"b", "x"}, {{u"R2025a", {move("g.a", "g.b")}}}};
    turnOffSettingsSaving();
    const Start tree = start({product});
    turnOnSettingsSaving();
    inAnotherProcess([&] { start({product}).root->getChild("g")->set("b", 5.0, "user"); });
    tree.load(tree.root->getChild("g"));
    tree.root->getChild("g")->set("x", 6.0, "user");
    EXPECT_EQ("5 6", valuesOf(start({product}), {"g.b", "g.x"}));
    EXPECT_EQ(1U, keptFilesOf(file("g")).size());
}

} // namespace
