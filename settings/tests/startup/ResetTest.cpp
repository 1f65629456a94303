// The tree is built anew while others use it. Each case runs in a process of its own.

#include "settingscore/MSettings.hpp"
#include "settingscore/SettingsRoot.hpp"
#include "settingscore/settings/file/SaveHook.hpp"
#include "settingscore/startup/init.hpp"
#include "support/AtLine.hpp"
#include "support/OtherProcess.hpp"
#include "support/Startup.hpp"
#include "support/Waiting.hpp"

#include <unistd.h>

#include <atomic>
#include <functional>
#include <latch>
#include <thread>

namespace {

using namespace settings::core;
using namespace settings::core::detail;
using namespace settings::test;

struct Reset : Startup {};

/// Does the work on the way through MSettings::reset(), while the new tree is built.
void resetAnd(const std::function<void()>& work) {
    const AtLine building("settings::core::settingsImplRoot", "addDummyNode for: editor", work);
    MSettings::reset();
}

void byAnotherThread(const std::function<void()>& work) {
    std::jthread(work).join();
}

/// Values that are set on the old tree while the new one is built, and on the new one before the old one's
/// are saved: the last one stays, and nobody sees an older one.
TEST_F(Reset, WhatTwoTreesHaveToSaveStaysInOrder) {
    inAnotherProcess([] {
        ::alarm(60); // the process ends where they wait for each other
        init();
        const auto set = [](const Handle& tree, const char* group, double value) {
            tree->getChild(group)->set("x", value, "user");
        };
        set(root(), "editor", 1000.0);
        for (int round = 1; round <= 8; ++round) {
            const Handle old = root();
            const double before = old->getByFullName<double>("editor.x");
            const double first = 100.0 + round, later = round % 2 == 0 ? before : 1000.0 + round;
            std::latch isSaving(1);
            setSaveHook([&](SettingsFileAccess& access, const std::filesystem::path& file) {
                if (file.filename() == "shell.vksettings") { // keeps the others back
                    isSaving.count_down();
                    waitUntil([&] { return !Settings::equal(root(), old); });
                    EXPECT_EQ(first, root()->getByFullName<double>("editor.x"));
                    set(root(), "editor", later);
                }
                access.writeTo(file);
            });
            resetAnd([&] {
                byAnotherThread([&] { set(old, "shell", round); });
                isSaving.wait();
                byAnotherThread([&] { set(old, "editor", first); });
            });
            EXPECT_EQ(later, root()->getByFullName<double>("editor.x"));
            waitForSettingsSaves();
            setSaveHook({});
            EXPECT_EQ(later, root()->getByFullName<double>("editor.x"));
            MSettings::reset();
            EXPECT_EQ(later, root()->getByFullName<double>("editor.x"));
            EXPECT_EQ(double(round), root()->getByFullName<double>("shell.x"));
        }
    });
}

/// A file that is in place but not known to be so yet is no news from another process.
TEST_F(Reset, WhatIsBeingSavedGivesWayToWhatIsSetAfterIt) {
    inAnotherProcess([] {
        ::alarm(60);
        init();
        root()
            ->addGroup("own", true, false, "user")
            ->addSetting("s", Array::scalar(1.0), true, false, "user");
        waitForSettingsSaves();
        const Handle old = root();
        const auto set = [&](double value) {
            byAnotherThread([&] { old->getChild("own")->set("s", value, "user"); });
        };
        std::latch isWritten(1);
        std::atomic<bool> isFirst{true};
        setSaveHook([&](SettingsFileAccess& access, const std::filesystem::path& file) {
            access.writeTo(file);
            if (!isFirst.exchange(false))
                return;
            isWritten.count_down();
            waitUntil([&] { return !Settings::equal(root(), old); });
        });
        resetAnd([&] {
            set(5.0);
            isWritten.wait();
            set(7.0);
        });
        EXPECT_EQ(7.0, root()->getByFullName<double>("own.s"));
        waitForSettingsSaves();
        setSaveHook({});
        EXPECT_EQ(7.0, root()->getByFullName<double>("own.s"));
        MSettings::reset();
        EXPECT_EQ(7.0, root()->getByFullName<double>("own.s"));
    });
}

/// Everything that may have been changed meanwhile, in groups that the new tree reads when somebody needs
/// them, and in one that it reads at once because its definitions have changed.
TEST_F(Reset, WhatIsChangedMeanwhileIsInTheNewTree) {
    for (const bool isReadAtOnce : {false, true}) {
        std::filesystem::remove_all(base / "prefs");
        inAnotherProcess([this, isReadAtOnce] {
            ::alarm(60);
            init();
            const Handle old = root(), editor = old->getChild("editor");
            editor->set("x", 5.0, "user");
            editor->addSetting("gone", Array::scalar(1.0), true, false, "user");
            editor->addGroup("inner", true, false, "user")
                ->addSetting("kept", Array::scalar(1.0), true, false, "user");
            waitForSettingsSaves();
            if (isReadAtOnce)
                define("editor", ", {\"name\": \"z\", \"value\": 3}");
            std::latch isSaving(1);
            setSaveHook([&](SettingsFileAccess& access, const std::filesystem::path& file) {
                if (file.filename() == "shell.vksettings") { // keeps the others back
                    isSaving.count_down();
                    waitUntil([&] { return !Settings::equal(root(), old); });
                    const Handle now = root()->getChild("editor");
                    EXPECT_EQ(1.0, now->get<double>("x"));
                    EXPECT_EQ(7.0, now->get<double>("y"));
                    EXPECT_EQ(8.0, now->get<double>("mine"));
                    EXPECT_FALSE(now->getChild("gone"));
                    EXPECT_EQ(9.0, now->getByFullName<double>("inner.kept"));
                    EXPECT_EQ(6.0, root()->getByFullName<double>("packages.x"));
                    now->set("x", 5.0, "user"); // as it was
                    now->unset("y", "user");
                }
                access.writeTo(file);
            });
            resetAnd([&] {
                byAnotherThread([&] { old->getChild("shell")->set("x", 2.0, "user"); });
                isSaving.wait();
                byAnotherThread([&] {
                    editor->unset("x", "user");
                    editor->set("y", 7.0, "user");
                    editor->addSetting("mine", Array::scalar(8.0), true, false, "user");
                    editor->removeNode("gone");
                    editor->getChild("inner")->set("kept", 9.0, "user");
                    old->getChild("packages")->set("x", 6.0, "user"); // there is no file yet
                    old->addGroup("own", true, false, "user")
                        ->addSetting("s", Array::scalar(4.0), true, false, "user");
                });
            });
            const auto check = [] {
                const Handle now = root()->getChild("editor");
                EXPECT_EQ(5.0, now->get<double>("x"));
                EXPECT_EQ(2.0, now->get<double>("y"));
                EXPECT_EQ(8.0, now->get<double>("mine"));
                EXPECT_FALSE(now->getChild("gone"));
                EXPECT_EQ(9.0, now->getByFullName<double>("inner.kept"));
                EXPECT_EQ(6.0, root()->getByFullName<double>("packages.x"));
                EXPECT_EQ(4.0, root()->getByFullName<double>("own.s"));
            };
            check();
            waitForSettingsSaves();
            setSaveHook({});
            MSettings::reset();
            check();
        });
    }
}

/// There nobody can wait for what the old tree has to save. What others write afterwards is news all the
/// same.
TEST_F(Reset, OnTheWritersThread) {
    for (const bool isLoaded : {false, true}) {
        std::filesystem::remove_all(base / "prefs");
        inAnotherProcess([this, isLoaded] {
            ::alarm(60);
            init();
            const Handle old = root();
            const auto file = base / "prefs/shell.vksettings", theirs = base / "prefs/theirs";
            old->getChild("shell")->set("x", 9.0, "user");
            waitForSettingsSaves();
            std::filesystem::copy_file(file, theirs);
            std::latch isSaving(1), isAllSet(1), isReset(1);
            std::atomic<bool> isFirst{true};
            setSaveHook([&](SettingsFileAccess& access, const std::filesystem::path& path) {
                if (isFirst.exchange(false)) {
                    isSaving.count_down();
                    isAllSet.wait();
                    MSettings::reset();
                    if (isLoaded) {
                        EXPECT_EQ(7.0, root()->getByFullName<double>("shell.x"));
                    }
                    isReset.count_down();
                }
                access.writeTo(path);
            });
            old->getChild("editor")->set("x", 5.0, "user");
            isSaving.wait();
            old->getChild("shell")->set("x", 7.0, "user");
            isAllSet.count_down();
            isReset.wait();
            waitForSettingsSaves();
            setSaveHook({});
            EXPECT_EQ(5.0, root()->getByFullName<double>("editor.x"));
            std::filesystem::rename(theirs, file);
            root()->getChild("shell")->set("y", 3.0, "user");
            waitForSettingsSaves();
            EXPECT_EQ(9.0, root()->getByFullName<double>("shell.x"));
        });
    }
}

/// Nobody ever sees an older value than one that somebody has set.
TEST_F(Reset, UnderWritersNothingGoesBack) {
    inAnotherProcess([] {
        ::alarm(300);
        init();
        std::atomic<bool> isDone{false};
        std::atomic<int> last{0};
        {
            std::jthread writer([&] {
                for (int i = 1; !isDone; ++i) {
                    Handle tree;
                    do { // what is set on a tree that has been replaced meanwhile counts for nobody
                        tree = root();
                        tree->getChild("editor")->set("x", double(i), "user");
                    } while (!Settings::equal(tree, root()));
                    last = i;
                    EXPECT_LE(double(i), root()->getByFullName<double>("editor.x"));
                }
            });
            for (int i = 0; i < times(200, 20); ++i) {
                const int before = last;
                MSettings::reset();
                EXPECT_LE(double(before), root()->getByFullName<double>("editor.x"));
            }
            isDone = true;
        }
        waitForSettingsSaves();
        EXPECT_EQ(double(last), root()->getByFullName<double>("editor.x"));
        MSettings::reset();
        EXPECT_EQ(double(last), root()->getByFullName<double>("editor.x"));
    });
}

} // namespace
