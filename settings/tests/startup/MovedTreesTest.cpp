// The preferences directory changes under trees that are being built, and under others than the
// application's. Each case runs in a process of its own.

#include "settingscore/MSettings.hpp"
#include "settingscore/SaveReport.hpp"
#include "settingscore/SettingsRoot.hpp"
#include "settingscore/prefdir/PreferencesDirectory.hpp"
#include "settingscore/startup/Readiness.hpp"
#include "settingscore/startup/init.hpp"
#include "settingscore/startup/updatePrefdir.hpp"
#include "support/OtherProcess.hpp"
#include "support/Startup.hpp"
#include "varnek/log/Channel.hpp"

#include <atomic>
#include <fstream>
#include <thread>

namespace {

using namespace settings::core;
using namespace settings::core::detail;
using namespace settings::test;
using Lines = std::vector<std::string>;

struct MovedTrees : Startup {
    /// The directory as an earlier process left it.
    void fill(double value) const {
        inAnotherProcess([value] {
            init();
            root()->addGroup("own", true, false, "user");
            for (const char* group : {"editor", "shell"})
                root()->getChild(group)->set("x", value, "user");
            root()->getChild("editor")->set("y", value, "user");
            waitForSettingsSaves();
        });
    }
    void move() const { EXPECT_TRUE(updatePrefdir((base / "other").string())); }
};

/// The directory moves when the tree has read the first files in the old one.
TEST_F(MovedTrees, ATreeThatIsBeingBuiltFollows) {
    for (const bool isReset : {false, true}) {
        for (const char* directory : {"prefs", "other"})
            std::filesystem::remove_all(base / directory);
        fill(10.0);
        std::filesystem::remove(base / "prefs/.definitions.json"); // so that all groups are read
        inAnotherProcess([this, isReset] {
            init();
            if (isReset) {
                root();
                std::filesystem::remove(base / "prefs/.definitions.json");
            }
            std::atomic<bool> isFirst{true};
            {
                varnek::log::setLevel("settings::core::settingsFile", varnek::log::Severity::info);
                const auto sink =
                    varnek::log::setSink([&](std::string_view, varnek::log::Severity, std::string_view text) {
                        if (text.find("Read settings file") != text.npos &&
                            text.find("prefs/shell") != text.npos && isFirst.exchange(false))
                            std::jthread([this] { move(); }).join();
                    });
                if (isReset)
                    MSettings::reset();
                else
                    root();
                varnek::log::setSink(sink);
                varnek::log::setLevel("settings::core::settingsFile", varnek::log::Severity::warning);
            }
            EXPECT_FALSE(isFirst);
            EXPECT_EQ(1.0, root()->getByFullName<double>("editor.x"));
            EXPECT_EQ(1.0, root()->getByFullName<double>("shell.x"));
            EXPECT_FALSE(root()->getChild("own"));
            root()->getChild("editor")->set("y", 3.0, "user");
            waitForSettingsSaves();
            MSettings::reset();
            EXPECT_EQ(1.0, root()->getByFullName<double>("editor.x"));
            EXPECT_EQ(3.0, root()->getByFullName<double>("editor.y"));
            EXPECT_FALSE(root()->getChild("own"));
        });
    }
}

/// Another tree than the application's is read anew at once; the application's own follows with its next
/// save.
TEST_F(MovedTrees, AnyTreeMayBeTheOneThatIsReadAnew) {
    inAnotherProcess([this] {
        init();
        const RootIndex own(5, true, false);
        ASSERT_TRUE(MSettings::createEmptySettingsFor(own));
        const Handle tools = getSettingsRoot(own)->addGroup("tools", true, false, "user");
        tools->addSetting("size", Array::scalar(4.0), true, false, "user");
        const Handle editor = root()->getChild("editor");
        editor->set("x", 10.0, "user");
        Lines calls;
        isPrefdirReady([&] { calls.push_back("prefdir"); });
        isSettingsTreeReady([&] { calls.push_back("tree"); });
        RecordedEvents events;
        EXPECT_TRUE(updatePrefdir((base / "other").string(), own));
        EXPECT_EQ((Lines{"prefdir", "tree"}), calls);
        Lines told = events.take();
        ASSERT_FALSE(told.empty());
        EXPECT_EQ("another event", told.back());
        EXPECT_FALSE(getSettingsRoot(own)->getChild("tools"));
        EXPECT_EQ(10.0, editor->get<double>("x")); // not read yet
        editor->set("y", 3.0, "user");
        waitForSettingsSaves();
        EXPECT_EQ(1.0, editor->get<double>("x"));
        EXPECT_TRUE(updatePrefdir((base / "prefs").string(), own));
        EXPECT_EQ(4.0, getSettingsRoot(own)->getByFullName<double>("tools.size"));
        EXPECT_EQ(3.0, editor->get<double>("y"));
        EXPECT_FALSE(updatePrefdir((base / "prefs/editor.vksettings").string(), own));
        EXPECT_EQ(4.0, getSettingsRoot(own)->getByFullName<double>("tools.size"));
    });
}

/// What could not be saved before the move goes into the new directory, with the next save there.
TEST_F(MovedTrees, WhatWasLeftUnsavedGoesAlong) {
    struct Case {
        const char* name;
        std::function<void()> prevent, allow;
    };
    const auto inTheWay = base / "prefs/editor.vksettings";
    const Case cases[] = {
        {"saving is off", [] { turnOffSettingsSaving(); }, [] { turnOnSettingsSaving(); }},
        {"a folder is in the way", [&] { std::filesystem::create_directories(inTheWay / "x"); }, [] {}},
    };
    for (const Case& each : cases)
        inAnotherProcess([&] {
            SCOPED_TRACE(each.name);
            std::filesystem::remove_all(base / "other");
            init();
            const Handle editor = root()->getChild("editor"), shell = root()->getChild("shell");
            each.prevent();
            editor->set("x", 5.0, "user");
            waitForSettingsSaves();
            EXPECT_FALSE(lastSave(*editor, "user").isOnDisk);
            move();
            EXPECT_EQ(5.0, editor->get<double>("x"));
            each.allow();
            shell->set("x", 7.0, "user");
            waitForSettingsSaves();
            waitForSettingsSaves(); // of what has gone along
            MSettings::reset();
            EXPECT_EQ(5.0, root()->getByFullName<double>("editor.x"));
            EXPECT_EQ(7.0, root()->getByFullName<double>("shell.x"));
        });
}

/// What is wrong with a file is said of the one that was read.
TEST_F(MovedTrees, AProblemNamesTheFileThatHasIt) {
    for (const char* directory : {"prefs", "other"}) {
        std::filesystem::create_directories(base / directory);
        if (directory == std::string("prefs"))
            std::ofstream(base / directory / "editor.vksettings") << "no package";
    }
    inAnotherProcess([this] {
        init();
        root()->getChild("editor");
        EXPECT_TRUE(detail::updatePrefdirImpl((base / "other").string(), DefaultRootIndex(), false, 0));
        const auto problems = getLoadProblems(DefaultRootIndex());
        ASSERT_EQ(1U, problems.size());
        EXPECT_EQ((base / "prefs/editor.vksettings").string(), problems.front().file);
    });
}

/// The variable names the folder of personal settings, wherever the directory is.
TEST_F(MovedTrees, AFolderThatAVariableNamesStaysInUse) {
    inAnotherProcess([this] {
        ::setenv("SETTINGS_USERDIR", (base / "mine").c_str(), 1);
        std::filesystem::create_directories(base / "mine");
        init();
        root()->getChild("editor")->set("x", 10.0, "user");
        move();
        EXPECT_EQ(varnek::files::utf16FromPath(base / "other"), getPreferencesDirectoryUStr());
        EXPECT_EQ(10.0, root()->getByFullName<double>("editor.x"));
        root()->getChild("editor")->set("y", 3.0, "user");
        waitForSettingsSaves();
        EXPECT_FALSE(std::filesystem::exists(base / "other/editor.vksettings"));
        EXPECT_TRUE(std::filesystem::exists(base / "mine/editor.vksettings"));
        MSettings::reset();
        EXPECT_EQ(10.0, root()->getByFullName<double>("editor.x"));
        EXPECT_EQ(3.0, root()->getByFullName<double>("editor.y"));
    });
}

} // namespace
