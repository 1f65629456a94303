/// A running framework, and services to put into it.
#pragma once

#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/Constants.h"
#include "cppmicroservices/Framework.h"
#include "cppmicroservices/FrameworkEvent.h"
#include "cppmicroservices/FrameworkFactory.h"
#include "cppmicroservices/ServiceInterface.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

namespace test {

struct KeyManager {
    virtual ~KeyManager() = default;
    virtual int id() const = 0;
};
struct Named {
    virtual ~Named() = default;
    virtual std::string name() const = 0;
};
struct Undeclared {};

} // namespace test

CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(test::Named, "::test.named/1")

namespace test {

struct Service : KeyManager, Named {
    explicit Service(int given) : number(given) {}
    int id() const override { return number; }
    std::string name() const override { return "service " + std::to_string(number); }
    int number;
};

inline cppmicroservices::ServiceProperties ranked(int ranking) {
    return {{cppmicroservices::Constants::SERVICE_RANKING, ranking}};
}

class Services : public testing::Test {
  protected:
    Services() {
        framework.Start();
        context = framework.GetBundleContext();
    }
    ~Services() override { stop(); }

    void stop() {
        framework.Stop();
        framework.WaitForStop(std::chrono::milliseconds::zero());
    }
    cppmicroservices::ServiceRegistration<KeyManager>
    enter(int id, const cppmicroservices::ServiceProperties& properties = {}) {
        return context.RegisterService<KeyManager>(std::make_shared<Service>(id), properties);
    }

    cppmicroservices::Framework framework = cppmicroservices::FrameworkFactory().NewFramework();
    cppmicroservices::BundleContext context;
};

} // namespace test
