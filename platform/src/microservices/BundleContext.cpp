#include "cppmicroservices/BundleContext.h"

#include "cppmicroservices/LDAPFilter.h"
#include "microservices/FrameworkCore.hpp"

#include <stdexcept>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace {

std::vector<Bundle> handlesOf(std::vector<detail::BundleHandle> cores) {
    std::vector<Bundle> bundles;
    for (auto& core : cores)
        bundles.push_back(detail::Handles::bundle(std::move(core)));
    return bundles;
}

} // namespace

BundleContext::BundleContext(std::shared_ptr<detail::BundleCore> bundle,
                             std::shared_ptr<detail::ContextState> state) noexcept
    : bundle_(std::move(bundle)), state_(std::move(state)) {}

BundleContext::operator bool() const noexcept {
    return state_ != nullptr && state_->valid;
}

bool operator==(const BundleContext& a, const BundleContext& b) noexcept {
    return a.state_ == b.state_;
}
bool operator<(const BundleContext& a, const BundleContext& b) noexcept {
    return a.state_ < b.state_;
}

detail::BundleCore& BundleContext::valid() const {
    if (!*this)
        throw IllegalStateException("The bundle context is no longer valid");
    return *bundle_;
}

Any BundleContext::GetProperty(const std::string& key) const {
    return valid().framework.property(key);
}

Bundle BundleContext::GetBundle() const {
    valid();
    return detail::Handles::bundle(bundle_);
}

Bundle BundleContext::GetBundle(long id) const {
    return detail::Handles::bundle(valid().framework.find(id));
}

std::vector<Bundle> BundleContext::GetBundles() const {
    return handlesOf(valid().framework.bundles());
}

std::vector<Bundle> BundleContext::GetBundles(const std::string& location) const {
    return handlesOf(valid().framework.bundlesAt(location));
}

std::vector<Bundle> BundleContext::InstallBundles(const std::string& location, const AnyMap& manifests) {
    return handlesOf(valid().framework.install(location, manifests));
}

ServiceRegistrationBase BundleContext::registerService(const InterfaceMapConstPtr& service,
                                                       const ServiceProperties& properties) {
    return ServiceRegistrationBase(valid().framework.registry().add(bundle_, *state_, service, properties));
}

ServiceReferenceBase BundleContext::best(const std::string& interfaceId) const {
    auto found = valid().framework.registry().find(interfaceId);
    return found.empty() ? ServiceReferenceBase()
                         : detail::References::reference(std::move(found.front()), interfaceId);
}

std::vector<ServiceReferenceU> BundleContext::GetServiceReferences(const std::string& interfaceId,
                                                                   const std::string& filter) {
    const auto condition = filter.empty() ? LDAPFilter() : LDAPFilter(filter);
    std::vector<ServiceReferenceU> references;
    for (auto& registration : valid().framework.registry().find(interfaceId))
        if (filter.empty() || condition.Match(*registration->properties()))
            references.emplace_back(detail::References::reference(std::move(registration), {}));
    return references;
}

InterfaceMapConstPtr BundleContext::GetService(const ServiceReferenceU& reference) {
    valid();
    const auto& registration = detail::References::registration(reference);
    if (registration == nullptr)
        throw std::invalid_argument(
            "Default constructed ServiceReference is not a valid input to GetService()");
    const auto services = registration->services();
    if (services == nullptr)
        return nullptr;
    const auto inUse = std::make_shared<InterfaceMap>();
    for (const auto& [name, service] : *services)
        if (auto used = registration->use(name, state_))
            inUse->emplace(name, std::move(used));
    return inUse->empty() ? nullptr : inUse;
}

ListenerToken BundleContext::AddServiceListener(const ServiceListener& listener, const std::string& filter) {
    auto condition = filter.empty() ? LDAPFilter() : LDAPFilter(filter);
    return valid().framework.listeners().add(state_, listener, std::move(condition));
}

ListenerToken BundleContext::AddBundleListener(const BundleListener& listener) {
    return valid().framework.listeners().add(state_, listener);
}

ListenerToken BundleContext::AddFrameworkListener(const FrameworkListener& listener) {
    return valid().framework.listeners().add(state_, listener);
}

void BundleContext::RemoveListener(ListenerToken token) {
    valid().framework.listeners().remove(*state_, token, true);
}

std::shared_ptr<void> BundleContext::service(const ServiceReferenceBase& reference) const {
    valid();
    const auto& registration = detail::References::registration(reference);
    if (registration == nullptr)
        throw std::invalid_argument(
            "Default constructed ServiceReference is not a valid input to GetService()");
    return registration->use(reference.GetInterfaceId(), state_);
}

} // namespace varnek_platform
} // namespace cppmicroservices
