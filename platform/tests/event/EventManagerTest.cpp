#include "varnek/event/EventManager.hpp"

#include "varnek/log/Channel.hpp"

#include <boost/smart_ptr/make_shared_object.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace varnek::event;

const TypeInfoHandle& noteType() {
    static const TypeInfoHandle type = TypeInfo::define("test::Note", {Event::staticTypeInfo()});
    return type;
}

class Note : public Event {
  public:
    explicit Note(std::vector<std::u16string> types = {}) : Event(noteType(), std::move(types)) {}
};

EventHandle note(std::vector<std::u16string> types = {}) {
    return boost::make_shared<Note>(std::move(types));
}

TEST(EventTypes, OneTypePerNameWithItsBases) {
    const TypeInfoHandle base = Event::staticTypeInfo();
    EXPECT_TRUE(base->baseTypes().empty());
    const TypeInfoHandle left = TypeInfo::define("test::Left", {base}),
                         right = TypeInfo::define("test::Right", {base});
    const TypeInfoHandle both = TypeInfo::define("test::Both", {left, right});
    EXPECT_EQ(
        (std::vector<std::u16string>{u"test::Both", u"test::Left", u"varnek::event::Event", u"test::Right"}),
        both->eventTypes());
    EXPECT_TRUE(both->isA(*base) && both->isA(*both));
    EXPECT_FALSE(left->isA(*right));

    EXPECT_EQ(left, TypeInfo::define("test::Left", {base}));
    EXPECT_EQ(left, TypeInfo::find("test::Left"));
    EXPECT_FALSE(TypeInfo::find("test::Missing"));
    EXPECT_THROW(TypeInfo::define("test::Left", {right}), std::invalid_argument);
    EXPECT_THROW(TypeInfo::define("", {}), std::invalid_argument);
    EXPECT_THROW(TypeInfo::define("test::Orphan", {TypeInfoHandle()}), std::invalid_argument);
    EXPECT_FALSE(TypeInfo::find("test::Orphan"));
}

TEST(EventTypes, AnEventHasThoseOfItsClassUnlessItBringsItsOwn) {
    EXPECT_EQ((std::vector<std::u16string>{u"test::Note", u"varnek::event::Event"}), note()->eventTypes());
    EXPECT_EQ((std::vector<std::u16string>{u"own"}), note({u"own"})->eventTypes());
    EXPECT_EQ(noteType(), note({u"own"})->typeInfo());
}

class Delivery : public testing::Test {
  protected:
    Listener append(char mark) {
        return [this, mark](const EventHandle&) { calls += mark; };
    }
    std::string callsOf(const EventHandle& event) {
        calls.clear();
        manager.broadcast(event);
        return calls;
    }

    EventManager manager;
    std::string calls;
};

TEST_F(Delivery, ByEventTypeAndByClassEachListenerOnceInOrder) {
    const ScopedConnection connections[] = {
        manager.subscribe({u"x", u"y", u"x", u"test::Note"}, append('a')),
        manager.subscribe(u"y", append('b')),
        manager.subscribe(u"varnek::event::Event", append('c')),
        manager.subscribe(u"x", append('d')),
        manager.subscribe(u"test::Not", append('e')),
    };
    EXPECT_EQ("ac", callsOf(note()));
    EXPECT_EQ("acd", callsOf(note({u"x"})));
    EXPECT_EQ("abcd", callsOf(note({u"x", u"y"})));
    EXPECT_EQ("ac", callsOf(note({u"z"})));
}

TEST_F(Delivery, EndsWithItsConnection) {
    ScopedConnection first = manager.subscribe(u"x", append('a'));
    const Connection second = manager.subscribe(u"x", append('b'));
    { const ScopedConnection third = manager.subscribe(u"x", append('c')); }
    EXPECT_EQ("ab", callsOf(note({u"x"})));
    second.disconnect();
    second.disconnect();
    EXPECT_FALSE(second.connected());
    ScopedConnection moved = std::move(first);
    EXPECT_EQ("a", callsOf(note({u"x"})));
    moved = ScopedConnection();
    EXPECT_EQ("", callsOf(note({u"x"})));

    Connection outlives;
    {
        EventManager other;
        outlives = other.subscribe(u"x", append('d'));
        EXPECT_TRUE(outlives.connected());
    }
    EXPECT_FALSE(outlives.connected());
    outlives.disconnect();
}

TEST_F(Delivery, AListenerThatThrowsIsLoggedAndTheOthersRun) {
    std::string logged;
    varnek::log::setLevel("varnek::event::EventManager", varnek::log::Severity::error);
    varnek::log::setSink(
        [&](std::string_view, varnek::log::Severity, std::string_view text) { logged += text; });
    const ScopedConnection connections[] = {
        manager.subscribe(u"x", [](const EventHandle&) { throw std::runtime_error("broken"); }),
        manager.subscribe(u"x", [](const EventHandle&) { throw 1; }),
        manager.subscribe(u"x", append('a')),
    };
    EXPECT_EQ("a", callsOf(note({u"x"})));
    varnek::log::setSink({});
    varnek::log::setLevel("varnek::event::EventManager", varnek::log::Severity::off);
    EXPECT_NE(std::string::npos, logged.find("test::Note threw an exception: broken")) << logged;
    EXPECT_NE(std::string::npos, logged.find("not a standard exception")) << logged;
}

TEST_F(Delivery, AListenerMayChangeTheListAndBroadcast) {
    ScopedConnection itself, next, added;
    itself = manager.subscribe(u"x", [&](const EventHandle&) {
        calls += 'a';
        itself.disconnectAndWait(); // does not wait for the call that it is in
        next.disconnect();
        added = manager.subscribe(u"x", append('n'));
        manager.broadcast(note({u"y"}));
    });
    next = manager.subscribe(u"x", append('b'));
    const ScopedConnection nested = manager.subscribe(u"y", append('y'));
    EXPECT_EQ("ay", callsOf(note({u"x"})));
    EXPECT_EQ("n", callsOf(note({u"x"})));
}

TEST_F(Delivery, WrongCallsAreRefused) {
    EXPECT_THROW(manager.broadcast(EventHandle()), std::invalid_argument);
    EXPECT_THROW(static_cast<void>(manager.subscribe(u"x", Listener())), std::invalid_argument);
    EXPECT_THROW(static_cast<void>(manager.subscribe(std::vector<std::u16string>(), append('a'))),
                 std::invalid_argument);
    EXPECT_FALSE(Connection().connected());
    Connection().disconnectAndWait();
}

TEST_F(Delivery, DisconnectAndWaitReturnsAfterARunningCall) {
    std::latch inside(1), disconnecting(1);
    std::atomic<bool> finished{false};
    const Connection connection = manager.subscribe(u"x", [&](const EventHandle&) {
        inside.count_down();
        disconnecting.wait();
        while (manager.subscribe(u"x", append('-')).connected() && !finished) // work that takes a moment
            finished = true;
    });
    std::thread broadcaster([&] { manager.broadcast(note({u"x"})); });
    inside.wait();
    std::thread releaser([&] { disconnecting.count_down(); });
    connection.disconnectAndWait();
    EXPECT_TRUE(finished);
    broadcaster.join();
    releaser.join();
}

// They would wait for each other.
TEST_F(Delivery, ThreadsInsideOfEachOthersListenersMayDisconnectThem) {
    constexpr int rounds = 200;
    for (const bool oneListener : {true, false}) {
        for (int n = 0; n < rounds; ++n) {
            std::latch bothInside(2);
            Connection first, second;
            first = manager.subscribe(u"x", [&](const EventHandle&) {
                bothInside.arrive_and_wait();
                (oneListener ? first : second).disconnectAndWait();
            });
            second = manager.subscribe(u"y", [&](const EventHandle&) {
                bothInside.arrive_and_wait();
                first.disconnectAndWait();
            });
            std::thread other([&] { manager.broadcast(note({oneListener ? u"x" : u"y"})); });
            manager.broadcast(note({u"x"}));
            other.join();
            EXPECT_FALSE(first.connected());
            second.disconnect();
        }
    }
}

TEST_F(Delivery, WhoIsOutsideWaitsForThoseThatWaitInside) {
    std::latch inside(1), otherInside(1), outside(1);
    std::atomic<bool> finished{false};
    const Connection other = manager.subscribe(u"y", [&](const EventHandle&) {
        otherInside.count_down();
        outside.wait();
    });
    const Connection listener = manager.subscribe(u"x", [&](const EventHandle&) {
        inside.count_down();
        other.disconnectAndWait(); // waits for the other listener, in a call that is waited for
        finished = true;
    });
    std::thread otherCaller([&] { manager.broadcast(note({u"y"})); });
    otherInside.wait();
    std::thread caller([&] { manager.broadcast(note({u"x"})); });
    inside.wait();
    std::thread releaser([&] {
        while (listener.connected())
            std::this_thread::yield();
        for (int n = 0; n < 1000; ++n) // who does not wait has time to return
            manager.broadcast(note({u"z"}));
        outside.count_down();
    });
    listener.disconnectAndWait();
    EXPECT_TRUE(finished);
    for (std::thread* thread : {&otherCaller, &caller, &releaser})
        thread->join();
}

TEST_F(Delivery, ThreadsSubscribeAndBroadcastAtOnce) {
    constexpr int rounds = 300;
    std::atomic<int> always{0};
    const ScopedConnection fixed = manager.subscribe(u"x", [&](const EventHandle&) { ++always; });
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            for (int n = 0; n < rounds; ++n)
                manager.broadcast(note({u"x", u"y"}));
        });
        threads.emplace_back([&] {
            for (int n = 0; n < rounds; ++n) {
                auto alive = std::make_unique<int>(0);
                const Connection own =
                    manager.subscribe({u"x", u"y"}, [&](const EventHandle&) { *alive = n; });
                own.disconnectAndWait();
                alive.reset(); // a late call would be a use after free and a data race
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(2 * rounds, always);
}

} // namespace
