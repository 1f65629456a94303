// What bundles of this implementation promise beyond the interface.
#include "microservices/BundleFixture.hpp"

#include "cppmicroservices/ServiceEvent.h"
#include "cppmicroservices/ServiceTracker.h"
#include "cppmicroservices/SharedLibraryException.h"

#include <atomic>
#include <latch>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace cppmicroservices;
using namespace test;

TEST_F(Bundles, AreTheSameWhateverWayThePathTakes) {
    const Bundle bundle = install();
    const auto roundabout =
        fs::path(VARNEK_TEST_BUNDLE).parent_path() / "x" / ".." / fs::path(VARNEK_TEST_BUNDLE).filename();
    EXPECT_EQ(std::vector<Bundle>{bundle}, context.InstallBundles(roundabout));
    EXPECT_THROW(Framework{bundle}, std::logic_error);
    EXPECT_THROW(framework.Uninstall(), std::runtime_error);
}

TEST_F(Bundles, SayWhyTheyDoNotStart) {
    const std::string prefix = std::string("Bundle 1 (location= ") + VARNEK_TEST_BUNDLE + ") start failed: ";
    const std::pair<const char*, std::string> table[] = {
        {"throw", prefix + "as told"},
        {"throwNumber", prefix + "not a standard exception"},
        {"stopItself", prefix + "Bundle 1 (location= " + VARNEK_TEST_BUNDLE +
                           ") is being started or stopped by this thread"},
    };
    for (const auto& [mode, text] : table) {
        launch(mode);
        Bundle bundle = install();
        EXPECT_EQ(text, textOf([&] { bundle.Start(); }));
        EXPECT_EQ(Bundle::STATE_RESOLVED, bundle.GetState());
        EXPECT_EQ("", greeting());
        EXPECT_FALSE(bundle.GetBundleContext());
    }
}

TEST_F(Bundles, AFailingStopStopsNevertheless) {
    launch("throwInStop");
    Bundle bundle = install();
    bundle.Start();
    EXPECT_EQ(std::string("Bundle 1 (location= ") + VARNEK_TEST_BUNDLE + ") stop failed: not now",
              textOf([&] { bundle.Stop(); }));
    EXPECT_EQ(Bundle::STATE_RESOLVED, bundle.GetState());
    EXPECT_EQ("", greeting());
    bundle.Start();
    end();
    EXPECT_NE(std::string::npos, log.str().find("stop failed: not now")) << log.str();
}

TEST_F(Bundles, AreStartedInARunningFrameworkOnly) {
    Bundle bundle = install();
    end();
    EXPECT_NE(std::string::npos, textOf([&] { bundle.Start(); }).find("the framework is not running"));
    framework.Start();
    context = framework.GetBundleContext();
    bundle.Start();
    EXPECT_EQ("hello from varnek_test_bundle", greeting());
}

TEST_F(Bundles, AreLoadedOnlyForAnActivator) {
    const auto text = file("libtext.so", "no library");
    for (const auto& [name, activator] : {std::pair<const char*, Any>{"a", false}, {"b", 1}}) {
        Bundle bundle = context.InstallBundles(text, manifest(name, activator)).at(0);
        bundle.Start();
        EXPECT_EQ(Bundle::STATE_ACTIVE, bundle.GetState());
        bundle.Uninstall();
    }
    EXPECT_NE(std::string::npos, log.str().find("is no bool")) << log.str();

    Bundle bundle = context.InstallBundles(text, manifest("text")).at(0);
    try {
        bundle.Start();
        FAIL();
    } catch (const SharedLibraryException& failure) {
        EXPECT_EQ(bundle, failure.GetBundle());
        EXPECT_NE(std::string::npos, std::string(failure.what()).find("file too short")) << failure.what();
    }
    EXPECT_EQ(Bundle::STATE_RESOLVED, bundle.GetState());
    Bundle plugin = context.InstallBundles(VARNEK_TEST_PLUGIN, manifest("varnek_test_plugin")).at(0);
    EXPECT_NE(std::string::npos, textOf([&] { plugin.Start(); }).find("exports no activator"));
}

TEST_F(Bundles, ManifestsComeFromTheFileBesideTheLibrary) {
    const auto library = folder / "libbundle.so";
    fs::copy(VARNEK_TEST_BUNDLE, library);
    file("libbundle.so.json", R"({"bundle.symbolic_name": "varnek_test_bundle", "bundle.activator": true,
        "bundle.version": "2.0", "limits": {"count": 3, "ratio": 0.5, "names": ["a", null]}})");
    Bundle bundle = context.InstallBundles(library).at(0);
    bundle.Start();
    EXPECT_EQ("hello from varnek_test_bundle", greeting());
    EXPECT_EQ(BundleVersion("2.0"), bundle.GetVersion());
    const auto& limits = ref_any_cast<AnyMap>(bundle.GetHeaders().at("limits"));
    EXPECT_EQ(3, any_cast<int>(limits.at("count")));
    EXPECT_EQ(0.5, any_cast<double>(limits.at("ratio")));
    EXPECT_TRUE(ref_any_cast<std::vector<Any>>(limits.at("names")).at(1).Empty());

    const auto several = file("libseveral.so", "");
    file("libseveral.so.json",
         R"({"one": {"bundle.symbolic_name": "one"}, "two": {"bundle.symbolic_name": "two"}})");
    EXPECT_EQ(2u, context.InstallBundles(several).size());
}

TEST_F(Bundles, WrongManifestsAreRefused) {
    const auto library = file("libx.so", "");
    const auto json = folder / "libx.so.json";
    const auto problem = [&](const AnyMap& manifests = AnyMap(any_map::UNORDERED_MAP)) {
        return textOf([&] { context.InstallBundles(library, manifests); });
    };
    const auto has = [](const std::string& text, const std::string& part) {
        return text.find(part) != text.npos;
    };
    EXPECT_TRUE(has(problem(), "has no manifest"));
    const std::pair<const char*, const char*> table[] = {
        {R"({"bundle.symbolic_name": ""})", "is missing"},
        {R"({"bundle.symbolic_name": 5})", "is no text"},
        {R"({"x": {"bundle.version": "1"}})", "is missing"},
        {R"({"x": 1})", "is no map"},
        {R"({"bundle.symbolic_name": "x", "bundle.version": "one"})", "is no version"},
        {R"({"bundle.symbolic_name": "x", "bundle.version": 1})", "is no text"},
        {R"({"bundle.symbolic_name": "x", "Bundle.Symbolic_Name": "y"})", "differ only in case"},
        {"[]", ""},
        {"{", ""},
    };
    for (const auto& [content, part] : table) {
        std::ofstream(json) << content;
        const std::string text = problem();
        EXPECT_EQ(0u, text.find("Failed to install bundle library at " + library.native() + ": ")) << text;
        EXPECT_TRUE(has(text, part)) << text;
    }
    EXPECT_TRUE(has(problem(AnyMap(any_map::ORDERED_MAP, {{"x", 1}})), "is no map"));
    EXPECT_EQ((folder / "missing.so").native() + " does not exist",
              textOf([&] { context.InstallBundles(folder / "missing.so", manifest("varnek_test_bundle")); }));

    install();
    EXPECT_TRUE(has(problem(manifest("varnek_test_bundle")),
                    "the bundle varnek_test_bundle 1.2.3 is installed from"));
    EXPECT_EQ(1u, context.InstallBundles(library, manifest("varnek_test_bundle", true, "1.2.4")).size());
}

TEST_F(Bundles, LeaveNothingBehindWhenTheyStopWhileTheyRegister) {
    constexpr int rounds = 20;
    std::atomic<int> added{0}, removed{0};
    struct Counter : ServiceTrackerCustomizer<Greeter, int> {
        std::atomic<int>&added, &removed;
        Counter(std::atomic<int>& a, std::atomic<int>& r) : added(a), removed(r) {}
        std::shared_ptr<int> AddingService(const ServiceReference<Greeter>&) override {
            return std::make_shared<int>(++added);
        }
        void ModifiedService(const ServiceReference<Greeter>&, const std::shared_ptr<int>&) override {}
        void RemovedService(const ServiceReference<Greeter>&, const std::shared_ptr<int>&) override {
            ++removed;
        }
    } counter(added, removed);
    ServiceTracker<Greeter, int> tracker(context, &counter);
    tracker.Open();
    Bundle bundle = install();
    for (int round = 0; round < rounds; ++round) {
        bundle.Start();
        BundleContext its = bundle.GetBundleContext();
        const auto greeter = its.GetService(its.GetServiceReference<Greeter>());
        std::latch ready(2);
        std::thread registering([&] {
            ready.arrive_and_wait();
            try {
                for (;;)
                    its.RegisterService<Greeter>(greeter);
            } catch (const IllegalStateException&) {
            }
        });
        ready.arrive_and_wait();
        bundle.Stop();
        registering.join();
        ASSERT_EQ(0, tracker.Size()) << "round " << round;
        ASSERT_TRUE(context.GetServiceReferences<Greeter>().empty());
    }
    EXPECT_EQ(added, removed);
}

TEST_F(Bundles, StartedFromBothSidesAtOnceDoNotWaitForEver) {
    // Each is started on a thread of its own, and starts the other one from inside.
    Bundle one = install(), two = context
                                      .InstallBundles(VARNEK_TEST_BUNDLES "/libvarnek_test_two_services.so",
                                                      manifest("varnek_test_two_services"))
                                      .at(0);
    std::latch bothStarting(2);
    std::atomic<int> refused{0};
    context.AddServiceListener([&](const ServiceEvent& event) {
        const Bundle starting = event.GetServiceReference().GetBundle();
        if (event.GetType() != ServiceEvent::SERVICE_REGISTERED ||
            (starting == two && event.GetServiceReference().GetProperty("service.ranking").ToString() == "2"))
            return;
        bothStarting.arrive_and_wait();
        try {
            (starting == one ? two : one).Start();
        } catch (const std::logic_error&) {
            ++refused;
        }
    });
    std::thread other([&] { two.Start(); });
    one.Start();
    other.join();
    EXPECT_EQ(1, refused) << "the second one that waits";
    EXPECT_EQ(3u, context.GetServiceReferences<Greeter>().size());
    end(); // before what the listeners use goes
}

TEST_F(Bundles, CannotWaitForTheEndOfTheirFramework) {
    std::vector<std::string> texts;
    context.AddServiceListener([&](const ServiceEvent&) {
        texts.push_back(textOf([&] { framework.WaitForStop(std::chrono::milliseconds::zero()); }));
    });
    install().Start();
    end();
    EXPECT_EQ(std::vector<std::string>(2,
                                       "cannot wait for the end of the framework while it starts or stops a "
                                       "bundle on this thread"),
              texts);
}

} // namespace
