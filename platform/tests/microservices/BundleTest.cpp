#include "libraries/Greeter.hpp"

#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/Constants.h"
#include "cppmicroservices/FrameworkFactory.h"
#include "cppmicroservices/SharedLibraryException.h"

#include <gtest/gtest.h>

#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace cppmicroservices;

AnyMap manifest(const std::string& name, Any activator = true, const std::string& version = "1.2.3") {
    AnyMap headers(any_map::UNORDERED_MAP, {{Constants::BUNDLE_SYMBOLICNAME, name},
                                            {Constants::BUNDLE_VERSION, version},
                                            {Constants::BUNDLE_ACTIVATOR, std::move(activator)}});
    return {any_map::UNORDERED_MAP, {{name, std::move(headers)}}};
}

const AnyMap greeterManifest = manifest("varnek_test_bundle");

template <class Call>
std::string textOf(Call call) {
    try {
        call();
    } catch (const std::exception& failure) {
        return failure.what();
    }
    return "nothing was thrown";
}

class Bundles : public testing::Test {
  protected:
    Bundles() {
        std::string name = fs::temp_directory_path() / "bundle-test-XXXXXX";
        folder = ::mkdtemp(name.data());
        launch("");
    }
    ~Bundles() override {
        end();
        fs::remove_all(folder);
    }
    void launch(const std::string& mode) {
        end();
        log.str("");
        framework = FrameworkFactory().NewFramework({{"test.mode", mode}}, &log);
        framework.Start();
        context = framework.GetBundleContext();
    }
    void end() {
        framework.Stop();
        framework.WaitForStop(std::chrono::seconds(0));
    }
    Bundle install() { return context.InstallBundles(VARNEK_TEST_BUNDLE, greeterManifest).at(0); }
    std::string greeting() {
        const auto reference = context.GetServiceReference<test::Greeter>();
        return reference ? context.GetService(reference)->greet() : "";
    }
    fs::path file(const std::string& name, const std::string& content) {
        std::ofstream(folder / name) << content;
        return folder / name;
    }

    fs::path folder;
    std::ostringstream log;
    Framework framework = FrameworkFactory().NewFramework();
    BundleContext context;
};

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
    EXPECT_THROW(Framework{bundle}, std::logic_error);
    EXPECT_EQ("invalid bundle", textOf([] { static_cast<void>(Bundle().GetState()); }));
    EXPECT_EQ("invalid bundle", textOf([] { Bundle().Start(); }));
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
    fs::create_directory(folder / "sub");
    const auto roundabout =
        fs::path(VARNEK_TEST_BUNDLE).parent_path() / "x" / ".." / fs::path(VARNEK_TEST_BUNDLE).filename();
    EXPECT_EQ(bundles, std::vector<Bundle>(4, context.InstallBundles(roundabout).at(0)));
}

TEST_F(Bundles, AFailedStartLeavesNothing) {
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

TEST_F(Bundles, AnUninstalledOneIsGone) {
    Bundle bundle = install();
    bundle.Start();
    bundle.Uninstall();
    EXPECT_EQ(Bundle::STATE_UNINSTALLED, bundle.GetState());
    EXPECT_EQ("", greeting());
    EXPECT_FALSE(context.GetBundle(1));
    EXPECT_THROW(bundle.Start(), std::logic_error);
    EXPECT_THROW(bundle.Uninstall(), std::logic_error);
    EXPECT_THROW(framework.Uninstall(), std::runtime_error);
    Bundle next = install();
    EXPECT_EQ(2, next.GetBundleId()) << "ids are not used again";
    next.Start();
    EXPECT_EQ("hello from varnek_test_bundle", greeting());
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
              textOf([&] { context.InstallBundles(folder / "missing.so", greeterManifest); }));

    install();
    EXPECT_TRUE(has(problem(greeterManifest), "the bundle varnek_test_bundle 1.2.3 is installed from"));
    EXPECT_EQ(1u, context.InstallBundles(library, manifest("varnek_test_bundle", true, "1.2.4")).size());
}

} // namespace
