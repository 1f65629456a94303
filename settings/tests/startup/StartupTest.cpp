// What happens when a process starts the library. Each case runs in a process of its own.

#include "support/Startup.hpp"
#include "settingscore/MSettings.hpp"
#include "settingscore/PersonalFileWatch.hpp"
#include "settingscore/SettingsRoot.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/factoryfile/FactorySettings.hpp"
#include "settingscore/plugin/ServiceFramework.hpp"
#include "settingscore/prefdir/PreferencesDirectory.hpp"
#include "settingscore/startup/Readiness.hpp"
#include "settingscore/startup/init.hpp"
#include "settingscore/startup/updatePrefdir.hpp"
#include "support/LogLines.hpp"
#include "support/OtherProcess.hpp"
#include "support/Waiting.hpp"
#include "varnek/event/EventManager.hpp"
#include "varnek/host/HostInfo.hpp"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <latch>
#include <optional>
#include <thread>

namespace {

using namespace settings::core;
using namespace settings::core::detail;
using namespace settings::test;
using Lines = std::vector<std::string>;

TEST_F(Startup, BeforeItThereIsNoTree) {
    inAnotherProcess([] {
        EXPECT_THROW(root(), VARNEK::settings::core::SettingsLibraryNotInitialized);
        EXPECT_THROW(MSettings::createEmptySettingsFor(RootIndex(3, true, false)),
                     VARNEK::settings::core::SettingsLibraryNotInitialized);
        EXPECT_THROW(MSettings::reset(), VARNEK::settings::core::SettingsLibraryNotInitialized);
        EXPECT_THROW(updatePrefdir("/tmp"), VARNEK::settings::core::SettingsLibraryNotInitialized);
        EXPECT_TRUE(settings::standalone::getSettingsRoot());
        init();
        EXPECT_TRUE(root());
        EXPECT_TRUE(MSettings::createEmptySettingsFor(RootIndex(3, true, false)));
    });
}

TEST_F(Startup, ReadsNothingBeforeTheTreeIsAskedFor) {
    inAnotherProcess([this] {
        LogLines log("settings::core::startup");
        init();
        init();
        EXPECT_EQ((Lines{"settings::core::init", "Create the HostInfo Microservice tracker",
                         "settings::core::init"}),
                  log.lines);
        EXPECT_FALSE(std::filesystem::exists(base / "prefs"));
        EXPECT_FALSE(isSettingsTreeReady());
        log.lines.clear();
        Lines calls;
        EXPECT_FALSE(isPrefdirReady([&] {
            calls.push_back("prefdir");
            EXPECT_TRUE(std::filesystem::exists(base / "prefs"));
            throw std::runtime_error("oops");
        }));
        EXPECT_FALSE(isPrefdirReady([&] { calls.push_back("second"); }));
        EXPECT_FALSE(isSettingsTreeReady([&] {
            calls.push_back("tree");
            EXPECT_EQ(1.0, root()->getByFullName<double>("editor.x"));
        }));
        root();
        root();
        EXPECT_EQ((Lines{"prefdir", "second", "tree"}), calls);
        EXPECT_EQ((Lines{"Executing 2 callbacks on prefdir ready", "Exception caught: oops",
                         "Finished executing \"prefdir location change\" callbacks",
                         "Executing 1 callbacks on settings tree ready",
                         "Finished executing \"settings tree ready\" callbacks"}),
                  log.lines);
        EXPECT_TRUE(isSettingsTreeReady());
        EXPECT_TRUE(isPrefdirReady([&] { calls.push_back("late"); }));
        EXPECT_TRUE(isSettingsTreeReady([&] { calls.push_back("late"); }));
        EXPECT_EQ(3U, calls.size()); // not at once
    });
}

TEST_F(Startup, ACallbackMustNotWaitForItself) {
    inAnotherProcess([] {
        init();
        int refused = 0;
        const auto refusing = [&](const std::function<void()>& call) {
            try {
                call();
            } catch (const std::logic_error&) {
                ++refused;
            }
        };
        isPrefdirReady([&] {
            refusing([] { isPrefdirReady([] {}); });
            refusing([] { isSettingsTreeReady([] {}); });
            refusing([] { isSettingsTreeReady(); });
            refusing([] { waitForUpdatePrefdir(); });
            refusing([] { updatePrefdir("/tmp"); });
            EXPECT_TRUE(root()); // the tree may be asked for, and is ready when this is over
        });
        root();
        EXPECT_EQ(5, refused);
        EXPECT_TRUE(isSettingsTreeReady());
    });
}

/// A toolbox that registers callbacks while it is asked what it is, and while it is loaded.
struct WaitingToolbox : varnek::settings::FactorySettings {
    std::string getToolboxGroupName() const override { return "waiting"; }
    bool isVisible() const override {
        registerCallbacks();
        return true;
    }
    void createFactorySettings(varnek::settings::FactoryGroup& group) const override {
        registerCallbacks();
        group.addSetting("x",
                         FactorySettingProperties(true, false, Array::scalar(3.0), {}, {}, false, false, {}));
    }
    std::function<void()> registerCallbacks;
};

std::shared_ptr<WaitingToolbox> registered(std::function<void()> work) {
    auto toolbox = std::make_shared<WaitingToolbox>();
    toolbox->registerCallbacks = std::move(work);
    serviceContext().RegisterService<varnek::settings::FactorySettings>(
        std::static_pointer_cast<varnek::settings::FactorySettings>(toolbox));
    return toolbox;
}

TEST_F(Startup, AToolboxThatAsksForCallbacksMayBeNeededInOne) {
    inAnotherProcess([this] {
        int called = 0, expected = 0, refused = 0;
        bool isFirst = true;
        registered([&] {
            isPrefdirReady([&] { ++called; });
            expected += isSettingsTreeReady([&] { ++called; }) ? 0 : 1;
            isSettingsTreeReady();
            waitForUpdatePrefdir();
            try {
                updatePrefdir((base / "other").string());
            } catch (const std::logic_error&) {
                ++refused;
            }
        });
        init();
        isPrefdirReady([&] {
            if (std::exchange(isFirst, false)) {
                EXPECT_EQ(3.0, root()->getByFullName<double>("waiting.x"));
            }
        });
        root();
        EXPECT_EQ(Lines(), [] {
            Lines messages;
            for (const LoadProblem& problem : getLoadProblems(DefaultRootIndex()))
                messages.push_back(problem.message);
            return messages;
        }());
        EXPECT_EQ(3.0, root()->getByFullName<double>("waiting.x"));
        EXPECT_LT(0, refused);
        EXPECT_LT(0, called);
        EXPECT_EQ(expected, called); // each of those for the tree, once; others the next time
    });
}

TEST_F(Startup, AThreadThatBuildsTheTreeDoesNotWaitForACallbackThatNeedsIt) {
    inAnotherProcess([] {
        ::alarm(20); // the process ends where they wait for each other
        std::latch isInCallback(1), isBuilding(1);
        std::atomic<bool> isFirst{true};
        registered([&] {
            if (isFirst.exchange(false))
                isBuilding.count_down();
            isSettingsTreeReady([] {});
            waitForUpdatePrefdir();
        });
        init();
        isPrefdirReady([&] {
            isInCallback.count_down();
            isBuilding.wait();
            EXPECT_EQ(3.0, root()->getByFullName<double>("waiting.x"));
        });
        std::jthread announcing([] { EXPECT_TRUE(root()); });
        isInCallback.wait();
        EXPECT_EQ(3.0, root()->getByFullName<double>("waiting.x"));
    });
}

struct LateLoader : varnek::settings::TopLevelFactoryFileLoader {
    LateLoader(std::string group, std::filesystem::path path, std::function<void()> work = {})
        : name(std::move(group)), file(std::move(path)), whenAsked(std::move(work)) {}
    std::string getName() const override { return name; }
    bool isHidden() const override {
        if (whenAsked)
            whenAsked();
        return false;
    }
    std::filesystem::path getFactoryFile() const override { return file; }
    const std::string name;
    const std::filesystem::path file;
    const std::function<void()> whenAsked;
};

TEST_F(Startup, SourcesThatComeWhileTheTreeIsBuiltReachIt) {
    inAnotherProcess([this] {
        const auto add = [](const std::shared_ptr<LateLoader>& loader) {
            serviceContext().RegisterService<varnek::settings::TopLevelFactoryFileLoader>(
                std::static_pointer_cast<varnek::settings::TopLevelFactoryFileLoader>(loader));
        };
        std::filesystem::rename(base / "shell.vksettings", base / "first.vksettings");
        std::filesystem::remove_all(base / "factory"); // nothing but what the loaders bring
        int asked = 0;
        add(std::make_shared<LateLoader>("editor", base / "editor.vksettings", [&] {
            if (++asked == 2) // by the building of the tree
                add(std::make_shared<LateLoader>("packages", base / "packages.vksettings"));
            if (asked == 3) // by that of the next one
                add(std::make_shared<LateLoader>("shell", base / "first.vksettings"));
        }));
        init();
        EXPECT_EQ(1.0, root()->getByFullName<double>("editor.x"));
        EXPECT_EQ(1.0, root()->getByFullName<double>("packages.x"));
        EXPECT_FALSE(root()->getChild("shell"));
        std::string answer = "nothing was told"; // to a listener that makes a tree of its own
        const varnek::event::ScopedConnection listener = varnek::event::EventManager::instance().subscribe(
            u"settings::core::SettingsEvent", [&](const auto&) {
                answer = "a tree";
                try {
                    MSettings::createEmptySettingsFor(RootIndex(4713, true, false));
                } catch (const std::exception& failure) {
                    answer = failure.what();
                }
            });
        MSettings::reset();
        EXPECT_EQ("a tree", answer);
        EXPECT_EQ(1.0, root()->getByFullName<double>("packages.x"));
        EXPECT_EQ(1.0, root()->getByFullName<double>("shell.x"));
    });
}

struct ThisHost : varnek::host::HostInfo {
    explicit ThisHost(std::optional<bool> session) : session_(session) {}
    bool isSession() const override { return session_ ? *session_ : throw std::runtime_error("no answer"); }
    const std::optional<bool> session_;
};

TEST_F(Startup, TheLogTellsWhatKindOfHostItIs) {
    inAnotherProcess([] {
        LogLines log("settings::core::startup");
        init();
        log.lines.clear();
        serviceContext().RegisterService<varnek::host::HostInfo>(std::make_shared<ThisHost>(false));
        EXPECT_EQ(Lines{"Host info : Compute"}, log.lines);
        serviceContext().RegisterService<varnek::host::HostInfo>(std::make_shared<ThisHost>(true));
        EXPECT_EQ((Lines{"Host info : Compute", "Host info : Compute", "Host info : Session"}), log.lines);
    });
}

TEST_F(Startup, AHostThatDoesNotSayWhatItIsDoesNotKeepTheLibraryBack) {
    inAnotherProcess([] {
        for (const std::optional<bool> session : {std::optional<bool>(), std::optional(true)})
            serviceContext().RegisterService<varnek::host::HostInfo>(std::make_shared<ThisHost>(session));
        LogLines log("settings::core::startup");
        EXPECT_NO_THROW(init());
        init();
        EXPECT_EQ(1,
                  std::count(log.lines.begin(), log.lines.end(), "Create the HostInfo Microservice tracker"));
        EXPECT_EQ(0, std::count(log.lines.begin(), log.lines.end(), ""));
        EXPECT_LT(0, std::count(log.lines.begin(), log.lines.end(), "Host info : Session"));
        EXPECT_LT(0, std::count(log.lines.begin(), log.lines.end(), "Exception caught: no answer"));
        EXPECT_EQ(1.0, root()->getByFullName<double>("editor.x"));
    });
}

// ---- another preferences directory ----

TEST_F(Startup, TheDirectoryMovesWithTheValues) {
    inAnotherProcess([this] {
        init();
        const Handle editor = root()->getChild("editor"), packages = root()->getChild("packages");
        editor->set("x", 10.0, "user");
        editor->set("y", 20.0, "session");
        editor->addSetting("mine", Array::scalar(5.0), true, false, "user");
        packages->set("x", 11.0, "user");
        root()->addGroup("own", true, false, "user");
        Lines calls;
        isPrefdirReady([&] { calls.push_back("prefdir"); });
        isSettingsTreeReady([&] { calls.push_back("tree"); });
        RecordedEvents events;
        LogLines log("settings::core::startup");
        EXPECT_TRUE(updatePrefdir((base / "other").string()));
        EXPECT_EQ((Lines{"prefdir", "tree"}), calls);
        EXPECT_EQ((Lines{"Attempting to change prefdir location", "mode 0, reload true",
                         "Updated prefdir location successfully", "Executing 1 callbacks on prefdir ready",
                         "Finished executing \"prefdir location change\" callbacks",
                         "Updated prefdir reload user settings for editor",
                         "Updated prefdir reload user settings for own",
                         "Updated prefdir reload user settings for packages",
                         "Updated settings tree with personal values successfully",
                         "Executing 1 callbacks on settings tree ready",
                         "Finished executing \"settings tree ready\" callbacks"}),
                  log.lines);
        Lines told = events.take();
        ASSERT_FALSE(told.empty());
        EXPECT_EQ("another event", told.back()); // of the directory, when everything is in place
        told.pop_back();
        std::sort(told.begin(), told.end());
        EXPECT_EQ((Lines{"changed editor.x was 10", "changed packages.x was 11", "removed mine from editor",
                         "removed own from "}),
                  told);
        EXPECT_TRUE(std::filesystem::exists(base / "other/creation.timestamp"));
        EXPECT_EQ(1.0, editor->get<double>("x"));
        EXPECT_EQ(20.0, editor->get<double>("y"));
        editor->set("x", 30.0, "user");
        waitForSettingsSaves();
        EXPECT_TRUE(std::filesystem::exists(base / "other/editor.vksettings"));
        EXPECT_TRUE(updatePrefdir((base / "prefs").string()));
        EXPECT_EQ(10.0, editor->get<double>("x"));
        EXPECT_EQ(5.0, editor->get<double>("mine"));
        EXPECT_EQ(11.0, packages->get<double>("x"));
        EXPECT_TRUE(root()->getChild("own"));
        EXPECT_TRUE(updatePrefdir((base / "other").string()));
        EXPECT_EQ(30.0, editor->get<double>("x"));
        EXPECT_EQ("NoSuchKey", failureOf([&] { editor->get("mine"); }));
        EXPECT_TRUE(updatePrefdir((base / "prefs").string(), DefaultRootIndex(), false)); // without reading
        EXPECT_EQ(30.0, editor->get<double>("x"));
    });
}

TEST_F(Startup, AWatchFollowsTheDirectory) {
    inAnotherProcess([this] {
        init();
        const Handle editor = root()->getChild("editor");
        editor->set("x", 7.0, "user");
        const PersonalFileWatch watch;
        EXPECT_TRUE(updatePrefdir((base / "other").string()));
        EXPECT_TRUE(updatePrefdir((base / "prefs").string()));
        writeBytes(base / "other/editor.vksettings", "garbage");
        EXPECT_TRUE(updatePrefdir((base / "other").string()));
        EXPECT_EQ(1.0, editor->get<double>("x"));
        EXPECT_EQ(1U, getLoadProblems(DefaultRootIndex()).size());
        std::promise<double> heard;
        const varnek::event::ScopedConnection connection = varnek::event::EventManager::instance().subscribe(
            u"settings::core::SettingsValueChangeEvent",
            [&](const varnek::event::EventHandle&) { heard.set_value(editor->get<double>("x")); });
        // As another process replaces it.
        std::filesystem::copy_file(base / "prefs/editor.vksettings", base / "other/written");
        std::filesystem::rename(base / "other/written", base / "other/editor.vksettings");
        auto value = heard.get_future();
        ASSERT_EQ(std::future_status::ready, value.wait_for(std::chrono::seconds(20)));
        EXPECT_EQ(7.0, value.get());
        waitUntil([] { return getLoadProblems(DefaultRootIndex()).empty(); });
    });
}

TEST_F(Startup, ADirectoryThatCannotBeHadLeavesTheOldOne) {
    inAnotherProcess([this] {
        init();
        root()->getChild("editor")->set("x", 10.0, "user");
        int calls = 0, trees = 0;
        isPrefdirReady([&] { ++calls; });
        isSettingsTreeReady([&] { ++trees; });
        writeBytes(base / "file", "");
        LogLines log("settings::core::startup");
        EXPECT_FALSE(updatePrefdir((base / "file/below").string()));
        EXPECT_EQ("Could not update prefdir location", log.lines.at(2));
        EXPECT_EQ(1, calls);
        EXPECT_EQ("RelativePreferencePathNotSupported", failureOf([] { updatePrefdir("relative"); }));
        EXPECT_EQ(2, calls);
        EXPECT_EQ(0, trees);
        EXPECT_EQ(varnek::files::utf16FromPath(base / "prefs"), getPreferencesDirectoryUStr());
        EXPECT_EQ(10.0, root()->getByFullName<double>("editor.x"));
        // What was enabled for the change is not enabled any more.
        EXPECT_THROW(setPreferencesDirectoryUStr(u"/elsewhere"), OverridingPreferencesDirectoryNotSupported);
    });
}

/// What stands in the place of a file says nothing of the values in the folder before.
TEST_F(Startup, AFileThatCannotBeReadThereCostsNothingHere) {
    inAnotherProcess([this] {
        init();
        const Handle editor = root()->getChild("editor"), shell = root()->getChild("shell");
        editor->set("x", 10.0, "user");
        shell->set("x", 11.0, "user");
        std::filesystem::create_directories(base / "other/shell.vksettings");
        writeBytes(base / "other/editor.vksettings", "garbage");
        const auto troubled = [] {
            Lines files;
            for (const LoadProblem& problem : getLoadProblems(DefaultRootIndex()))
                files.push_back(std::filesystem::path(problem.file).filename());
            return files;
        };
        EXPECT_EQ(Lines(), troubled());
        for (int round = 0; round < 2; ++round) {
            EXPECT_TRUE(updatePrefdir((base / "other").string()));
            EXPECT_EQ(1.0, editor->get<double>("x"));
            EXPECT_EQ(1.0, shell->get<double>("x"));
            EXPECT_EQ((Lines{"editor.vksettings", "shell.vksettings"}), troubled());
            EXPECT_TRUE(updatePrefdir((base / "prefs").string()));
            EXPECT_EQ(10.0, editor->get<double>("x"));
            EXPECT_EQ(11.0, shell->get<double>("x"));
            EXPECT_EQ(Lines(), troubled());
        }
        editor->set("y", 5.0, "user"); // a save must not leave the others out
        waitForSettingsSaves();
        EXPECT_TRUE(updatePrefdir((base / "other").string()));
        std::filesystem::copy_file(base / "prefs/editor.vksettings", base / "other/editor.vksettings",
                                   std::filesystem::copy_options::overwrite_existing); // repaired
        EXPECT_TRUE(updatePrefdir((base / "other").string()));
        EXPECT_EQ(10.0, editor->get<double>("x"));
        EXPECT_EQ(Lines{"shell.vksettings"}, troubled());
    });
}

TEST_F(Startup, WhoWaitsGoesOnWhenTheChangeIsOver) {
    inAnotherProcess([this] {
        init();
        root();
        std::latch isInside(1);
        std::atomic<bool> isOver{false};
        isPrefdirReady([&] {
            isInside.count_down();
            isOver = true;
        });
        std::jthread waiting([&] {
            isInside.wait();
            waitForUpdatePrefdir();
            EXPECT_TRUE(isOver);
        });
        EXPECT_TRUE(updatePrefdir((base / "other").string()));
    });
}

TEST_F(Startup, MovingBackAndForthUnderWritersLosesNothing) {
    inAnotherProcess([this] {
        init();
        const Handle editor = root()->getChild("editor"), shell = root()->getChild("shell");
        std::atomic<bool> isDone{false};
        std::atomic<int> last{0};
        {
            std::jthread writer([&] {
                for (int i = 1; !isDone; ++i) {
                    editor->set("x", double(i), "user");
                    last = i;
                }
            });
            std::jthread reader([&] {
                while (!isDone)
                    EXPECT_GE(editor->get<double>("x"), 1.0);
            });
            for (int i = 0; i < 6; ++i)
                EXPECT_TRUE(updatePrefdir((base / (i % 2 == 0 ? "other" : "prefs")).string()));
            waitUntil([&, moved = last.load()] { return last > moved + 1; }); // one that belongs to this one
            isDone = true;
        }
        EXPECT_EQ(double(last), editor->get<double>("x"));
        waitForSettingsSaves();
        EXPECT_TRUE(updatePrefdir((base / "other").string()));
        EXPECT_TRUE(updatePrefdir((base / "prefs").string()));
        EXPECT_EQ(double(last), editor->get<double>("x"));
    });
}

} // namespace
