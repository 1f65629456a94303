/// The object through which the framework starts and stops a bundle.
///
///     class Activator : public cppmicroservices::BundleActivator { ... };
///     CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
///
/// The library is compiled with US_BUNDLE_NAME=<symbolic name>.
#pragma once

#include "cppmicroservices/BundleContext.h"
#include "varnek/Export.hpp"

namespace cppmicroservices {
inline namespace varnek_platform {

class VARNEK_EXPORT BundleActivator {
  public:
    virtual ~BundleActivator();

    /// Registers the bundle's services. What it throws makes the start of the bundle fail.
    virtual void Start(BundleContext context) = 0;
    /// What is left afterwards is removed: listeners first, then the activator is destroyed, then the
    /// services go.
    virtual void Stop(BundleContext context) = 0;
};

} // namespace varnek_platform
} // namespace cppmicroservices

#define US_PLATFORM_JOINED_(a, b) a##b
#define US_PLATFORM_JOINED(a, b) US_PLATFORM_JOINED_(a, b)

/// Once in one source of the library, outside of all namespaces.
#define CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)                                                  \
    extern "C" VARNEK_EXPORT ::cppmicroservices::BundleActivator* US_PLATFORM_JOINED(                        \
        varnek_services_create_activator_, US_BUNDLE_NAME)() {                                               \
        return new Activator();                                                                              \
    }                                                                                                        \
    extern "C" VARNEK_EXPORT void US_PLATFORM_JOINED(varnek_services_destroy_activator_, US_BUNDLE_NAME)(    \
        ::cppmicroservices::BundleActivator * activator) {                                                   \
        delete activator;                                                                                    \
    }
