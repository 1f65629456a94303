/// What is known of the bundles of a library before it is loaded.
#pragma once

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/BundleVersion.h"

#include <string>
#include <vector>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace detail {

/// What one manifest says.
struct BundleDescription {
    std::string name;
    BundleVersion version{0, 0, 0};
    AnyMap headers{any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS};
};

/// Throws std::invalid_argument for a manifest that is none.
std::vector<BundleDescription> describe(const AnyMap& manifests);

} // namespace detail
} // namespace varnek_platform
} // namespace cppmicroservices
