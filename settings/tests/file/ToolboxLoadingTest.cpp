// Groups that are declared and loaded when somebody needs them.

#include "settingscore/SaveReport.hpp"
#include "settingscore/events/SettingsAddNodeEvent.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/plugin/ServiceFramework.hpp"
#include "settingscore/root/ToolboxGroups.hpp"
#include "settingscore/settings/root/DeclaredGroup.hpp"
#include "settingscore/settings/root/Toolboxes.hpp"
#include "support/LogLines.hpp"
#include "support/StartedTree.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <latch>
#include <stdexcept>
#include <thread>

namespace {

using namespace settings::core;
using namespace settings::test;
using varnek::settings::FactoryGroup;
using varnek::settings::FactorySettings;
using varnek::settings::TopLevelFactoryFileLoader;
using Lines = std::vector<std::string>;

std::string names(const std::vector<Handle>& groups) {
    std::string all;
    for (const Handle& group : groups)
        all += group->getName() + (group->isVisible() ? " " : "(hidden) ");
    return all;
}

FactoryGroup::Properties valued(double value) {
    return {true, false, Array::scalar(value), {}, {}, false, false, {}};
}

struct ToolboxLoading : testing::Test {
    bool isLoaded(const std::string& name) const {
        for (const ToolboxGroup& group : getToolboxGroups(tree.index))
            if (group.name == name)
                return group.isLoaded;
        throw std::logic_error(name);
    }
    StartedTree tree;
};

TEST_F(ToolboxLoading, AGroupIsLoadedWhenItIsNeededAndStaysTheSameNode) {
    for (const char* group : {"alpha", "beta", "gamma"})
        tree.defineOne(group, 1, std::string(group) == "gamma");
    Handle root = tree.start();
    root->getChild("alpha")->set("x", 5.0, "user");
    tree.start(); // sees the definitions together with a personal file for the first time
    root = tree.start();
    RecordedEvents events;
    EXPECT_EQ("alpha beta gamma(hidden) ", names(root->getChildren()));
    const Handle alpha = root->getChildren().front();
    EXPECT_EQ("alpha", alpha->getFullName());
    EXPECT_TRUE(alpha->getParent()->isRoot());
    EXPECT_EQ(tree.index, alpha->getRootIndex());
    EXPECT_TRUE(alpha->isConnectedToTheSettingsTree());
    EXPECT_FALSE(alpha->isLeafNode());
    EXPECT_FALSE(isLoaded("alpha"));
    EXPECT_EQ(5.0, alpha->get<double>("x"));
    EXPECT_TRUE(isLoaded("alpha"));
    EXPECT_TRUE(Settings::equal(alpha, root->getChild("alpha")));
    EXPECT_EQ("alpha.x", alpha->getChild("x")->getFullName());
    EXPECT_FALSE(isLoaded("beta"));
    EXPECT_EQ(1.0, root->getByFullName<double>("beta.x"));
    EXPECT_TRUE(isLoaded("beta"));
    EXPECT_EQ(Lines(), events.take());
    // Whatever is done first to a group loads it.
    const auto first = [&](const std::function<void(const Handle&)>& operation) {
        root = tree.start();
        operation(root->getChildren().front());
        EXPECT_TRUE(isLoaded("alpha"));
        EXPECT_EQ(5.0, root->getByFullName<double>("alpha.x"));
    };
    first([](const Handle& group) { group->addSetting("y", Array::scalar(1.0), true, false, "session"); });
    first([](const Handle& group) { EXPECT_EQ(1U, group->getChildren().size()); });
    first([](const Handle& group) { EXPECT_FALSE(group->isReadOnly()); });
    first([](const Handle& group) { EXPECT_TRUE(group->isSet("x", "user")); });
    first([](const Handle& group) { group->set("x", 5.0, "session"); });
}

TEST_F(ToolboxLoading, TheLogFollowsALoading) {
    tree.defineOne("alpha");
    tree.start(); // what is logged once in a process has been
    const LogLines log("settings::core::settingsImplRoot");
    const Handle root = tree.start();
    root->getChild("alpha");
    EXPECT_FALSE(root->getChild("nothing"));
    const Lines wanted = {
        "SettingsImplRoot::SettingsImplRoot  RootIndex:41",
        "SettingsImplRoot::addDummyNode for: alpha:root",
        "Root:getChildImpl: alpha. Load: true",
        "Try to load factory settings for alpha",
        "Top level node alpha found",
        "Root:getChildImpl: nothing. Load: true",
        "Top level node nothing not found",
    };
    EXPECT_EQ(wanted, log.lines);
}

/// Counts how often it is asked; may wait or throw.
struct CountingSettings : FactorySettings {
    explicit CountingSettings(std::string group, std::function<void(FactoryGroup&)> define = {},
                              std::string above = {})
        : name(std::move(group)), parent(std::move(above)), work(std::move(define)) {}
    std::string getToolboxGroupName() const override { return name; }
    std::string getParentName() const override { return parent; }
    void createFactorySettings(FactoryGroup& group) const override {
        ++calls;
        if (work)
            work(group);
        else
            group.addSetting("x", valued(1.0));
    }
    const std::string name, parent;
    const std::function<void(FactoryGroup&)> work;
    mutable std::atomic<int> calls{0};
};

/// Registers services, and takes them back at the end.
struct Services {
    ~Services() {
        for (auto& registration : registrations)
            registration.Unregister();
    }
    std::shared_ptr<CountingSettings> add(std::shared_ptr<CountingSettings> service) {
        registrations.push_back(serviceContext().RegisterService<FactorySettings>(service));
        return service;
    }
    std::shared_ptr<CountingSettings> add(const std::string& group,
                                          std::function<void(FactoryGroup&)> define = {},
                                          const std::string& parent = {}) {
        return add(std::make_shared<CountingSettings>(group, std::move(define), parent));
    }
    std::vector<cppmicroservices::ServiceRegistration<FactorySettings>> registrations;
};

TEST_F(ToolboxLoading, SixteenThreadsLoadEachOfAHundredGroupsOnce) {
    Services services;
    std::vector<std::shared_ptr<CountingSettings>> all;
    for (int i = 0; i < 100; ++i)
        all.push_back(services.add("group" + std::to_string(i)));
    const Handle root = tree.start();
    std::atomic<int> sum{0};
    {
        std::barrier start(16);
        std::vector<std::jthread> threads;
        for (int t = 0; t < 16; ++t)
            threads.emplace_back([&] {
                start.arrive_and_wait();
                for (int i = 0; i < 100; ++i)
                    sum += root->getByFullName<int>("group" + std::to_string(i) + ".x");
            });
    }
    EXPECT_EQ(1600, sum);
    for (const auto& service : all)
        EXPECT_EQ(1, service->calls) << service->name;
}

TEST_F(ToolboxLoading, OneGroupDoesNotHoldUpAnother) {
    Services services;
    std::latch isLoading(1), mayGoOn(1);
    services.add("slow", [&](FactoryGroup& group) {
        isLoading.count_down();
        mayGoOn.wait();
        group.addSetting("x", valued(1.0));
    });
    services.add("quick");
    const Handle root = tree.start();
    std::jthread loader([&] { EXPECT_EQ(1.0, root->getByFullName<double>("slow.x")); });
    isLoading.wait();
    EXPECT_EQ(1.0, root->getByFullName<double>("quick.x"));
    mayGoOn.count_down();
}

TEST_F(ToolboxLoading, GroupsThatNeedEachOtherAreLoadedAllTheSame) {
    Services services;
    Handle root;
    std::barrier both(2);
    const auto needing = [&](const std::string& other) {
        return [&, other](FactoryGroup& group) {
            both.arrive_and_wait();
            group.addSetting("x", valued(root->getChild(other) != nullptr ? 1.0 : 2.0));
        };
    };
    services.add("left", needing("right"));
    services.add("right", needing("left"));
    services.add("self", [&](FactoryGroup& group) {
        EXPECT_FALSE(root->getChild("self"));
        group.addSetting("x", valued(3.0));
    });
    root = tree.start();
    EXPECT_EQ(3.0, root->getByFullName<double>("self.x"));
    std::jthread left([&] { EXPECT_GT(root->getByFullName<double>("left.x"), 0.0); });
    EXPECT_GT(root->getByFullName<double>("right.x"), 0.0);
}

TEST_F(ToolboxLoading, AServiceThatThrowsIsAskedAgain) {
    Services services;
    bool isBroken = true;
    services.add("moody", [&](FactoryGroup& group) {
        if (isBroken)
            throw std::runtime_error("the licence is missing");
        group.addSetting("x", valued(1.0));
    });
    services.add("good");
    const Handle root = tree.start();
    const Handle moody = root->getChildren().back();
    EXPECT_THROW(root->getChild("moody"), std::runtime_error);
    EXPECT_THROW(moody->get("x"), std::runtime_error);
    EXPECT_EQ(1.0, root->getByFullName<double>("good.x"));
    const auto problems = problemsOf(*tree.state);
    ASSERT_EQ(1U, problems.size());
    EXPECT_EQ("toolbox moody", problems[0].file);
    EXPECT_EQ("the licence is missing", problems[0].message);
    isBroken = false;
    EXPECT_EQ(1.0, moody->get<double>("x"));
    EXPECT_TRUE(problemsOf(*tree.state).empty());
}

/// Others write the file while the group is loaded, so that it is read twice.
TEST_F(ToolboxLoading, WhatWasReadLastIsWhatIsWrongWithAFile) {
    tree.defineOne("alpha");
    tree.start()->getChild("alpha")->set("x", 5.0, "user");
    tree.start(); // sees the definitions together with a personal file for the first time
    const auto file = tree.userFile("alpha");
    const std::string good = bytesOf(file);
    constexpr char channel[] = "settings::core::settingsFile";
    for (const bool isGoodAtLast : {true, false}) {
        const Handle root = tree.start();
        int readings = 0;
        varnek::log::setLevel(channel, varnek::log::Severity::info);
        const auto sink =
            varnek::log::setSink([&](std::string_view, varnek::log::Severity, std::string_view line) {
                if (line.find("Read settings file: " + file.string()) != line.npos)
                    writeBytes(file, (++readings == 1) == isGoodAtLast ? "no package" : good);
            });
        root->getChild("alpha");
        varnek::log::setSink(sink);
        varnek::log::setLevel(channel, varnek::log::Severity::off);
        EXPECT_LE(2, readings);
        EXPECT_EQ(isGoodAtLast ? 0U : 1U, problemsOf(*tree.state).size());
        EXPECT_EQ(isGoodAtLast ? 0U : 1U, detail::getLoadProblems(tree.index).size());
    }
}

TEST_F(ToolboxLoading, AServiceThatComesLateReachesTheTreeWithOneEvent) {
    tree.defineOne("alpha");
    const Handle root = tree.start();
    StartedTree other(42);
    other.start();
    Services services;
    {
        RecordedEvents events;
        LogLines log("settings::core::settingsImplRoot");
        services.add("late");
        EXPECT_EQ((Lines{"added late to ", "added late to "}), events.take());
        EXPECT_EQ("Tracker:", log.lines.front());
        EXPECT_EQ("Tracker: add to settings root: late isVisible:true", log.lines[1]);
        log.lines.clear();
        services.add("late");
        EXPECT_EQ(Lines{"Toolbox late is already registered"}, log.lines);
        EXPECT_EQ(Lines(), events.take());
    }
    EXPECT_EQ("alpha late ", names(root->getChildren()));
    EXPECT_EQ(1.0, root->getByFullName<double>("late.x"));
    EXPECT_EQ(1.0, other.root()->getByFullName<double>("late.x"));
}

TEST_F(ToolboxLoading, ASecondServiceOfAGroupTakesThePlaceOfTheFirst) {
    Services services;
    const auto valuing = [](double value) {
        return [value](FactoryGroup& group) { group.addSetting("x", valued(value)); };
    };
    for (const double value : {1.0, 2.0, 3.0})
        services.add("alpha", valuing(value));
    const Handle root = tree.start();
    EXPECT_EQ(1.0, root->getByFullName<double>("alpha.x"));
    const auto expectAfter = [&](std::size_t leaving, double value) {
        services.registrations[leaving].Unregister();
        root->reloadFactoryFile("alpha");
        EXPECT_EQ(value, root->getByFullName<double>("alpha.x"));
    };
    expectAfter(1, 1.0);
    expectAfter(0, 3.0);
    services.registrations.erase(services.registrations.begin(), services.registrations.begin() + 2);
}

TEST_F(ToolboxLoading, ServicesSupplyGroupsWithinGroups) {
    Services services;
    tree.defineOne("alpha");
    services.add("inner", {}, "alpha");
    services.add("more", {}, "alpha.inner");
    services.add(
        "broken", [](FactoryGroup&) { throw std::runtime_error("no"); }, "alpha");
    const Handle root = tree.start();
    EXPECT_EQ(1.0, root->getByFullName<double>("alpha.inner.more.x"));
    const auto problems = problemsOf(*tree.state);
    ASSERT_EQ(1U, problems.size());
    EXPECT_EQ("alpha.broken", problems[0].file);
    RecordedEvents events;
    LogLines log("settings::core::settingsImplRoot");
    services.add("later", {}, "alpha");
    EXPECT_EQ("Subgroup Factory File Microservice for alpha : later", log.lines.at(1));
    EXPECT_EQ(Lines{"added alpha.later to alpha"}, events.take());
}

TEST_F(ToolboxLoading, AGroupThatComesWhileItsParentIsLoadedIsThere) {
    Services services;
    tree.defineOne("alpha");
    services.add(
        "inner",
        [&](FactoryGroup& group) {
            group.addSetting("x", valued(1.0));
            if (services.registrations.size() == 1) { // those of the group have been looked up
                services.add("late", {}, "alpha");
                services.add("deep", {}, "alpha.late");
                services.add(
                    "broken", [](FactoryGroup&) { throw std::runtime_error("no"); }, "alpha");
            }
        },
        "alpha");
    const Handle root = tree.start();
    EXPECT_EQ(1.0, root->getByFullName<double>("alpha.inner.x"));
    EXPECT_EQ(1.0, root->getByFullName<double>("alpha.late.x"));
    EXPECT_EQ(1.0, root->getByFullName<double>("alpha.late.deep.x"));
    const auto problems = problemsOf(*tree.state);
    ASSERT_EQ(1U, problems.size());
    EXPECT_EQ("alpha.broken", problems[0].file);
    root->reloadFactoryFile("alpha");
    EXPECT_EQ(1.0, root->getByFullName<double>("alpha.late.deep.x"));
}

/// As the header has it.
TEST_F(ToolboxLoading, TheExampleOfTheHeader) {
    using namespace varnek::settings;
    class EditorSettings : public FactorySettings {
        std::string getToolboxGroupName() const override { return "editor"; }
        void createFactorySettings(FactoryGroup& editor) const override {
            const auto size = varnek::data::Array::scalar(12.0);
            editor.addGroup("font").addSetting("size", {true, false, size, {}, {}, false, false, {}});
        }
    };
    auto context = serviceContext();
    auto registration = context.RegisterService<FactorySettings>(std::make_shared<EditorSettings>());
    EXPECT_EQ(12.0, tree.start()->getByFullName<double>("editor.font.size"));
    registration.Unregister();
}

TEST_F(ToolboxLoading, FilesWaitUntilAServiceIsGone) {
    Services services;
    services.add("alpha");
    const Handle root = tree.start();
    EXPECT_EQ(1.0, root->getByFullName<double>("alpha.x"));
    tree.defineOne("alpha", 2); // a file to be had
    const auto file = tree.base / "factory/varnek/settings/factoryFiles/alpha.vksettings";
    LogLines log("settings::core::settingsImplRoot");
    detail::updateToolboxGroup(tree.index, "alpha", {file});
    EXPECT_EQ((Lines{"Toolbox alpha: its service stays in force over the files",
                     "SettingsImplRoot::updateToolboxGroup: Add service: alpha"}),
              Lines(log.lines.begin(), log.lines.begin() + 2));
    EXPECT_EQ(1.0, root->getByFullName<double>("alpha.x"));
    services.registrations.back().Unregister();
    services.registrations.clear();
    root->reloadFactoryFile("alpha");
    EXPECT_EQ(2.0, root->getByFullName<double>("alpha.x"));
}

TEST_F(ToolboxLoading, FunctionsOfTheProcessMayCheckTheValuesOfAService) {
    Services services;
    services.add("checked", [](FactoryGroup& group) {
        const CPPValidator even(
            [](const boost::shared_ptr<const Settings>&, const std::string&, const Array& value) {
                if (static_cast<int>(value.element<double>()) % 2 != 0)
                    throw std::runtime_error("odd");
            },
            "tests", "even");
        group.addGroup("inner").addSetting("x",
                                           {true, false, Array::scalar(2.0), even, {}, false, false, {}});
    });
    const Handle root = tree.start();
    const Handle inner = root->getSettingsByFullName("checked.inner");
    inner->set("x", 4.0, "user");
    EXPECT_THROW(inner->set("x", 5.0, "user"), std::exception);
    EXPECT_EQ(4.0, inner->get<double>("x"));
}

struct Loader : TopLevelFactoryFileLoader {
    Loader(std::string group, bool hidden, std::filesystem::path path)
        : name(std::move(group)), hiddenFlag(hidden), file(std::move(path)) {}
    std::string getName() const override { return name; }
    bool isHidden() const override { return hiddenFlag; }
    std::filesystem::path getFactoryFile() const override { return file; }
    bool isNeededAtStartup() const override { return true; }
    std::string name;
    bool hiddenFlag;
    std::filesystem::path file;
};

TEST_F(ToolboxLoading, LoadersDeclareGroups) {
    const auto file = tree.base / "elsewhere.vksettings";
    varnek::settings::FactoryFileGenerator::fromText(
        R"({"groupName": "zeta", "settings": [{"name": "x", "value": 7}]})", "test")
        .write(file);
    auto zeta = serviceContext().RegisterService<TopLevelFactoryFileLoader>(
        std::make_shared<Loader>("zeta", true, file));
    auto nowhere = serviceContext().RegisterService<TopLevelFactoryFileLoader>(
        std::make_shared<Loader>("nowhere", false, ""));
    LogLines log("settings::core::settingsImplRoot");
    const Handle root = tree.start();
    std::erase_if(log.lines,
                  [](const std::string& line) { return line.find("loader") == std::string::npos; });
    EXPECT_EQ((Lines{"SettingsImplRoot::call the loader for nowhere",
                     "SettingsImplRoot::call the loader for zeta"}),
              log.lines);
    EXPECT_EQ("zeta(hidden) ", names(root->getChildren())); // nobody defines the other one
    EXPECT_FALSE(root->getChild("nowhere"));
    EXPECT_EQ(7.0, root->getByFullName<double>("zeta.x"));
    EXPECT_EQ(std::set{file}, detail::getEarlyStartupFactoryFileNames(tree.index));
    Services services;
    services.add("nowhere"); // its definitions have come
    EXPECT_EQ("nowhere zeta(hidden) ", names(root->getChildren()));
    zeta.Unregister();
    nowhere.Unregister();
}

TEST_F(ToolboxLoading, ALateGroupWithinAGroupHasItsPersonalValues) {
    tree.defineOne("alpha");
    {
        Services services;
        services.add("inner", {}, "alpha");
        tree.start()->getSettingsByFullName("alpha.inner")->set("x", 9.0, "user");
    }
    const Handle root = tree.start();
    EXPECT_EQ(1.0, root->getByFullName<double>("alpha.x"));
    Services services;
    services.add("inner", {}, "alpha");
    EXPECT_EQ(9.0, root->getByFullName<double>("alpha.inner.x"));
}

TEST_F(ToolboxLoading, AGroupThatNobodyHasNeededIsExportedAndReportedOn) {
    tree.defineOne("alpha");
    tree.start()->getChild("alpha")->set("x", 2.0, "user");
    tree.start();
    const Handle alpha = tree.start()->getChildren().front();
    Settings::exportSettings({alpha}, varnek::files::utf16FromPath(tree.base / "out.vksettings"), "user");
    EXPECT_TRUE(std::filesystem::exists(tree.base / "out.vksettings"));
    EXPECT_EQ(tree.userFile("alpha").string(), lastSave(*tree.start()->getChildren().front(), "user").file);
}

TEST_F(ToolboxLoading, NothingIsAddedToAGroupThatNothingDefines) {
    Handle gone;
    {
        Services services;
        services.add("gone");
        gone = tree.start()->getChildren().front();
    }
    EXPECT_TRUE(gone->getChildren().empty());
    EXPECT_EQ("InvalidNodePath",
              failureOf([&] { gone->addSetting("y", Array::scalar(1.0), true, false, "user"); }));
    Services services;
    services.add("gone");
    EXPECT_EQ(1.0, gone->get<double>("x"));
}

} // namespace
