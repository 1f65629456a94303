/// The context of the bundle that the calling code was compiled into. Needs US_BUNDLE_NAME and, in one source
/// of the library, CPPMICROSERVICES_INITIALIZE_BUNDLE.
#pragma once

#include "cppmicroservices/BundleActivator.h"
#include "cppmicroservices/BundleContext.h"
#include "varnek/Export.hpp"

#include <mutex>
#include <utility>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace detail {

/// Holds the context of one bundle while it runs. Thread-safe.
class ContextHolder {
  public:
    BundleContext get() const {
        const std::lock_guard lock(mutex_);
        return context_;
    }
    void set(BundleContext context) {
        const std::lock_guard lock(mutex_);
        std::swap(context_, context); // the old one goes after the lock
    }

  private:
    mutable std::mutex mutex_;
    BundleContext context_;
};

} // namespace detail
} // namespace varnek_platform
} // namespace cppmicroservices

#ifdef US_BUNDLE_NAME

extern "C" VARNEK_EXPORT ::cppmicroservices::detail::ContextHolder*
    US_PLATFORM_JOINED(varnek_services_context_, US_BUNDLE_NAME)();

namespace cppmicroservices {
inline namespace varnek_platform {

/// Empty unless the bundle is starting, active or stopping.
static inline BundleContext GetBundleContext() {
    return US_PLATFORM_JOINED(varnek_services_context_, US_BUNDLE_NAME)()->get();
}

} // namespace varnek_platform
} // namespace cppmicroservices

#endif
