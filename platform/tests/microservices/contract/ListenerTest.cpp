// Listeners as every implementation of the framework calls them.
#include "microservices/ServiceFixture.hpp"

#include "cppmicroservices/BundleEvent.h"
#include "cppmicroservices/ServiceEvent.h"

#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using namespace cppmicroservices;
using namespace test;

using Types = std::vector<int>;

TEST_F(Services, TellTheirListenersBeforeTheCallReturns) {
    Types types;
    std::vector<bool> findable, valid, usable;
    ListenerToken token = context.AddServiceListener([&](const ServiceEvent& event) {
        const auto reference = event.GetServiceReference<KeyManager>();
        types.push_back(event.GetType());
        findable.push_back(static_cast<bool>(context.GetServiceReference<KeyManager>()));
        valid.push_back(static_cast<bool>(reference));
        usable.push_back(context.GetService(reference) != nullptr);
    });
    EXPECT_TRUE(token);
    auto registration = enter(1);
    EXPECT_EQ(Types{ServiceEvent::SERVICE_REGISTERED}, types);
    registration.SetProperties({{"a", 1}});
    const auto reference = registration.GetReference();
    registration.Unregister();
    EXPECT_EQ((Types{ServiceEvent::SERVICE_REGISTERED, ServiceEvent::SERVICE_MODIFIED,
                     ServiceEvent::SERVICE_UNREGISTERING}),
              types);
    EXPECT_EQ((std::vector<bool>{true, true, false}), findable);
    EXPECT_EQ(std::vector<bool>(3, true), valid);
    EXPECT_EQ(std::vector<bool>(3, true), usable) << "it can be fetched while it goes";
    EXPECT_FALSE(reference);

    context.RemoveListener(std::move(token));
    context.RemoveListener(ListenerToken());
    enter(2);
    EXPECT_EQ(3u, types.size());
    stop(); // before what the listeners use goes
}

TEST_F(Services, TellListenersWithAFilterWhatFitsAndWhatFitsNoMore) {
    Types types;
    context.AddServiceListener([&](const ServiceEvent& event) { types.push_back(event.GetType()); },
                               "(&(objectclass=test::KeyManager)(on=1))");
    auto registration = enter(1);
    EXPECT_EQ(Types{}, types);
    for (const int on : {0, 1, 1, 0, 0})
        registration.SetProperties({{"on", on}});
    EXPECT_EQ((Types{ServiceEvent::SERVICE_MODIFIED, ServiceEvent::SERVICE_MODIFIED,
                     ServiceEvent::SERVICE_MODIFIED_ENDMATCH}),
              types);
    EXPECT_THROW(context.AddServiceListener([](const ServiceEvent&) {}, "(on"), std::invalid_argument);
    stop(); // before what the listeners use goes
}

TEST_F(Services, PassErrorsOfListenersToTheFrameworkListeners) {
    Types types;
    context.AddFrameworkListener([&](const FrameworkEvent& event) {
        types.push_back(event.GetType());
        if (event.GetType() == FrameworkEvent::FRAMEWORK_ERROR) {
            EXPECT_THROW(std::rethrow_exception(event.GetThrowable()), std::domain_error);
        }
    });
    int heard = 0;
    for (int n = 0; n < 2; ++n)
        context.AddServiceListener([&](const ServiceEvent&) {
            ++heard;
            throw std::domain_error("no");
        });
    enter(1);
    EXPECT_EQ(2, heard) << "one that throws does not keep the others back";
    EXPECT_EQ(Types(2, FrameworkEvent::FRAMEWORK_ERROR), types);
    stop(); // before what the listeners use goes
}

TEST_F(Services, HoldNoLockWhileListenersRun) {
    int depth = 0;
    std::vector<ServiceRegistration<KeyManager>> entered;
    context.AddServiceListener([&](const ServiceEvent& event) {
        if (event.GetType() != ServiceEvent::SERVICE_REGISTERED || ++depth > 3)
            return;
        std::thread([&] { // would hang on any lock that this thread holds
            context.AddBundleListener([](const BundleEvent&) {});
            entered.push_back(enter(depth));
        })
            .join();
    });
    enter(0);
    EXPECT_EQ(4u, context.GetServiceReferences<KeyManager>().size());
    EXPECT_EQ(3u, entered.size());
    stop(); // before what the listeners use goes
}

} // namespace
