#include "settingscore/factoryfile/DefinitionMembers.hpp"

#include "settingscore/settings/file/JsonPath.hpp"

#include <algorithm>

namespace settings::core::detail {

using varnek::json::Array;
using varnek::json::Object;
using varnek::json::Value;

std::string DefinitionMembers::pathOf(std::string_view key) const {
    return memberPath(path_, key);
}

void DefinitionMembers::allowOnly(std::initializer_list<std::string_view> keys, std::string_view what) const {
    for (const auto& member : object_)
        if (std::find(keys.begin(), keys.end(), member.key.view()) == keys.end())
            reportMember(member.key, "is not a member of " + std::string(what));
}

std::optional<bool> DefinitionMembers::boolean(std::string_view key) const {
    const Value* value = find(key);
    if (value == nullptr)
        return std::nullopt;
    if (value->kind() == varnek::json::Kind::boolean)
        return value->asBool();
    reportMember(key, "must be true or false");
    return std::nullopt;
}

std::optional<std::string> DefinitionMembers::string(std::string_view key) const {
    const Value* value = find(key);
    if (value == nullptr)
        return std::nullopt;
    if (value->isString())
        return std::string(value->asString());
    reportMember(key, "must be a string");
    return std::nullopt;
}

const Object* DefinitionMembers::object(std::string_view key) const {
    const Value* value = find(key);
    if (value != nullptr && !value->isObject())
        reportMember(key, "must be an object");
    return value == nullptr ? nullptr : value->ifObject();
}

const Array* DefinitionMembers::array(std::string_view key) const {
    const Value* value = find(key);
    if (value != nullptr && !value->isArray())
        reportMember(key, "must be an array");
    return value == nullptr ? nullptr : value->ifArray();
}

std::vector<std::string> DefinitionMembers::strings(std::string_view key) const {
    std::vector<std::string> texts;
    const Array* all = array(key);
    for (std::size_t i = 0; all != nullptr && i < all->size(); ++i) {
        if ((*all)[i].isString() && !(*all)[i].asString().empty())
            texts.emplace_back((*all)[i].asString());
        else
            report(elementPath(pathOf(key), i), "must be a string that is not empty");
    }
    return texts;
}

void DefinitionMembers::forEach(std::string_view key,
                                const std::function<void(const DefinitionMembers&)>& use) const {
    const Array* all = array(key);
    for (std::size_t i = 0; all != nullptr && i < all->size(); ++i) {
        const std::string place = elementPath(pathOf(key), i);
        if (const Object* element = (*all)[i].ifObject())
            use(DefinitionMembers(*element, place, faults_));
        else
            report(place, "must be an object");
    }
}

} // namespace settings::core::detail
