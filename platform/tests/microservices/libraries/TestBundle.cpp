// A bundle whose behaviour the framework property "test.mode" chooses.
#include "Greeter.hpp"

#include "cppmicroservices/BundleActivator.h"
#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/BundleInitialization.h"
#include "cppmicroservices/GetBundleContext.h"

#include <memory>
#include <stdexcept>
#include <string>

CPPMICROSERVICES_INITIALIZE_BUNDLE

namespace {

using cppmicroservices::BundleContext;

class BundleGreeter : public test::Greeter {
  public:
    std::string greet() const override {
        const BundleContext context = cppmicroservices::GetBundleContext();
        return context ? "hello from " + context.GetBundle().GetSymbolicName() : "stopped";
    }
};

class Activator : public cppmicroservices::BundleActivator {
  public:
    void Start(BundleContext context) override {
        const std::string mode = modeOf(context);
        static_cast<void>(context.RegisterService<test::Greeter>(
            std::make_shared<BundleGreeter>(), {{"greeting", std::string("hello")}, {"mode", mode}}));
        if (mode == "throw")
            throw std::runtime_error("as told");
        if (mode == "throwNumber")
            throw 1;
        if (mode == "stopItself")
            context.GetBundle().Stop();
    }
    void Stop(BundleContext context) override {
        if (modeOf(context) == "throwInStop")
            throw std::runtime_error("not now");
    }

  private:
    static std::string modeOf(const BundleContext& context) {
        const auto mode = context.GetProperty("test.mode");
        return mode.Empty() ? "" : mode.ToString();
    }
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
