#include "cppmicroservices/Framework.h"

#include "cppmicroservices/FrameworkFactory.h"
#include "microservices/FrameworkCore.hpp"

#include <stdexcept>

namespace cppmicroservices {
inline namespace varnek_platform {

Framework::Framework(const Bundle& bundle) : Bundle(bundle) {
    if (GetBundleId() != 0)
        throw std::logic_error("the bundle " + GetSymbolicName() + " is no framework");
}

void Framework::Init() {
    core().framework.init();
}

FrameworkEvent Framework::waitForStop(std::chrono::milliseconds timeout) {
    return core().framework.waitForStop(timeout);
}

Framework FrameworkFactory::NewFramework() {
    return NewFramework({});
}

Framework FrameworkFactory::NewFramework(const FrameworkConfiguration& configuration, std::ostream* log) {
    const auto core = std::make_shared<detail::FrameworkCore>(configuration, log);
    return Framework(detail::Handles::bundle(core->handle(core->systemBundle())));
}

} // namespace varnek_platform
} // namespace cppmicroservices
