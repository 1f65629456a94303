/// The service framework in which the library looks for what bundles and the application register: factory
/// settings, loaders of factory files, host information, the key manager.
#pragma once

#include "cppmicroservices/BundleContext.h"
#include "settingscore/Export.hpp"

#include <functional>

namespace settings::core {

/// Called without a lock, on any thread.
using ServiceContextFunction = std::function<cppmicroservices::BundleContext()>;

/// What the function of setServiceContext gives; without one the context of a framework of the library's
/// own, which is started at the first call and never stopped. Throws what that function throws.
SETTINGSCORE_EXPORT cppmicroservices::BundleContext serviceContext();

/// Puts the application's framework in the place of the library's own; empty restores that. To be called
/// before init(): what has been found already stays as it is. Returns the function before. Thread-safe.
SETTINGSCORE_EXPORT ServiceContextFunction setServiceContext(ServiceContextFunction function);

} // namespace settings::core
