// What listeners of this implementation can rely on beyond the interface.
#include "microservices/ServiceFixture.hpp"

#include "cppmicroservices/IllegalStateException.h"
#include "cppmicroservices/ServiceEvent.h"

#include <atomic>
#include <latch>
#include <thread>

namespace {

using namespace cppmicroservices;
using namespace test;

TEST_F(Services, RemovingAListenerWaitsForItsCallsElsewhere) {
    std::latch inside(1);
    std::atomic<bool> left{false};
    int nested = -1;
    ListenerToken token = context.AddServiceListener([&](const ServiceEvent&) {
        if (++nested > 0)
            return;
        inside.count_down();
        for (int before = -1; before != nested;) { // until it is called no more
            before = nested;
            enter(2).Unregister();
        }
        left = true;
    });
    std::thread registering([&] { enter(1); });
    inside.wait();
    context.RemoveListener(std::move(token));
    EXPECT_TRUE(left);
    registering.join();
    EXPECT_FALSE(token); // NOLINT: moved from is invalid
    stop();              // before what the listeners use goes
}

TEST_F(Services, AListenerMayRemoveItself) {
    int heard = 0;
    ListenerToken token;
    token = context.AddServiceListener([&](const ServiceEvent&) {
        ++heard;
        context.RemoveListener(std::move(token));
    });
    enter(1);
    enter(2);
    EXPECT_EQ(1, heard);
    stop(); // before what the listeners use goes
}

TEST_F(Services, AStoppingFrameworkTakesNothingNewAndStillGivesWhatItHas) {
    std::atomic<int> refused{0}, found{0};
    context.AddServiceListener([&](const ServiceEvent& event) {
        if (event.GetType() != ServiceEvent::SERVICE_UNREGISTERING)
            return;
        try {
            enter(9);
        } catch (const IllegalStateException&) {
            ++refused;
        }
        try {
            context.AddServiceListener([](const ServiceEvent&) {});
        } catch (const IllegalStateException&) {
            ++refused;
        }
        found += context.GetService(event.GetServiceReference<KeyManager>()) ? 1 : 0;
    });
    enter(1);
    enter(2);
    stop();
    EXPECT_EQ(4, refused);
    EXPECT_EQ(2, found);
    EXPECT_THROW(context.AddServiceListener([](const ServiceEvent&) {}), IllegalStateException);
    EXPECT_THROW(context.RemoveListener({}), IllegalStateException);
}

TEST_F(Services, NeedAListenerThatCanBeCalled) {
    EXPECT_THROW(context.AddServiceListener({}), std::invalid_argument);
    EXPECT_THROW(context.AddBundleListener({}), std::invalid_argument);
    EXPECT_THROW(context.AddFrameworkListener({}), std::invalid_argument);
    ListenerToken token = context.AddFrameworkListener([](const FrameworkEvent&) { throw 1; });
    context.AddServiceListener([](const ServiceEvent&) { throw 2; });
    enter(1); // both are only logged
    EXPECT_TRUE(token);
}

} // namespace
