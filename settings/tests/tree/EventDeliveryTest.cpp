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
#include <future>
#include <map>
#include <set>
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
    /// A callback that stays at work until it may leave.
    struct Busy {
        void stay() {
            inside.set_value();
            left.get_future().wait();
        }
        void untilItIsInside() { inside.get_future().wait(); }
        void leave() { left.set_value(); }
        std::promise<void> inside, left;
    };
    ScopedConnection listen(const std::vector<std::u16string>& types, Lines& lines) const {
        return EventManager::instance().subscribe(
            types, [&lines](const varnek::event::EventHandle& event) { lines.push_back(lineOf(*event)); });
    }
    static EventHandle eventOf(const Handle& object) {
        return boost::make_shared<const SettingsValueChangeEvent>(
            object, object->getListenerValueChangeEventType(), object->getRootIndex(), Array::scalar(1.0));
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
    EXPECT_EQ(Lines{}, fetch());
}

TEST_F(Delivery, AnIncompleteEventHoldsBackThoseBehindIt) {
    Lines heard;
    const ScopedConnection connection = listen({u"settings::core::SettingsEvent"}, heard);
    auto first = EventDelivery::reserve(delivery());
    auto second = EventDelivery::reserve(delivery());
    auto third = EventDelivery::reserve(delivery());
    third.complete([&] { return eventOf(height); });
    third.tell();
    EXPECT_EQ(Lines{}, heard);
    first.complete([&] { return eventOf(width); });
    EXPECT_EQ(Lines{}, heard); // nobody is called before somebody tells
    first.tell();
    EXPECT_EQ(Lines{"width 1"}, heard);
    second = {}; // given up
    EXPECT_EQ((Lines{"width 1", "height 1"}), heard);
    auto lost = EventDelivery::reserve(delivery());
    auto fourth = EventDelivery::reserve(delivery());
    lost.complete([]() -> EventHandle { throw std::bad_alloc(); });
    fourth.complete([&] { return eventOf(width); });
    lost.tell();
    EXPECT_EQ((Lines{"width 1", "height 1", "width 1"}), heard);
    EXPECT_FALSE(EventDelivery::reserve(nullptr));
}

/// Whatever is at work on another thread: the events of what this thread has changed are there.
TEST_F(Delivery, ASetIsInTheQueueWhenItReturns) {
    delivery()->enableQueue(true);
    for (const bool inHook : {true, false}) {
        SCOPED_TRACE(inHook ? "another thread is in the hook" : "another thread is in a listener");
        Busy busy;
        std::atomic<int> calls{0};
        const auto stayOnce = [&](const auto&) {
            if (++calls == 1)
                busy.stay();
        };
        ScopedConnection slow;
        if (inHook)
            setEventNotifyFunction(stayOnce);
        else
            slow = EventManager::instance().subscribe(width->getListenerValueChangeEventType(), stayOnce);
        std::thread other([&] { editor->set("width", editor->get<double>("width") + 1, "session"); });
        busy.untilItIsInside();
        EXPECT_EQ(1U, fetch().size());
        editor->set("height", editor->get<double>("height") + 1, "session");
        editor->addSetting("mine", Array::scalar(1.0), true, false, "session");
        editor->removeNode("mine");
        EXPECT_EQ(3U, fetch().size());
        editor->set("height", 0.0, "session");
        delivery()->enableQueue(false); // from now on
        editor->set("width", 0.0, "session");
        busy.leave();
        other.join();
        EXPECT_EQ(1U, fetch().size());
        EXPECT_EQ(Lines{}, fetch());
        delivery()->enableQueue(true);
        setEventNotifyFunction({});
    }
    Lines fetched;
    const ScopedConnection nested =
        EventManager::instance().subscribe(width->getListenerValueChangeEventType(), [&](const auto&) {
            fetch();
            editor->set("height", 3.0, "session");
            fetched = fetch();
        });
    editor->set("width", 3.0, "session");
    EXPECT_EQ(Lines{"height 0"}, fetched);
}

TEST_F(Delivery, FetchingWaitsForAChangeThatIsJustBefore) {
    delivery()->enableQueue(true);
    auto before = EventDelivery::reserve(delivery());
    std::promise<void> hasSet;
    auto fetched = std::async(std::launch::async, [&] {
        editor->set("height", 1.0, "session");
        hasSet.set_value();
        return fetch();
    });
    hasSet.get_future().wait();
    before.complete([&] { return eventOf(width); });
    EXPECT_EQ((Lines{"width 1", "height 40"}), fetched.get());
}

TEST_F(Delivery, TheQueuesSwitchCountsAsOfTheChange) {
    const ScopedConnection connection = EventManager::instance().subscribe(u"any", [](const auto&) {});
    const auto queuedWhen = [&](bool before, bool after) {
        delivery()->enableQueue(before);
        auto place = EventDelivery::reserve(delivery());
        delivery()->enableQueue(after);
        place.complete([&] { return eventOf(width); });
        place.tell();
        return fetch().size();
    };
    EXPECT_EQ(1U, queuedWhen(true, false));
    EXPECT_EQ(0U, queuedWhen(false, true));
}

/// A listener that is at work on another thread delays other listeners, not the hook.
TEST_F(Delivery, TheHookRunsOnTheThreadOfTheChange) {
    std::map<std::string, std::thread::id> threads;
    std::mutex mutex;
    setEventNotifyFunction([&](const EventHandle& event) {
        const std::lock_guard lock(mutex);
        threads[event->getObj()->getName()] = std::this_thread::get_id();
    });
    Busy busy;
    const ScopedConnection slow = EventManager::instance().subscribe(width->getListenerValueChangeEventType(),
                                                                     [&](const auto&) { busy.stay(); });
    Lines heard;
    const ScopedConnection quick = listen(height->getListenerValueChangeEventType(), heard);
    std::thread other([&] { editor->set("width", 1.0, "session"); });
    const std::thread::id otherId = other.get_id();
    busy.untilItIsInside();
    editor->set("height", 1.0, "session");
    {
        const std::lock_guard lock(mutex);
        EXPECT_EQ(std::this_thread::get_id(), threads["height"]);
        EXPECT_EQ(otherId, threads["width"]);
    }
    busy.leave();
    other.join();
    setEventNotifyFunction({});
    EXPECT_EQ(Lines{"height 40"}, heard);
}

/// Putting what a file keeps into place may have to wait for that file.
TEST_F(Delivery, AnAdditionThatWaitsForAFileHoldsNothingBack) {
    struct Waiting : RecordedRequests {
        void adoptKeptValues(const NodePtr&) override { busy.stay(); }
        Busy busy;
    };
    const auto waiting = boost::make_shared<Waiting>();
    TreeContext context;
    context.rootIndex = settings::core::DefaultRootIndex();
    context.connected = true;
    context.saves = waiting;
    const Handle root = SettingsImplRoot::make(std::move(context))->getThisObject();
    const Handle a = TestTree::childGroup(root, "a"), b = TestTree::childGroup(root, "b");
    const Handle x = TestTree::setting(b, "x", Array::scalar(1.0));
    Lines added, changed;
    const ScopedConnection connections[] = {listen(a->getListenerAddNodeEventType(), added),
                                            listen(x->getListenerValueChangeEventType(), changed)};
    std::thread adding([&] { a->addSetting("new", Array::scalar(1.0), true, false, "session"); });
    waiting->busy.untilItIsInside();
    EXPECT_EQ(Lines{"new"}, added);
    b->set("x", 2.0, "session");
    EXPECT_EQ(Lines{"x 1"}, changed);
    waiting->busy.leave();
    adding.join();
}

TEST_F(Delivery, EventsNameTheirTree) {
    TreeContext context;
    context.rootIndex = settings::core::RootIndex(4711, true, false);
    context.connected = true;
    const auto rootNode = SettingsImplRoot::make(context);
    rootNode->treeContext()->events->enableQueue(true);
    const Handle group = TestTree::childGroup(rootNode->getThisObject(), "g");
    TestTree::setting(group, "s", Array::scalar(1.0));
    group->set("s", 2.0, "session");
    group->unset("s", "session");
    group->addGroup("added", true, false, "session");
    group->removeNode("added");
    std::queue<EventHandle> events;
    rootNode->treeContext()->events->moveQueuedTo(events);
    EXPECT_EQ(4U, events.size());
    for (; !events.empty(); events.pop())
        EXPECT_EQ(context.rootIndex, events.front()->getRootIndex());
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

/// Each operation, from inside the hook, a listener, a validation function, an error handler and a run-time
/// default, while events are queued.
TEST_F(Delivery, EveryOperationFromInsideEveryCallback) {
    ScopedConnection own;
    Handle mine;
    std::function<void()> inFunction; // run once
    const auto runOnce = [&] {
        if (const auto run = std::exchange(inFunction, {}))
            run();
    };
    FactorySettingProperties checked(
        true, false, {}, settings::core::CPPValidator([&](auto&&...) { runOnce(); }, "p", "f"),
        settings::core::CRunTimeDefault("p", "d",
                                        [&] {
                                            runOnce();
                                            return Array::scalar(5.0);
                                        }),
        false, false, {settings::core::NumericMetaData<settings::core::MustBeScalar>()});
    checked.setErrorHandler([&](auto&&...) { runOnce(); });
    TestTree::setting(editor, "checked", checked);
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
        {"set what is checked",
         [&] {
             editor->set("checked", 77.0, "session");
             EXPECT_EQ(77.0, editor->get<double>("checked"));
             editor->unset("checked", "session");
         }},
        {"validate", [&] { SettingsAccess::node(*editor->getChild("checked"))->validate(); }},
        {"replace the validation function",
         [&] {
             const auto node = SettingsAccess::node(*editor->getChild("checked"));
             node->setValidator(node->definition().getValidator());
         }},
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
    for (const auto& [name, operation] : operations) {
        SCOPED_TRACE(std::string(name) + " from a function");
        inFunction = operation;
        editor->set("checked", ++next, "user");
        EXPECT_FALSE(inFunction) << "the validation function did not run";
        EXPECT_EQ(next, editor->get<double>("checked"));
        inFunction = operation;
        EXPECT_EQ("ValueMustBeNumeric", failureOf([&] { editor->set("checked", true, "user"); }));
        EXPECT_FALSE(inFunction) << "the error handler did not run";
        editor->unset("checked", "user");
        inFunction = operation;
        EXPECT_EQ(5.0, editor->get<double>("checked"));
        EXPECT_FALSE(inFunction) << "the run-time default did not run";
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

/// Several writers of one setting, unset among them. The hook runs on the thread of each change and notes
/// what that thread wrote, so that the whole chain can be read afterwards.
TEST_F(Delivery, AnUnbrokenChainWithSeveralWritersOfOneSetting) {
    constexpr int threads = 8; // more than cores: they are interrupted anywhere
    const int changes = std::getenv("VKSETTINGS_SOAK") != nullptr ? 50'000 : 4000;
    TestTree::setting(editor, "one", Array::scalar(0.0));
    static thread_local double written = 0.0;
    std::mutex mutex;
    std::map<const varnek::event::Event*, double> newValues;
    std::vector<varnek::event::EventHandle> events;
    setEventNotifyFunction([&](const EventHandle& event) {
        const std::lock_guard lock(mutex);
        newValues[event.get()] = written;
    });
    const ScopedConnection connection = EventManager::instance().subscribe(
        editor->getChild("one")->getListenerValueChangeEventType(),
        [&](const varnek::event::EventHandle& event) { events.push_back(event); });
    std::vector<std::thread> writers;
    for (int i = 0; i < threads; ++i)
        writers.emplace_back([&, i] {
            for (int n = 1; n <= changes; ++n) {
                written = i * changes + n;
                editor->set("one", double(written), "session");
                if (n % 4 != 0)
                    continue;
                written = 0.0;
                failureOf([&] { editor->unset("one", "session"); }); // another one may have been quicker
            }
        });
    for (std::thread& writer : writers)
        writer.join();
    setEventNotifyFunction({});
    EXPECT_EQ(events.size(), newValues.size());
    EXPECT_LE(threads * changes, int(events.size()));
    int broken = 0;
    double last = 0.0;
    for (const auto& event : events) {
        const auto& change = dynamic_cast<const SettingsValueChangeEvent&>(*event);
        broken += change.getOldValue().element<double>() == last ? 0 : 1;
        last = newValues[event.get()];
    }
    EXPECT_EQ(0, broken);
    EXPECT_EQ(last, editor->get<double>("one"));
}

/// Threads that add and remove a group of one name, and one that adds to whatever group it finds.
TEST_F(Delivery, AdditionsAndRemovalsAreToldInTheirOrder) {
    const int changes = std::getenv("VKSETTINGS_SOAK") != nullptr ? 20'000 : 3000;
    std::set<std::u16string> known; // only ever touched by whoever hands on
    int additions = 0, removals = 0, broken = 0, inner = 0;
    const auto nameOf = [](const auto& node) { return node->getGlobalListenerEventTypes().front(); };
    const ScopedConnection connection = EventManager::instance().subscribe(
        u"settings::core::SettingsEvent", [&](const varnek::event::EventHandle& event) {
            const auto& about = dynamic_cast<const settings::core::SettingsEvent&>(*event);
            const auto* added = dynamic_cast<const settings::core::SettingsAddNodeEvent*>(&about);
            if (about.getObj()->getName() == "inner") {
                inner += added != nullptr;
                broken += known.contains(nameOf(added->getParentObj())) ? 0 : 1;
            } else if (added != nullptr) {
                broken += ++additions == removals + 1 ? 0 : 1;
                known.insert(nameOf(about.getObj()));
            } else
                broken += ++removals == additions ? 0 : 1;
        });
    std::atomic<bool> isOver{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            for (int n = 0; n < changes; ++n) {
                failureOf([&] { editor->addGroup("mine", true, false, "session"); });
                failureOf([&] { editor->removeNode("mine"); });
            }
        });
    std::thread adding([&] {
        while (!isOver)
            if (const Handle found = editor->getChild("mine"))
                failureOf([&] { found->addGroup("inner", true, false, "session"); });
    });
    for (std::thread& thread : threads)
        thread.join();
    isOver = true;
    adding.join();
    EXPECT_EQ(0, broken);
    EXPECT_EQ(additions, removals);
    EXPECT_LE(1, additions);
}

} // namespace
