/// A running framework, the test bundles and a folder for others.
#pragma once

#include "microservices/libraries/Greeter.hpp"

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/Constants.h"
#include "cppmicroservices/FrameworkEvent.h"
#include "cppmicroservices/FrameworkFactory.h"

#include <gtest/gtest.h>

#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace test {

inline cppmicroservices::AnyMap manifest(const std::string& name, cppmicroservices::Any activator = true,
                                         const std::string& version = "1.2.3") {
    using namespace cppmicroservices;
    AnyMap headers(any_map::UNORDERED_MAP), manifests(any_map::UNORDERED_MAP);
    headers[Constants::BUNDLE_SYMBOLICNAME] = name;
    headers[Constants::BUNDLE_VERSION] = version;
    headers[Constants::BUNDLE_ACTIVATOR] = std::move(activator);
    manifests[name] = headers;
    return manifests;
}

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
        std::string name = std::filesystem::temp_directory_path() / "bundle-test-XXXXXX";
        folder = ::mkdtemp(name.data());
        launch("");
    }
    ~Bundles() override {
        end();
        std::filesystem::remove_all(folder);
    }
    /// The mode tells the test bundle what to do.
    void launch(const std::string& mode) {
        end();
        log.str("");
        framework = cppmicroservices::FrameworkFactory().NewFramework({{"test.mode", mode}}, &log);
        framework.Start();
        context = framework.GetBundleContext();
    }
    void end() {
        framework.Stop();
        framework.WaitForStop(std::chrono::milliseconds::zero());
    }
    cppmicroservices::Bundle install() {
        return context.InstallBundles(VARNEK_TEST_BUNDLE, manifest("varnek_test_bundle")).at(0);
    }
    std::string greeting() {
        const auto reference = context.GetServiceReference<Greeter>();
        return reference ? context.GetService(reference)->greet() : "";
    }
    std::filesystem::path file(const std::string& name, const std::string& content) {
        std::ofstream(folder / name) << content;
        return folder / name;
    }

    std::filesystem::path folder;
    std::ostringstream log;
    cppmicroservices::Framework framework = cppmicroservices::FrameworkFactory().NewFramework();
    cppmicroservices::BundleContext context;
};

} // namespace test
