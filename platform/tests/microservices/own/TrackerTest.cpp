// What trackers of this implementation promise beyond the interface.
#include "microservices/TrackerFixture.hpp"

#include "cppmicroservices/LDAPFilter.h"
#include "cppmicroservices/ServiceException.h"

#include <algorithm>
#include <atomic>
#include <latch>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using namespace cppmicroservices;
using namespace test;

TEST_F(Trackers, CloseInsideTheirOwnCustomizer) {
    auto first = enter(1);
    enter(2);
    std::optional<Tracker> tracker;
    const std::function<void()> ways[] = {[&] { tracker->Close(); }, [&] { tracker.reset(); }};
    for (const auto& end : ways) {
        recorder.adding = [&](int id) { return id != 2 || (end(), true); };
        tracker.emplace(context, &recorder);
        tracker->Open();
        EXPECT_EQ("+1+2-1-2", recorder.took());

        recorder.adding = [](int) { return true; };
        recorder.modified = [&](int) { end(); };
        tracker.emplace(context, &recorder);
        tracker->Open();
        first.SetProperties({});
        EXPECT_EQ("+1+2~1-1-2", recorder.took());
    }
    recorder.removed = [&](int) { tracker->Close(); };
    recorder.modified = [](int) {};
    tracker.emplace(context, &recorder);
    tracker->Open();
    first.Unregister();
    EXPECT_EQ("+1+2-1-2", recorder.took());
}

TEST_F(Trackers, CloseInsideEachOthersCustomizers) {
    Recorder others[] = {Recorder(context), Recorder(context)};
    Tracker trackers[] = {Tracker(context, LDAPFilter("(n=0)"), &others[0]),
                          Tracker(context, LDAPFilter("(n=1)"), &others[1])};
    std::latch bothInside(2);
    for (int n = 0; n < 2; ++n) {
        others[n].adding = [&, n](int) {
            bothInside.arrive_and_wait();
            trackers[1 - n].Close();
            return true;
        };
        trackers[n].Open();
    }
    std::thread other([&] { enter(1, {{"n", 1}}); });
    enter(0, {{"n", 0}});
    other.join();
    EXPECT_EQ("+0-0", others[0].took());
    EXPECT_EQ("+1-1", others[1].took());
}

TEST_F(Trackers, CloseWaitsForCallsOnOtherThreads) {
    std::latch inside(1), goOn(1);
    std::atomic<bool> left{false};
    recorder.adding = [&](int) {
        inside.count_down();
        goOn.wait();
        left = true;
        return true;
    };
    Tracker tracker(context, &recorder);
    tracker.Open();
    std::thread registering([&] { enter(1); });
    inside.wait();
    std::thread releasing([&] {
        while (tracker.GetTrackingCount() >= 0) // until it is being closed
            std::this_thread::yield();
        goOn.count_down();
    });
    tracker.Close();
    EXPECT_TRUE(left);
    EXPECT_EQ("+1-1", recorder.took());
    registering.join();
    releasing.join();
}

TEST_F(Trackers, WaitersGoOnWhenTheFrameworkStops) {
    Tracker tracker(context);
    tracker.Open();
    std::thread stopping([&] { stop(); });
    EXPECT_EQ(nullptr, tracker.WaitForService(std::chrono::hours::max()));
    stopping.join();
    tracker.Close();
    EXPECT_THROW(tracker.Open(), IllegalStateException);
}

TEST_F(Trackers, ListTheBestFirstAndReportWhatRemovalsThrow) {
    for (int id = 0; id < 4; ++id)
        enter(id, ranked(id % 2));
    std::string order;
    Tracker tracker(context, &recorder);
    tracker.Open();
    for (const auto& service : tracker.GetServices())
        order += std::to_string(service->id());
    EXPECT_EQ("1302", order);
    EXPECT_EQ("+1+3+0+2", recorder.took());

    std::vector<std::string> reports;
    context.AddFrameworkListener([&](const FrameworkEvent& event) { reports.push_back(event.GetMessage()); });
    recorder.removed = [](int) { throw std::runtime_error("no way"); };
    tracker.Close();
    EXPECT_EQ(4u, reports.size());
    EXPECT_EQ("Service tracker callback threw an exception: no way", reports.at(0));
    stop(); // before what the listeners use goes
}

TEST_F(Trackers, NeedAnInterfaceAndAContext) {
    EXPECT_THROW(ServiceTracker<void>{context}, ServiceException);
    EXPECT_THROW((ServiceTracker<KeyManager>(BundleContext()).Open()), IllegalStateException);
    ServiceTracker<KeyManager, Service> withoutCustomizer(context);
    enter(1);
    EXPECT_THROW(withoutCustomizer.Open(), std::runtime_error);
    Recorder none(context);
    Tracker tracker(context, LDAPFilter("(objectclass=test.named/1)"), &none);
    tracker.Open();
    context.RegisterService<Named>(std::make_shared<Service>(1));
    EXPECT_EQ("", none.took()) << "the filter fits, the interface does not";
}

TEST_F(Trackers, EndWithTheTruthWhenEventsOvertakeEachOther) {
    constexpr int rounds = 200;
    Tracker tracker(context, LDAPFilter("(on=1)"), &recorder);
    tracker.Open();
    auto registration = enter(1);
    for (int round = 0; round < rounds; ++round) {
        std::thread other([&] { registration.SetProperties({{"on", 1}}); });
        registration.SetProperties({{"on", 0}});
        other.join();
        const bool on = any_cast<int>(registration.GetReference().GetProperty("on")) == 1;
        ASSERT_EQ(on ? 1 : 0, tracker.Size()) << "round " << round;
    }
    const std::string took = recorder.took();
    const auto count = [&](char sign) { return std::count(took.begin(), took.end(), sign); };
    EXPECT_EQ(count('+'), count('-') + tracker.Size());
}

} // namespace
