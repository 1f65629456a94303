#include "microservices/Manifest.hpp"

#include "cppmicroservices/Constants.h"
#include "varnek/files/FileAccess.hpp"
#include "json/Parser.hpp"

#include <cstdint>
#include <limits>
#include <stdexcept>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace detail {
namespace {

namespace json = varnek::json;

constexpr std::uint64_t maxManifestSize = 1u << 20;

Any anyOf(const json::Value& value);

AnyMap mapOf(const json::Object& object) {
    AnyMap map(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    for (const json::Member& member : object)
        if (!map.emplace(std::string(member.key.view()), anyOf(member.value)).second)
            throw std::invalid_argument("two keys differ only in case: \"" + std::string(member.key.view()) +
                                        "\"");
    return map;
}

Any numberOf(const json::Value& value) {
    const double number = value.asDouble();
    const bool fits = number >= std::numeric_limits<int>::min() && number <= std::numeric_limits<int>::max();
    return value.isInteger() && fits ? Any(static_cast<int>(value.asInt64())) : Any(number);
}

Any anyOf(const json::Value& value) {
    if (value.isString())
        return std::string(value.asString());
    if (value.isNumber())
        return numberOf(value);
    if (const json::Object* object = value.ifObject())
        return mapOf(*object);
    if (const json::Array* array = value.ifArray()) {
        std::vector<Any> elements;
        for (const json::Value& element : *array)
            elements.push_back(anyOf(element));
        return elements;
    }
    return value.isNull() ? Any() : Any(value.asBool());
}

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

AnyMap readManifests(const std::filesystem::path& library) {
    const std::filesystem::path file = library.native() + ".json";
    if (!std::filesystem::exists(file))
        throw std::runtime_error("it has no manifest: none was passed and \"" + file.native() +
                                 "\" does not exist (manifests inside of libraries are not read)");
    AnyMap content = mapOf(json::parseObject(varnek::files::readFile(file, maxManifestSize)));
    if (content.count(Constants::BUNDLE_SYMBOLICNAME) == 0)
        return content;
    AnyMap manifests(any_map::UNORDERED_MAP);
    manifests.emplace(textOf(content, Constants::BUNDLE_SYMBOLICNAME), content);
    return manifests;
}

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
