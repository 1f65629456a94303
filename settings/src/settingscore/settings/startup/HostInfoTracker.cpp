#include "settingscore/settings/startup/HostInfoTracker.hpp"

#include "settingscore/plugin/ServiceFramework.hpp"
#include "settingscore/settings/startup/StartupLog.hpp"

namespace settings::core::detail {

HostInfoTracker& HostInfoTracker::instance() {
    static auto* const tracker = [] {
        VARNEK_LOG(startupLog, info) << "Create the HostInfo Microservice tracker";
        return new HostInfoTracker(serviceContext());
    }();
    return *tracker;
}

HostInfoTracker::HostInfoTracker(cppmicroservices::BundleContext context)
    : context_(std::move(context)), tracker_(context_, this) {
    tracker_.Open();
}

std::shared_ptr<varnek::host::HostInfo>
HostInfoTracker::AddingService(const cppmicroservices::ServiceReference<Service>& reference) {
    for (const auto& each : context_.GetServiceReferences<Service>())
        if (const auto info = context_.GetService(each))
            VARNEK_LOG(startupLog, info)
                << (info->isSession() ? "Host info : Session" : "Host info : Compute");
    return context_.GetService(reference);
}

} // namespace settings::core::detail
