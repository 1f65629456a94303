#include "cppmicroservices/Bundle.h"

#include "microservices/FrameworkCore.hpp"

#include <stdexcept>

namespace cppmicroservices {
inline namespace varnek_platform {

BundleActivator::~BundleActivator() = default;

Bundle::Bundle(std::shared_ptr<detail::BundleCore> core) noexcept : core_(std::move(core)) {}

detail::BundleCore& Bundle::core() const {
    if (core_ == nullptr)
        throw std::invalid_argument("invalid bundle");
    return *core_;
}

bool operator==(const Bundle& a, const Bundle& b) noexcept {
    return a.core_ == b.core_;
}

bool operator<(const Bundle& a, const Bundle& b) noexcept {
    if (a.core_ == nullptr || b.core_ == nullptr)
        return a.core_ == nullptr && b.core_ != nullptr;
    return a.core_->id != b.core_->id ? a.core_->id < b.core_->id : a.core_ < b.core_;
}

Bundle::State Bundle::GetState() const {
    return core().framework.state(core());
}
long Bundle::GetBundleId() const {
    return core().id;
}
std::string Bundle::GetLocation() const {
    return core().location;
}
std::string Bundle::GetSymbolicName() const {
    return core().description.name;
}
BundleVersion Bundle::GetVersion() const {
    return core().description.version;
}
const AnyMap& Bundle::GetHeaders() const {
    return core().description.headers;
}

BundleContext Bundle::GetBundleContext() const {
    auto context = core().framework.context(core());
    return context ? detail::Handles::context(core_, std::move(context)) : BundleContext();
}

std::vector<ServiceReferenceU> Bundle::GetRegisteredServices() const {
    std::vector<ServiceReferenceU> references;
    for (auto& registration : core().framework.registry().ofBundle(core().id))
        references.emplace_back(detail::References::reference(std::move(registration), {}));
    return references;
}

std::vector<ServiceReferenceU> Bundle::GetServicesInUse() const {
    std::vector<ServiceReferenceU> references;
    for (auto& registration : core().framework.registry().find({}))
        if (registration->usedBy(core().id))
            references.emplace_back(detail::References::reference(std::move(registration), {}));
    return references;
}

void Bundle::Start(std::uint32_t /*options*/) {
    if (core().id == 0)
        core().framework.startFramework();
    else
        core().framework.start(core());
}

void Bundle::Stop(std::uint32_t /*options*/) {
    if (core().id == 0)
        core().framework.beginStop();
    else
        core().framework.stop(core());
}

void Bundle::Uninstall() {
    core().framework.uninstall(core());
}

} // namespace varnek_platform
} // namespace cppmicroservices
