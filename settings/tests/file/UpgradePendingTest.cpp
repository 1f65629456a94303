// Files that an upgrade has left to be replaced together, when one of them cannot be, or is no longer what it
// was.

#include "settingscore/SettingsFileManager.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/settings/file/PendingFiles.hpp"
#include "support/AtLine.hpp"
#include "support/PrefdirHome.hpp"
#include "support/UpgradedFiles.hpp"

#include <sched.h>
#include <sys/mount.h>

#include <csignal>
#include <iostream>

namespace {

using namespace settings::test;

/// "g.a" has gone to "h.a"; the process was killed when the new file of "g" was in place and that of "h" due.
struct UpgradePending : AcrossGroups {
    void useAndKill() const {
        use({"g", {"a", "x"}});
        use({"h", {"y"}});
        use({"k", {"z"}});
        ASSERT_TRUE(
            isKilledAtLine("settings::core::settingsFile", "realFilePath = " + file("h").string(), [&] {
                start({g, h});
            }));
        ASSERT_TRUE(isPending());
    }
    bool isPending() const { return hasPendingFiles(folder / "user"); }
    void expectFinished() const {
        EXPECT_EQ("1 2 1", valuesOf(start({g, h, k}), {"h.a", "g.x", "h.y"}));
        EXPECT_FALSE(isPending());
        EXPECT_EQ("1 2 1", valuesOf(start({g, h, k}), {"h.a", "g.x", "h.y"}));
        expectNoFailure();
    }

    /// The file of "h" cannot be replaced: everybody else saves as always.
    void expectOnlyOneHeldBack(const std::string& cause) const {
        const Start tree = start({g, h, k});
        tree.root->getChild("k")->set("z", 7.0, "user");
        EXPECT_EQ(SaveOutcome::saved, tree.status("k").saved) << tree.status("k").saveMessage;
        tree.root->getChild("g")->set("x", 8.0, "user");
        EXPECT_EQ(SaveOutcome::saved, tree.status("g").saved) << tree.status("g").saveMessage;
        tree.root->getChild("h")->set("y", 9.0, "user");
        const LevelFileStatus held = tree.status("h");
        EXPECT_EQ(SaveOutcome::failed, held.saved);
        EXPECT_TRUE(held.isMarked);
        EXPECT_NE(std::string::npos, held.saveMessage.find("an upgrade has left this file to be replaced"))
            << held.saveMessage;
        EXPECT_NE(std::string::npos, held.saveMessage.find(cause)) << held.saveMessage;
        EXPECT_EQ("7 8", valuesOf(start({g, k}), {"k.z", "g.x"}));
        EXPECT_TRUE(isPending());
    }

    Product g{"g", {"x"}, {{u"R2025a", {move("g.a", "h.a")}}}};
    Product h{"h", {"a", "y"}};
    Product k{"k", {"z"}};
};

TEST_F(UpgradePending, AFolderInTheFilesPlaceHoldsBackThatGroupOnly) {
    useAndKill();
    const std::filesystem::path away = folder / "away";
    std::filesystem::rename(file("h"), away);
    std::filesystem::create_directory(file("h"));
    expectOnlyOneHeldBack("");
    start({g}).root->getChild("g")->unset("x", "user");
    EXPECT_EQ("-", valueOf(start({g}), "g.x")); // what was done does not come back
    std::filesystem::remove(file("h"));
    std::filesystem::rename(away, file("h"));
    EXPECT_EQ("1 - 1", valuesOf(start({g, h, k}), {"h.a", "g.x", "h.y"}));
    EXPECT_FALSE(isPending());
}

TEST_F(UpgradePending, AFileThatIsMountedHoldsBackItsGroupOnly) {
    useAndKill();
    constexpr int cannotMount = 77;
    const pid_t child = ::fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
        if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount(file("h").c_str(), file("h").c_str(), nullptr, MS_BIND, nullptr) != 0)
            ::_exit(cannotMount);
        expectOnlyOneHeldBack("busy");
        ::_exit(HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    if (WIFEXITED(status) && WEXITSTATUS(status) == cannotMount) {
        std::cerr << "NOT TESTED: a mounted settings file, because nothing can be mounted here\n";
        GTEST_SKIP() << "nothing can be mounted here";
    }
    EXPECT_EQ(0, status);
    EXPECT_EQ("1 8 1", valuesOf(start({g, h, k}), {"h.a", "g.x", "h.y"}));
    EXPECT_FALSE(isPending());
}

TEST_F(UpgradePending, WhatCannotBeReadIsSetAsideAndStopsNobody) {
    for (const bool isFolder : {false, true}) {
        std::filesystem::remove_all(folder / "user");
        useAndKill();
        const std::filesystem::path pending = pendingFileOf(folder / "user");
        std::filesystem::remove(pending);
        if (isFolder)
            std::filesystem::create_directory(pending);
        else
            writeBytes(pending, "no package");
        const Start tree = start({h, k});
        tree.root->getChild("k")->set("z", 7.0, "user");
        EXPECT_EQ(SaveOutcome::saved, tree.status("k").saved);
        EXPECT_FALSE(isPending());
        EXPECT_TRUE(std::filesystem::exists(pending.string() + ".damaged"));
        EXPECT_EQ("7 1", valuesOf(start({h, k}), {"k.z", "h.y"}));
    }
}

/// What may be readable later is not given up.
TEST_F(UpgradePending, WhatCannotBeReadNowHoldsEverybodyBack) {
    useAndKill();
    const std::filesystem::path user = folder / "user", pending = pendingFileOf(user);
    std::filesystem::permissions(folder.path(), std::filesystem::perms::all);
    for (const auto& entry : std::filesystem::directory_iterator(user))
        ASSERT_EQ(0, ::chown(entry.path().c_str(), ::geteuid() == 0 ? 65534 : -1, -1));
    ASSERT_EQ(0, ::chown(user.c_str(), ::geteuid() == 0 ? 65534 : -1, -1));
    std::filesystem::permissions(pending, std::filesystem::perms::none);
    asOrdinaryUser([&] {
        const Start tree = start({h, k});
        tree.root->getChild("k")->set("z", 7.0, "user");
        EXPECT_EQ(SaveOutcome::failed, tree.status("k").saved);
        EXPECT_NE(std::string::npos, tree.status("k").saveMessage.find("cannot be read"));
    });
    ASSERT_TRUE(isPending());
    std::filesystem::permissions(pending, std::filesystem::perms(0600));
    expectFinished();
}

TEST_F(UpgradePending, ADamagedFileIsKeptAsideAndReplaced) {
    useAndKill();
    writeBytes(file("h"), "damaged");
    expectFinished();
    EXPECT_EQ("damaged", bytesOf(file("h").string() + ".damaged"));
}

TEST_F(UpgradePending, AnEncryptedFileStaysAndItsSuccessorStaysDue) {
    useAndKill();
    const std::string plain = bytesOf(file("h"));
    encrypt(file("h"), "secret");
    const std::string secret = bytesOf(file("h"));
    {
        const Start tree = start({g, h, k});
        tree.root->getChild("k")->set("z", 7.0, "user");
        EXPECT_EQ(SaveOutcome::saved, tree.status("k").saved);
        tree.root->getChild("h")->set("y", 9.0, "user");
        EXPECT_EQ(SaveOutcome::encrypted, tree.status("h").saved);
    }
    EXPECT_EQ(secret, bytesOf(file("h")));
    EXPECT_TRUE(isPending());
    writeBytes(file("h"), plain);
    expectFinished();
}

// ---- one file as a tree of its own ----

TEST_F(UpgradePending, AFileThatIsOpenedAloneIsTheNewOne) {
    useAndKill();
    const auto manager = SettingsFileManager::open(file("h"), "user");
    EXPECT_TRUE(manager.getTopLevelNode()->isSet("a", "user"));
    EXPECT_FALSE(isPending());
    expectFinished();
}

TEST_F(UpgradePending, AFileThatIsSavedAloneComesOnTopOfTheNewOne) {
    use({"h", {"y"}});
    auto manager = SettingsFileManager::open(file("h"), "user");
    useAndKill();
    manager.getTopLevelNode()->set("y", 8.0, "user");
    manager.save();
    EXPECT_FALSE(isPending());
    EXPECT_EQ("1 2 8", valuesOf(start({g, h}), {"h.a", "g.x", "h.y"}));
}

TEST_F(UpgradePending, AFileThatIsSavedAloneWaitsForTheNewOne) {
    use({"h", {"y"}});
    auto manager = SettingsFileManager::open(file("h"), "user");
    useAndKill();
    std::filesystem::rename(file("h"), folder / "away");
    std::filesystem::create_directory(file("h"));
    manager.getTopLevelNode()->set("y", 8.0, "user");
    try {
        manager.save();
        ADD_FAILURE() << "no failure";
    } catch (const settings::core::exception::SettingsFileNotWritten& failure) {
        EXPECT_NE(std::string::npos,
                  std::string(failure.what()).find("an upgrade has left this file to be replaced"))
            << failure.what();
    }
    std::filesystem::remove(file("h"));
    std::filesystem::rename(folder / "away", file("h"));
    manager.save();
    EXPECT_EQ("1 2 8", valuesOf(start({g, h}), {"h.a", "g.x", "h.y"}));
}

} // namespace
