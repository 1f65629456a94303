// Registers the key manager when the bundle starts.

#include "InMemoryKeyManager.hpp"

#include "cppmicroservices/BundleActivator.h"
#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/BundleInitialization.h"

#include <memory>

CPPMICROSERVICES_INITIALIZE_BUNDLE

namespace {

class Activator : public cppmicroservices::BundleActivator {
  public:
    void Start(cppmicroservices::BundleContext context) override {
        context.RegisterService<settings::security::KeyManager>(
            std::make_shared<keymanager::InMemoryKeyManager>());
    }
    void Stop(cppmicroservices::BundleContext) override {} // the framework removes the service
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
