// Toolboxes at the start of the library. Each case runs in a process of its own.

#include "settingscore/MSettings.hpp"
#include "settingscore/SettingsRoot.hpp"
#include "settingscore/factoryfile/FactorySettings.hpp"
#include "settingscore/plugin/InstallationRoot.hpp"
#include "settingscore/plugin/ServiceFramework.hpp"
#include "settingscore/root/ToolboxGroups.hpp"
#include "settingscore/startup/Readiness.hpp"
#include "settingscore/startup/init.hpp"
#include "support/AtLine.hpp"
#include "support/LogLines.hpp"
#include "support/OtherProcess.hpp"
#include "support/Startup.hpp"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <unistd.h>

#include <functional>
#include <tuple>

namespace {

using namespace settings::core;
using namespace settings::core::detail;
using namespace settings::test;
using varnek::settings::FactoryGroup;
using varnek::settings::FactorySettings;
using Lines = std::vector<std::string>;

constexpr const char* channel = "settings::core::settingsImplRoot";

struct ToolboxesAtStart : Startup {};

/// Asks `work` whenever it is asked anything about itself.
struct AskedSettings : FactorySettings {
    explicit AskedSettings(std::string group, std::function<void()> asked = {})
        : name(std::move(group)), work(std::move(asked)) {}
    std::string getToolboxGroupName() const override { return answer(name); }
    std::string getParentName() const override { return answer(parent); }
    bool isVisible() const override { return answer(true); }
    void createFactorySettings(FactoryGroup& group) const override {
        group.addSetting("x", {true, false, Array::scalar(7.0), {}, {}, false, false, {}});
    }
    template <class Answer>
    Answer answer(const Answer& text) const {
        if (work)
            work();
        return text;
    }
    const std::string name;
    std::string parent;
    std::function<void()> work;
};

void add(const std::shared_ptr<AskedSettings>& service) {
    static_cast<void>(serviceContext().RegisterService<FactorySettings>(service));
}

FactoryGroup described(const std::string& name, double value) {
    FactoryGroup group(name, {true, false, {}, {}, {}, false, true, {}});
    group.addSetting("x", {true, false, Array::scalar(value), {}, {}, false, false, {}});
    return group;
}

struct Code : VARNEKFactorySettingsDefinition {
    Code(const std::string& name, std::function<FactoryGroup()> work)
        : VARNEKFactorySettingsDefinition(name, true, "/code.lab"), make(std::move(work)) {}
    boost::optional<FactoryGroup> createFactorySettings() const override { return make(); }
    const std::function<FactoryGroup()> make;
};

/// What support reads.
TEST_F(ToolboxesAtStart, TheLogFollowsThem) {
    inAnotherProcess([] {
        struct Loader : varnek::settings::TopLevelFactoryFileLoader {
            std::string getName() const override { return "later"; }
            bool isHidden() const override { return true; }
        };
        struct Inner : FactorySettings {
            std::string getToolboxGroupName() const override { return "early"; }
            void createFactorySettings(FactoryGroup& group) const override { group.addGroup("inner"); }
        };
        LogLines log(channel);
        const auto expect = [&](const char* what, const Lines& wanted) {
            EXPECT_EQ(wanted, log.lines) << what;
            log.lines.clear();
        };
        static_cast<void>(serviceContext().RegisterService<FactorySettings>(std::make_shared<Inner>()));
        init();
        const Handle tree = root();
        expect("the start", {"SettingsImplRoot::SettingsImplRoot  RootIndex:0",
                             "Loading settings without RCF", "Create the Microservice tracker",
                             "Tracker:", "Tracker: add to settings root: early isVisible:true",
                             "SettingsImplRoot::addDummyNode for: editor:root",
                             "SettingsImplRoot::addDummyNode for: packages:root",
                             "SettingsImplRoot::addDummyNode for: shell:root",
                             "SettingsImplRoot::buildSettingsTree: Add service: early"});
        tree->getChild("early");
        expect("loading",
               {"Root:getChildImpl: early. Load: true", "Try to load factory settings for early",
                "Call C++ to create factory settings for early", "Add toolbox: early wasVisible: true",
                "Add subgroups: inner", "Add subgroups to tree: inner", "Top level node early found"});
        tree->reloadFactoryFile("early");
        expect("reloading",
               {"SettingsImplRoot::reloadFactoryFile: Add service: early",
                "Try to load factory settings for early", "Call C++ to create factory settings for early",
                "Add toolbox: early wasVisible: true", "Add subgroups: inner",
                "Add subgroups to tree: inner"});
        static_cast<void>(serviceContext().RegisterService<varnek::settings::TopLevelFactoryFileLoader>(
            std::make_shared<Loader>()));
        expect("a loader that comes late", {"Tracker:", "Top level Factory File Loader: later",
                                            "Tracker: add to settings root: later isVisible:false",
                                            "SettingsImplRoot::call the loader for later"});
        EXPECT_FALSE(tree->getChild("later"));
        expect("no definitions",
               {"Root:getChildImpl: later. Load: true", "Try to load factory settings for later",
                "No microservice and no VARNEK code for factory settings for later",
                "Top level node later not found"});
    });
}

TEST_F(ToolboxesAtStart, OneThatThrowsAtAnyQuestionDoesNotKeepTheOthersBack) {
    for (int answers = 0; answers < 12; ++answers)
        inAnotherProcess([&] {
            add(std::make_shared<AskedSettings>("moody", [left = answers]() mutable {
                if (--left < 0)
                    throw std::runtime_error("not now");
            }));
            init();
            bool isTold = false;
            isSettingsTreeReady([&] { isTold = true; });
            EXPECT_EQ(1.0, root()->getByFullName<double>("editor.x")) << answers;
            EXPECT_TRUE(isTold) << answers;
            EXPECT_TRUE(isSettingsTreeReady()) << answers;
            EXPECT_EQ(answers < 3 ? 1U : 0U, getLoadProblems(DefaultRootIndex()).size()) << answers;
            EXPECT_EQ(answers >= 3, root()->getChild("moody") != nullptr) << answers;
        });
}

TEST_F(ToolboxesAtStart, OneThatComesWhileTheTreeIsBuiltIsAskedWhatItIsOnce) {
    for (const char* parent : {"", "early"})
        inAnotherProcess([&] {
            add(std::make_shared<AskedSettings>("early"));
            auto late = std::make_shared<AskedSettings>("late");
            late->parent = parent;
            const AtLine coming(channel, "buildSettingsTree: Add service: early", [&] {
                add(late);
                late->work = [] { throw std::runtime_error("asked again"); };
            });
            init();
            bool isTold = false;
            isSettingsTreeReady([&] { isTold = true; });
            EXPECT_NO_THROW(root());
            EXPECT_TRUE(isTold);
            EXPECT_EQ(7.0,
                      root()->getByFullName<double>(parent == std::string() ? "late.x" : "early.late.x"));
        });
}

TEST_F(ToolboxesAtStart, OneThatComesInsideACallbackMayRegisterCallbacks) {
    inAnotherProcess([] {
        add(std::make_shared<AskedSettings>("early"));
        const AtLine coming(channel, "buildSettingsTree: Add service: early", [] {
            add(std::make_shared<AskedSettings>("late", [] { isSettingsTreeReady([] {}); }));
        });
        init();
        bool isTold = false;
        isSettingsTreeReady([&] { isTold = true; });
        isPrefdirReady([] { EXPECT_NO_THROW(root()); });
        root();
        EXPECT_TRUE(isTold);
        EXPECT_EQ(7.0, root()->getByFullName<double>("late.x"));
    });
}

/// Who writes the log may use the groups, also where one of them is refused.
TEST_F(ToolboxesAtStart, WhatIsLeftOutIsSaidWithoutALock) {
    inAnotherProcess([this] {
        ::alarm(60); // rather than wait for itself for ever
        init();
        for (const auto& [added, declared, line] : {std::tuple("extra", "extra", "Toolbox extra is left out"),
                                                    std::tuple("other", "Other", "Exception caught: ")}) {
            root()->addGroup(added, true, false, "user");
            std::size_t found = 0;
            const auto look = [&found] { found = getToolboxGroups(DefaultRootIndex()).size(); };
            const AtLine refused(channel, line, look);
            define(declared);
            updateToolboxGroup(DefaultRootIndex(), declared,
                               {base / (std::string(declared) + ".vksettings")});
            EXPECT_LE(4U, found);
        }
    });
}

/// The tree of its own that a service may have defines settings while the services are still gathered.
TEST_F(ToolboxesAtStart, OneThatIsAskedWhatItIsMayDefineSettingsInItsOwnTree) {
    inAnotherProcess([&] {
        ::alarm(20);
        const RootIndex own(5, true, false);
        const auto code = boost::make_shared<Code>("lab", [] { return described("lab", 3.0); });
        int asked = 0;
        add(std::make_shared<AskedSettings>("early", [&] {
            ++asked;
            addFactorySettingsDefinition(own, code);
            updateToolboxGroupWithFunctions(own, code);
            updateToolboxGroup(own, "editor", {base / "editor.vksettings"});
            getEarlyStartupFactoryFileNames(own);
            getToolboxGroups(own);
            EXPECT_EQ(3.0, getSettingsRoot(own)->getByFullName<double>("lab.x"));
        }));
        init();
        ASSERT_TRUE(MSettings::createEmptySettingsFor(own));
        EXPECT_EQ(7.0, root()->getByFullName<double>("early.x"));
        EXPECT_EQ(3, asked);
        EXPECT_EQ(3.0, getSettingsRoot(own)->getByFullName<double>("lab.x"));
        EXPECT_EQ(1.0, getSettingsRoot(own)->getByFullName<double>("editor.x"));
        EXPECT_TRUE(getLoadProblems(DefaultRootIndex()).empty());
    });
}

/// What the host says of its folders is no reason to be without settings.
TEST_F(ToolboxesAtStart, AHostThatThrowsCostsItsBundlesOnly) {
    inAnotherProcess([] {
        add(std::make_shared<AskedSettings>("early"));
        setInstallationRoot([]() -> std::filesystem::path { throw std::runtime_error("no licence"); });
        init();
        EXPECT_EQ(7.0, root()->getByFullName<double>("early.x"));
        EXPECT_EQ(1.0, root()->getByFullName<double>("editor.x"));
        const auto problems = getLoadProblems(DefaultRootIndex());
        ASSERT_EQ(1U, problems.size());
        EXPECT_EQ("the folder of the installation", problems[0].file);
        EXPECT_EQ("no licence", problems[0].message);
    });
}

/// The framework of the host is not there yet: the next attempt has everything.
TEST_F(ToolboxesAtStart, AFrameworkThatCannotBeHadIsAskedForAgain) {
    for (int failing = 0; failing < 3; ++failing)
        inAnotherProcess([&] {
            const auto context = serviceContext();
            init();
            add(std::make_shared<AskedSettings>("early"));
            int left = failing;
            bool isRefused = false;
            setServiceContext([&] {
                if (left-- == 0)
                    throw std::runtime_error("not yet");
                return context;
            });
            try {
                root();
            } catch (const std::runtime_error&) {
                isRefused = true;
            }
            EXPECT_TRUE(isRefused || failing > 0);
            EXPECT_EQ(7.0, root()->getByFullName<double>("early.x"));
        });
}

} // namespace
