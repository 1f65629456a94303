#include "settingscore/plugin/ServiceFramework.hpp"

#include "cppmicroservices/Framework.h"
#include "cppmicroservices/FrameworkFactory.h"

#include <mutex>
#include <utility>

namespace settings::core {

namespace {

std::mutex functionMutex; // rank "service context"

ServiceContextFunction& contextFunction() {
    static auto* const function = new ServiceContextFunction; // outlives every thread
    return *function;
}

/// Never stopped: services may be used until the process ends.
cppmicroservices::BundleContext ownContext() {
    static auto* const framework = [] {
        auto* made = new cppmicroservices::Framework(cppmicroservices::FrameworkFactory().NewFramework());
        made->Start();
        return made;
    }();
    return framework->GetBundleContext();
}

} // namespace

cppmicroservices::BundleContext serviceContext() {
    ServiceContextFunction function;
    {
        const std::lock_guard lock(functionMutex);
        function = contextFunction();
    }
    return function ? function() : ownContext();
}

ServiceContextFunction setServiceContext(ServiceContextFunction function) {
    const std::lock_guard lock(functionMutex);
    return std::exchange(contextFunction(), std::move(function));
}

} // namespace settings::core
