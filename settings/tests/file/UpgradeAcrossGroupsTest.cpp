// Values that move from one top-level group to another, and where they come to stand.

#include "settingscore/SettingsSaving.hpp"
#include "support/LogLines.hpp"
#include "support/UpgradedFiles.hpp"

namespace {

using namespace settings::test;

TEST_F(AcrossGroups, ValuesMoveToAnotherGroup) {
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

TEST_F(AcrossGroups, AGroupWithoutAFileGetsOneForWhatMovesThere) {
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

TEST_F(AcrossGroups, TwoGroupsExchangeValues) {
    use({"g", {"a", "x"}});
    use({"h", {"b", "y"}});
    const Product g{"g", {"b", "x"}, {{u"R2025a", {move("g.a", "h.a")}}}};
    const Product h{"h", {"a", "y"}, {{u"R2025a", {move("h.b", "g.b")}}}};
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ("1 1 2 2", valuesOf(start({g, h}), {"h.a", "g.b", "g.x", "h.y"}));
    EXPECT_EQ("(1, 0) R2025a", recordIn("g"));
    EXPECT_EQ("(1, 0) R2025a", recordIn("h"));
}

TEST_F(AcrossGroups, AnotherGroupThatCannotTakeItKeepsBoth) {
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

TEST_F(AcrossGroups, AGroupThatIsUpgradedOnTheWayIsUpgradedOnce) {
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

TEST_F(AcrossGroups, AMoveThatCannotBeWrittenNowIsMadeLater) {
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
    const std::string sound = bytesOf(file("h"));
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
    EXPECT_EQ(sound, bytesOf(file("h")));
    EXPECT_EQ("1 3 - 2", valuesOf(start({g, h}), {"h.a", "g.d", "g.b", "g.e"}));
}

// ---- the order of the releases ----

TEST_F(AcrossGroups, AValueThatALaterReleaseTakesBackStays) {
    use({"g", {"a"}});
    const Product g{"g", {"a"}, {{u"R2024a", {move("g.a", "h.a")}}}};
    const Product h{"h", {"x"}, {{u"R2025a", {move("h.a", "g.a")}}}};
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ("1", valueOf(start({g, h}), "g.a"));
    expectNoFailure();
    start({g, h}).root->getChild("g")->set("a", 2.0, "user");
    EXPECT_EQ("(1, 0) R2024a", recordIn("g"));
}

/// The place that it comes back to is still to be left by something else: there is no order that would do.
TEST_F(AcrossGroups, AValueThatCannotComeBackYetStaysWhereItWas) {
    use({"g", {"a", "b"}});
    const Product g{"g", {"b", "c"}, {{u"R2024a", {move("g.a", "h.a")}}, {u"R2024b", {move("g.b", "g.c")}}}};
    const Product h{"h", {"x"}, {{u"R2025a", {move("h.a", "g.b")}}}};
    EXPECT_EQ("- 2", valuesOf(start({g, h}), {"g.b", "g.c"}));
    EXPECT_EQ("Failed Succeeded", statusesOf("g"));
    EXPECT_EQ("1", valueOf(start({{"g", {"a"}}}), "g.a"));
}

TEST_F(AcrossGroups, ChangesThatAGroupHasYetToRunAreLeftToIt) {
    use({"g", {"x", "c"}});
    use({"h", {"b"}});
    const Product g{
        "g",
        {"c", "d"},
        {{u"R2024b", {move("g.x", "h.x")}}, {u"R2025a", {move("g.c", "g.d"), move("g.b", "g.c")}}}};
    const Product h{"h", {"x"}, {{u"R2024b", {move("h.b", "g.b")}}}};
    for (const bool isSourceFirst : {true, false}) {
        SCOPED_TRACE(isSourceFirst);
        std::filesystem::remove_all(folder / "user");
        use({"g", {"x", "c"}});
        use({"h", {"b"}});
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ("1 1 2",
                      valuesOf(isSourceFirst ? start({g, h}) : start({h, g}), {"h.x", "g.c", "g.d"}));
        if (isSourceFirst) // else "g.b" is never there: what comes is put where it went
            expectNoFailure();
    }
}

TEST_F(AcrossGroups, OlderChangesThatAGroupHasYetToRunComeFirst) {
    const Product g{
        "g", {"old", "b"}, {{u"R2024a", {move("g.x", "h.x")}}, {u"R2024b", {move("g.b", "g.old")}}}};
    const Product h{"h", {"x"}, {{u"R2025a", {move("h.b", "g.b")}}}};
    for (const bool isSourceFirst : {true, false}) {
        SCOPED_TRACE(isSourceFirst);
        std::filesystem::remove_all(folder / "user");
        use({"g", {"x", "b"}});
        use({"h", {"b"}});
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ("1 2 1",
                      valuesOf(isSourceFirst ? start({g, h}) : start({h, g}), {"h.x", "g.old", "g.b"}));
        expectNoFailure();
    }
}

} // namespace
