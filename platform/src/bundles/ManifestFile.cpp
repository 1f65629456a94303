#include "varnek/bundles/ManifestFile.hpp"

#include "cppmicroservices/Constants.h"
#include "varnek/files/FileAccess.hpp"
#include "json/Parser.hpp"

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace varnek::bundles {
namespace {

using namespace cppmicroservices;

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

} // namespace

std::filesystem::path manifestFile(const std::filesystem::path& library) {
    return library.native() + ".json";
}

AnyMap readManifests(const std::filesystem::path& library) {
    const std::filesystem::path file = manifestFile(library);
    if (!std::filesystem::exists(file))
        throw std::runtime_error("it has no manifest: none was passed and \"" + file.native() +
                                 "\" does not exist (manifests inside of libraries are not read)");
    AnyMap content = mapOf(json::parseObject(varnek::files::readFile(file, maxManifestSize)));
    if (content.count(Constants::BUNDLE_SYMBOLICNAME) == 0)
        return content;
    const Any& name = content.at(Constants::BUNDLE_SYMBOLICNAME);
    AnyMap manifests(any_map::UNORDERED_MAP);
    manifests.emplace(name.Type() == typeid(std::string) ? any_cast<std::string>(name) : std::string(),
                      content); // the framework refuses a name that is no text
    return manifests;
}

} // namespace varnek::bundles
