#include "settingscore/factoryfile/DefinitionDocument.hpp"

#include "settingscore/factoryfile/DefinitionKeys.hpp"
#include "settingscore/factoryfile/DefinitionMembers.hpp"
#include "settingscore/factoryfile/DefinitionSetting.hpp"
#include "settingscore/factoryfile/DefinitionUpgraders.hpp"
#include "settingscore/factoryfile/InexactIntegers.hpp"
#include "settingscore/settings/file/SettingsFileKeys.hpp"
#include "json/ArrayConversion.hpp"
#include "json/ParseError.hpp"
#include "json/Parser.hpp"

#include <algorithm>
#include <map>

namespace settings::core::detail {

using varnek::json::Value;
using varnek::settings::InvalidDefinition;

namespace {

/// Where the child with a name was met.
using TakenNames = std::map<std::string, const char*, std::less<>>;

void checkIsNew(const std::string& name, const char* what, const DefinitionMembers& members,
                std::string_view nameKey, TakenNames& taken) {
    if (name.empty())
        return; // reported already
    const auto [known, isNew] = taken.emplace(name, what);
    if (!isNew)
        members.reportMember(nameKey, "names " + std::string(what) + " \"" + name +
                                          "\", but the group has a " + known->second +
                                          " of that name already");
}

GroupRecord readGroup(const DefinitionMembers& members, const std::string& parentName, bool isTop) {
    GroupRecord group;
    if (isTop)
        members.allowOnly({keys::schemaReference, keys::groupName, keys::visible, keys::readOnly,
                           keys::attributes, keys::settings, keys::groups, keys::upgraders,
                           keys::hasAdditionalFile, keys::language, keys::packageName, keys::functionName,
                           keys::validationFcn},
                          "the top-level group");
    else
        members.allowOnly({keys::groupName, keys::visible, keys::readOnly, keys::attributes, keys::settings,
                           keys::groups, keys::hasAdditionalFile, keys::language, keys::packageName,
                           keys::functionName, keys::validationFcn},
                          "a group");
    group.name = readDefinedName(members, keys::groupName, parentName, isTop);
    group.readOnly = readDefinedReadOnly(members);
    group.visible = members.boolean(keys::visible).value_or(true);
    group.definition = readGroupDefinition(members);

    const std::string fullName = isTop ? group.name : parentName + "." + group.name;
    TakenNames taken;
    members.forEach(keys::settings, [&](const DefinitionMembers& each) {
        group.settings.push_back(readDefinedSetting(each, fullName));
        checkIsNew(group.settings.back().name, "setting", each, keys::name, taken);
    });
    members.forEach(keys::groups, [&](const DefinitionMembers& each) {
        group.groups.push_back(readGroup(each, fullName, false));
        checkIsNew(group.groups.back().name, "group", each, keys::groupName, taken);
    });
    const auto byName = [](const auto& a, const auto& b) { return a.name < b.name; };
    std::sort(group.settings.begin(), group.settings.end(), byName);
    std::sort(group.groups.begin(), group.groups.end(), byName);
    return group;
}

/// "line 3, column 7", counted from 1 in characters of UTF-8.
std::string placeIn(std::string_view text, std::size_t offset) {
    const std::string_view before = text.substr(0, offset);
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    const std::string_view lastLine = before.substr(before.rfind('\n') + 1); // npos + 1 is 0
    const auto column = 1 + std::count_if(lastLine.begin(), lastLine.end(), [](char c) {
                            return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
                        });
    return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

/// Beyond 64 bits the parsed number no longer tells what was written.
void reportLargeIntegers(std::string_view text, DefinitionFaults& faults) {
    const std::string typedData = "." + std::string(varnek::json::typedDataKey);
    for (const auto& number : varnek::settings::inexactIntegers(text)) {
        const bool isTyped =
            number.path.substr(0, number.path.find_last_not_of("[]0123456789") + 1).ends_with(typedData);
        const bool isKnown = std::any_of(faults.begin(), faults.end(),
                                         [&](const auto& fault) { return fault.path == number.path; });
        if (!isTyped && !isKnown && !varnek::json::parse(number.digits).isInteger())
            faults.push_back({number.path, "is not exact as a double: " + number.digits + " would become " +
                                               number.asDouble});
    }
}

SettingsFileContent readDocument(const Value& json, std::string_view text, const std::string& file) {
    DefinitionFaults faults;
    SettingsFileContent content;
    if (const varnek::json::Object* object = json.ifObject()) {
        const DefinitionMembers members(*object, "$", faults);
        members.string(keys::schemaReference);
        content.tree = readGroup(members, {}, true);
        content.upgraders = readDefinedUpgraders(members);
    } else {
        faults.push_back({"$", "must be an object"});
    }
    reportLargeIntegers(text, faults);
    if (!faults.empty())
        throw InvalidDefinition(file, std::move(faults));
    return content;
}

} // namespace

SettingsFileContent readDefinitionDocument(std::string_view text, const std::string& file) {
    if (text.starts_with("\xEF\xBB\xBF"))
        throw InvalidDefinition(file, {{"$", "starts with a byte-order mark: save it as UTF-8 without one"}});
    if (text.starts_with("PK\x03\x04"))
        throw InvalidDefinition(file, {{"$", "is a settings file, no definition document"}});
    try {
        return readDocument(varnek::json::parse(text), text, file);
    } catch (const varnek::json::ParseError& error) {
        throw InvalidDefinition(file,
                                {{error.path(), std::string(varnek::json::failureText(error.failure())) +
                                                    " (" + placeIn(text, error.offset()) + ")"}});
    }
}

} // namespace settings::core::detail
