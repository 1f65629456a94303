// What this implementation promises beyond the interface.
#include "microservices/ServiceFixture.hpp"

#include <set>
#include <vector>

namespace {

using namespace cppmicroservices;
using namespace test;

TEST_F(Services, PropertiesOfTheFrameworkCannotBeForged) {
    auto registration = context.RegisterService<KeyManager>(
        std::make_shared<Service>(1),
        {{"Vendor", std::string("us")}, {"SERVICE.ID", 7777L}, {"objectClass", 1}, {"service.scope", 2}});
    const auto reference = registration.GetReference();
    EXPECT_EQ(std::vector<std::string>{"test::KeyManager"},
              any_cast<std::vector<std::string>>(reference.GetProperty(Constants::OBJECTCLASS)));
    EXPECT_EQ(Constants::SCOPE_SINGLETON,
              any_cast<std::string>(reference.GetProperty(Constants::SERVICE_SCOPE)));
    const long id = any_cast<long>(reference.GetProperty(Constants::SERVICE_ID));
    EXPECT_NE(7777, id);

    registration.SetProperties({{"new", 1}, {"service.id", 1L}});
    EXPECT_EQ(id, any_cast<long>(reference.GetProperty(Constants::SERVICE_ID)));
    EXPECT_TRUE(reference.GetProperty("vendor").Empty());
    const auto keys = reference.GetPropertyKeys();
    EXPECT_EQ((std::set<std::string>{"new", "service.id", "service.scope", "objectclass"}),
              std::set<std::string>(keys.begin(), keys.end()));
}

TEST_F(Services, NothingCrashesOnAnEmptyReferenceOrAWrongRanking) {
    EXPECT_TRUE(ServiceReference<KeyManager>().GetProperty("x").Empty());
    EXPECT_TRUE(ServiceReferenceU().GetPropertyKeys().empty());
    EXPECT_FALSE(ServiceReferenceU().GetBundle());
    EXPECT_THROW(enter(1, {{"service.ranking", 1L}}), std::invalid_argument);
    EXPECT_THROW(enter(1, {{"service.ranking", Any()}}), std::invalid_argument);
    EXPECT_TRUE(context.GetServiceReferences("").empty()) << "nothing of it was kept";
}

TEST(ServiceFrameworks, OfOneProcessShareNothingButTheIds) {
    std::vector<Framework> frameworks;
    std::set<long> ids;
    for (int n = 0; n < 2; ++n) {
        frameworks.push_back(FrameworkFactory().NewFramework());
        frameworks.back().Init();
        auto context = frameworks.back().GetBundleContext();
        EXPECT_FALSE(context.GetServiceReference<KeyManager>());
        const auto registration = context.RegisterService<KeyManager>(std::make_shared<Service>(n));
        ids.insert(any_cast<long>(registration.GetReference().GetProperty(Constants::SERVICE_ID)));
    }
    EXPECT_EQ(2u, ids.size());
    EXPECT_EQ(FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT,
              frameworks[0].WaitForStop(std::chrono::milliseconds(1)).GetType());
    ServiceReferenceU orphan = frameworks[1].GetBundleContext().GetServiceReference<KeyManager>();
    frameworks.clear(); // without being stopped
    EXPECT_FALSE(orphan);
    EXPECT_FALSE(orphan.GetBundle());
}

} // namespace
