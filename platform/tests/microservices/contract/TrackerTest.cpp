// Trackers as every implementation of the framework has them.
#include "microservices/TrackerFixture.hpp"

#include "cppmicroservices/LDAPFilter.h"
#include "cppmicroservices/ServiceException.h"

#include <atomic>
#include <latch>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using namespace cppmicroservices;
using namespace test;

TEST_F(Trackers, HearOfServicesThatAreThereComeChangeAndGo) {
    enter(1);
    Tracker tracker(context, &recorder);
    EXPECT_EQ(-1, tracker.GetTrackingCount());
    EXPECT_EQ("", recorder.took());
    tracker.Open();
    tracker.Open();
    EXPECT_EQ("+1", recorder.took());
    auto second = enter(2);
    second.SetProperties({{"a", 1}});
    EXPECT_EQ("+2~2", recorder.took());
    EXPECT_EQ(3, tracker.GetTrackingCount());
    EXPECT_EQ(2, tracker.Size());
    second.Unregister();
    EXPECT_EQ("-2", recorder.took());
    context.RegisterService<Named>(std::make_shared<Service>(3));
    EXPECT_EQ("", recorder.took()) << "another interface";

    tracker.Close();
    EXPECT_EQ("-1", recorder.took());
    tracker.Close();
    enter(4);
    EXPECT_EQ("", recorder.took());
    EXPECT_TRUE(tracker.IsEmpty());
    EXPECT_EQ(nullptr, tracker.GetService());
    tracker.Open();
    EXPECT_EQ(2, tracker.Size()) << "opened again";
}

TEST_F(Trackers, GiveWhatTheyTrack) {
    auto low = enter(1), high = enter(2, ranked(5));
    enter(3);
    Tracker tracker(context);
    EXPECT_EQ(nullptr, tracker.GetService());
    tracker.Open();
    EXPECT_EQ(2, tracker.GetService()->id());
    EXPECT_EQ(high.GetReference(), tracker.GetServiceReference());
    EXPECT_EQ(1, tracker.GetService(low.GetReference())->id());
    std::set<int> ids;
    for (const auto& service : tracker.GetServices())
        ids.insert(service->id());
    EXPECT_EQ((std::set<int>{1, 2, 3}), ids);
    Tracker::TrackingMap tracked;
    tracker.GetTracked(tracked);
    EXPECT_EQ(3u, tracked.size());
    EXPECT_EQ(2, tracked.at(high.GetReference())->id());

    tracker.Remove(high.GetReference());
    EXPECT_EQ(1, tracker.GetService()->id());
    EXPECT_EQ(2u, tracker.GetServiceReferences().size());
    high.Unregister();
    low.Unregister();
    tracker.Close();
    EXPECT_THROW(tracker.GetServiceReference(), ServiceException);
    EXPECT_TRUE(tracker.GetServices().empty());
}

TEST_F(Trackers, FollowAFilterAClassOrOneService) {
    auto one = enter(1, {{"kind", std::string("a")}}), two = enter(2);
    Recorder byFilter(context), byClass(context), byReference(context);
    Tracker filtering(context, LDAPFilter("(kind=a)"), &byFilter);
    Tracker classing(context, std::string("test::KeyManager"), &byClass);
    Tracker referring(context, two.GetReference(), &byReference);
    for (Tracker* tracker : {&filtering, &classing, &referring})
        tracker->Open();
    EXPECT_EQ("+1", byFilter.took());
    EXPECT_EQ("+2", byReference.took());
    two.SetProperties({{"kind", std::string("a")}});
    one.SetProperties({{"kind", std::string("b")}});
    one.SetProperties({{"kind", std::string("c")}});
    EXPECT_EQ("+2-1", byFilter.took()) << "fits now, fits no more, still does not";
    EXPECT_EQ("~2", byReference.took());
    byClass.took();
    one.Unregister();
    EXPECT_EQ("-1", byClass.took());
    EXPECT_EQ("", byFilter.took());

    ServiceTracker<void> all(context, LDAPFilter("(kind=*)"));
    all.Open();
    EXPECT_EQ(1u, all.GetService()->count("test::KeyManager")) << "with all its interfaces";
    Tracker nothing{context, LDAPFilter()};
    EXPECT_THROW(nothing.Open(), std::runtime_error);
}

TEST_F(Trackers, KeepWhatTheCustomizerGives) {
    struct Label {
        std::string text;
    };
    struct Labels : ServiceTrackerCustomizer<KeyManager, Label> {
        std::shared_ptr<Label> AddingService(const KeyManagerReference& reference) override {
            const Any label = reference.GetProperty("label");
            return label.Empty() ? nullptr : std::make_shared<Label>(Label{label.ToString()});
        }
        void ModifiedService(const KeyManagerReference& reference,
                             const std::shared_ptr<Label>& label) override {
            label->text = reference.GetProperty("label").ToString();
        }
        void RemovedService(const KeyManagerReference&, const std::shared_ptr<Label>&) override {}
    } labels;
    ServiceTracker<KeyManager, Label> tracker(context, &labels);
    tracker.Open();
    enter(1);
    EXPECT_TRUE(tracker.IsEmpty()) << "nothing was given";
    auto labelled = enter(2, {{"label", std::string("x")}});
    EXPECT_EQ("x", tracker.GetService()->text);
    labelled.SetProperties({{"label", std::string("y")}});
    EXPECT_EQ("y", tracker.GetService()->text);
}

TEST_F(Trackers, HoldNoLockInTheCustomizer) {
    Tracker tracker(context, &recorder);
    recorder.adding = [&](int id) {
        std::thread([&, id] { // would hang on any lock that this thread holds
            if (id < 3)
                enter(id + 1);
            tracker.Size();
            EXPECT_TRUE(context.GetServiceReference<KeyManager>());
        })
            .join();
        return true;
    };
    tracker.Open();
    auto first = enter(1);
    EXPECT_EQ(3, tracker.Size());
    recorder.removed = [&](int) { std::thread([&] { enter(9); }).join(); };
    first.Unregister();
    EXPECT_EQ("+1+2+3-1+9", recorder.took());
}

TEST_F(Trackers, RemoveAServiceThatGoesWhileItIsAdded) {
    ServiceRegistration<KeyManager> going = enter(1);
    recorder.adding = [&](int) {
        going.Unregister();
        EXPECT_EQ("+1", recorder.took()) << "not removed before it is added";
        return true;
    };
    Tracker tracker(context, &recorder);
    tracker.Open();
    EXPECT_EQ("-1", recorder.took());
    EXPECT_EQ(0, tracker.Size());
}

TEST_F(Trackers, PassErrorsOfTheCustomizerOn) {
    std::vector<FrameworkEvent::Type> events;
    context.AddFrameworkListener([&](const FrameworkEvent& event) { events.push_back(event.GetType()); });
    recorder.adding = [](int id) { return id % 2 == 0 ? true : throw std::runtime_error("odd"); };
    Tracker tracker(context, &recorder);
    tracker.Open();
    enter(1);
    enter(2);
    EXPECT_EQ(std::vector{FrameworkEvent::FRAMEWORK_ERROR}, events)
        << "the one who registers hears nothing of it";
    EXPECT_EQ(1, tracker.Size());
    tracker.Close();
    EXPECT_THROW(tracker.Open(), std::runtime_error);
    stop(); // before what the listeners use goes
}

TEST_F(Trackers, WaitForAService) {
    Tracker tracker(context);
    EXPECT_EQ(nullptr, tracker.WaitForService(std::chrono::milliseconds(5))) << "not open";
    tracker.Open();
    EXPECT_EQ(nullptr, tracker.WaitForService(std::chrono::milliseconds(5)));
    EXPECT_THROW(tracker.WaitForService(std::chrono::milliseconds(-1)), std::invalid_argument);
    std::thread late([&] { enter(7); });
    EXPECT_EQ(7, tracker.WaitForService()->id());
    late.join();
    EXPECT_EQ(7, tracker.WaitForService(std::chrono::hours(1))->id());

    Tracker closed(context, LDAPFilter("(never=1)"));
    closed.Open();
    std::thread closing([&] { closed.Close(); });
    EXPECT_EQ(nullptr, closed.WaitForService());
    closing.join();
}

TEST_F(Trackers, SurviveTheFramework) {
    enter(1);
    Tracker tracker(context, &recorder);
    tracker.Open();
    recorder.took();
    stop();
    EXPECT_EQ("-1", recorder.took());
    EXPECT_EQ(0, tracker.Size());
    EXPECT_THROW(Tracker(context, &recorder).Open(), std::runtime_error);
    EXPECT_EQ("", recorder.took());
}

TEST_F(Trackers, LoseNothingUnderManyThreads) {
    constexpr int threadCount = 4, rounds = 100;
    std::atomic<int> added{0}, removed{0};
    recorder.adding = [&](int) { return ++added > 0; };
    recorder.removed = [&](int) { ++removed; };
    Tracker tracker(context, &recorder);
    std::vector<std::thread> threads;
    for (int n = 0; n < threadCount; ++n)
        threads.emplace_back([&, n] {
            for (int round = 0; round < rounds; ++round) {
                auto own = enter(n);
                own.SetProperties({{"round", round}});
                own.Unregister();
            }
            enter(n);
        });
    threads.emplace_back([&] {
        for (int round = 0; round < rounds; ++round) {
            tracker.Open();
            tracker.GetServices();
            tracker.Close();
        }
        tracker.Open();
    });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(threadCount, tracker.Size());
    tracker.Close();
    EXPECT_EQ(added, removed);
}

} // namespace
