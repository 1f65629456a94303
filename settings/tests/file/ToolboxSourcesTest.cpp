// What decides how a group is seen, and what is left when other definitions cannot be taken.

#include "settingscore/factoryfile/FactorySettings.hpp"
#include "settingscore/plugin/ServiceFramework.hpp"
#include "settingscore/root/ToolboxGroups.hpp"
#include "settingscore/settings/file/SaveHook.hpp"
#include "support/FileTree.hpp"
#include "support/LogLines.hpp"
#include "support/StartedTree.hpp"
#include "support/WatchedThread.hpp"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <latch>
#include <stdexcept>

namespace {

using namespace settings::core;
using namespace settings::test;
using varnek::settings::FactoryGroup;
using varnek::settings::FactorySettings;
using varnek::settings::TopLevelFactoryFileLoader;
using Lines = std::vector<std::string>;
using Made = boost::optional<FactoryGroup>;

FactoryGroup group(const std::string& name, double value, bool isVisible = true) {
    FactoryGroup made(name, {isVisible, false, {}, {}, {}, false, true, {}});
    made.addSetting("x", {true, false, Array::scalar(value), {}, {}, false, false, {}});
    return made;
}

struct Service : FactorySettings {
    Service(std::string group, bool visible) : name(std::move(group)), flag(visible) {}
    std::string getToolboxGroupName() const override { return name; }
    bool isVisible() const override { return flag; }
    void createFactorySettings(FactoryGroup& made) const override {
        made.addSetting("x", {true, false, Array::scalar(7.0), {}, {}, false, false, {}});
    }
    const std::string name;
    const bool flag;
};

/// One that is registered while it lives.
struct Registered {
    Registered(const std::string& name, bool isVisible)
        : registration(
              serviceContext().RegisterService<FactorySettings>(std::make_shared<Service>(name, isVisible))) {
    }
    ~Registered() { registration.Unregister(); }
    cppmicroservices::ServiceRegistration<FactorySettings> registration;
};

struct Code : VARNEKFactorySettingsDefinition {
    Code(const std::string& name, std::function<Made()> work, bool visible = true)
        : VARNEKFactorySettingsDefinition(name, visible, "/code.lab"), make(std::move(work)) {}
    boost::optional<FactoryGroup> createFactorySettings() const override { return make(); }
    const std::function<Made()> make;
};

struct ToolboxSourcesOfATree : testing::Test {
    std::filesystem::path file(const std::string& name, int value, bool isVisible = true) const {
        const auto path = tree.base / (name + std::to_string(value) + ".vksettings");
        varnek::settings::FactoryFileGenerator::fromText(
            "{\"groupName\": \"" + name + "\", \"visible\": " + (isVisible ? "true" : "false") +
                ", \"settings\": [{\"name\": \"x\", \"value\": " + std::to_string(value) + "}]}",
            name)
            .write(path);
        return path;
    }
    void take(const std::string& name, std::function<Made()> work, bool isVisible = true) const {
        addFactorySettingsDefinition(tree.index, boost::make_shared<Code>(name, std::move(work), isVisible));
    }
    void replaceByCode(const std::string& name, std::function<Made()> work) const {
        detail::updateToolboxGroupWithFunctions(tree.index, boost::make_shared<Code>(name, std::move(work)));
    }
    void update(const std::string& name, const std::filesystem::path& path, bool isVisible = true) const {
        detail::updateToolboxGroup(tree.index, name, {path}, isVisible);
    }
    /// As the list has it, and as the node has it.
    std::string seen(const std::string& name) const {
        std::string text;
        for (const ToolboxGroup& listed : getToolboxGroups(tree.index))
            if (listed.name == name)
                text = std::string(nameOf(listed.source)) +
                       (listed.source == ToolboxSource::none ? ""
                        : listed.isVisible                   ? " visible"
                                                             : " hidden") +
                       (listed.isLoaded ? " loaded" : "");
        for (const Handle& child : tree.root()->getChildren())
            if (child->getName() == name)
                text += child->isVisible() ? ", visible" : ", hidden";
        return text;
    }
    std::vector<std::filesystem::path> files() const { return getToolboxGroups(tree.index).front().files; }
    std::string problem() const {
        const auto problems = problemsOf(*tree.state);
        return problems.size() == 1 ? problems[0].file + ": " + problems[0].message
                                    : std::to_string(problems.size()) + " problems";
    }
    StartedTree tree;
};

/// As createEmptySettingsFor makes it.
TEST_F(ToolboxSourcesOfATree, ATreeThatWasMadeEmptyTakesNoServices) {
    const Registered service("alpha", false);
    tree.state = detail::emptyTree(tree.index);
    detail::RootStates::instance().insert(tree.index.index(), tree.state);
    update("alpha", file("alpha", 1));
    EXPECT_EQ("file visible, visible", seen("alpha"));
    EXPECT_EQ(1.0, tree.root()->getByFullName<double>("alpha.x"));
    update("alpha", file("alpha", 2));
    EXPECT_EQ(2.0, tree.root()->getByFullName<double>("alpha.x"));
    EXPECT_EQ("file visible loaded, visible", seen("alpha"));
}

TEST_F(ToolboxSourcesOfATree, TheOneInForceSaysWhetherUsersSeeTheGroup) {
    tree.defineOne("alpha");
    tree.start();
    take(
        "alpha", [] { return group("alpha", 2.0, false); }, false);
    EXPECT_EQ("file visible, visible", seen("alpha"));
    EXPECT_EQ(1.0, tree.root()->getByFullName<double>("alpha.x"));
    EXPECT_EQ("file visible loaded, visible", seen("alpha"));
    {
        const Registered service("alpha", false);
        tree.root()->reloadFactoryFile("alpha");
        EXPECT_EQ("service hidden loaded, hidden", seen("alpha"));
    }
    tree.root()->reloadFactoryFile("alpha");
    EXPECT_EQ("file visible loaded, visible", seen("alpha"));
    // The same of a group that nobody has needed.
    tree.start();
    {
        const Registered service("alpha", false);
        EXPECT_EQ("service hidden, hidden", seen("alpha"));
    }
    EXPECT_EQ("file visible, visible", seen("alpha"));
}

TEST_F(ToolboxSourcesOfATree, AGroupThatNobodyHasNeededIsSeenAsItsNewSourceSays) {
    tree.defineOne("alpha");
    tree.start();
    update("alpha", file("alpha", 2), false);
    EXPECT_EQ("file hidden, hidden", seen("alpha"));
    update("alpha", file("alpha", 3));
    EXPECT_EQ("file visible, visible", seen("alpha"));
    EXPECT_EQ(3.0, tree.root()->getByFullName<double>("alpha.x"));
    take("lab", [] { return group("lab", 1.0); });
    EXPECT_EQ("language visible, visible", seen("lab"));
    const auto hidden = [] { return group("lab", 2.0, false); };
    detail::updateToolboxGroupWithFunctions(tree.index, boost::make_shared<Code>("lab", hidden, false));
    EXPECT_EQ("language hidden, hidden", seen("lab"));
    EXPECT_EQ(2.0, tree.root()->getByFullName<double>("lab.x"));
    EXPECT_EQ("language hidden loaded, hidden", seen("lab"));
}

TEST_F(ToolboxSourcesOfATree, AGroupWhoseLastSourceHasGoneIsGoneUntilOneComes) {
    tree.start();
    Handle gone;
    {
        const Registered service("gone", true);
        gone = tree.root()->getChildren().front();
    }
    EXPECT_EQ("none", seen("gone"));
    RecordedEvents events;
    {
        const Registered service("gone", false);
        EXPECT_EQ("service hidden, hidden", seen("gone"));
        EXPECT_TRUE(Settings::equal(gone, tree.root()->getChildren().front()));
    }
    EXPECT_EQ((Lines{"added gone to ", "removed gone from "}), events.take());
    {
        const Registered service("gone", true);
        EXPECT_EQ(7.0, gone->get<double>("x"));
    }
    EXPECT_EQ(7.0, gone->get<double>("x")); // what has been read stays
    EXPECT_EQ(1U, tree.root()->getChildren().size());
}

TEST_F(ToolboxSourcesOfATree, AGroupWhoseLanguageHasGoneIsGoneUntilItComes) {
    const auto place = tree.base / "factory/varnek/settings/toolboxes/lab";
    std::filesystem::create_directories(place);
    writeBytes(place / "settingsInfo.json", R"({"ToolboxGroupName": "lab", "FactoryFileName": "lab.lab"})");
    const auto run = [](const FactorySettingsCode&) { return Made(group("lab", 1.0)); };
    setFactorySettingsRunner(".lab", run);
    tree.start();
    EXPECT_EQ("language visible, visible", seen("lab"));
    setFactorySettingsRunner(".lab", {});
    EXPECT_EQ("none", seen("lab"));
    setFactorySettingsRunner(".lab", run);
    EXPECT_EQ(1.0, tree.root()->getByFullName<double>("lab.x"));
    setFactorySettingsRunner(".lab", {});
    EXPECT_EQ(1.0, tree.root()->getByFullName<double>("lab.x"));
}

TEST_F(ToolboxSourcesOfATree, AGroupThatIsLoadedWhileItsLastSourceGoesStays) {
    tree.start();
    struct Leaving : Service {
        using Service::Service;
        void createFactorySettings(FactoryGroup& made) const override {
            Service::createFactorySettings(made);
            leave();
        }
        std::function<void()> leave;
    };
    auto leaving = std::make_shared<Leaving>("brief", true);
    auto registration = serviceContext().RegisterService<FactorySettings>(leaving);
    leaving->leave = [&] { registration.Unregister(); };
    EXPECT_EQ(7.0, tree.root()->getChildren().front()->get<double>("x"));
    EXPECT_EQ("none loaded, visible", seen("brief"));
}

TEST_F(ToolboxSourcesOfATree, AreAsBeforeWhenOthersAreRefused) {
    const SavesThroughTheHook through;
    tree.defineOne("alpha");
    const Handle alpha = tree.start()->getChild("alpha");
    const auto before = files();
    const auto others = std::vector{file("alpha", 2), file("lab", 2)};
    int refused = 0;
    const auto refusing = [&](const std::function<void()>& change) {
        try {
            change();
        } catch (const std::logic_error&) {
            ++refused;
        }
    };
    const detail::SaveHook previous =
        detail::setSaveHook([&](detail::SettingsFileAccess&, const std::filesystem::path&) {
            refusing([&] { update("alpha", others[0], false); });
        });
    alpha->set("x", 4.0, "user");
    waitForSettingsSaves();
    detail::setSaveHook(previous);
    EXPECT_LT(0, refused);
    EXPECT_EQ(before, files());
    EXPECT_EQ("file visible loaded, visible", seen("alpha"));
    tree.root()->reloadFactoryFile("alpha");
    EXPECT_EQ(1.0, alpha->get<double>("x", "factory"));
    // Where there was nothing of that kind before.
    refused = 0;
    take("lab", [&]() -> Made {
        refusing([&] { update("lab", others[1], false); });
        return group("lab", 1.0);
    });
    EXPECT_EQ(1.0, tree.root()->getByFullName<double>("lab.x"));
    EXPECT_EQ(1, refused);
    EXPECT_EQ("language visible loaded, visible", seen("lab"));
}

TEST_F(ToolboxSourcesOfATree, CodeThatMakesSomethingElseLeavesTheGroupAndIsNoted) {
    tree.start();
    Made next = group("lab", 1.0);
    take("lab", [&] { return next; });
    const Handle lab = tree.root()->getChild("lab");
    const auto expectRefused = [&](const char* message) {
        RecordedEvents events;
        tree.root()->reloadFactoryFile("lab");
        EXPECT_EQ(std::string("/code.lab: ") + message, problem());
        EXPECT_EQ(Lines(), events.take());
        EXPECT_EQ(1.0, lab->get<double>("x"));
    };
    next = group("other", 2.0);
    expectRefused("\"lab\" is declared, the group is called \"other\"");
    next = group("lab", 2.0, false);
    expectRefused("\"lab\" is declared as visible, the group is hidden");
    next = boost::none;
    expectRefused("makes no group any more");
    next = group("lab", 2.0);
    tree.root()->reloadFactoryFile("lab");
    EXPECT_EQ("0 problems", problem());
    EXPECT_EQ(2.0, lab->get<double>("x"));
    // The same of a group that nobody has needed: it is left out.
    tree.start();
    take("lab", [] { return Made(group("other", 2.0)); });
    EXPECT_FALSE(tree.root()->getChild("lab"));
    EXPECT_EQ("/code.lab: \"lab\" is declared, the group is called \"other\"", problem());
}

TEST_F(ToolboxSourcesOfATree, AreLeftOutWhereAGroupOfTheNameWasAdded) {
    tree.start()
        ->addGroup("extra", true, false, "user")
        ->addSetting("mine", Array::scalar(5.0), true, false, "user");
    RecordedEvents events;
    const auto path = file("extra", 1);
    update("extra", path);
    const std::string refusal = path.string() + ": there is an added group of that name";
    EXPECT_EQ(refusal, problem());
    tree.root()->reloadFactoryFile("extra");
    EXPECT_EQ(refusal, problem());
    EXPECT_EQ(Lines(), events.take());
    EXPECT_EQ(1U, tree.root()->getChild("extra")->getChildren().size());
}

/// What fails while another change of the group waits takes only itself back.
TEST_F(ToolboxSourcesOfATree, AChangeThatFailsLeavesTheOneThatWaitsForIt) {
    tree.start();
    take("lab", [] { return Made(group("lab", 1.0)); });
    const Handle lab = tree.root()->getChild("lab");
    for (const bool isOfFiles : {false, true}) {
        std::latch isMaking(1), mayFail(1);
        const auto fail = [&]() -> Made {
            isMaking.count_down();
            mayFail.wait();
            throw std::runtime_error("oops");
        };
        {
            const WatchedThread failing(
                [&] { EXPECT_THROW(replaceByCode("lab", fail), std::runtime_error); });
            isMaking.wait();
            const WatchedThread other([&] {
                if (isOfFiles)
                    update("lab", file("lab", 3));
                else
                    replaceByCode("lab", [] { return Made(group("lab", 2.0)); });
            });
            other.settle();
            mayFail.count_down();
        }
        EXPECT_EQ(isOfFiles ? 3.0 : 2.0, lab->get<double>("x"));
        EXPECT_EQ(isOfFiles ? "file visible loaded, visible" : "language visible loaded, visible",
                  seen("lab"));
        tree.root()->reloadFactoryFile("lab");
        EXPECT_EQ(isOfFiles ? 3.0 : 2.0, lab->get<double>("x"));
    }
}

/// The visibility that came with the files, too, also where the files are the same.
TEST_F(ToolboxSourcesOfATree, AChangeThatFailsLeavesTheVisibility) {
    struct Throwing : Service {
        using Service::Service;
        void createFactorySettings(FactoryGroup&) const override { throw std::runtime_error("oops"); }
    };
    tree.start();
    const auto path = file("lab", 3);
    update("lab", path);
    tree.root()->getChild("lab");
    auto service = serviceContext().RegisterService<FactorySettings>(std::make_shared<Throwing>("lab", true));
    EXPECT_THROW(update("lab", path, false), std::runtime_error);
    service.Unregister();
    tree.root()->reloadFactoryFile("lab");
    EXPECT_EQ("file visible loaded, visible", seen("lab"));
}

TEST_F(ToolboxSourcesOfATree, AreDescribedOnce) {
    const auto describe = [&](const std::string& folder, const std::string& code) {
        const auto place = tree.base / "factory/varnek/settings/toolboxes" / folder;
        std::filesystem::create_directories(place);
        writeBytes(place / "settingsInfo.json",
                   R"({"ToolboxGroupName": "lab", "FactoryFileName": ")" + code + "\"}");
        return place / "settingsInfo.json";
    };
    setFactorySettingsRunner(".lab", [](const FactorySettingsCode& code) {
        return Made(group("lab", code.file.filename() == "one.lab" ? 1.0 : 2.0));
    });
    const auto first = describe("a", "one.lab"), second = describe("b", "two.lab");
    EXPECT_EQ(1.0, tree.start()->getByFullName<double>("lab.x"));
    EXPECT_EQ(std::vector{first}, files());
    EXPECT_EQ(second.string() + ": the toolbox \"lab\" is described by " + first.string() + " already",
              problem());
    std::filesystem::remove(first);
    EXPECT_EQ(2.0, tree.start()->getByFullName<double>("lab.x"));
    EXPECT_EQ("0 problems", problem());
    setFactorySettingsRunner(".lab", {});
}

struct Loader : TopLevelFactoryFileLoader {
    Loader(std::string group, std::filesystem::path path, bool hidden)
        : name(std::move(group)), file(std::move(path)), flag(hidden) {}
    std::string getName() const override { return name; }
    bool isHidden() const override { return flag; }
    std::filesystem::path getFactoryFile() const override { return file; }
    bool isNeededAtStartup() const override {
        return name == "alpha" ? throw std::runtime_error("no licence") : true;
    }
    const std::string name;
    const std::filesystem::path file;
    const bool flag;
};

cppmicroservices::ServiceRegistration<TopLevelFactoryFileLoader>
registered(const std::string& name, const std::filesystem::path& path, bool isHidden = false) {
    return serviceContext().RegisterService<TopLevelFactoryFileLoader>(
        std::make_shared<Loader>(name, path, isHidden));
}

TEST_F(ToolboxSourcesOfATree, ALoaderAtFaultDoesNotKeepTheEarlyFilesOfOthersBack) {
    auto alpha = registered("alpha", file("alpha", 1)), beta = registered("beta", file("beta", 1));
    tree.start();
    LogLines log("settings::core::settingsImplRoot");
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(std::set{tree.base / "beta1.vksettings"},
                  detail::getEarlyStartupFactoryFileNames(tree.index));
        EXPECT_EQ("toolbox alpha: no licence", problem());
        EXPECT_EQ((Lines{"Exception caught: toolbox alpha: no licence",
                         "SettingsImplRoot::getEarlyStartupFactoryFileNames: Add service: beta",
                         "add to settings root: beta"}),
                  log.lines);
        log.lines.clear();
    }
    alpha.Unregister();
    beta.Unregister();
}

TEST_F(ToolboxSourcesOfATree, TheNextLoaderOfANameBringsItsFileInThePlaceOfTheFirstOnes) {
    tree.start();
    auto first = registered("beta", file("beta", 1)), next = registered("beta", file("beta", 2), true);
    EXPECT_EQ(1.0, tree.root()->getByFullName<double>("beta.x"));
    EXPECT_EQ("file visible loaded, visible", seen("beta"));
    first.Unregister();
    const auto second = std::vector{tree.base / "beta2.vksettings"};
    EXPECT_EQ(second, files());
    tree.root()->reloadFactoryFile("beta");
    EXPECT_EQ(2.0, tree.root()->getByFullName<double>("beta.x"));
    EXPECT_EQ("file hidden loaded, hidden", seen("beta"));
    tree.start();
    EXPECT_EQ(second, files());
    EXPECT_EQ(2.0, tree.root()->getByFullName<double>("beta.x"));
    EXPECT_EQ("file hidden loaded, hidden", seen("beta"));
    next.Unregister(); // what it declared stays
    EXPECT_EQ(second, files());
}

/// Whatever comes first.
TEST_F(ToolboxSourcesOfATree, AHiddenLoaderDoesNotHideWhatTheLocationFileShows) {
    tree.defineOne("beta");
    tree.start();
    auto loader = registered("beta", {}, true);
    EXPECT_EQ("file visible, visible", seen("beta"));
    tree.start();
    EXPECT_EQ("file visible, visible", seen("beta"));
    loader.Unregister();
    // The other way round.
    tree.defineOne("beta", 1, true);
    tree.start();
    EXPECT_EQ("file hidden, hidden", seen("beta"));
    loader = registered("beta", {});
    EXPECT_EQ("file visible, visible", seen("beta"));
    tree.start();
    EXPECT_EQ("file visible, visible", seen("beta"));
    loader.Unregister();
}

TEST_F(ToolboxSourcesOfATree, ALoadersFilePrecedesThoseOfTheLocationFile) {
    tree.defineOne("beta");
    tree.start();
    auto loader = registered("beta", file("beta", 2));
    const auto late = files();
    EXPECT_EQ(2U, late.size());
    EXPECT_EQ(2.0, tree.root()->getByFullName<double>("beta.x"));
    tree.start();
    EXPECT_EQ(late, files());
    EXPECT_EQ(2.0, tree.root()->getByFullName<double>("beta.x"));
    loader.Unregister();
}

TEST_F(ToolboxSourcesOfATree, TheLogTellsOfCodeAndOfServices) {
    tree.start();
    take("lab", [] { return Made(group("lab", 1.0)); });
    LogLines log("settings::core::settingsImplRoot");
    const auto expect = [&](const std::string& line) {
        EXPECT_EQ(1, std::count(log.lines.begin(), log.lines.end(), line)) << line;
        log.lines.clear();
    };
    tree.root()->getByFullName<double>("lab.x");
    expect("Call VARNEK to create factory settings for lab");
    const Registered service("lab", true);
    replaceByCode("lab", [] { return Made(group("lab", 2.0)); });
    expect("SettingsImplRoot::updateToolboxGroupWithFunctions: Add service: lab");
    update("lab", file("lab", 3));
    expect("SettingsImplRoot::updateToolboxGroup: Add service: lab");
}

} // namespace
