/// Follows the services by which the host says what kind of process this is.
#pragma once

#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/ServiceTracker.h"
#include "varnek/host/HostInfo.hpp"

#include <memory>

namespace settings::core::detail {

/// One in a process, never destroyed. Thread-safe.
class HostInfoTracker : private cppmicroservices::ServiceTrackerCustomizer<varnek::host::HostInfo> {
  public:
    /// Made at the first call.
    static HostInfoTracker& instance();

  private:
    using Service = varnek::host::HostInfo;

    explicit HostInfoTracker(cppmicroservices::BundleContext context);
    std::shared_ptr<Service>
    AddingService(const cppmicroservices::ServiceReference<Service>& reference) override;
    void ModifiedService(const cppmicroservices::ServiceReference<Service>&,
                         const std::shared_ptr<Service>&) override {}
    void RemovedService(const cppmicroservices::ServiceReference<Service>&,
                        const std::shared_ptr<Service>&) override {}

    cppmicroservices::BundleContext context_;
    cppmicroservices::ServiceTracker<Service> tracker_;
};

} // namespace settings::core::detail
