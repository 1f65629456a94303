// Whoever makes the first tree tells that there is one, once. Each case runs in a process of its own.

#include "settingscore/MSettings.hpp"
#include "settingscore/SettingsRoot.hpp"
#include "settingscore/startup/Readiness.hpp"
#include "settingscore/startup/init.hpp"
#include "settingscore/startup/updatePrefdir.hpp"
#include "support/OtherProcess.hpp"
#include "support/Startup.hpp"

#include <unistd.h>

#include <functional>
#include <thread>

namespace {

using namespace settings::core;
using namespace settings::core::detail;
using namespace settings::test;
using Lines = std::vector<std::string>;

struct FirstTree : Startup {
    /// In a process that has started the library; `calls` are those of its callbacks, which use the tree.
    static void inAProcess(const std::function<void(Lines& calls)>& work) {
        inAnotherProcess([&] {
            ::alarm(20); // the process ends where threads wait for each other
            init();
            Lines calls;
            isPrefdirReady([&] { calls.push_back("prefdir"); });
            isSettingsTreeReady([&] { calls.push_back(root() == nullptr ? "no tree" : "tree"); });
            work(calls);
        });
    }
};

TEST_F(FirstTree, IsToldWhoeverMakesIt) {
    using Making = std::function<void()>;
    for (const Making& make : {Making([] { root(); }), Making([] { MSettings::reset(); }), Making([] {
                                   EXPECT_TRUE(MSettings::createEmptySettingsFor(DefaultRootIndex()));
                               })})
        inAProcess([&](Lines& calls) {
            make();
            EXPECT_EQ((Lines{"prefdir", "tree"}), calls);
            EXPECT_TRUE(isPrefdirReady([] {}));
            EXPECT_TRUE(isSettingsTreeReady());
            root();
            MSettings::reset();
            EXPECT_EQ(2U, calls.size()); // once
            EXPECT_EQ(1.0, root()->getByFullName<double>("editor.x"));
        });
}

TEST_F(FirstTree, MayBeMadeByResetWhileACallbackIsCalled) {
    for (const bool isHere : {true, false})
        inAProcess([&](Lines& calls) {
            isPrefdirReady([&] {
                if (isHere)
                    MSettings::reset();
                else
                    std::jthread([] { MSettings::reset(); }).join();
                calls.push_back("reset");
            });
            root();
            EXPECT_EQ((Lines{"prefdir", "reset", "tree"}), calls);
            EXPECT_TRUE(isSettingsTreeReady());
        });
}

/// Another tree is no news of the application's.
TEST_F(FirstTree, IsThatOfTheApplication) {
    inAProcess([&](Lines& calls) {
        ASSERT_TRUE(MSettings::createEmptySettingsFor(RootIndex(5, true, false)));
        EXPECT_EQ(Lines(), calls);
        EXPECT_FALSE(isSettingsTreeReady());
    });
}

/// A directory that was refused is none that became ready.
TEST_F(FirstTree, TheDirectoryBecomesReadyOnce) {
    inAProcess([&](Lines& calls) {
        EXPECT_TRUE(updatePrefdir((base / "other").string()));
        EXPECT_EQ(Lines{"prefdir"}, calls);
        root();
        EXPECT_EQ((Lines{"prefdir", "tree"}), calls);
        EXPECT_TRUE(std::filesystem::exists(base / "other"));
    });
    inAProcess([&](Lines& calls) {
        EXPECT_THROW(updatePrefdir("relative"), std::exception);
        EXPECT_EQ(Lines{"prefdir"}, calls); // whoever has paused goes on
        EXPECT_FALSE(isPrefdirReady([] {}));
        root();
        EXPECT_EQ((Lines{"prefdir", "prefdir", "tree"}), calls);
    });
}

} // namespace
