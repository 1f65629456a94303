// Services as every implementation of the framework keeps them.
#include "microservices/ServiceFixture.hpp"

#include "cppmicroservices/IllegalStateException.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <thread>
#include <unordered_set>
#include <vector>

namespace {

using namespace cppmicroservices;
using namespace test;

int best(BundleContext context) {
    return context.GetService(context.GetServiceReference<KeyManager>())->id();
}

TEST_F(Services, AreFoundUnderEachInterface) {
    const auto service = std::make_shared<Service>(7);
    const auto registration =
        context.RegisterService<KeyManager, Named>(service, {{"vendor", std::string("us")}});
    const auto manager = context.GetServiceReference<KeyManager>();
    EXPECT_EQ(service.get(), context.GetService(manager).get());
    EXPECT_EQ("test::KeyManager", manager.GetInterfaceId());
    const auto named = context.GetServiceReference<Named>();
    EXPECT_EQ("service 7", context.GetService(named)->name()) << "the pointer is adjusted to the second base";
    EXPECT_EQ("test.named/1", named.GetInterfaceId());
    EXPECT_EQ(manager, named);
    EXPECT_EQ(named, context.GetServiceReference("test.named/1"));
    EXPECT_EQ(named, registration.GetReference<Named>());
    EXPECT_EQ(2u, context.GetService(ServiceReferenceU(manager))->size());
    EXPECT_EQ(1u, std::unordered_set<ServiceReferenceU>({manager, named}).size());

    EXPECT_FALSE(context.GetServiceReference<test::Undeclared>());
    EXPECT_FALSE(ServiceReference<test::Undeclared>(manager))
        << "no cast to an interface that it does not have";
    EXPECT_TRUE(ServiceReference<Named>(manager));
}

TEST_F(Services, TheBestHasTheHighestRankingAndIsTheOldest) {
    context.RegisterService<KeyManager>(std::make_shared<Service>(0), ranked(-1));
    auto first = context.RegisterService<KeyManager>(std::make_shared<Service>(1));
    auto second = context.RegisterService<KeyManager>(std::make_shared<Service>(2), ranked(0));
    EXPECT_EQ(1, best(context));
    second.SetProperties(ranked(std::numeric_limits<int>::max()));
    EXPECT_EQ(2, best(context));
    EXPECT_LT(first.GetReference(), second.GetReference());
    second.SetProperties(ranked(std::numeric_limits<int>::min()));
    EXPECT_EQ(1, best(context));
    first.SetProperties({});
    EXPECT_EQ(1, best(context));
    first.Unregister();
    EXPECT_EQ(0, best(context)) << "-1 is above the least";

    std::string order;
    for (const auto& reference : context.GetServiceReferences<KeyManager>())
        order += std::to_string(context.GetService(reference)->id());
    EXPECT_EQ("02", order);
}

TEST_F(Services, PropertiesAreCaseless) {
    auto registration = enter(1, {{"Vendor", std::string("us")}});
    const auto reference = registration.GetReference();
    EXPECT_EQ("us", any_cast<std::string>(reference.GetProperty("vENDOR")));
    EXPECT_TRUE(reference.GetProperty("absent").Empty());
    EXPECT_EQ(std::vector<std::string>{"test::KeyManager"},
              any_cast<std::vector<std::string>>(reference.GetProperty(Constants::OBJECTCLASS)));
    EXPECT_EQ("singleton", any_cast<std::string>(reference.GetProperty(Constants::SERVICE_SCOPE)));
    const long id = any_cast<long>(reference.GetProperty(Constants::SERVICE_ID));

    registration.SetProperties({{"new", 1}});
    EXPECT_EQ(id, any_cast<long>(reference.GetProperty(Constants::SERVICE_ID)));
    EXPECT_TRUE(reference.GetProperty("vendor").Empty()) << "all are replaced";
    const auto keys = reference.GetPropertyKeys();
    EXPECT_EQ(1, std::count(keys.begin(), keys.end(), "new"));
}

TEST_F(Services, AreSelectedByFilter) {
    for (int n = 0; n < 4; ++n)
        context.RegisterService<KeyManager>(std::make_shared<Service>(n),
                                            {{"n", n},
                                             {"vendor", std::string(n % 2 == 0 ? "even" : "odd")},
                                             {Constants::SERVICE_RANKING, n}});
    std::string found;
    for (const auto& reference : context.GetServiceReferences<KeyManager>("(&(vendor=odd)(n>=1))"))
        found += std::to_string(context.GetService(reference)->id());
    EXPECT_EQ("31", found);
    EXPECT_EQ(4u, context.GetServiceReferences("", "(objectclass=test::Key*)").size());
    EXPECT_EQ(0u, context.GetServiceReferences<Named>("(n=1)").size());
    EXPECT_THROW(context.GetServiceReferences<Named>("(n=1"), std::invalid_argument);
}

TEST_F(Services, StayAliveWithTheirUsers) {
    auto service = std::make_shared<Service>(5);
    const std::weak_ptr<Service> watched = service;
    auto registration = context.RegisterService<KeyManager>(service);
    service.reset();
    const auto reference = context.GetServiceReference<KeyManager>();
    auto used = context.GetService(reference), again = context.GetService(reference);
    EXPECT_EQ(std::vector<Bundle>{framework}, reference.GetUsingBundles());
    EXPECT_EQ(1u, framework.GetServicesInUse().size());
    again.reset();
    EXPECT_EQ(1u, reference.GetUsingBundles().size());

    registration.Unregister();
    EXPECT_FALSE(registration);
    EXPECT_FALSE(reference);
    EXPECT_EQ(nullptr, context.GetService(reference));
    EXPECT_EQ(std::vector<std::string>{"test::KeyManager"},
              any_cast<std::vector<std::string>>(reference.GetProperty(Constants::OBJECTCLASS)))
        << "still readable";
    EXPECT_EQ(5, used->id());
    used.reset();
    EXPECT_TRUE(watched.expired());
}

TEST_F(Services, WrongCallsAreRefused) {
    const auto service = std::make_shared<Service>(1);
    EXPECT_THROW(context.RegisterService<KeyManager>(std::shared_ptr<Service>()), std::invalid_argument);
    EXPECT_THROW(
        static_cast<void>(context.RegisterService(InterfaceMapConstPtr(std::make_shared<InterfaceMap>()))),
        std::invalid_argument);
    EXPECT_THROW(context.RegisterService<KeyManager>(service, {{"a", 1}, {"A", 2}}), std::runtime_error);
    EXPECT_TRUE(context.GetServiceReferences<KeyManager>().empty()) << "nothing of it was kept";
    EXPECT_THROW(context.GetService(ServiceReference<KeyManager>()), std::invalid_argument);

    auto registration = enter(1);
    EXPECT_THROW(registration.SetProperties({{"service.ranking", std::string("1")}}), std::invalid_argument);
    registration.Unregister();
    EXPECT_THROW(registration.Unregister(), std::logic_error);
    EXPECT_THROW(registration.SetProperties({}), std::logic_error);
    EXPECT_THROW(registration.GetReference(), std::logic_error);
    EXPECT_THROW(ServiceRegistration<KeyManager>().Unregister(), std::logic_error);
}

TEST_F(Services, EndWithTheFramework) {
    auto service = std::make_shared<Service>(1);
    const std::weak_ptr<Service> watched = service;
    auto registration = context.RegisterService<KeyManager>(service);
    service.reset();
    const auto reference = registration.GetReference();
    framework.Stop();
    EXPECT_EQ(FrameworkEvent::FRAMEWORK_STOPPED, framework.WaitForStop(std::chrono::seconds(60)).GetType());
    EXPECT_FALSE(context);
    EXPECT_FALSE(framework.GetBundleContext());
    EXPECT_FALSE(reference);
    EXPECT_TRUE(watched.expired());
    EXPECT_THROW(context.RegisterService<KeyManager>(std::make_shared<Service>(2)), IllegalStateException);
    EXPECT_THROW(context.GetServiceReference<KeyManager>(), IllegalStateException);
    EXPECT_THROW(BundleContext().GetBundles(), IllegalStateException);
    EXPECT_THROW(registration.Unregister(), std::logic_error);

    framework.Start();
    EXPECT_FALSE(context) << "a context does not come back to life";
    EXPECT_NE(context, framework.GetBundleContext());
    EXPECT_FALSE(framework.GetBundleContext().GetServiceReference<KeyManager>());
}

TEST_F(Services, ThreadsRegisterLookUpAndUnregisterAtOnce) {
    constexpr int rounds = 200;
    const auto fixed = context.RegisterService<KeyManager>(std::make_shared<Service>(-1), ranked(-1));
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int writer = 0; writer < 2; ++writer)
        threads.emplace_back([&, writer] {
            for (int n = 0; n < rounds; ++n) {
                auto own =
                    context.RegisterService<KeyManager, Named>(std::make_shared<Service>(writer), ranked(n));
                own.SetProperties(ranked(-n - 2));
                own.Unregister();
            }
        });
    threads.emplace_back([&] {
        for (int n = 0; n < rounds; ++n) {
            const auto reference = context.GetServiceReference<KeyManager>();
            if (const auto service = context.GetService(reference); service && service->id() > 1)
                ++wrong;
            for (const auto& other : context.GetServiceReferences<Named>("(service.ranking>=0)"))
                if (const auto named = context.GetService(other); named && named->name().empty())
                    ++wrong;
        }
    });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(0, wrong);
    EXPECT_EQ(1u, context.GetServiceReferences<KeyManager>().size());
    EXPECT_TRUE(fixed.GetReference().GetUsingBundles().empty());
}

} // namespace
