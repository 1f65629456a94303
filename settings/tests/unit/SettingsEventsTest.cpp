#include "settingscore/events/EventTypes.hpp"
#include "settingscore/events/Notification.hpp"
#include "settingscore/events/SettingsAddNodeEvent.hpp"
#include "settingscore/events/SettingsRemoveNodeEvent.hpp"
#include "settingscore/events/SettingsValueChangeEvent.hpp"
#include "settingscore/events/UpdatePrefdirEvent.hpp"
#include "varnek/event/EventManager.hpp"
#include "varnek/log/Channel.hpp"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>
#include <type_traits>

namespace {

using namespace settings::core;
using varnek::data::Array;
using EventTypes = std::vector<std::u16string>;

// Handles to nothing: they are compared, never followed.
boost::shared_ptr<const Settings> handle(const int& owner) {
    static const auto alive = boost::make_shared<int>();
    return boost::shared_ptr<const Settings>(alive, reinterpret_cast<const Settings*>(&owner));
}
const int objectOwner = 0, parentOwner = 0;
const auto object = handle(objectOwner);
const auto parent = handle(parentOwner);
const RootIndex tree(7, true, false);

// Events are passed around as handles; only a subclass may copy the base.
template <class... Event>
constexpr bool canBeCopied = (std::is_copy_constructible_v<Event> || ...);
static_assert(!canBeCopied<SettingsEvent, SettingsValueChangeEvent, SettingsAddNodeEvent,
                           SettingsRemoveNodeEvent, UpdatePrefdirEvent>);
struct OwnEvent : SettingsEvent {
    OwnEvent(const OwnEvent&) = default;
};
static_assert(std::is_copy_constructible_v<OwnEvent>);
struct OwnChange : SettingsValueChangeEvent {}; // its copy constructor is private in its base
static_assert(!std::is_copy_constructible_v<OwnChange>);

TEST(EventTypes, IdentityIsTwoHexadecimalNumbersInARow) {
    const auto text = [](std::uint64_t a, std::uint64_t b) { return detail::identityText({a, b}); };
    EXPECT_EQ(text(0x1f, 2), "0x1f0x2");
    EXPECT_EQ(text(0, 2), "00x2");
    EXPECT_EQ(text(2, 0), "0x20");
    EXPECT_EQ(text(0, 0), "00");
    EXPECT_EQ(text(~0ull, 0xABCDEF0123456789), "0xffffffffffffffff0xabcdef0123456789");
}

TEST(EventTypes, AreTheClassNameAndTheIdentity) {
    EXPECT_EQ(detail::eventTypes(detail::valueChangeEventName, {10, 0}),
              EventTypes{u"settings::core::SettingsValueChangeEvent0xa0"});
    EXPECT_EQ(detail::eventTypes(detail::settingsEventName, {0, 11}),
              EventTypes{u"settings::core::SettingsEvent00xb"});
}

void expectEvent(const SettingsEvent& event, const std::string& className, const EventTypes& types) {
    SCOPED_TRACE(className);
    EXPECT_EQ(event.typeInfo()->qualifiedName(), className);
    EXPECT_EQ(varnek::event::TypeInfo::find(className), event.typeInfo());
    EXPECT_TRUE(event.typeInfo()->isA(*SettingsEvent::staticTypeInfo()));
    EXPECT_TRUE(event.typeInfo()->isA(*varnek::event::Event::staticTypeInfo()));
    EXPECT_EQ(event.eventTypes(), types);
    EXPECT_EQ(event.getObj(), object);
    EXPECT_EQ(event.getRootIndex(), tree);
}

TEST(SettingsEvents, CarryWhatTheyAreMadeWith) {
    const EventTypes types{u"one", u"two"};
    expectEvent(SettingsEvent(object, types, tree), "settings::core::SettingsEvent", types);

    const SettingsValueChangeEvent change(object, types, tree, Array::scalar(2.5));
    expectEvent(change, "settings::core::SettingsValueChangeEvent", types);
    EXPECT_EQ(change.getOldValue(), Array::scalar(2.5));

    for (const bool sync : {true, false}) {
        const SettingsAddNodeEvent add(object, parent, types, tree, sync);
        expectEvent(add, "settings::core::SettingsAddNodeEvent", types);
        EXPECT_EQ(add.getParentObj(), parent);
        EXPECT_EQ(add.syncCoreSettingsTreeRequired(), sync);
    }

    const SettingsRemoveNodeEvent remove(object, parent, types, tree);
    expectEvent(remove, "settings::core::SettingsRemoveNodeEvent", types);
    EXPECT_EQ(remove.getParentObj(), parent);

    expectEvent(UpdatePrefdirEvent(object, types, tree), "settings::core::UpdatePrefdirEvent", types);
}

TEST(SettingsEvents, ReachListenersOfTheirTypesAndClasses) {
    varnek::event::EventManager manager;
    std::string received;
    const auto note = [&](const std::string& who) {
        return [&received, who](const varnek::event::EventHandle&) { received += who; };
    };
    const std::array connections = {
        manager.subscribe(u"one", note("type ")),
        manager.subscribe(u"settings::core::SettingsEvent", note("base ")),
        manager.subscribe(u"settings::core::SettingsAddNodeEvent", note("other "))};
    manager.broadcast(
        boost::make_shared<SettingsValueChangeEvent>(object, EventTypes{u"one"}, tree, Array()));
    EXPECT_EQ(received, "type base ");
}

class Notification : public testing::Test {
  protected:
    void TearDown() override { detail::setEventNotifyFunction({}); }

    static boost::shared_ptr<const SettingsEvent> event() {
        return boost::make_shared<SettingsEvent>(object, EventTypes{u"one"}, tree);
    }
};

TEST_F(Notification, GoesToTheLastHookOnly) {
    std::string calls;
    boost::shared_ptr<const SettingsEvent> received;
    detail::setEventNotifyFunction([&](const auto&) { calls += "first "; });
    detail::setEventNotifyFunction([&](const auto& event) {
        calls += "second ";
        received = event;
    });
    const auto sent = event();
    detail::notify(sent);
    EXPECT_EQ(calls, "second ");
    EXPECT_EQ(received, sent);

    detail::setEventNotifyFunction({});
    detail::notify(sent);
    EXPECT_EQ(calls, "second ");
}

TEST_F(Notification, HookMayThrowReplaceItselfAndNotify) {
    std::string log;
    varnek::log::setLevel("settings::core::events", varnek::log::Severity::error);
    const auto before = varnek::log::setSink([&](auto, auto, std::string_view text) { log += text; });
    int inner = 0;
    detail::setEventNotifyFunction([&](const auto& outer) {
        detail::setEventNotifyFunction([&](const auto&) { ++inner; });
        detail::notify(outer);
        throw std::runtime_error("no wish to know");
    });
    EXPECT_NO_THROW(detail::notify(event()));
    detail::setEventNotifyFunction([](const auto&) { throw 1; });
    EXPECT_NO_THROW(detail::notify(event()));
    varnek::log::setSink(before);
    varnek::log::setLevel("settings::core::events", varnek::log::Severity::off);
    EXPECT_EQ(inner, 1);
    EXPECT_EQ(log, "Exception caught: no wish to knowException caught: Unknown Exception");
}

// Every event reaches one hook, the old or the new one, however often it is replaced meanwhile.
TEST_F(Notification, HookMayBeReplacedWhileEventsAreSent) {
    constexpr int eventsPerThread = 2000;
    std::atomic<int> calls = 0;
    const auto install = [&] {
        detail::setEventNotifyFunction(
            [&calls, one = std::make_shared<int>(1)](const auto&) { calls += *one; });
    };
    install();
    std::atomic<int> running = 2;
    const auto send = [&] {
        for (int i = 0; i < eventsPerThread; ++i)
            detail::notify(event());
        --running;
    };
    std::thread sender(send), otherSender(send);
    while (running != 0)
        install();
    sender.join();
    otherSender.join();
    EXPECT_EQ(calls, 2 * eventsPerThread);
}

} // namespace
