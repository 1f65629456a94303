// A bundle that cannot start.
#include "cppmicroservices/BundleActivator.h"
#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/BundleInitialization.h"

#include <stdexcept>

CPPMICROSERVICES_INITIALIZE_BUNDLE

namespace {

class Activator : public cppmicroservices::BundleActivator {
  public:
    void Start(cppmicroservices::BundleContext) override {
        throw std::runtime_error("the activator of this bundle always throws");
    }
    void Stop(cppmicroservices::BundleContext) override {}
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
