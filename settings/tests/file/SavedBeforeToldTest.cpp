// When a callback hears of a change its save has been asked for, whatever the callback does next.

#include "support/Children.hpp"
#include "support/WriterTree.hpp"

#include "settingscore/MSettings.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/events/EventNotifyFunction.hpp"
#include "settingscore/events/SettingsEvent.hpp"
#include "settingscore/settings/file/prefdirWriter.hpp"
#include "varnek/event/EventManager.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>

namespace {

using namespace settings::test;
using namespace settings::core;
using detail::FactorySettingProperties;
using detail::SettingsAccess;
using varnek::event::EventManager;
using varnek::event::ScopedConnection;
using Lines = std::vector<std::string>;

FactorySettingProperties holding(double value) {
    return {true, false, Array::scalar(value), {}, {}, false, false, {}};
}

struct Operation {
    std::string name;
    /// On the root and the group "g" with the settings "s", "t" and, added by the user, "mine"; all hold 1.
    std::function<void(const Handle& root, const Handle& g)> run;
    std::string result;
};

const std::vector<Operation>& operations() {
    static const std::vector<Operation> all = {
        {"set", [](const Handle&, const Handle& g) { g->set("s", 2.0, "user"); }, "g: mine 1 s 2 t 1"},
        {"batch",
         [](const Handle&, const Handle& g) {
             Settings::setTogether(
                 {{g->getChild("s"), Array::scalar(2.0)}, {g->getChild("t"), Array::scalar(3.0)}}, "user");
         },
         "g: mine 1 s 2 t 3"},
        {"unset", [](const Handle&, const Handle& g) { g->unset("s", "user"); }, "g: mine 1 t 1"},
        {"addSetting",
         [](const Handle&, const Handle& g) { g->addSetting("a", Array::scalar(5.0), true, false, "user"); },
         "g: a 5 mine 1 s 1 t 1"},
        {"addGroup", [](const Handle& root, const Handle&) { root->addGroup("h", true, false, "user"); },
         "g: mine 1 s 1 t 1 h:"},
        {"attach",
         [](const Handle&, const Handle& g) {
             MSettings::createSetting("a", false, {.value = Array::scalar(5.0)})->setParent(g);
         },
         "g: a 5 mine 1 s 1 t 1"},
        {"removeNode", [](const Handle&, const Handle& g) { g->removeNode("mine"); }, "g: s 1 t 1"},
        {"createAndSetValue",
         [](const Handle& root, const Handle&) {
             auto definition = holding(5.0);
             definition.setRoot(MSettings::of(root));
             Settings::createAndSetValue("h.a", {}, definition, "user");
         },
         "g: mine 1 s 1 t 1 h: a 5"},
    };
    return all;
}

struct SavedBeforeTold : testing::Test {
    /// The group "g" with what its file holds.
    static Handle group(const FileTree& tree) {
        const Handle g = tree.group("g");
        TestTree::setting(g, "s");
        TestTree::setting(g, "t");
        tree.load(g);
        return g;
    }
    static void prepare(const std::filesystem::path& base) {
        std::filesystem::remove_all(base / "user");
        const FileTree tree(base);
        const Handle g = group(tree);
        g->addSetting("mine", Array::scalar(1.0), true, false, "user");
        g->set("s", 1.0, "user");
        g->set("t", 1.0, "user");
    }
    /// What a process that starts now reads: each group, with the values on "user" by their names.
    static std::string onDisk(const std::filesystem::path& base) {
        const FileTree tree(base);
        group(tree);
        tree.keeper->loadAddedGroups(SettingsAccess::node(*tree.root), LevelIndex::user);
        std::string text;
        for (const Handle& g : tree.root->getChildren()) {
            text += (text.empty() ? "" : " ") + g->getName() + ":";
            for (const Handle& child : g->getChildren())
                if (const Array value = g->get(child->getName(), "user"); !value.isVoid())
                    text += " " + child->getName() + " " + std::to_string(int(value.element<double>()));
        }
        return text;
    }
    static ScopedConnection listen(const std::function<void()>& call) {
        return EventManager::instance().subscribe(u"settings::core::SettingsEvent",
                                                  [call](const auto&) { call(); });
    }

    TempFolder folder;
};

// ---- in a process of its own ----

TEST_F(SavedBeforeTold, DISABLED_TheListenerEndsTheProcess) {
    const std::string which = std::getenv("SAVED_BEFORE_TOLD");
    const FileTree tree(std::getenv("FILE_WRITER_FOLDER"), detail::prefdirWriter);
    const Handle g = group(tree);
    const ScopedConnection connection = listen([] { std::exit(0); });
    for (const Operation& operation : operations())
        if (operation.name == which)
            operation.run(tree.root, g);
    ::_exit(9); // nobody was told
}

TEST_F(SavedBeforeTold, AListenerMayEndTheProcess) {
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.name);
        prepare(folder.path());
        inAnotherProcess([&] {
            ::setenv("SAVED_BEFORE_TOLD", operation.name.c_str(), 1);
            becomeTest("SavedBeforeTold.DISABLED_TheListenerEndsTheProcess", folder.path());
        });
        EXPECT_EQ(operation.result, onDisk(folder.path()));
    }
}

// ---- in this one ----

TEST_F(SavedBeforeTold, WhatAListenerWaitsForIsOnTheDisk) {
    for (const bool inHook : {false, true})
        for (const Operation& operation : operations()) {
            SCOPED_TRACE(operation.name + (inHook ? " hook" : " listener"));
            prepare(folder.path());
            detail::PrefdirFileWriterQueue queue{std::chrono::hours(24)};
            WriterTree::current = &queue;
            const FileTree tree(folder.path(), WriterTree::writer);
            const Handle g = group(tree);
            std::string seen;
            const auto look = [&] {
                queue.waitForAll();
                if (seen.empty())
                    seen = onDisk(folder.path());
            };
            ScopedConnection connection;
            if (inHook)
                detail::setEventNotifyFunction([&](const auto&) { look(); });
            else
                connection = listen(look);
            operation.run(tree.root, g);
            detail::setEventNotifyFunction({});
            connection.disconnect();
            EXPECT_EQ(operation.result, seen);
            WriterTree::current = nullptr;
        }
}

TEST_F(SavedBeforeTold, ABatchIsInPlaceBeforeItIsTold) {
    prepare(folder.path());
    const FileTree tree(folder.path());
    const Handle g = group(tree);
    Lines told;
    const auto note = [&](const std::string& who) {
        told.push_back(who + " " + std::to_string(g->get<int>("s")) + " " + std::to_string(g->get<int>("t")));
    };
    const ScopedConnection connection = EventManager::instance().subscribe(
        u"settings::core::SettingsEvent", [&](const varnek::event::EventHandle& event) {
            note(dynamic_cast<const SettingsEvent&>(*event).getObj()->getName());
        });
    Settings::setTogether({{g->getChild("t"), Array::scalar(3.0)}, {g->getChild("s"), Array::scalar(2.0)}},
                          "user");
    EXPECT_EQ((Lines{"t 2 3", "s 2 3"}), told);
}

/// A save in the caller may take over what another process has changed: that is told after the change.
TEST_F(SavedBeforeTold, WhatASaveTakesOverIsToldAfterTheChange) {
    for (const bool hasWriter : {false, true}) {
        SCOPED_TRACE(hasWriter ? "the writer has ended" : "no writer");
        prepare(folder.path());
        detail::PrefdirFileWriterQueue queue{std::chrono::hours(24)};
        queue.terminate(true);
        WriterTree::current = hasWriter ? &queue : nullptr;
        const FileTree tree(folder.path(), WriterTree::writer);
        const Handle g = group(tree);
        {
            const FileTree other(folder.path());
            group(other)->set("t", 7.0, "user");
        }
        Lines hooked, heard;
        const auto nameOf = [](const auto& event) {
            return dynamic_cast<const SettingsEvent&>(*event).getObj()->getName();
        };
        detail::setEventNotifyFunction([&](const auto& event) { hooked.push_back(nameOf(event)); });
        const ScopedConnection connection = EventManager::instance().subscribe(
            u"settings::core::SettingsEvent",
            [&](const varnek::event::EventHandle& event) { heard.push_back(nameOf(event)); });
        g->set("s", 2.0, "user");
        detail::setEventNotifyFunction({});
        EXPECT_EQ((Lines{"s", "t"}), hooked);
        EXPECT_EQ((Lines{"s", "t"}), heard);
        EXPECT_EQ("g: mine 1 s 2 t 7", onDisk(folder.path()));
        WriterTree::current = nullptr;
    }
}

} // namespace
