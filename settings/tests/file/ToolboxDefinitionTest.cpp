// Definitions that change while the tree is used, and those that code of another language makes.

#include "settingscore/events/SettingsAddNodeEvent.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/root/ToolboxGroups.hpp"
#include "support/AtLine.hpp"
#include "support/LogLines.hpp"
#include "support/StartedTree.hpp"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <stdexcept>

namespace {

using namespace settings::core;
using namespace settings::test;
using varnek::settings::FactoryGroup;
using Lines = std::vector<std::string>;

constexpr const char* first = R"({"groupName": "alpha", "settings": [
    {"name": "kept", "value": 1}, {"name": "gone", "value": 2}, {"name": "turned", "value": 3}],
  "groups": [{"groupName": "inner", "settings": [{"name": "y", "value": 4}]},
             {"groupName": "old", "settings": [{"name": "z", "value": 5}]}]})";
constexpr const char* second = R"({"groupName": "alpha", "settings": [
    {"name": "kept", "value": 10, "settingValueValidator": {"MustBeNumeric": true, "isVector": false, "MaxValue": 50}},
    {"name": "fresh", "value": 6}],
  "groups": [{"groupName": "inner", "settings": [{"name": "y", "value": 4}, {"name": "more", "value": 7}]},
             {"groupName": "turned", "settings": [{"name": "z", "value": 8}]}]})";

struct Reloading : testing::Test {
    Handle start() {
        tree.define(first);
        const Handle root = tree.start();
        alpha = root->getChild("alpha");
        return root;
    }
    StartedTree tree;
    Handle alpha;
};

TEST_F(Reloading, ReplacesTheDefinitionsAndKeepsTheValues) {
    const Handle root = start();
    const Handle kept = alpha->getChild("kept"), inner = alpha->getChild("inner");
    alpha->set("kept", 20.0, "user");
    alpha->set("kept", 30.0, "session");
    alpha->set("gone", 21.0, "user");
    inner->set("y", 22.0, "session");
    alpha->addSetting("mine", Array::scalar(23.0), true, false, "user");
    tree.define(second);
    RecordedEvents events;
    root->reloadFactoryFile("alpha");
    EXPECT_EQ((Lines{"removed gone from alpha", "removed old from alpha", "removed turned from alpha",
                     "added alpha.inner.more to alpha.inner", "added alpha.fresh to alpha",
                     "added alpha.turned to alpha"}),
              events.take());
    EXPECT_TRUE(Settings::equal(kept, alpha->getChild("kept")));
    EXPECT_TRUE(Settings::equal(inner, alpha->getChild("inner")));
    EXPECT_EQ(30.0, alpha->get<double>("kept"));
    EXPECT_EQ(20.0, alpha->get<double>("kept", "user"));
    EXPECT_EQ(10.0, alpha->get<double>("kept", "factory"));
    EXPECT_THROW(alpha->set("kept", 60.0, "user"), std::exception); // as the new definition has it
    EXPECT_EQ(22.0, inner->get<double>("y"));
    EXPECT_EQ(23.0, alpha->get<double>("mine"));
    EXPECT_EQ(8.0, root->getByFullName<double>("alpha.turned.z"));
    EXPECT_EQ("NoSuchKey", failureOf([&] { alpha->get("gone"); }));
    // What is gone has left its value in the file, across a save and a start.
    alpha->set("fresh", 24.0, "user");
    tree.define(first);
    const Handle again = tree.start()->getChild("alpha");
    EXPECT_EQ(21.0, again->get<double>("gone"));
    EXPECT_EQ(20.0, again->get<double>("kept"));
}

TEST_F(Reloading, GivesASettingThatComesBackItsValue) {
    const Handle root = start();
    alpha->set("gone", 21.0, "user");
    tree.define(second);
    root->reloadFactoryFile("alpha");
    tree.define(first);
    LogLines log("settings::core::upgrade");
    root->reloadFactoryFile("alpha");
    EXPECT_EQ("Handle upgraders for alpha", log.lines.at(0));
    EXPECT_EQ(21.0, alpha->get<double>("gone"));
    EXPECT_EQ(1.0, alpha->get<double>("kept"));
}

TEST_F(Reloading, FollowsTheChangesThatTheNewDefinitionsBring) {
    const Handle root = start();
    alpha->set("gone", 21.0, "user");
    alpha->set("turned", 22.0, "user");
    waitForSettingsSaves();
    tree.define(
        R"({"groupName": "alpha", "settings": [{"name": "kept", "value": 1}, {"name": "wide", "value": 2}],
      "upgraders": [{"VersionLabel": "R2025a", "VersionChanges": [
        {"Operation": "move", "Inputs": ["alpha.gone"], "Outputs": ["alpha.wide"]},
        {"Operation": "remove", "Inputs": ["alpha.turned"]}]}]})");
    root->reloadFactoryFile("alpha");
    EXPECT_EQ(21.0, alpha->get<double>("wide"));
    alpha->set("kept", 5.0, "user"); // a save must not bring the old names back
    tree.define(first);
    const Handle again = tree.start()->getChild("alpha");
    EXPECT_FALSE(again->isSet("gone", "user"));
    EXPECT_FALSE(again->isSet("turned", "user"));
}

TEST_F(Reloading, AnAliasThatLeadsElsewhereIsFollowedThere) {
    const auto document = [](const char* to) {
        return std::string(
                   R"({"groupName": "alpha", "settings": [{"name": "a", "value": 1}, {"name": "b", "value": 2},
            {"name": "c", "attributes": {"aliasName": "alpha.)") +
               to + "\"}}]}";
    };
    tree.define(document("a"));
    const Handle root = tree.start();
    EXPECT_EQ(1.0, root->getByFullName<double>("alpha.c"));
    tree.define(document("b"));
    root->reloadFactoryFile("alpha");
    EXPECT_EQ(2.0, root->getByFullName<double>("alpha.c"));
}

TEST_F(Reloading, WhatAnotherProcessHasUnsetStaysUnset) {
    const Handle root = start();
    alpha->set("gone", 21.0, "user");
    alpha->set("kept", 20.0, "user");
    waitForSettingsSaves();
    alpha->unset("gone", "user");
    waitForSettingsSaves();
    const std::string withOne = bytesOf(tree.userFile("alpha"));
    alpha->set("gone", 21.0, "user");
    waitForSettingsSaves();
    writeBytes(tree.userFile("alpha"), withOne); // by the other process
    tree.define(second);
    root->reloadFactoryFile("alpha");
    alpha->set("kept", 30.0, "user");
    tree.define(first);
    const Handle again = tree.start()->getChild("alpha");
    EXPECT_FALSE(again->isSet("gone", "user"));
    EXPECT_EQ(30.0, again->get<double>("kept"));
}

/// What was added, and is defined now, keeps its values; when the definition goes, the file keeps them.
TEST_F(Reloading, WhatWasAddedMayBeDefinedLater) {
    constexpr const char* without = R"({"groupName": "alpha", "settings": [{"name": "kept", "value": 1}]})";
    constexpr const char* with = R"({"groupName": "alpha", "settings": [
        {"name": "kept", "value": 1}, {"name": "mine", "value": 2}, {"name": "passing", "value": 2},
        {"name": "other", "value": 2}], "groups": [{"groupName": "box", "settings": [{"name": "in", "value": 3}]}]})";
    for (const bool isSaved : {false, true}) {
        tree.define(without);
        Handle root = tree.start();
        alpha = root->getChild("alpha");
        const auto add = [](const Handle& group, const char* name, double value, const char* level) {
            group->addSetting(name, Array::scalar(value), true, false, level);
        };
        add(alpha, "mine", 10.0, "user");
        alpha->set("mine", 11.0, "session");
        add(alpha, "passing", 12.0, "session");
        const Handle box = alpha->addGroup("box", true, false, "user");
        add(box, "in", 13.0, "user");
        add(box, "more", 14.0, "user");
        add(box->addGroup("brief", true, false, "session"), "y", 15.0, "session");
        add(alpha->addGroup("other", true, false, "user"), "y", 16.0, "user"); // to be a setting
        if (isSaved)
            waitForSettingsSaves();
        tree.define(with);
        root->reloadFactoryFile("alpha");
        const auto expectValues = [&] {
            EXPECT_EQ(10.0, alpha->get<double>("mine", "user"));
            EXPECT_EQ(13.0, root->getByFullName<double>("alpha.box.in"));
            EXPECT_EQ(14.0, root->getByFullName<double>("alpha.box.more"));
        };
        expectValues();
        EXPECT_EQ(2.0, alpha->get<double>("mine", "factory"));
        EXPECT_EQ(11.0, alpha->get<double>("mine"));
        EXPECT_EQ(12.0, alpha->get<double>("passing"));
        EXPECT_EQ(15.0, root->getByFullName<double>("alpha.box.brief.y"));
        EXPECT_EQ(2.0, alpha->get<double>("other"));
        if (isSaved) // by a save that knows of the definitions
            alpha->set("kept", 20.0, "user");
        tree.define(without);
        root->reloadFactoryFile("alpha");
        alpha->set("kept", 21.0, "user"); // leaves nothing out
        tree.define(with);
        root->reloadFactoryFile("alpha");
        expectValues();
        root = tree.start();
        alpha = root->getChild("alpha");
        expectValues();
        tree.define(without);
        root = tree.start();
        alpha = root->getChild("alpha");
        EXPECT_EQ(16.0, root->getByFullName<double>("alpha.other.y"));
        std::filesystem::remove(tree.userFile("alpha"));
    }
}

/// Another thread's save between the change of the definitions and the reading of the files.
TEST_F(Reloading, ASaveInBetweenLeavesNothingOut) {
    const Handle root = start();
    alpha->set("gone", 21.0, "user");
    alpha->set("kept", 22.0, "installation");
    waitForSettingsSaves();
    tree.define(second);
    std::future<void> save;
    {
        const AtLine meanwhile("settings::core::settingsFile", "installation/alpha.vksettings", [&] {
            save = std::async(std::launch::async, [&] {
                alpha->set("kept", 23.0, "user");
                waitForSettingsSaves();
            });
            save.wait_for(std::chrono::milliseconds(200)); // to its end, or until it waits for this
        });
        root->reloadFactoryFile("alpha");
        save.wait();
    }
    tree.define(first);
    root->reloadFactoryFile("alpha");
    EXPECT_EQ(21.0, alpha->get<double>("gone"));
    EXPECT_EQ(23.0, alpha->get<double>("kept"));
    EXPECT_EQ(21.0, tree.start()->getByFullName<double>("alpha.gone"));
}

TEST_F(Reloading, ANewDefaultIsAChangeOfTheEffectiveValue) {
    const Handle root = start();
    tree.define(second);
    RecordedEvents events;
    root->reloadFactoryFile("alpha");
    const Lines told = events.take();
    EXPECT_NE(told.end(), std::find(told.begin(), told.end(), "changed alpha.kept was 1"));
}

TEST_F(Reloading, ChangesNothingWhenTheDefinitionsCannotBeRead) {
    const Handle root = start();
    alpha->set("gone", 21.0, "session");
    waitForSettingsSaves();
    writeBytes(tree.userFile("alpha"), "no package either");
    root->reloadFactoryFile("alpha");
    ASSERT_EQ(1U, problemsOf(*tree.state).size()); // of the personal file
    EXPECT_EQ(tree.userFile("alpha").string(), problemsOf(*tree.state)[0].file);
    EXPECT_EQ("CantReloadFactoryFile", failureOf([&] { root->reloadFactoryFile("unknown"); }));
    writeBytes(tree.base / "factory/varnek/settings/factoryFiles/alpha.vksettings", "no package");
    RecordedEvents events;
    EXPECT_EQ("PackageCannotBeOpened", failureOf([&] { root->reloadFactoryFile("alpha"); }));
    EXPECT_EQ(Lines(), events.take());
    EXPECT_EQ(21.0, alpha->get<double>("gone"));
}

TEST_F(Reloading, AGroupThatNobodyHasNeededIsReadWhenItIs) {
    tree.define(first);
    const Handle root = tree.start();
    tree.define(second);
    RecordedEvents events;
    LogLines log("settings::core::settingsImplRoot");
    root->reloadFactoryFile("alpha");
    EXPECT_EQ(Lines(), log.lines);
    EXPECT_EQ(Lines(), events.take());
    EXPECT_FALSE(getToolboxGroups(tree.index).front().isLoaded);
    EXPECT_EQ(10.0, root->getByFullName<double>("alpha.kept"));
}

TEST_F(Reloading, OtherFilesTakeThePlaceOfThoseBefore) {
    const Handle root = start();
    const auto built = [&](const char* name, const char* document) {
        const auto file = tree.base / (std::string(name) + ".vksettings");
        varnek::settings::FactoryFileGenerator::fromText(document, name).write(file);
        return file;
    };
    const auto one = built("one", second);
    const auto more = built("more", R"({"groupName": "alpha", "settings": [{"name": "extra", "value": 9},
        {"name": "kept", "value": 11}], "groups": [{"groupName": "inner", "settings": [{"name": "e", "value": 1}]}]})");
    detail::updateToolboxGroup(tree.index, "alpha", {one, more});
    EXPECT_EQ(10.0, alpha->get<double>("kept")); // the first definition stays
    EXPECT_EQ(9.0, alpha->get<double>("extra"));
    EXPECT_EQ(1.0, root->getByFullName<double>("alpha.inner.e"));
    detail::updateToolboxGroup(tree.index, "beta", {built("beta", R"({"groupName": "beta"})")});
    EXPECT_TRUE(root->getChild("beta"));
    const auto other = built("other", R"({"groupName": "other"})");
    EXPECT_EQ("ErrorReadingSettingsData",
              failureOf([&] { detail::updateToolboxGroup(tree.index, "alpha", {other}); }));
    EXPECT_THROW(detail::updateToolboxGroup(tree.index, "alpha", {}), std::invalid_argument);
    EXPECT_THROW(detail::updateToolboxGroup(tree.index, "alpha", {"relative.vksettings"}),
                 std::invalid_argument);
    EXPECT_EQ(9.0, alpha->get<double>("extra"));
    root->reloadFactoryFile("alpha"); // from the files that are in force
    EXPECT_EQ(9.0, alpha->get<double>("extra"));
}

// ---- code of another language ----

/// Stands for the front end of a language whose files end in ".lab".
struct LanguageDefinitions : testing::Test {
    void TearDown() override { setFactorySettingsRunner(".lab", {}); }
    void run(const std::function<boost::optional<FactoryGroup>(const FactorySettingsCode&)>& work) {
        setFactorySettingsRunner(".lab", work);
    }
    static FactoryGroup group(const std::string& name, bool isVisible = true) {
        FactoryGroup made(name, {isVisible, false, {}, {}, {}, false, true, {}});
        made.addSetting("x", {true, false, Array::scalar(1.0), {}, {}, false, false, {}});
        return made;
    }
    std::filesystem::path declare(const std::string& folder, const std::string& info) const {
        const auto place = tree.base / "factory/varnek/settings/toolboxes" / folder;
        std::filesystem::create_directories(place);
        writeBytes(place / "settingsInfo.json", info);
        return place;
    }
    StartedTree tree;
};

TEST_F(LanguageDefinitions, AreRunWhenTheGroupIsNeeded) {
    const auto place = declare("lab", R"({"ToolboxGroupName": "lab", "FactoryFileName": "lab.lab",
                                          "ClassName": "Lab", "Hidden": true})");
    int calls = 0;
    run([&](const FactorySettingsCode& code) {
        ++calls;
        EXPECT_EQ(place / "lab.lab", code.file);
        EXPECT_EQ("Lab", code.className);
        EXPECT_EQ("lab", code.toolboxGroupName);
        EXPECT_FALSE(code.isVisible);
        return group("lab", false);
    });
    Handle root = tree.start();
    EXPECT_EQ(0, calls);
    const auto listed = getToolboxGroups(tree.index);
    ASSERT_EQ(1U, listed.size());
    EXPECT_EQ(ToolboxSource::language, listed[0].source);
    EXPECT_FALSE(listed[0].isVisible);
    EXPECT_EQ(1.0, root->getByFullName<double>("lab.x"));
    EXPECT_EQ(1.0, root->getByFullName<double>("lab.x"));
    EXPECT_EQ(1, calls);
    root->getChild("lab")->set("x", 2.0, "user");
    root = tree.start();
    EXPECT_EQ(2.0, root->getByFullName<double>("lab.x"));
}

TEST_F(LanguageDefinitions, AFrontEndThatComesLateBringsItsGroups) {
    declare("lab", R"({"ToolboxGroupName": "lab", "FactoryFileName": "lab.lab"})");
    tree.defineOne("alpha");
    const Handle root = tree.start();
    EXPECT_EQ(1U, root->getChildren().size());
    EXPECT_FALSE(root->getChild("lab"));
    EXPECT_EQ(ToolboxSource::none, getToolboxGroups(tree.index).back().source);
    RecordedEvents events;
    run([](const FactorySettingsCode&) { return group("lab"); });
    EXPECT_EQ(Lines{"added lab to "}, events.take());
    EXPECT_EQ(1.0, root->getByFullName<double>("lab.x"));
}

TEST_F(LanguageDefinitions, AGroupThatIsNotAsDeclaredIsLeftOut) {
    const auto file =
        declare("lab", R"({"ToolboxGroupName": "lab", "FactoryFileName": "lab.lab"})") / "settingsInfo.json";
    boost::optional<FactoryGroup> made;
    run([&](const FactorySettingsCode&) { return made; });
    const Handle root = tree.start();
    LogLines log("settings::core::warnings");
    EXPECT_FALSE(root->getChild("lab"));
    EXPECT_EQ(Lines(), log.lines);
    made = group("other");
    EXPECT_FALSE(root->getChild("lab"));
    EXPECT_EQ(Lines{"Invalid JSON, kind 3: " + file.string() +
                    ": \"lab\" is declared, the group is called \"other\""},
              log.lines);
    log.lines.clear();
    made = group("lab", false);
    EXPECT_FALSE(root->getChild("lab"));
    EXPECT_EQ(Lines{"Invalid JSON, kind 4: " + file.string() +
                    ": \"lab\" is declared as visible, the group is hidden"},
              log.lines);
    made = group("lab");
    EXPECT_TRUE(root->getChild("lab"));
}

TEST_F(LanguageDefinitions, ABadDescriptionDoesNotKeepTheOthersBack) {
    for (const char* bad : {"", "[]", "{}", R"({"ToolboxGroupName": "a"})", R"({"ToolboxGroupName": 1})",
                            R"({"ToolboxGroupName": "a", "FactoryFileName": "a.lab", "Hidden": 1})"})
        declare(std::string("bad") + std::to_string(std::hash<std::string>()(bad)), bad);
    const auto place =
        declare("good", R"({"ToolboxGroupName": "good", "FactoryFileName": "good.vksettings"})");
    varnek::settings::FactoryFileGenerator::fromText(
        R"({"groupName": "good", "settings": [{"name": "x", "value": 1}]})", "good")
        .write(place / "good.vksettings");
    const Handle root = tree.start();
    EXPECT_EQ(6U, problemsOf(*tree.state).size());
    EXPECT_EQ(1.0, root->getByFullName<double>("good.x"));
}

TEST_F(LanguageDefinitions, FunctionsReplaceADefinition) {
    struct Made : VARNEKFactorySettingsDefinition {
        explicit Made(double v) : VARNEKFactorySettingsDefinition("made", true, "here"), value(v) {}
        boost::optional<FactoryGroup> createFactorySettings() const override {
            FactoryGroup group("made");
            group.addSetting("x", {true, false, Array::scalar(value), {}, {}, false, false, {}});
            return group;
        }
        double value;
    };
    tree.define(R"({"groupName": "made", "settings": [{"name": "x", "value": 3}]})");
    Handle root = tree.start();
    EXPECT_EQ(3.0, root->getByFullName<double>("made.x"));
    EXPECT_THROW(detail::updateToolboxGroupWithFunctions(tree.index, boost::make_shared<Made>(1.0)),
                 std::invalid_argument); // it would have no effect
    std::filesystem::remove_all(tree.base / "factory");
    root = tree.start();
    addFactorySettingsDefinition(tree.index, boost::make_shared<Made>(1.0));
    const Handle group = root->getChild("made");
    EXPECT_EQ(1.0, group->get<double>("x"));
    RecordedEvents events;
    detail::updateToolboxGroupWithFunctions(tree.index, boost::make_shared<Made>(2.0));
    EXPECT_EQ(2.0, group->get<double>("x"));
    EXPECT_EQ(Lines{"changed made.x was 1"}, events.take());
    EXPECT_THROW(addFactorySettingsDefinition(tree.index, {}), std::invalid_argument);
    EXPECT_THROW(
        detail::updateToolboxGroupWithFunctions(RootIndex(77, true, false), boost::make_shared<Made>(1.0)),
        VARNEK::settings::core::SettingsLibraryNotInitialized);
}

} // namespace
