// Who looks for the tree at the moment when another one takes its place. Each case runs in a process of its
// own.

#include "settingscore/MSettings.hpp"
#include "settingscore/SettingsRoot.hpp"
#include "settingscore/startup/Readiness.hpp"
#include "settingscore/startup/init.hpp"
#include "settingscore/startup/updatePrefdir.hpp"
#include "support/OtherProcess.hpp"
#include "support/Startup.hpp"
#include "support/WatchedThread.hpp"
#include "varnek/log/Channel.hpp"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <optional>

namespace {

using namespace settings::core;
using namespace settings::core::detail;
using namespace settings::test;

struct ExchangedTree : Startup {
    /// Another file of the same content.
    static void replace(const std::filesystem::path& file) {
        const auto copy = file.parent_path() / "copy";
        std::filesystem::copy_file(file, copy);
        std::filesystem::rename(copy, file);
    }

    /// MSettings::reset(), and `work` when neither tree is to be found: the group "own" is read while the new
    /// tree is built, and once more then because its file has changed.
    void resetAnd(const std::function<void()>& work) const {
        constexpr char channel[] = "settings::core::settingsFile";
        std::atomic<int> readings{0};
        varnek::log::setLevel(channel, varnek::log::Severity::info);
        const auto before =
            varnek::log::setSink([&](std::string_view, varnek::log::Severity, std::string_view text) {
                if (text.find("Read settings file") == text.npos || text.find("own") == text.npos)
                    return;
                if (const int reading = ++readings; reading == 1)
                    replace(base / "prefs/own.vksettings");
                else if (reading == 2)
                    work();
            });
        MSettings::reset();
        varnek::log::setSink(before);
        varnek::log::setLevel(channel, varnek::log::Severity::off);
        EXPECT_LE(2, readings);
    }
};

TEST_F(ExchangedTree, IsWaitedFor) {
    inAnotherProcess([this] {
        ::alarm(60); // the process ends where they wait for each other
        init();
        root()->addGroup("own", true, false, "user");
        waitForSettingsSaves();
        const auto damaged = base / "prefs/damaged.vksettings";
        writeBytes(damaged, "no package");
        std::atomic<int> calls{0};
        isSettingsTreeReady([&] { ++calls; });
        RecordedEvents events;
        std::vector<LoadProblem> problems;
        {
            std::optional<WatchedThread> asking, moving;
            resetAnd([&] {
                asking.emplace([&] { problems = getLoadProblems(DefaultRootIndex()); });
                asking->settle();
            });
            asking.reset(); // it may not have got that far
            resetAnd([&] {
                moving.emplace([&] { EXPECT_TRUE(updatePrefdir((base / "other").string())); });
                moving->settle();
                EXPECT_TRUE(getLoadProblems(DefaultRootIndex()).empty()); // it must not wait for itself
            });
        }
        EXPECT_EQ(1, calls);
        EXPECT_FALSE(root()->getChild("own"));
        const auto told = events.take();
        EXPECT_EQ(1, std::count(told.begin(), told.end(), "another event"));
        ASSERT_EQ(1U, problems.size());
        EXPECT_EQ(damaged, problems.front().file);
    });
}

} // namespace
