// Bundles as every implementation of the framework runs them.
#include "microservices/BundleFixture.hpp"

#include "cppmicroservices/BundleEvent.h"
#include "cppmicroservices/ServiceTracker.h"
#include "cppmicroservices/SharedLibraryException.h"
#include "varnek/bundles/BundleFolder.hpp"
#include "varnek/host/HostInfo.hpp"

#include <algorithm>
#include <map>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace cppmicroservices;
using namespace test;
using varnek::bundles::LibraryOutcome;
using varnek::host::HostInfo;

TEST_F(Bundles, StartRegistersAndStopRemovesTheirServices) {
    Bundle bundle = install();
    EXPECT_EQ(Bundle::STATE_INSTALLED, bundle.GetState());
    EXPECT_EQ("", greeting());
    EXPECT_FALSE(bundle.GetBundleContext());

    bundle.Start();
    bundle.Start();
    EXPECT_EQ(Bundle::STATE_ACTIVE, bundle.GetState());
    EXPECT_EQ("hello from varnek_test_bundle", greeting());
    EXPECT_EQ(1u, bundle.GetRegisteredServices().size());
    EXPECT_EQ(bundle, context.GetServiceReference<test::Greeter>().GetBundle());

    const auto kept = context.GetService(context.GetServiceReference<test::Greeter>());
    const BundleContext its = bundle.GetBundleContext();
    EXPECT_TRUE(its);
    bundle.Stop();
    bundle.Stop();
    EXPECT_EQ(Bundle::STATE_RESOLVED, bundle.GetState());
    EXPECT_EQ("", greeting());
    EXPECT_FALSE(its);
    EXPECT_EQ("stopped", kept->greet()) << "the service outlives its bundle, the context does not";

    bundle.Start();
    EXPECT_EQ("hello from varnek_test_bundle", greeting()) << "a second time";
    framework.Stop();
    framework.WaitForStop(std::chrono::seconds(0));
    EXPECT_EQ(Bundle::STATE_RESOLVED, bundle.GetState());
}

TEST_F(Bundles, KnowThemselves) {
    const Bundle bundle = install();
    EXPECT_EQ(1, bundle.GetBundleId());
    EXPECT_EQ(VARNEK_TEST_BUNDLE, bundle.GetLocation());
    EXPECT_EQ("varnek_test_bundle", bundle.GetSymbolicName());
    EXPECT_EQ(BundleVersion(1, 2, 3), bundle.GetVersion());
    EXPECT_EQ("1.2.3", any_cast<std::string>(bundle.GetHeaders().at("BUNDLE.VERSION")));
    EXPECT_EQ(bundle, context.GetBundle(1));
    EXPECT_EQ((std::vector<Bundle>{framework, bundle}), context.GetBundles());
    EXPECT_EQ(std::vector<Bundle>{bundle}, context.GetBundles(VARNEK_TEST_BUNDLE));
    EXPECT_FALSE(context.GetBundle(2) || context.GetBundle(-1));
    EXPECT_EQ("system_bundle", framework.GetSymbolicName());
    EXPECT_THROW(Bundle().GetState(), std::invalid_argument);
    EXPECT_THROW(Bundle().Start(), std::invalid_argument);
}

TEST_F(Bundles, OneLibraryIsInstalledOnceAlsoByManyThreads) {
    std::vector<Bundle> bundles(4);
    std::vector<std::thread> threads;
    for (auto& bundle : bundles)
        threads.emplace_back([&] {
            bundle = install();
            bundle.Start();
        });
    for (auto& thread : threads)
        thread.join();
    for (const Bundle& bundle : bundles)
        EXPECT_EQ(bundles[0], bundle);
    EXPECT_EQ(1u, context.GetServiceReferences<test::Greeter>().size());
    EXPECT_EQ(2u, context.GetBundles().size());
}

TEST_F(Bundles, AnUninstalledOneIsGone) {
    Bundle bundle = install();
    bundle.Start();
    bundle.Uninstall();
    EXPECT_EQ(Bundle::STATE_UNINSTALLED, bundle.GetState());
    EXPECT_EQ("", greeting());
    EXPECT_FALSE(context.GetBundle(1));
    EXPECT_THROW(bundle.Start(), std::logic_error);
    Bundle next = install();
    EXPECT_EQ(2, next.GetBundleId()) << "ids are not used again";
    next.Start();
    EXPECT_EQ("hello from varnek_test_bundle", greeting());
}

TEST_F(Bundles, AFailedStartLeavesNothing) {
    launch("throw");
    Bundle bundle = install();
    const std::string text = textOf([&] { bundle.Start(); });
    EXPECT_NE(std::string::npos, text.find("start failed")) << text;
    EXPECT_NE(std::string::npos, text.find(VARNEK_TEST_BUNDLE)) << text;
    EXPECT_NE(std::string::npos, text.find("as told")) << text;
    EXPECT_EQ(Bundle::STATE_RESOLVED, bundle.GetState());
    EXPECT_EQ("", greeting());
    EXPECT_FALSE(bundle.GetBundleContext());
}

TEST_F(Bundles, TellWhatHappensToThem) {
    std::vector<int> types;
    context.AddBundleListener([&](const BundleEvent& event) {
        if (event.GetBundle().GetSymbolicName() == "varnek_test_bundle")
            types.push_back(event.GetType());
    });
    Bundle bundle = install();
    bundle.Start();
    bundle.Stop();
    bundle.Uninstall();
    auto place = types.begin();
    for (const int type :
         {BundleEvent::BUNDLE_INSTALLED, BundleEvent::BUNDLE_STARTING, BundleEvent::BUNDLE_STARTED,
          BundleEvent::BUNDLE_STOPPING, BundleEvent::BUNDLE_STOPPED, BundleEvent::BUNDLE_UNINSTALLED}) {
        place = std::find(place, types.end(), type);
        ASSERT_NE(types.end(), place) << "no event " << type << ", or too early";
    }
    end(); // before what the listeners use goes
}

TEST_F(Bundles, OfAFolderAreStartedEachOnceWhateverTheOthersDo) {
    using Outcomes = std::map<std::string, LibraryOutcome>;
    const auto start = [&](const varnek::bundles::Acceptance& accepts) {
        Outcomes outcomes;
        for (const auto& library : varnek::bundles::startBundles(context, VARNEK_TEST_BUNDLES, accepts)) {
            outcomes[library.library.stem()] = library.outcome;
            EXPECT_EQ(library.outcome == LibraryOutcome::failed, !library.problem.empty());
            const std::string name = library.library.stem().string().substr(3);
            EXPECT_TRUE(library.problem.empty() || library.problem.find(name) != std::string::npos)
                << library.problem;
            for (const Bundle& bundle : library.bundles)
                EXPECT_EQ(library.outcome == LibraryOutcome::running,
                          bundle.GetState() == Bundle::STATE_ACTIVE);
        }
        return outcomes;
    };
    const Outcomes expected = {{"libvarnek_test_bundle", LibraryOutcome::running},
                               {"libvarnek_test_garbage", LibraryOutcome::failed},
                               {"libvarnek_test_host_info", LibraryOutcome::running},
                               {"libvarnek_test_no_entry_point", LibraryOutcome::failed},
                               {"libvarnek_test_plugin", LibraryOutcome::noBundle},
                               {"libvarnek_test_throwing", LibraryOutcome::failed},
                               {"libvarnek_test_two_services", LibraryOutcome::running}};
    EXPECT_EQ(expected, start({}));
    EXPECT_EQ(expected, start({})) << "a second time";
    EXPECT_EQ(3u, context.GetServiceReferences<Greeter>().size()) << "nothing ran twice";
    EXPECT_EQ("greeting 2", greeting()) << "the ranking of the second service";
    EXPECT_EQ("greeting 1", context.GetService(context.GetServiceReferences<Greeter>().at(1))->greet());

    launch("");
    Outcomes refused = expected;
    refused["libvarnek_test_bundle"] = LibraryOutcome::refused;
    EXPECT_EQ(refused,
              start([](const fs::path& library) { return library.stem() != "libvarnek_test_bundle"; }));
    refused["libvarnek_test_bundle"] = LibraryOutcome::failed;
    EXPECT_EQ(refused, start([](const fs::path& library) {
                  return library.stem() != "libvarnek_test_bundle"
                             ? true
                             : throw std::runtime_error("cannot look at varnek_test_bundle");
              }));
    EXPECT_THROW(varnek::bundles::startBundles(context, folder / "missing"), std::exception);
    end();
    EXPECT_THROW(varnek::bundles::startBundles(context, VARNEK_TEST_BUNDLES), std::exception);
}

TEST_F(Bundles, TellWhetherTheHostIsASession) {
    for (const bool session : {true, false}) {
        launch(session ? "" : "compute");
        ServiceTracker<HostInfo> hosts(context);
        hosts.Open();
        EXPECT_EQ(nullptr, hosts.GetService());
        varnek::bundles::startBundles(context, VARNEK_TEST_BUNDLES);
        ASSERT_NE(nullptr, hosts.GetService());
        EXPECT_EQ(session, hosts.GetService()->isSession());
    }
}

TEST_F(Bundles, OnceLoadedStayForThoseWhoHoldTheirServices) {
    Bundle bundle = install();
    bundle.Start();
    const auto held = context.GetService(context.GetServiceReference<Greeter>());
    bundle.Stop();
    bundle.Uninstall();
    end();
    bundle = Bundle();
    context = nullptr;
    framework = FrameworkFactory().NewFramework();
    EXPECT_EQ("stopped", held->greet());
}

TEST_F(Bundles, WithoutManifestOrFileAreRefused) {
    const auto text = file("libtext.so", "no library");
    EXPECT_THROW(context.InstallBundles(folder / "missing.so", manifest("missing")), std::runtime_error);
    EXPECT_THROW(context.InstallBundles(text), std::runtime_error);
    Bundle bundle = context.InstallBundles(text, manifest("text")).at(0);
    EXPECT_THROW(bundle.Start(), SharedLibraryException);
    EXPECT_EQ(Bundle::STATE_RESOLVED, bundle.GetState());
    Bundle inactive = context.InstallBundles(file("libdata.so", "no library"), manifest("data", false)).at(0);
    inactive.Start();
    EXPECT_EQ(Bundle::STATE_ACTIVE, inactive.GetState()) << "not loaded without an activator";
    install();
    EXPECT_THROW(context.InstallBundles(file("libother.so", ""), manifest("varnek_test_bundle")),
                 std::runtime_error);
}

} // namespace
