// A bundle that registers two services; the second one greets better.
#include "Greeter.hpp"

#include "cppmicroservices/BundleActivator.h"
#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/BundleInitialization.h"
#include "cppmicroservices/Constants.h"

#include <memory>
#include <string>
#include <utility>

CPPMICROSERVICES_INITIALIZE_BUNDLE

namespace {

class FixedGreeter : public test::Greeter {
  public:
    explicit FixedGreeter(std::string text) : text_(std::move(text)) {}
    std::string greet() const override { return text_; }

  private:
    std::string text_;
};

class Activator : public cppmicroservices::BundleActivator {
  public:
    void Start(cppmicroservices::BundleContext context) override {
        for (const int ranking : {1, 2})
            static_cast<void>(context.RegisterService<test::Greeter>(
                std::make_shared<FixedGreeter>("greeting " + std::to_string(ranking)),
                {{cppmicroservices::Constants::SERVICE_RANKING, ranking}}));
    }
    void Stop(cppmicroservices::BundleContext) override {}
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
