#include "cppmicroservices/ServiceReference.h"
#include "cppmicroservices/ServiceInterface.h"
#include "microservices/FrameworkCore.hpp"

namespace cppmicroservices {
inline namespace varnek_platform {

std::string detail::interfaceId(const std::string& name) {
    return name.starts_with("::") ? name.substr(2) : name;
}

ServiceReferenceBase::ServiceReferenceBase(std::shared_ptr<detail::Registration> registration,
                                           std::string interfaceId) noexcept
    : registration_(std::move(registration)), interfaceId_(std::move(interfaceId)) {}

ServiceReferenceBase::ServiceReferenceBase(const ServiceReferenceBase& other,
                                           const std::string& interfaceId) {
    if (other.registration_ == nullptr || (!interfaceId.empty() && !other.registration_->has(interfaceId)))
        return;
    registration_ = other.registration_;
    interfaceId_ = interfaceId;
}

ServiceReferenceBase::operator bool() const noexcept {
    return registration_ != nullptr && registration_->registered();
}

Any ServiceReferenceBase::GetProperty(const std::string& key) const {
    if (registration_ == nullptr)
        return {};
    const auto properties = registration_->properties();
    const auto found = properties->find(key);
    return found != properties->end() ? found->second : Any();
}

std::vector<std::string> ServiceReferenceBase::GetPropertyKeys() const {
    std::vector<std::string> keys;
    if (registration_ != nullptr)
        for (const auto properties = registration_->properties(); const auto& [key, value] : *properties)
            keys.push_back(key);
    return keys;
}

Bundle ServiceReferenceBase::GetBundle() const {
    return *this ? detail::Handles::bundle(registration_->bundle.lock()) : Bundle();
}

std::vector<Bundle> ServiceReferenceBase::GetUsingBundles() const {
    std::vector<Bundle> bundles;
    if (const auto registering = *this ? registration_->bundle.lock() : nullptr)
        for (const long id : registration_->usingBundles())
            if (auto user = registering->framework.find(id))
                bundles.push_back(detail::Handles::bundle(std::move(user)));
    return bundles;
}

std::string ServiceReferenceBase::GetInterfaceId() const {
    return interfaceId_;
}

std::size_t ServiceReferenceBase::Hash() const noexcept {
    return std::hash<std::shared_ptr<detail::Registration>>()(registration_);
}

bool operator==(const ServiceReferenceBase& a, const ServiceReferenceBase& b) noexcept {
    return a.registration_ == b.registration_;
}

bool operator<(const ServiceReferenceBase& a, const ServiceReferenceBase& b) noexcept {
    if (a.registration_ == nullptr || b.registration_ == nullptr)
        return a.registration_ == nullptr && b.registration_ != nullptr;
    return a.registration_ != b.registration_ && detail::isBetter(*b.registration_, *a.registration_);
}

} // namespace varnek_platform
} // namespace cppmicroservices
