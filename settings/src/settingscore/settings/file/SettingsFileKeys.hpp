/// Names of the parts of a settings file and of the members of their JSON: each stands here and nowhere else.
/// Files outlive releases, so none of them ever changes.
#pragma once

#include <string_view>

namespace settings::core::detail::keys {

// Parts. A child group's folder stands inside its parent's; NameText.hpp has its name.
inline constexpr std::u16string_view schemaPart = u"/schema.json";
inline constexpr std::u16string_view treeFolder = u"/settingstree";
inline constexpr std::u16string_view groupFile = u"/settings.json"; // after the group's folder
inline constexpr std::u16string_view versionPart = u"/version.json";
inline constexpr std::u16string_view upgradersPart = u"/upgraders.json";

/// The whole content of the schema part: bare text, not JSON.
inline constexpr std::string_view schemaIdentifier = "com.quillfern.varnek/settings/jsonschema/1-1-0";

// Core properties
inline constexpr std::string_view title = "Settings Data";
inline constexpr std::string_view contentType = "application/vnd.quillfern.varnek.settings";

// Groups
inline constexpr std::string_view path = "path";
inline constexpr std::string_view groupName = "groupName";
inline constexpr std::string_view hasAdditionalFile = "hasAdditionalFile";
inline constexpr std::string_view settings = "settings";

// Groups and settings
inline constexpr std::string_view readOnly = "readonly";
inline constexpr std::string_view visible = "visible";
inline constexpr std::string_view attributes = "attributes";
inline constexpr std::string_view language = "language";
inline constexpr std::string_view packageName = "packageName";
inline constexpr std::string_view functionName = "functionName";
inline constexpr std::string_view validationFcn = "validationFcn";
inline constexpr std::string_view isUserDefined = "isUserDefined"; // of a group: inside "attributes"

// Settings
inline constexpr std::string_view name = "name";
inline constexpr std::string_view runtimeDefaultFcn = "runtimeDefaultFcn";
inline constexpr std::string_view hasValue = "hasValue";
inline constexpr std::string_view value = "value";
inline constexpr std::string_view isVector = "isVector"; // also inside a validator
inline constexpr std::string_view settingValueValidator = "settingValueValidator";

// Attributes with a meaning of their own
inline constexpr std::string_view versionNumber = "versionNumber"; // of a group's definitions
inline constexpr std::string_view aliasName = "aliasName";
inline constexpr std::string_view attributeTitle = "title";
inline constexpr std::string_view attributeDescription = "description";

// Validators
inline constexpr std::string_view validStringValues = "ValidStringValues";
inline constexpr std::string_view minVectorSize = "MinVectorSize";
inline constexpr std::string_view maxVectorSize = "MaxVectorSize";
inline constexpr std::string_view minStringSize = "MinStringSize";
inline constexpr std::string_view maxStringSize = "MaxStringSize";
inline constexpr std::string_view minValue = "MinValue"; // typed
inline constexpr std::string_view maxValue = "MaxValue"; // typed
inline constexpr std::string_view mustBeString = "MustBeString";
inline constexpr std::string_view mustBeNumeric = "MustBeNumeric";
inline constexpr std::string_view mustBeInteger = "MustBeInteger";
inline constexpr std::string_view mustBeLogical = "MustBeLogical";
inline constexpr std::string_view storeAsCharVector = "StoreAsCharVector";

// Values of "language"
inline constexpr std::string_view languageM = "VARNEK";
inline constexpr std::string_view languageC = "C";
inline constexpr std::string_view languageJ = "JAVA";
inline constexpr std::string_view languageCpp = "CPP";

// Version record
inline constexpr std::string_view upgraderIndex = "UpgraderIndex";
inline constexpr std::string_view changeIndex = "ChangeIndex";
inline constexpr std::string_view settingsFileChange = "SettingsFileChange";
inline constexpr std::string_view releaseVersion = "ReleaseVersion";

// One change
inline constexpr std::string_view operation = "Operation";
inline constexpr std::string_view inputs = "Inputs";
inline constexpr std::string_view outputs = "Outputs";
inline constexpr std::string_view move = "move"; // of "Operation"
inline constexpr std::string_view remove = "remove";

// One upgrader
inline constexpr std::string_view versionLabel = "VersionLabel"; // typed, class "char"
inline constexpr std::string_view versionChanges = "VersionChanges";

} // namespace settings::core::detail::keys
