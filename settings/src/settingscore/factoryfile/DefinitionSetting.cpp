#include "settingscore/factoryfile/DefinitionSetting.hpp"

#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/factoryfile/ValueCheck.hpp"
#include "settingscore/settings/file/FunctionMembers.hpp"
#include "settingscore/settings/file/GroupJson.hpp"
#include "settingscore/settings/file/JsonPath.hpp"
#include "settingscore/settings/file/SettingsFileKeys.hpp"
#include "settingscore/settings/file/ValidatorJson.hpp"
#include "settingscore/settings/node/NodeNames.hpp"
#include "varnek/files/PathText.hpp"
#include "json/ArrayConversion.hpp"

#include <boost/variant/apply_visitor.hpp>
#include <boost/variant/static_visitor.hpp>

namespace settings::core::detail {

using varnek::json::Object;
using varnek::json::Value;

namespace {

FaultSink sinkOf(const DefinitionMembers& members) {
    return [&members](const std::string& path, const std::string& rule) { members.report(path, rule); };
}

// ---- attributes

Object readAttributes(const DefinitionMembers& members) {
    const Object* attributes = members.object(keys::attributes);
    if (attributes == nullptr)
        return {};
    const std::string path = members.pathOf(keys::attributes);
    for (const std::string_view key : {keys::attributeTitle, keys::attributeDescription})
        if (const Value* text = attributes->find(key); text != nullptr && !text->isString())
            members.report(memberPath(path, key), "must be a string");
    if (attributes->contains(keys::isUserDefined))
        members.report(memberPath(path, keys::isUserDefined), "is reserved for what users add");
    return *attributes;
}

void takeAlias(const DefinitionMembers& members, const std::string& fullName, NodeDefinition& definition) {
    const Value* alias = definition.attributes.find(keys::aliasName);
    if (alias == nullptr)
        return;
    const std::string path = memberPath(members.pathOf(keys::attributes), keys::aliasName);
    if (!alias->isString() || alias->asString().empty()) {
        members.report(path, "must be the full name of a setting");
        return;
    }
    definition.aliasName = alias->asString();
    definition.attributes.erase(keys::aliasName);
    if (definition.aliasName == fullName)
        members.report(path, "is the name of the setting itself");
}

// ---- functions

struct HasPackage : boost::static_visitor<bool> {
    bool operator()(boost::blank) const { return true; }
    bool operator()(const FunctionName& function) const { return !function.getPackageName().empty(); }
};

bool hasLanguage(const DefinitionMembers& members) {
    if (members.find(keys::language) == nullptr) {
        members.reportMember(keys::language, "is missing");
        return false;
    }
    const auto language = members.string(keys::language);
    if (language == keys::languageM || language == keys::languageJ || language == keys::languageC)
        return true;
    if (language)
        members.reportMember(keys::language, "must be \"" + std::string(keys::languageM) + "\", \"" +
                                                 std::string(keys::languageJ) + "\" or \"" +
                                                 std::string(keys::languageC) + "\"");
    return false;
}

/// Whether the names of the functions can be read.
bool hasFunctionNames(const DefinitionMembers& members) {
    bool sound = true;
    bool any = false;
    for (const std::string_view key : {keys::functionName, keys::validationFcn, keys::runtimeDefaultFcn}) {
        if (members.find(key) == nullptr)
            continue;
        any = true;
        const auto name = members.string(key);
        if (name == "")
            members.reportMember(key, "must not be empty");
        sound = sound && name && !name->empty();
    }
    if (!any)
        members.report(members.path(), "names a language or a package, but no function");
    return sound && any;
}

void readFunctions(const DefinitionMembers& members, NodeDefinition& definition) {
    if (!hasFunctionMembers(members.object()) && members.find(keys::language) == nullptr)
        return;
    const bool namesAreSound = hasFunctionNames(members);
    const bool packageIsSound =
        members.find(keys::packageName) == nullptr || members.string(keys::packageName);
    if (!hasLanguage(members) || !namesAreSound || !packageIsSound)
        return;
    FunctionMembers functions = readFunctionMembers(members.object(), members.path(), sinkOf(members));
    if (!boost::apply_visitor(HasPackage(), functions.validator) ||
        !boost::apply_visitor(HasPackage(), functions.runTimeDefault))
        members.reportMember(keys::packageName, "must name the package of the function");
    definition.validator = std::move(functions.validator);
    definition.factoryValueFcn = std::move(functions.runTimeDefault);
}

// ---- values

/// What keeps a setting from holding a value whose class alone would do.
const char* restriction(varnek::data::TypeCode type) {
    using varnek::data::TypeCode;
    if (type == TypeCode::complexFloat64 || type == TypeCode::complexFloat32)
        return " (complex)";
    return type == TypeCode::cell ? " (of anything but texts)" : "";
}

ShapedArray readValue(const DefinitionMembers& members) {
    const auto isVector = members.boolean(keys::isVector);
    const Value* json = members.find(keys::value);
    if (json == nullptr) {
        if (isVector)
            members.reportMember(keys::isVector, "needs a value");
        return {};
    }
    const std::string path = members.pathOf(keys::value);
    const bool typed = varnek::json::isTyped(*json);
    varnek::data::Array array;
    try {
        array = typed ? varnek::json::fromTyped(*json, path) : varnek::json::fromPlain(*json, path);
    } catch (const varnek::json::ConversionError& failure) {
        members.report(failure.path(), failure.detail());
        return {};
    }
    if (!typed)
        reportInexactIntegers(*json, path, sinkOf(members));
    if (!settingscore::boostany::isSupportedArray(array)) {
        members.report(path, "no setting can hold a value of class \"" +
                                 settingscore::boostany::typeName(array) + "\"" + restriction(array.type()));
        return {};
    }
    const bool severalElements = settingscore::boostany::isVectorShape(array);
    if (isVector == false && severalElements)
        members.reportMember(keys::isVector, "must not be false: the value has " +
                                                 std::to_string(array.numberOfElements()) + " elements");
    const Value& written = typed ? json->asObject().at(varnek::json::typedDataKey) : *json;
    return {std::move(array), isVector.value_or(severalElements || written.isArray())};
}

void readValidation(const DefinitionMembers& members, const ShapedArray& value, NodeDefinition& definition) {
    const Value* json = members.find(keys::settingValueValidator);
    if (json == nullptr)
        return;
    const std::string path = members.pathOf(keys::settingValueValidator);
    bool readable = true;
    definition.multiCheckValueValidators =
        readValidators(*json, path, [&](const std::string& place, const std::string& rule) {
            readable = false;
            members.report(place, rule);
        });
    if (!readable)
        return;
    reportContradictions(definition.multiCheckValueValidators, path, json->isArray(), sinkOf(members));
    if (value.first.isVoid())
        return;
    if (const auto refusal = refusalOf(definition.multiCheckValueValidators, value.first))
        members.reportMember(keys::value, *refusal);
}

} // namespace

std::string readDefinedName(const DefinitionMembers& members, std::string_view key,
                            const std::string& parentName, bool isTop) {
    if (members.find(key) == nullptr) {
        members.reportMember(key, "is missing");
        return {};
    }
    const auto name = members.string(key);
    if (!name)
        return {};
    if (name->empty())
        members.reportMember(key, "must not be empty");
    else if (!varnek::files::isUtf8(*name))
        members.reportMember(key, "must be a text of whole characters");
    else if (!isAcceptableName(*name, parentName, isTop))
        members.reportMember(key, "is too long for the names of files");
    else
        return *name;
    return {};
}

ReadOnlyState readDefinedReadOnly(const DefinitionMembers& members) {
    const auto readOnly = members.boolean(keys::readOnly);
    if (!readOnly)
        return ReadOnlyState::inherited;
    return *readOnly ? ReadOnlyState::readOnly : ReadOnlyState::writable;
}

std::unique_ptr<NodeDefinition> readGroupDefinition(const DefinitionMembers& members) {
    auto definition = std::make_unique<NodeDefinition>();
    definition->attributes = readAttributes(members);
    if (definition->attributes.contains(keys::aliasName))
        members.report(memberPath(members.pathOf(keys::attributes), keys::aliasName),
                       "is for settings: a group has no alias");
    definition->hasAdditionalFile = members.boolean(keys::hasAdditionalFile).value_or(false);
    readFunctions(members, *definition);
    if (definition->isEmpty())
        definition.reset();
    return definition;
}

SettingRecord readDefinedSetting(const DefinitionMembers& members, const std::string& parentName) {
    members.allowOnly({keys::name, keys::value, keys::isVector, keys::visible, keys::readOnly,
                       keys::attributes, keys::settingValueValidator, keys::language, keys::packageName,
                       keys::functionName, keys::validationFcn, keys::runtimeDefaultFcn},
                      "a setting");
    SettingRecord setting;
    setting.name = readDefinedName(members, keys::name, parentName, false);
    setting.readOnly = readDefinedReadOnly(members);
    setting.visible = members.boolean(keys::visible).value_or(true);
    setting.value = readValue(members);
    auto definition = std::make_unique<NodeDefinition>();
    definition->attributes = readAttributes(members);
    takeAlias(members, parentName + "." + setting.name, *definition);
    readFunctions(members, *definition);
    readValidation(members, setting.value, *definition);
    if (!definition->isEmpty())
        setting.definition = std::move(definition);
    return setting;
}

} // namespace settings::core::detail
