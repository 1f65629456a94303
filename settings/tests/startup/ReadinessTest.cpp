// Callbacks, threads that they wait for, and who is refused the tree. Each case runs in a process of its own.

#include "settingscore/startup/Readiness.hpp"
#include "settingscore/MSettings.hpp"
#include "settingscore/SettingsRoot.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/factoryfile/FactorySettings.hpp"
#include "settingscore/plugin/ServiceFramework.hpp"
#include "settingscore/root/ToolboxGroups.hpp"
#include "settingscore/startup/init.hpp"
#include "settingscore/startup/updatePrefdir.hpp"
#include "support/LogLines.hpp"
#include "support/OtherProcess.hpp"
#include "support/Startup.hpp"

#include <unistd.h>

#include <functional>
#include <thread>

namespace {

using namespace settings::core;
using namespace settings::core::detail;
using namespace settings::test;
using varnek::settings::FactorySettings;
using Lines = std::vector<std::string>;

struct Readiness : Startup {
    /// A callback's work, at the first call.
    static std::function<void()> once(std::function<void()> work) {
        return [work = std::move(work), isFirst = true]() mutable {
            if (std::exchange(isFirst, false))
                work();
        };
    }
    static void byAnotherThread(const std::function<void()>& work) { std::jthread(work).join(); }
};

/// The first tree of the process is made by a thread for which a callback waits.
TEST_F(Readiness, ACallbackMayWaitForTheThreadThatBuildsTheTree) {
    for (const bool isMoved : {false, true})
        inAnotherProcess([this, isMoved] {
            ::alarm(20); // the process ends where they wait for each other
            init();
            Lines calls;
            isPrefdirReady(once([&] {
                byAnotherThread([&] { EXPECT_EQ(1.0, root()->getByFullName<double>("editor.x")); });
                calls.push_back("prefdir");
            }));
            isSettingsTreeReady([&] { calls.push_back("tree"); });
            if (isMoved) {
                EXPECT_TRUE(updatePrefdir((base / "other").string()));
            } else {
                root();
            }
            ASSERT_LE(2U, calls.size());
            EXPECT_EQ((Lines{"prefdir", "tree"}), Lines(calls.begin(), calls.begin() + 2));
            EXPECT_TRUE(isSettingsTreeReady());
        });
}

struct RegisteringToolbox : FactorySettings {
    std::string getToolboxGroupName() const override { return "registering"; }
    void createFactorySettings(varnek::settings::FactoryGroup& group) const override {
        wasReady = isSettingsTreeReady([this] { ++called; });
        group.addSetting("x",
                         FactorySettingProperties(true, false, Array::scalar(3.0), {}, {}, false, false, {}));
    }
    mutable bool wasReady = false;
    mutable int called = 0;
};

/// Also where the callbacks of what is ready are still to be called.
TEST_F(Readiness, WhoHearsThatItIsReadyIsNotCalledAtOnce) {
    inAnotherProcess([this] {
        const auto toolbox = std::make_shared<RegisteringToolbox>();
        serviceContext().RegisterService<FactorySettings>(std::static_pointer_cast<FactorySettings>(toolbox));
        init();
        isPrefdirReady(once([] { EXPECT_EQ(3.0, root()->getByFullName<double>("registering.x")); }));
        root();
        EXPECT_TRUE(toolbox->wasReady);
        EXPECT_EQ(0, toolbox->called);
        EXPECT_TRUE(updatePrefdir((base / "other").string()));
        EXPECT_EQ(1, toolbox->called);
    });
}

/// By a service that starts while the sources of another tree are looked for.
TEST_F(Readiness, WhatIsStartedForOneTreeIsRefusedTheOther) {
    inAnotherProcess([this] {
        struct Asking : FactorySettings {
            explicit Asking(std::string& said) : answer(said) {}
            std::string getToolboxGroupName() const override {
                try {
                    root();
                    answer = "a tree";
                } catch (const VARNEK::settings::core::SettingsLibraryNotInitialized&) {
                    answer = "refused";
                }
                return "asking";
            }
            void createFactorySettings(varnek::settings::FactoryGroup&) const override {}
            std::string& answer;
        };
        std::string answer;
        serviceContext().RegisterService<FactorySettings>(
            std::static_pointer_cast<FactorySettings>(std::make_shared<Asking>(answer)));
        init();
        const RootIndex own(5, true, false);
        ASSERT_TRUE(MSettings::createEmptySettingsFor(own));
        updateToolboxGroup(own, "editor", {base / "editor.vksettings"});
        getEarlyStartupFactoryFileNames(own);
        EXPECT_EQ("refused", answer);
        EXPECT_EQ(1.0, getSettingsRoot(own)->getByFullName<double>("editor.x"));
        EXPECT_TRUE(root()->getChild("asking"));
    });
}

TEST_F(Readiness, TheLogTellsOfWhoeverPauses) {
    inAnotherProcess([] {
        init();
        const LogLines log("settings::core::startup");
        waitForUpdatePrefdir();
        EXPECT_EQ((Lines{"Acquiring mutex to pause prefdir and settings services.",
                         "Releasing mutex after pausing prefdir and settings services."}),
                  log.lines);
    });
}

} // namespace
