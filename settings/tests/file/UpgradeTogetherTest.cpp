// Values that move from one top-level group to another while other processes work on the files, and when the
// run comes to its end before its time: two files, but one change.

#include "settingscore/SettingsSaving.hpp"
#include "support/AtLine.hpp"
#include "support/PrefdirHome.hpp"
#include "support/UpgradedFiles.hpp"

#include <fcntl.h>
#include <sys/file.h>

#include <csignal>

namespace {

using namespace settings::test;
using UpgradesTogether = AcrossGroups;

// ---- while other processes work on the files ----

TEST_F(UpgradesTogether, WhatAnotherProcessSavesMeanwhileMoves) {
    use({"g", {"a", "x"}});
    const Product g{"g", {"x"}, {{u"R2025a", {move("g.a", "h.a")}}}};
    const Product h{"h", {"a"}};
    {
        const AtLine pause("settings::core::upgrade", "Handle upgraders for g", [&] {
            inAnotherProcess([&] { start({{"g", {"a", "x"}}}).root->getChild("g")->set("a", 5.0, "user"); });
        });
        EXPECT_EQ("5 2", valuesOf(start({g, h}), {"h.a", "g.x"}));
    }
    EXPECT_EQ("5 2", valuesOf(start({g, h}), {"h.a", "g.x"}));
    expectNoFailure();
}

/// Another process upgrades the files meanwhile; its user even changes what has moved.
TEST_F(UpgradesTogether, WhatAnotherProcessHasMovedMeanwhileIsNotMovedAgain) {
    const Product g{"g", {"x"}, {{u"R2025a", {move("g.a", "h.a"), move("g.b", "g.x")}}}};
    const Product h{"h", {"a", "y"}};
    for (const bool isUnset : {true, false}) {
        std::filesystem::remove_all(folder / "user");
        use({"g", {"a", "b"}});
        use({"h", {"y"}});
        {
            const AtLine pause("settings::core::upgrade", "Handle upgraders for g", [&] {
                inAnotherProcess([&] {
                    const Start tree = start({g, h});
                    if (isUnset)
                        tree.root->getChild("h")->unset("a", "user");
                });
            });
            EXPECT_EQ(isUnset ? "- 2 1" : "1 2 1", valuesOf(start({h, g}), {"h.a", "g.x", "h.y"}));
        }
        EXPECT_EQ(isUnset ? "- 2 1" : "1 2 1", valuesOf(start({g, h}), {"h.a", "g.x", "h.y"}));
        expectNoFailure();
    }
}

TEST_F(UpgradesTogether, ProcessesThatStartAtTheSameTimeLoseNothing) {
    const Product g{"g", {"x"}, {{u"R2025a", {move("g.a", "h.a"), move("g.b", "g.x")}}}};
    const Product h{"h", {"a", "y"}, {{u"R2025a", {move("h.old", "h.y")}}}};
    for (int round = 0; round < 5; ++round) {
        std::filesystem::remove_all(folder / "user");
        use({"g", {"a", "b"}});
        use({"h", {"old"}});
        SCOPED_TRACE("round " + std::to_string(round));
        inChildrenAtOnce(4, [&](int i) {
            EXPECT_EQ("1 2 1", valuesOf(i % 2 == 0 ? start({g, h}) : start({h, g}), {"h.a", "g.x", "h.y"}));
        });
        EXPECT_EQ("1 2 1", valuesOf(start({g, h}), {"h.a", "g.x", "h.y"}));
        EXPECT_EQ("(1, 0) R2025a", recordIn("g"));
        expectNoFailure();
    }
}

/// Nobody else writes the files from the first change until the last file is in place.
TEST_F(UpgradesTogether, OtherProcessesAreKeptOut) {
    const Product g{"g", {"x"}, {{u"R2025a", {move("g.a", "h.a")}}}};
    const Product h{"h", {"a", "y"}};
    const std::pair<const char*, std::string> moments[] = {
        {"settings::core::upgrade", "Apply change: move"},
        {"settings::core::settingsFile", "realFilePath = " + file("h").string()},
        {"settings::core::settingsFile", "realFilePath = " + file("g").string()},
    };
    for (const auto& [channel, line] : moments) {
        std::filesystem::remove_all(folder / "user");
        use({"g", {"a", "x"}});
        use({"h", {"y"}});
        const AtLine pause(channel, line, [&, text = line] {
            inAnotherProcess([&] {
                const int user = ::open((folder / "user").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
                EXPECT_NE(0, ::flock(user, LOCK_EX | LOCK_NB)) << text;
            });
        });
        start({g, h});
    }
}

// ---- interruptions ----

/// Killed right before each of the renames that an upgrade makes.
TEST_F(UpgradesTogether, KilledBetweenTheFilesTheNextStartFinishes) {
    const Product g{"g", {"b", "x"}, {{u"R2025a", {move("g.a", "h.a")}}}};
    const Product h{"h", {"a", "y"}, {{u"R2025a", {move("h.b", "g.b"), move("h.c", "k.c")}}}};
    const Product k{"k", {"c"}};
    bool isKilled = true;
    int times = 1;
    for (; isKilled; ++times) {
        std::filesystem::remove_all(folder / "user");
        use({"g", {"a", "x"}});
        use({"h", {"b", "y", "c"}});
        isKilled = isKilledAtLine(
            "settings::core::settingsFile", "Renaming tmp file: ",
            [&] {
                start({g, h, k});
            },
            times);
        SCOPED_TRACE("at rename " + std::to_string(times));
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ("1 1 2 2 3", valuesOf(start({g, h, k}), {"h.a", "g.b", "g.x", "h.y", "k.c"}));
        expectNoFailure();
    }
    EXPECT_LT(3, times);
}

/// What is saved after such a crash, by a process that was there before, comes on top.
TEST_F(UpgradesTogether, WhatIsSavedAfterACrashStays) {
    use({"g", {"a", "x"}});
    use({"h", {"y"}});
    const Product g{"g", {"x"}, {{u"R2025a", {move("g.a", "h.a")}}}};
    const Product h{"h", {"a", "y"}};
    const Start older = start({{"g", {"a", "x"}}, {"h", {"a", "y"}}});
    ASSERT_TRUE(isKilledAtLine("settings::core::settingsFile", "realFilePath = " + file("g").string(), [&] {
        start({g, h});
    }));
    older.root->getChild("h")->set("a", 9.0, "user");
    older.root->getChild("h")->set("y", 8.0, "user");
    EXPECT_EQ("9 2 8", valuesOf(start({g, h}), {"h.a", "g.x", "h.y"}));
    EXPECT_EQ("9 2 8", valuesOf(start({g, h}), {"h.a", "g.x", "h.y"}));
    expectNoFailure();
}

TEST_F(UpgradesTogether, AnInterruptionBetweenTheFilesIsMadeUpFor) {
    use({"g", {"a", "b", "x"}});
    use({"h", {"y"}});
    const Product g{"g", {"x"}, {{u"R2025a", {move("g.a", "h.a"), move("g.b", "k.b")}}}};
    const Product h{"h", {"a", "y"}}, k{"k", {"b"}};
    {
        const AtLine pause("settings::core::settingsFile", "realFilePath = " + file("h").string(),
                           [] { turnOffSettingsSaving(); });
        start({g, h, k});
    }
    turnOnSettingsSaving();
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ("1 2 3 1", valuesOf(start({g, h, k}), {"h.a", "k.b", "g.x", "h.y"}));
    expectNoFailure();
}

/// The run of a group that is upgraded on the way stops after it has moved something to a third one.
TEST_F(UpgradesTogether, AnInterruptionOnTheWayLeavesNothingTwice) {
    use({"g", {"a"}});
    use({"h", {"b", "c"}});
    use({"l", {"z"}});
    const std::string sound = bytesOf(file("l"));
    writeBytes(file("l"), "no package");
    const Product g{"g", {}, {{u"R2025a", {move("g.a", "h.a")}}}};
    const Product h{"h", {"a"}, {{u"R2025a", {move("h.b", "k.b"), move("h.c", "l.c")}}}};
    const Product k{"k", {"b"}}, l{"l", {"c", "z"}};
    start({g, h, k, l});
    writeBytes(file("l"), sound);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ("1 1 2 1", valuesOf(start({g, h, k, l}), {"h.a", "k.b", "l.c", "l.z"}));
    expectNoFailure();
}

TEST_F(UpgradesTogether, AnInvalidRecordOfOneGroupIsNoConcernOfAnothers) {
    use({"g", {"a"}});
    use({"h", {"y"}});
    putPart(file("h"), "/version.json",
            R"({"ChangeIndex":9,"ReleaseVersion":"","SettingsFileChange":)"
            R"({"Inputs":[],"Operation":"","Outputs":[]},"UpgraderIndex":0})");
    const Product g{"g", {}, {{u"R2025a", {move("g.a", "h.a")}}}};
    const Product h{"h", {"a", "y"}, {{u"R2025a", {removal("h.y")}}}};
    EXPECT_EQ("1 1", valuesOf(start({g, h}), {"h.a", "h.y"}));
    EXPECT_EQ("Succeeded", statusesOf("g"));
}

TEST_F(UpgradesTogether, AFileOfAnotherGroupUnderItsNameIsLeftAlone) {
    use({"g", {"a"}});
    use({"x", {"a"}});
    std::filesystem::rename(file("x"), file("h"));
    const std::string foreign = bytesOf(file("h"));
    const Product g{"g", {}, {{u"R2025a", {move("g.a", "h.b")}}}}, h{"h", {"b"}};
    start({g, h});
    EXPECT_EQ(foreign, bytesOf(file("h")));
    std::filesystem::remove(file("h"));
    EXPECT_EQ("1", valueOf(start({g, h}), "h.b"));
}

/// A save that finds a file of the older release in its place leaves other groups' files to the next load.
TEST_F(UpgradesTogether, ASaveWritesNoOtherFile) {
    use({"g", {"a", "x"}});
    use({"h", {"y"}});
    const std::string original = bytesOf(file("g"));
    const Product g{"g", {"x"}, {{u"R2025a", {move("g.a", "h.a")}}}};
    const Product h{"h", {"a", "y"}};
    const Start tree = start({g, h});
    tree.root->getChild("h")->unset("a", "user");
    const std::string other = bytesOf(file("h"));
    writeBytes(file("g"), original);
    tree.root->getChild("g")->set("x", 7.0, "user");
    EXPECT_EQ(other, bytesOf(file("h")));
    EXPECT_EQ("7 1 1", valuesOf(start({g, h}), {"g.x", "h.a", "h.y"}));
}

/// A file that has lost its record, as after a restored backup, takes nothing out of the session.
TEST_F(UpgradesTogether, AFileOfAnEarlierStateTakesNothingAway) {
    use({"g", {"a", "b", "x"}});
    const std::string original = bytesOf(file("g"));
    const Product g{"g", {"c", "x"}, {{u"R2025a", {move("g.a", "h.a"), move("g.b", "g.c")}}}};
    const Product h{"h", {"a"}};
    const Start tree = start({g, h});
    writeBytes(file("g"), original);
    tree.root->getChild("g")->set("x", 7.0, "user");
    EXPECT_EQ("2 7", valuesOf(tree, {"g.c", "g.x"}));
}

} // namespace
