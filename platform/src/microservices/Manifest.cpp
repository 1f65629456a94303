#include "microservices/Manifest.hpp"

#include "cppmicroservices/Constants.h"

#include <stdexcept>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace detail {
namespace {

const std::string& textOf(const AnyMap& manifest, const std::string& key) {
    const auto* text = any_cast<std::string>(&manifest.at(key));
    if (text == nullptr)
        throw std::invalid_argument("\"" + key + "\" in the manifest is no text");
    return *text;
}

BundleDescription describeOne(const AnyMap& manifest) {
    BundleDescription description;
    for (const auto& header : manifest)
        if (!description.headers.insert(header).second)
            throw std::invalid_argument("two keys of the manifest differ only in case: \"" + header.first +
                                        "\"");
    if (description.headers.count(Constants::BUNDLE_SYMBOLICNAME) != 0)
        description.name = textOf(description.headers, Constants::BUNDLE_SYMBOLICNAME);
    if (description.name.empty())
        throw std::invalid_argument("\"" + Constants::BUNDLE_SYMBOLICNAME + "\" is missing in the manifest");
    if (description.headers.count(Constants::BUNDLE_VERSION) != 0)
        description.version = BundleVersion(textOf(description.headers, Constants::BUNDLE_VERSION));
    return description;
}

} // namespace

std::vector<BundleDescription> describe(const AnyMap& manifests) {
    std::vector<BundleDescription> descriptions;
    for (const auto& [name, manifest] : manifests) {
        const auto* map = any_cast<AnyMap>(&manifest);
        if (map == nullptr)
            throw std::invalid_argument("the manifest of \"" + name + "\" is no map");
        descriptions.push_back(describeOne(*map));
    }
    return descriptions;
}

} // namespace detail
} // namespace varnek_platform
} // namespace cppmicroservices
