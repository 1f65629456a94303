// A tree that follows the personal files that another one writes; every wait is for an event.

#include "settingscore/PersonalFileWatch.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/events/SettingsAddNodeEvent.hpp"
#include "settingscore/events/SettingsRemoveNodeEvent.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/root/RootStates.hpp"
#include "support/FileTree.hpp"
#include "varnek/event/EventManager.hpp"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace {

using namespace settings::core;
using namespace settings::test;
using varnek::event::EventHandle;
using varnek::event::EventManager;

/// Two processes: `here` is watched, `there` is another one with the same files.
struct PersonalFiles : testing::Test {
    PersonalFiles() : here(start()), there(start()) {
        auto state = boost::make_shared<detail::SettingsRootStateMgr>();
        state->root = here.rootNode;
        state->files = here.keeper;
        detail::RootStates::instance().insert(index().index(), state);
        listenTo(here.root);
    }
    ~PersonalFiles() override {
        watch.reset();
        for (const auto& connection : connections)
            connection.disconnectAndWait();
        detail::RootStates::instance().erase(index().index());
    }

    static RootIndex index() { return {4711, true, false}; }

    FileTree start() const {
        FileTree tree(folder.path());
        for (const char* name : {"g", "h"}) {
            const Handle group = tree.group(name);
            for (const char* setting : {"a", "b"})
                TestTree::setting(group, setting, Array::scalar(0.0));
            tree.load(group);
        }
        return tree;
    }
    /// By the types of its nodes, which those of the other tree do not have.
    void listenTo(const Handle& node) {
        connections.push_back(EventManager::instance().subscribe(
            node->getGlobalListenerEventTypes(), [this](const EventHandle& event) { tell(*event); }));
        for (const Handle& child : node->getChildren())
            listenTo(child);
    }
    void tell(const varnek::event::Event& event) {
        const auto& about = dynamic_cast<const SettingsEvent&>(event);
        const std::string name = about.getObj()->getName();
        std::string line = "changed " + name;
        if (dynamic_cast<const SettingsAddNodeEvent*>(&about) != nullptr)
            line = "added " + name;
        else if (dynamic_cast<const SettingsRemoveNodeEvent*>(&about) != nullptr)
            line = "removed " + name;
        else
            line += " to " + std::to_string(int(about.getObj()->getParent()->get<double>(name)));
        const std::lock_guard lock(mutex);
        lines.push_back(std::move(line));
        news.notify_all();
    }
    std::string next() {
        std::unique_lock lock(mutex);
        if (!news.wait_for(lock, std::chrono::seconds(20), [&] { return !lines.empty(); }))
            return "(nothing came)";
        std::string line = std::move(lines.front());
        lines.pop_front();
        return line;
    }
    static Handle g(const FileTree& tree) { return tree.root->getChild("g"); }

    TempFolder folder;
    std::mutex mutex;
    std::condition_variable news;
    std::deque<std::string> lines;
    std::vector<varnek::event::Connection> connections;
    FileTree here, there;
    std::optional<PersonalFileWatch> watch;
};

TEST_F(PersonalFiles, WhatChangedBeforeTheWatchIsTakenOverAtOnce) {
    g(there)->set("a", 1.0, "user");
    watch.emplace(index());
    EXPECT_EQ(1.0, g(here)->get<double>("a"));
    EXPECT_EQ("changed a to 1", next());
}

TEST_F(PersonalFiles, ValuesComeChangeAndGo) {
    watch.emplace(index());
    g(there)->set("a", 1.0, "user");
    EXPECT_EQ("changed a to 1", next());
    g(there)->set("b", 2.0, "user");
    EXPECT_EQ("changed b to 2", next()) << "only what is new";
    there.root->getChild("h")->set("a", 3.0, "user");
    EXPECT_EQ("changed a to 3", next());
    g(there)->unset("a", "user");
    EXPECT_EQ("changed a to 0", next());
    g(there)->unset("b", "user");
    EXPECT_EQ("changed b to 0", next()) << "the last value goes with its file";
    EXPECT_FALSE(std::filesystem::exists(here.file("g")));
}

TEST_F(PersonalFiles, WhatIsChangedHereStays) {
    watch.emplace(index());
    g(here)->set("a", 1.0, "user");
    EXPECT_EQ("changed a to 1", next());
    g(here)->set("a", 5.0, "session"); // hides what the file says
    EXPECT_EQ("changed a to 5", next());
    g(there)->set("a", 7.0, "user");
    g(there)->set("b", 8.0, "user");
    EXPECT_EQ("changed b to 8", next());
    EXPECT_EQ(7.0, g(here)->get<double>("a", "user"));
    EXPECT_EQ(5.0, g(here)->get<double>("a"));
}

TEST_F(PersonalFiles, BothWriteTheSameFileAndEndWithTheSameValues) {
    watch.emplace(index());
    for (int i = 1; i <= 50; ++i) {
        g(here)->set("a", double(i), "user");
        g(there)->set("b", double(i), "user");
    }
    for (std::string line = next(); line != "changed b to 50"; line = next())
        ASSERT_NE("(nothing came)", line);
    EXPECT_EQ(50.0, g(here)->get<double>("a"));
    EXPECT_EQ(50.0, g(there)->get<double>("a"));
}

TEST_F(PersonalFiles, GroupsAndSettingsThatUsersAdd) {
    watch.emplace(index());
    g(there)->addSetting("mine", Array::scalar(1.0), true, false, "user");
    EXPECT_EQ("added mine", next());
    EXPECT_EQ(1.0, g(here)->get<double>("mine"));
    const Handle group = there.root->addGroup("notes", true, false, "user");
    EXPECT_EQ("added notes", next());
    group->addSetting("text", Array::scalar(2.0), true, false, "user");
    listenTo(here.root->getChild("notes"));
    std::string line;
    if (here.root->getChild("notes")->getChild("text") == nullptr) // else it came with the group
        line = next();
    EXPECT_EQ(2.0, here.root->getChild("notes")->get<double>("text"));
    there.root->removeNode("notes");
    for (line = next(); line == "added text"; line = next()) {
    }
    EXPECT_EQ("removed notes", line);
    g(there)->removeNode("mine");
    EXPECT_EQ("removed mine", next());
}

TEST_F(PersonalFiles, WhatTheInstallationHoldsComesWithTheGroup) {
    const Handle notes = there.root->addGroup("notes", true, false, "user");
    notes->addSetting("text", Array::scalar(1.0), true, false, "user");
    notes->set("text", 2.0, "installation");
    notes->unset("text", "user");
    watch.emplace(index());
    const Handle mine = here.root->getChild("notes");
    ASSERT_TRUE(mine);
    EXPECT_EQ(2.0, mine->get<double>("text"));
    EXPECT_EQ("added notes", next());
    // The user's file goes, and comes back.
    const auto file = there.file("notes");
    const std::string bytes = bytesOf(file);
    std::filesystem::remove(file);
    EXPECT_EQ("removed notes", next());
    writeBytes(file, bytes);
    EXPECT_EQ("added notes", next());
    const Handle back = here.root->getChild("notes");
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!back->isSet("text", "installation") && std::chrono::steady_clock::now() < end)
        std::this_thread::yield(); // the other level's file is read after the addition is told
    EXPECT_EQ(2.0, back->get<double>("text", "installation"));
}

/// Groups come in one after the other. Nothing of a group is told before its addition, however soon another
/// thread finds it.
TEST_F(PersonalFiles, AnAdditionIsToldBeforeWhatHappensToItsGroup) {
    constexpr int groups = 60;
    for (const bool isRemoved : {false, true}) {
        SCOPED_TRACE(isRemoved ? "removed" : "changed");
        const std::string prefix = isRemoved ? "gone" : "new";
        for (int i = 0; i < groups; ++i)
            there.root->addGroup(prefix + std::to_string(i), true, false, "user")
                ->addSetting("s", Array::scalar(1.0), true, false, "user");
        std::vector<std::string> seen; // only ever touched by whoever hands on
        auto connection = EventManager::instance().subscribe(
            u"settings::core::SettingsEvent", [&](const EventHandle& event) {
                const auto& about = dynamic_cast<const SettingsEvent&>(*event);
                const bool isAdded = dynamic_cast<const SettingsAddNodeEvent*>(&about) != nullptr;
                seen.push_back(isAdded ? "added " + about.getObj()->getName() : "then");
            });
        std::atomic<bool> isOver = false;
        std::thread quick([&] {
            const std::string name = prefix + "0";
            while (!isOver)
                if (const Handle group = here.root->getChild(name)) {
                    isRemoved ? here.root->removeNode(name) : group->set("s", 5.0, "session");
                    return;
                }
        });
        watch.emplace(index());
        isOver = true;
        quick.join();
        watch.reset();
        connection.disconnectAndWait();
        const auto at = [&](const std::string& line) { return std::find(seen.begin(), seen.end(), line); };
        EXPECT_TRUE(at("added " + prefix + "0") < at("then"));
        EXPECT_NE(seen.end(), at("added " + prefix + std::to_string(groups - 1)));
    }
}

TEST_F(PersonalFiles, ADamagedFileChangesNothingAndHoldsNothingUp) {
    watch.emplace(index());
    g(there)->set("a", 1.0, "user");
    EXPECT_EQ("changed a to 1", next());
    const std::string good = bytesOf(here.file("g"));
    writeBytes(here.file("g"), good.substr(0, 50));
    there.root->getChild("h")->set("b", 2.0, "user");
    EXPECT_EQ("changed b to 2", next());
    EXPECT_EQ(1.0, g(here)->get<double>("a"));
    writeBytes(folder / "mended", good);
    std::filesystem::rename(folder / "mended", here.file("g"));
    g(there)->set("a", 4.0, "user");
    EXPECT_EQ("changed a to 4", next());
}

TEST_F(PersonalFiles, AListenerMayAnswerWithAChange) {
    connections.push_back(EventManager::instance().subscribe(
        g(here)->getChild("a")->getListenerValueChangeEventType(),
        [this](const EventHandle&) { g(here)->set("b", g(here)->get<double>("a") * 2, "user"); }));
    watch.emplace(index());
    g(there)->set("a", 4.0, "user");
    EXPECT_EQ("changed a to 4", next());
    EXPECT_EQ("changed b to 8", next());
    g(there)->set("a", 5.0, "user");
    EXPECT_EQ("changed a to 5", next());
    EXPECT_EQ("changed b to 10", next());
    EXPECT_EQ(8.0, g(there)->get<double>("b")) << "taken over with the save before";
}

TEST_F(PersonalFiles, AListenerMayEndTheWatch) {
    // On the thread of the watch, and as a rule on that of a change made here.
    for (const FileTree* changed : {&there, &here}) {
        auto ended = std::make_unique<PersonalFileWatch>(index());
        std::promise<std::thread::id> isEnded;
        const auto ending = EventManager::instance().subscribe(
            g(here)->getChild("a")->getListenerValueChangeEventType(), [&](const EventHandle&) {
                if (ended == nullptr)
                    return;
                ended.reset();
                isEnded.set_value(std::this_thread::get_id());
            });
        auto listener = isEnded.get_future();
        g(*changed)->set("a", changed == &there ? 1.0 : 2.0, "user");
        ASSERT_EQ(std::future_status::ready, listener.wait_for(std::chrono::seconds(20)));
        // A change made here may be handed on by the watch, too.
        EXPECT_TRUE(changed == &here || listener.get() != std::this_thread::get_id());
        ending.disconnectAndWait();
        EXPECT_EQ(changed == &there ? "changed a to 1" : "changed a to 2", next());
    }
    watch.emplace(index());
    g(there)->set("b", 3.0, "user");
    EXPECT_EQ("changed b to 3", next()) << "once, to the one watch that is left";
}

TEST_F(PersonalFiles, ATreeThatIsBuiltAnewIsFollowed) {
    watch.emplace(index());
    const FileTree anew = start();
    auto state = boost::make_shared<detail::SettingsRootStateMgr>();
    state->root = anew.rootNode;
    state->files = anew.keeper;
    listenTo(anew.root);
    detail::RootStates::instance().erase(index().index());
    detail::RootStates::instance().insert(index().index(), state);
    g(there)->set("a", 7.0, "user");
    EXPECT_EQ("changed a to 7", next());
    EXPECT_EQ(7.0, g(anew)->get<double>("a"));
    EXPECT_EQ(0.0, g(here)->get<double>("a"));
}

TEST_F(PersonalFiles, ATreeThatIsNotThereCannotBeFollowed) {
    EXPECT_THROW(PersonalFileWatch(RootIndex(4712, true, false)),
                 VARNEK::settings::core::SettingsLibraryNotInitialized);
}

} // namespace
