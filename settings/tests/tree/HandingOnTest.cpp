// Which thread calls the listeners, when several have made changes, and when.

#include "support/TestTree.hpp"

#include "settingscore/events/EventDelivery.hpp"
#include "settingscore/events/EventNotifyFunction.hpp"
#include "settingscore/events/SettingsValueChangeEvent.hpp"
#include "varnek/event/EventManager.hpp"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stop_token>
#include <thread>

namespace {

using namespace settings::test;
using namespace settings::core::detail;
using settings::core::SettingsValueChangeEvent;
using varnek::event::EventManager;
using varnek::event::ScopedConnection;
using Release = EventDelivery::Release;
using Place = EventDelivery::Place;
using Numbers = std::vector<int>;

struct HandingOn : testing::Test {
    HandingOn() {
        connection = EventManager::instance().subscribe(
            u"settings::core::SettingsEvent", [this](const varnek::event::EventHandle& event) {
                const auto& change = dynamic_cast<const SettingsValueChangeEvent&>(*event);
                heard.push_back(static_cast<int>(change.getOldValue().element<double>()));
                threads.push_back(std::this_thread::get_id());
                if (const auto run = std::exchange(inListener, {}))
                    run();
            });
    }
    /// A complete place whose event says its number, from 1.
    Place place(Release release = Release::whenTold) {
        Place made = EventDelivery::reserve(delivery, release);
        const double number = ++count;
        made.complete([&]() -> EventHandle {
            return boost::make_shared<const SettingsValueChangeEvent>(
                width, width->getListenerValueChangeEventType(), width->getRootIndex(),
                Array::scalar(number));
        });
        return made;
    }
    static Numbers upTo(int last) {
        Numbers all(static_cast<std::size_t>(last));
        for (int i = 0; i < last; ++i)
            all[static_cast<std::size_t>(i)] = i + 1;
        return all;
    }

    TestTree tree;
    Handle width = TestTree::setting(tree.group("editor"), "width", Array::scalar(80.0));
    boost::shared_ptr<EventDelivery> delivery = tree.rootNode->treeContext()->events;
    int count = 0;
    Numbers heard;
    std::vector<std::thread::id> threads;
    std::function<void()> inListener; // run once
    ScopedConnection connection;
};

TEST_F(HandingOn, ToItsEndWhenNobodyComes) {
    Place own = place();
    std::vector<Place> others;
    for (int i = 0; i < 100; ++i)
        others.push_back(place());
    inListener = [&] { others.clear(); }; // told while this thread is at work: they leave it to this one
    own.tell();
    EXPECT_EQ(upTo(101), heard);
}

TEST_F(HandingOn, OfOthersIsLeftToWhoeverComes) {
    Place own = place(), second = place(), third = place(), coming = place();
    inListener = [&] {
        second.tell();
        third.tell();
    };
    own.tell();
    EXPECT_EQ(upTo(1), heard);
    std::thread([&] { coming.tell(); }).join();
    EXPECT_EQ(upTo(4), heard);
    EXPECT_NE(threads[0], threads[1]);
    EXPECT_EQ(threads[1], threads[3]);
}

/// Whoever comes calls the listeners of what is before its own change before its hook is called: that may
/// take long.
TEST_F(HandingOn, WhatWasLeftIsNotHeldBackByAHook) {
    Place own = place(), second = place(), coming = place();
    inListener = [&] { second.tell(); };
    own.tell();
    Numbers heardInHook;
    setEventNotifyFunction([&](const EventHandle&) { heardInHook = heard; });
    coming.tell();
    setEventNotifyFunction({});
    EXPECT_EQ(upTo(2), heardInHook);
    EXPECT_EQ(upTo(3), heard);
}

TEST_F(HandingOn, OfManyBeforeItsOwnIsLeftToo) {
    std::vector<Place> many;
    for (int i = 0; i < 100; ++i)
        many.push_back(place(Release::whenComplete));
    Place own = place(Release::whenComplete), coming = place();
    own.tell();
    EXPECT_EQ(upTo(int(EventDelivery::mostForOthers)), heard);
    coming.release();
    EXPECT_EQ(upTo(101), heard);
    coming.tell();
    EXPECT_EQ(upTo(102), heard);
}

TEST_F(HandingOn, WaitsForTheRelease) {
    delivery->enableQueue(true);
    Place first = place(), second = place();
    std::thread([&] { second.tell(); }).join();
    EXPECT_EQ(Numbers{}, heard);
    std::queue<EventHandle> queue;
    delivery->moveQueuedTo(queue);
    EXPECT_EQ(2U, queue.size()); // which does not wait
    first.release();
    EXPECT_EQ(Numbers{}, heard);
    std::thread([&] { place().tell(); }).join();
    EXPECT_EQ(upTo(3), heard); // by anybody from here on
    first.tell();
    EXPECT_EQ(upTo(3), heard);
}

TEST_F(HandingOn, ABatchHoldsNobodyBackInItsHooks) {
    std::promise<void> inside, left;
    std::atomic<int> calls{0};
    setEventNotifyFunction([&](const EventHandle&) {
        if (++calls > 1)
            return;
        inside.set_value();
        left.get_future().wait();
    });
    LateEvents batch;
    batch.add(place());
    batch.add(place());
    std::thread teller([&] { batch.tell(); });
    inside.get_future().wait();
    place().tell();
    EXPECT_EQ(upTo(3), heard);
    left.set_value();
    teller.join();
    setEventNotifyFunction({});
    EXPECT_EQ(3, calls);
    EXPECT_EQ(upTo(3), heard);
}

/// Whoever tells of much is held up while another thread hands on.
TEST_F(HandingOn, CanBeWaitedFor) {
    std::promise<void> told;
    Place own = place(), second = place();
    std::size_t heardByThen = 0;
    std::thread waiting;
    std::atomic<int> hooks{0};
    setEventNotifyFunction([&](const EventHandle&) {
        if (++hooks == 2)
            told.set_value();
    });
    inListener = [&] {
        waiting = std::thread([&] {
            second.tellAndWait({});
            heardByThen = heard.size();
        });
        told.get_future().wait();
    };
    own.tell();
    waiting.join();
    setEventNotifyFunction({});
    EXPECT_EQ(2U, heardByThen);
    EXPECT_EQ(upTo(2), heard);
    place().tellAndWait({}); // by itself
    EXPECT_EQ(upTo(3), heard);
}

TEST_F(HandingOn, WhatIsWaitedForInVainIsTakenBack) {
    Place own = place(), second = place(), third = place();
    std::stop_source end;
    inListener = [&] {
        std::thread waiting([&] { second.tellAndWait(end.get_token()); });
        third.tell();
        end.request_stop();
        waiting.join();
    };
    own.tell();
    EXPECT_EQ((Numbers{1, 3}), heard);
}

TEST_F(HandingOn, EventsOfASaveFollowTheChange) {
    LateEvents change;
    change.add(place());
    {
        const SavedFirst saving(change);
        LateEvents takenOver;
        takenOver.add(place(Release::whenComplete));
        takenOver.tellAfterTheChange();
    }
    EXPECT_EQ(Numbers{}, heard);
    change.tell();
    EXPECT_EQ(upTo(2), heard);
    LateEvents alone;
    alone.add(place(Release::whenComplete));
    alone.tellAfterTheChange();
    EXPECT_EQ(upTo(3), heard);
}

} // namespace
