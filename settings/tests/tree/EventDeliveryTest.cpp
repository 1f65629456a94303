// Events reach listeners and the queue in the order of the changes, whoever makes them.

#include "support/TestTree.hpp"

#include "settingscore/events/EventDelivery.hpp"
#include "settingscore/events/EventNotifyFunction.hpp"
#include "settingscore/events/SettingsAddNodeEvent.hpp"
#include "settingscore/events/SettingsValueChangeEvent.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "varnek/event/EventManager.hpp"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <map>
#include <thread>

namespace {

using namespace settings::test;
using namespace settings::core::detail;
using settings::core::Settings;
using settings::core::SettingsValueChangeEvent;
using varnek::event::EventManager;
using varnek::event::ScopedConnection;
using Lines = std::vector<std::string>;

struct Delivery : testing::Test {
    /// "<name> <old value>" of each value change that the listener gets, else "<name>".
    static std::string lineOf(const varnek::event::Event& event) {
        const auto& about = dynamic_cast<const settings::core::SettingsEvent&>(event);
        const auto* change = dynamic_cast<const SettingsValueChangeEvent*>(&event);
        std::string line = about.getObj()->getName();
        if (change != nullptr)
            line += ' ' + (change->getOldValue().isVoid()
                               ? std::string("none")
                               : std::to_string(int(change->getOldValue().element<double>())));
        return line;
    }
    ScopedConnection listen(const std::vector<std::u16string>& types, Lines& lines) const {
        return EventManager::instance().subscribe(
            types, [&lines](const varnek::event::EventHandle& event) { lines.push_back(lineOf(*event)); });
    }
    boost::shared_ptr<EventDelivery> delivery() const { return tree.rootNode->treeContext()->events; }
    Lines fetch() const {
        std::queue<EventHandle> queue;
        delivery()->moveQueuedTo(queue);
        Lines lines;
        for (; !queue.empty(); queue.pop())
            lines.push_back(lineOf(*queue.front()));
        return lines;
    }

    TestTree tree;
    Handle editor = tree.group("editor");
    Handle width = TestTree::setting(editor, "width", Array::scalar(80.0));
    Handle height = TestTree::setting(editor, "height", Array::scalar(40.0));
};

TEST_F(Delivery, ListenersHearWhatTheySubscribedTo) {
    Lines ofWidth, ofEditor, added, removed, everything;
    const ScopedConnection connections[] = {
        listen(width->getListenerValueChangeEventType(), ofWidth),
        listen(editor->getGlobalListenerEventTypes(), ofEditor),
        listen(editor->getListenerAddNodeEventType(), added),
        listen(editor->getListenerRemoveNodeEventType(), removed),
        listen({u"settings::core::SettingsEvent"}, everything),
    };
    editor->set("width", 90.0, "user");
    editor->set("height", 50.0, "user");
    editor->addSetting("mine", Array::scalar(1.0), true, false, "user");
    editor->set("mine", 2.0, "user");
    editor->removeNode("mine");
    editor->unset("width", "user");
    EXPECT_EQ((Lines{"width 80", "width 90"}), ofWidth);
    EXPECT_EQ((Lines{"mine", "mine"}), ofEditor); // added and removed
    EXPECT_EQ(Lines{"mine"}, added);
    EXPECT_EQ(Lines{"mine"}, removed);
    EXPECT_EQ((Lines{"width 80", "height 40", "mine", "mine 1", "mine", "width 90"}), everything);
}

TEST_F(Delivery, TheQueueIsFirstInFirstOut) {
    editor->set("width", 1.0, "user");
    EXPECT_EQ(Lines{}, fetch()); // off at first
    Lines heard;
    const ScopedConnection connection = listen(width->getListenerValueChangeEventType(), heard);
    delivery()->enableQueue(true);
    editor->set("width", 2.0, "user");
    EXPECT_EQ(Lines{"width 1"}, fetch());
    EXPECT_EQ(Lines{}, fetch());
    EXPECT_EQ(Lines{"width 1"}, heard); // delivered all the same
    editor->set("height", 2.0, "user");
    editor->set("width", 3.0, "user");
    delivery()->enableQueue(false);
    editor->set("width", 4.0, "user");
    EXPECT_EQ((Lines{"height 40", "width 2"}), fetch()); // what is queued stays

    delivery()->enableQueue(true);
    editor->set("width", 5.0, "user");
    editor->set("height", 5.0, "user");
    std::queue<EventHandle> queue; // goes to the end of what the caller has
    queue.push(nullptr);
    delivery()->moveQueuedTo(queue);
    EXPECT_EQ(3U, queue.size());
    EXPECT_EQ(nullptr, queue.front());
    queue.pop();
    EXPECT_EQ("width 4", lineOf(*queue.front()));
}

TEST_F(Delivery, AnIncompleteEventHoldsBackThoseBehindIt) {
    Lines heard;
    const ScopedConnection connection = listen({u"settings::core::SettingsEvent"}, heard);
    const auto eventOf = [&](const Handle& object) {
        return boost::make_shared<const SettingsValueChangeEvent>(
            object, object->getListenerValueChangeEventType(), object->getRootIndex(), Array::scalar(1.0));
    };
    auto first = EventDelivery::reserve(delivery());
    auto second = EventDelivery::reserve(delivery());
    auto third = EventDelivery::reserve(delivery());
    third.fill(eventOf(height));
    EXPECT_EQ(Lines{}, heard);
    first.fill(eventOf(width));
    EXPECT_EQ(Lines{"width 1"}, heard);
    second = {}; // given up
    EXPECT_EQ((Lines{"width 1", "height 1"}), heard);
    EXPECT_FALSE(EventDelivery::reserve(nullptr));
}

TEST_F(Delivery, NobodyListening) {
    EXPECT_FALSE(EventDelivery::reserve(delivery()));
    delivery()->enableQueue(true);
    EXPECT_TRUE(EventDelivery::reserve(delivery()));
}

TEST_F(Delivery, AListenerThatThrowsHarmsNobody) {
    Lines heard;
    const ScopedConnection bad = EventManager::instance().subscribe(
        width->getListenerValueChangeEventType(), [](const varnek::event::EventHandle&) { throw 1; });
    const ScopedConnection good = listen(width->getListenerValueChangeEventType(), heard);
    editor->set("width", 1.0, "user");
    editor->set("width", 2.0, "user");
    EXPECT_EQ((Lines{"width 80", "width 1"}), heard);
}

/// Each operation, from inside the hook and from inside a listener, while events are queued.
TEST_F(Delivery, EveryOperationFromInsideEveryCallback) {
    ScopedConnection own;
    Handle mine;
    const std::pair<const char*, std::function<void()>> operations[] = {
        {"get", [&] { EXPECT_NE(0.0, editor->get<double>("width")); }},
        {"set", [&] { editor->set("height", editor->get<double>("height") + 1, "user"); }},
        {"unset", [&] { editor->isSet("height", "user") ? editor->unset("height", "user") : void(); }},
        {"batch",
         [&] {
             Settings::setTogether({{height, Array::scalar(1.0)}, {height, Array::scalar(2.0)}}, "session");
         }},
        {"add",
         [&] {
             if (editor->getChild("mine") == nullptr)
                 mine = editor->addGroup("mine", true, false, "user");
             if (mine->getChild("s") == nullptr)
                 mine->addSetting("s", Array::scalar(1.0), true, false, "user");
         }},
        {"remove", [&] { editor->getChild("mine") != nullptr ? editor->removeNode("mine") : void(); }},
        {"merge",
         [&] {
             const Handle other = standaloneGroup("editor");
             load(TestTree::setting(other, "height"), settings::core::LevelIndex::user, Array::scalar(7.0));
             editor->mergeDescendants(other, "user");
         }},
        {"fetch", [&] { fetch(); }},
        {"subscribe and end",
         [&] {
             Lines lines;
             listen(width->getListenerValueChangeEventType(), lines).disconnectAndWait();
         }},
        {"end itself", [&] { own.disconnectAndWait(); }},
        {"replace the hook", [&] { setEventNotifyFunction({}); }},
    };
    delivery()->enableQueue(true);
    double next = 100.0;
    for (const auto& [name, operation] : operations)
        for (const bool fromHook : {true, false}) {
            SCOPED_TRACE(std::string(name) + (fromHook ? " from the hook" : " from a listener"));
            int calls = 0;
            const auto callback = [&, run = operation] {
                if (++calls == 1)
                    run();
            };
            if (fromHook)
                setEventNotifyFunction([&](const EventHandle&) { callback(); });
            else
                own = EventManager::instance().subscribe(u"settings::core::SettingsEvent",
                                                         [&](const auto&) { callback(); });
            editor->set("width", ++next, "user");
            EXPECT_LE(1, calls);
            own.disconnect();
            setEventNotifyFunction({});
            EXPECT_EQ(next, editor->get<double>("width"));
            fetch();
        }
}

/// Writers on several threads; a listener that changes settings itself. Per setting each event begins where
/// the one before it ended.
TEST_F(Delivery, AnUnbrokenChainPerSetting) {
    constexpr int threads = 4;
    const int changes = std::getenv("VKSETTINGS_SOAK") != nullptr ? 100'000 : 500;
    std::map<std::string, double> last; // only ever touched by whoever hands on
    std::atomic<int> events{0}, broken{0}, inside{0};
    for (int i = 0; i < threads; ++i)
        TestTree::setting(editor, "s" + std::to_string(i), Array::scalar(0.0));
    const ScopedConnection connection = EventManager::instance().subscribe(
        u"settings::core::SettingsValueChangeEvent", [&](const varnek::event::EventHandle& event) {
            if (++inside != 1)
                ++broken; // two at a time
            const auto& change = dynamic_cast<const SettingsValueChangeEvent&>(*event);
            const std::string name = change.getObj()->getName();
            // Every setting goes up by one: an event begins where the one before it ended.
            const double before = change.getOldValue().element<double>();
            if (before != last.try_emplace(name, name == "width" ? 79.0 : -1.0).first->second + 1)
                ++broken;
            last[name] = before;
            events += name != "width";
            if (name != "width" && events % 50 == 0)
                editor->set("width", editor->get<double>("width") + 1, "session");
            --inside;
        });
    std::vector<std::thread> writers;
    for (int i = 0; i < threads; ++i)
        writers.emplace_back([&, i] {
            const std::string own = "s" + std::to_string(i);
            for (int n = 1; n <= changes; ++n)
                editor->set(own, double(n), "session");
        });
    for (std::thread& writer : writers)
        writer.join();
    EXPECT_EQ(0, broken.load());
    for (int i = 0; i < threads; ++i)
        EXPECT_EQ(double(changes - 1), last["s" + std::to_string(i)]);
    EXPECT_EQ(threads * changes, events.load());
}

} // namespace
