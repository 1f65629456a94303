#include "cppmicroservices/LDAPFilter.h"

#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/ServiceReferenceBase.h"
#include "microservices/FilterNode.hpp"

namespace cppmicroservices {
inline namespace varnek_platform {

LDAPFilter::LDAPFilter(const std::string& filter)
    : root_(std::make_shared<const detail::FilterNode>(detail::parseFilter(filter))) {}

bool LDAPFilter::Match(const AnyMap& properties) const {
    if (root_ == nullptr)
        return false;
    if (properties.GetType() == any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS)
        return detail::matches(*root_, properties, false);
    AnyMap caseless(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    for (const auto& property : properties)
        caseless.insert(property);
    return detail::matches(*root_, caseless, false);
}

bool LDAPFilter::Match(const ServiceReferenceBase& reference) const {
    AnyMap properties(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    for (const std::string& key : reference.GetPropertyKeys())
        properties.emplace(key, reference.GetProperty(key));
    return Match(properties);
}

bool LDAPFilter::Match(const Bundle& bundle) const {
    return Match(bundle.GetHeaders());
}

bool LDAPFilter::MatchCase(const AnyMap& properties) const {
    return root_ != nullptr && detail::matches(*root_, properties, true);
}

std::string LDAPFilter::ToString() const {
    return root_ != nullptr ? detail::filterText(*root_) : std::string();
}

bool operator==(const LDAPFilter& a, const LDAPFilter& b) {
    return a.ToString() == b.ToString();
}

} // namespace varnek_platform
} // namespace cppmicroservices
