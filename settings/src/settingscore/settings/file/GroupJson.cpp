#include "settingscore/settings/file/GroupJson.hpp"

#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "settingscore/settings/file/FunctionMembers.hpp"
#include "settingscore/settings/file/JsonPath.hpp"
#include "settingscore/settings/file/NameText.hpp"
#include "settingscore/settings/file/SettingsFileKeys.hpp"
#include "settingscore/settings/file/ValidatorJson.hpp"
#include "varnek/files/PathText.hpp"
#include "json/ArrayConversion.hpp"

#include <algorithm>
#include <limits>

namespace settings::core::detail {

using varnek::json::Array;
using varnek::json::Object;
using varnek::json::Value;

bool isReadableName(std::string_view name) {
    return !name.empty() && varnek::files::isUtf8(name);
}

void reportInexactIntegers(const Value& plain, const std::string& path, const FaultSink& fault) {
    if (plain.isInteger() && !(Value(plain.asDouble()) == plain))
        fault(path, "is not exact as a double: write it as a typed value, such as "
                    "{\"qfdata\": 9007199254740993, \"qftype\": \"int64\"}");
    if (const Array* array = plain.ifArray())
        for (std::size_t i = 0; i < array->size(); ++i)
            reportInexactIntegers((*array)[i], elementPath(path, i), fault);
}

// ---- reading ----

namespace {

/// Empty when the member is absent.
std::string readName(const MemberReader& members, std::string_view key) {
    const Value* value = members.find(key);
    if (value == nullptr)
        return {};
    if (!value->isString())
        members.refuse(ReadError::type, key, "must be a string");
    auto name = nameFromJson(*value);
    if (!name)
        members.refuse(ReadError::name, key, "is no name: empty, or half a character");
    return *std::move(name);
}

ReadOnlyState readOnlyState(const MemberReader& members) {
    const auto readOnly = members.boolean(keys::readOnly);
    if (!readOnly)
        return ReadOnlyState::inherited;
    return *readOnly ? ReadOnlyState::readOnly : ReadOnlyState::writable;
}

ShapedArray readValue(const MemberReader& members) {
    const Value* json = members.find(keys::value);
    const bool hasValue = members.boolean(keys::hasValue).value_or(json != nullptr);
    if (!hasValue)
        return {};
    if (json == nullptr)
        members.refuse(ReadError::structure, keys::value, "is missing, though there is said to be one");
    // Always typed in our own files; plain JSON that loses nothing is as good.
    const bool isTyped = varnek::json::isTyped(*json);
    varnek::data::Array array;
    try {
        array = isTyped ? varnek::json::fromTyped(*json) : varnek::json::fromPlain(*json);
    } catch (const varnek::json::ConversionError& failure) {
        members.place().refuse(static_cast<ReadError>(failure.code()),
                               members.pathOf(keys::value) + failure.path().substr(1), failure.detail());
    }
    if (!isTyped)
        reportInexactIntegers(*json, members.pathOf(keys::value),
                              [&members](const std::string& path, const std::string& rule) {
                                  members.place().refuse(ReadError::numberRange, path, rule);
                              });
    if (!settingscore::boostany::isSupportedArray(array))
        members.refuse(ReadError::type, keys::value,
                       "no setting can hold a value of class \"" + settingscore::boostany::typeName(array) +
                           "\"");
    const bool isVector =
        members.boolean(keys::isVector).value_or(settingscore::boostany::isVectorShape(array));
    return {std::move(array), isVector};
}

/// Takes a member out of the attributes that has a meaning of its own.
std::optional<Value> takeAttribute(Object& attributes, std::string_view key) {
    Value* found = attributes.find(key);
    if (found == nullptr)
        return std::nullopt;
    Value value = std::move(*found);
    attributes.erase(key);
    return value;
}

bool takeUserDefined(const MemberReader& members, NodeDefinition& definition) {
    const auto value = takeAttribute(definition.attributes, keys::isUserDefined);
    if (value && value->kind() != varnek::json::Kind::boolean)
        members.refuse(ReadError::type,
                       std::string(keys::attributes) + "." + std::string(keys::isUserDefined),
                       "must be true or false");
    return value && value->asBool();
}

/// Anything but a whole number of 32 bits is an attribute like any other.
std::optional<std::uint32_t> takeVersion(NodeDefinition& definition) {
    const Value* found = definition.attributes.find(keys::versionNumber);
    if (found == nullptr || !found->isInteger() || found->asDouble() < 0 ||
        found->asDouble() > std::numeric_limits<std::uint32_t>::max())
        return std::nullopt;
    const auto version = static_cast<std::uint32_t>(found->asUint64());
    definition.attributes.erase(keys::versionNumber);
    return version;
}

void takeAlias(const MemberReader& members, NodeDefinition& definition) {
    const auto value = takeAttribute(definition.attributes, keys::aliasName);
    if (value && !value->isString())
        members.refuse(ReadError::type, std::string(keys::attributes) + "." + std::string(keys::aliasName),
                       "must be a string");
    if (value)
        definition.aliasName = value->asString();
}

/// Null for a definition that says nothing.
std::unique_ptr<NodeDefinition> keep(NodeDefinition definition) {
    return definition.isEmpty() ? nullptr : std::make_unique<NodeDefinition>(std::move(definition));
}

/// Raises the first fault as the failure of the file.
FaultSink faultsOf(const MemberReader& members) {
    return [&members](const std::string& path, const std::string& rule) {
        members.place().refuse(ReadError::type, path, rule);
    };
}

void sortByName(GroupRecord& group, const MemberReader& members) {
    auto& settings = group.settings;
    const auto byName = [](const SettingRecord& a, const SettingRecord& b) { return a.name < b.name; };
    if (!std::is_sorted(settings.begin(), settings.end(), byName))
        std::sort(settings.begin(), settings.end(), byName);
    const auto twin = std::adjacent_find(settings.begin(), settings.end(),
                                         [](const auto& a, const auto& b) { return a.name == b.name; });
    if (twin != settings.end())
        members.refuse(ReadError::structure, keys::settings, "holds \"" + twin->name + "\" twice");
}

} // namespace

void GroupReader::readFunctions(const MemberReader& members, NodeDefinition& definition) {
    if (!hasFunctionMembers(members.object()))
        return;
    if (use_ == FileUse::factory) {
        FunctionMembers functions = readFunctionMembers(members.object(), members.path(), faultsOf(members));
        definition.validator = std::move(functions.validator);
        definition.factoryValueFcn = std::move(functions.runTimeDefault);
    } else if (!std::exchange(warned_, true)) {
        VARNEK_LOG(fileLog, warning) << "functions are ignored in a file that is no factory file: "
                                     << members.place().file.string() << ", part " << members.place().part
                                     << ", " << members.path();
    }
}

NodeDefinition GroupReader::readDefinition(const MemberReader& members) {
    NodeDefinition definition;
    if (const Object* attributes = members.object(keys::attributes))
        definition.attributes = *attributes;
    readFunctions(members, definition);
    return definition;
}

void GroupReader::readSettingDefinition(const MemberReader& members, SettingRecord& setting) {
    const Value* validators = members.find(keys::settingValueValidator);
    if (validators == nullptr && !members.object().contains(keys::attributes) &&
        !hasFunctionMembers(members.object()))
        return; // most settings
    NodeDefinition definition = readDefinition(members);
    takeAlias(members, definition);
    if (validators != nullptr)
        definition.multiCheckValueValidators =
            readValidators(*validators, members.pathOf(keys::settingValueValidator), faultsOf(members));
    setting.definition = keep(std::move(definition));
}

SettingRecord GroupReader::readSetting(const MemberReader& members) {
    SettingRecord setting;
    setting.name = readName(members, keys::name);
    if (setting.name.empty())
        members.refuse(ReadError::name, keys::name, "is missing");
    setting.value = readValue(members);
    setting.readOnly = readOnlyState(members);
    setting.visible = members.boolean(keys::visible).value_or(true);
    setting.isUserDefined = members.boolean(keys::isUserDefined).value_or(false) && use_ != FileUse::factory;
    readSettingDefinition(members, setting);
    return setting;
}

GroupRecord GroupReader::read(const Object& json, const FilePlace& place) {
    const MemberReader members(json, "$", place);
    GroupRecord group;
    group.name = readName(members, keys::groupName);
    group.readOnly = readOnlyState(members);
    group.visible = members.boolean(keys::visible).value_or(true);
    NodeDefinition definition = readDefinition(members);
    definition.hasAdditionalFile = members.boolean(keys::hasAdditionalFile).value_or(false);
    group.isUserDefined = takeUserDefined(members, definition) && use_ != FileUse::factory;
    if (use_ == FileUse::factory)
        group.version = takeVersion(definition);
    group.definition = keep(std::move(definition));
    const Array* settings = members.array(keys::settings);
    if (settings == nullptr)
        return group;
    const std::string path = members.pathOf(keys::settings);
    group.settings.reserve(settings->size());
    for (std::size_t i = 0; i < settings->size(); ++i) {
        const Object* setting = (*settings)[i].ifObject();
        if (setting == nullptr)
            place.refuse(ReadError::type, path + "[" + std::to_string(i) + "]", "must be an object");
        group.settings.push_back(readSetting({*setting, path, place, i}));
    }
    sortByName(group, members);
    return group;
}

// ---- writing ----

namespace {

void writeReadOnly(ReadOnlyState state, Object& json) {
    if (state != ReadOnlyState::inherited)
        json.set(keys::readOnly, state == ReadOnlyState::readOnly);
}

Object writeSetting(const SettingRecord& setting, LevelIndex level) {
    Object json;
    const bool hasValue = !setting.value.first.isVoid();
    json.set(keys::hasValue, hasValue);
    json.set(keys::isUserDefined, setting.isUserDefined);
    json.set(keys::isVector, hasValue && setting.value.second);
    json.set(keys::name, nameToJson(setting.name));
    // Never destroyed: files are written while the process ends.
    static const auto& empty = *new auto(varnek::data::Array::make<double>({0, 0}, {}));
    json.set(keys::value, varnek::json::toTyped(hasValue ? setting.value.first : empty));
    if (level != LevelIndex::factory && !setting.isUserDefined)
        return json; // the factory file defines the rest
    json.set(keys::visible, setting.visible);
    writeReadOnly(setting.readOnly, json);
    if (setting.definition == nullptr)
        return json;
    const NodeDefinition& definition = *setting.definition;
    Object attributes = definition.attributes;
    if (!definition.aliasName.empty())
        attributes.set(keys::aliasName, definition.aliasName);
    if (!attributes.empty())
        json.set(keys::attributes, std::move(attributes));
    if (!definition.multiCheckValueValidators.empty())
        json.set(keys::settingValueValidator, writeValidators(definition.multiCheckValueValidators));
    if (level == LevelIndex::factory)
        writeFunctionMembers({definition.validator, definition.factoryValueFcn}, json);
    return json;
}

void writeGroupDefinition(const GroupRecord& group, LevelIndex level, Object& json) {
    static const auto& none = *new NodeDefinition; // never destroyed, as above
    const NodeDefinition& definition = group.definition == nullptr ? none : *group.definition;
    json.set(keys::language, languageOf(definition.validator));
    if (level != LevelIndex::factory && !group.isUserDefined)
        return;
    json.set(keys::visible, group.visible);
    Object attributes = definition.attributes;
    if (group.isUserDefined)
        attributes.set(keys::isUserDefined, true);
    if (group.version && level == LevelIndex::factory)
        attributes.set(keys::versionNumber, *group.version);
    if (!attributes.empty())
        json.set(keys::attributes, std::move(attributes));
    if (level != LevelIndex::factory)
        return;
    json.set(keys::hasAdditionalFile, definition.hasAdditionalFile);
    writeFunctionMembers({definition.validator, {}}, json);
}

} // namespace

Object writeGroup(const GroupRecord& group, const std::string& fullName, LevelIndex level) {
    Object json;
    json.set(keys::path, nameToJson(fullName));
    json.set(keys::groupName, nameToJson(group.name));
    writeReadOnly(group.readOnly, json);
    writeGroupDefinition(group, level, json);
    Array settings;
    settings.reserve(group.settings.size());
    for (const SettingRecord& setting : group.settings)
        settings.push_back(writeSetting(setting, level));
    json.set(keys::settings, std::move(settings));
    return json;
}

} // namespace settings::core::detail
