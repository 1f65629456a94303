// Whether the installation's settings can be changed: found out once for each folder, by trying.

#include "support/Children.hpp"
#include "support/LogLines.hpp"
#include "support/TempFolder.hpp"
#include "support/TestTree.hpp"

#include "settingscore/exception/TreeFailures.hpp"
#include "settingscore/settings/level/LevelFolders.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace settings::test;
using Lines = std::vector<std::string>;

struct InstallationFolder : testing::Test {
    InstallationFolder() : before(::getenv("SETTINGS_INSTALLATIONDIR")) { use(folder.path()); }
    ~InstallationFolder() override { use(before); }

    static void use(const std::filesystem::path& installation) {
        ::setenv("SETTINGS_INSTALLATIONDIR", installation.c_str(), 1);
        settings::core::detail::forgetLevelFolders();
    }
    Lines said() {
        Lines lines;
        for (const std::string& line : log.lines)
            if (line.find("can folder") == 0)
                lines.push_back(line);
        return lines;
    }
    std::string answer(const char* result) const {
        return "can folder " + folder.path().string() + " be modified: " + result;
    }

    std::string before;
    TempFolder folder;
    TestTree tree;
    Handle editor = tree.group("editor");
    Handle width = TestTree::setting(editor, "width", Array::scalar(80.0));
    LogLines log{"settings::core::settingsImpl"};
};

TEST_F(InstallationFolder, IsProbedOnceAndLeftAsItWas) {
    for (const double value : {1.0, 2.0})
        editor->set("width", value, "installation");
    EXPECT_EQ(Lines{answer("true")}, said());
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    const TempFolder other;
    use(other.path());
    editor->set("width", 3.0, "installation");
    EXPECT_EQ(2U, said().size());
}

TEST_F(InstallationFolder, AFileOfThatNameIsLeftAlone) {
    writeBytes(folder / "tmp.txt", "mine");
    editor->set("width", 1.0, "installation");
    EXPECT_EQ(Lines{answer("true")}, said());
    EXPECT_EQ("mine", bytesOf(folder / "tmp.txt"));
}

TEST_F(InstallationFolder, WhatLivesInAReadOnlyOneCannotBeRemoved) {
    editor->addGroup("site", true, false, "installation");
    const Handle mine = tree.root->addGroup("mine", true, false, "user");
    mine->addSetting("s", Array::scalar(1.0), true, false, "user");
    mine->set("s", 2.0, "installation");
    editor->addGroup("own", true, false, "user");
    tree.requests->take();
    use(folder / "missing");
    RecordedEvents events;
    const std::pair<Handle, const char*> kept[] = {{editor, "site"}, {mine, "s"}, {tree.root, "mine"}};
    for (const auto& [parent, name] : kept) {
        SCOPED_TRACE(name);
        try {
            parent->removeNode(name);
            ADD_FAILURE() << "it was removed";
        } catch (const settings::core::exception::AttemptedRemovalOfFactoryGroupOrSetting& failure) {
            EXPECT_EQ("installation", failure.getLevelNeedToBeUpdated());
            EXPECT_EQ((Lines{"session", "user"}), failure.getLevelsHasWritenPermissionOn());
        }
        EXPECT_TRUE(parent->getChild(name));
    }
    EXPECT_EQ(Lines{}, events.take());
    EXPECT_EQ(Lines{}, tree.requests->take());
    editor->removeNode("own");
    use(folder.path());
    for (const auto& [parent, name] : kept)
        parent->removeNode(name);
}

TEST_F(InstallationFolder, WithoutPermissionTheLevelIsReadOnly) {
    use(folder / "missing");
    EXPECT_EQ("CantModifyValuesOnReadOnlyLevel",
              failureOf([&] { editor->set("width", 1.0, "installation"); }));
    use("");
    EXPECT_EQ("CantModifyValuesOnReadOnlyLevel",
              failureOf([&] { editor->set("width", 1.0, "installation"); }));
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to become somebody else";
    use(folder.path());
    ASSERT_EQ(0, ::chmod(folder.path().c_str(), 0755));
    asOrdinaryUser([&] {
        log.lines.clear();
        for (const auto& change :
             std::vector<std::function<void()>>{[&] { editor->set("width", 1.0, "installation"); },
                                                [&] { editor->unset("width", "installation"); },
                                                [&] { editor->addGroup("g", true, false, "installation"); }})
            EXPECT_EQ("CantModifyValuesOnReadOnlyLevel", failureOf(change));
        EXPECT_EQ(Lines{answer("false")}, said());
        EXPECT_EQ(80.0, editor->get<double>("width"));
    });
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

} // namespace
