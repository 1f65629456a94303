#include "settingscore/settings/startup/HostInfoTracker.hpp"

#include "settingscore/plugin/ServiceFramework.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
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
        try {
            if (const auto info = context_.GetService(each)) {
                const bool isSession = info->isSession(); // may throw: before the line is begun
                VARNEK_LOG(startupLog, info) << (isSession ? "Host info : Session" : "Host info : Compute");
            }
        } catch (...) { // the library starts all the same
            VARNEK_LOG(startupLog, error) << "Exception caught: " << causeOfCurrentException();
        }
    return context_.GetService(reference);
}

} // namespace settings::core::detail
