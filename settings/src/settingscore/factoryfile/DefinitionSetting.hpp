/// The settings of a definition document, and what groups and settings have in common there. Faults go to the
/// list of the members that are read.
#pragma once

#include "settingscore/factoryfile/DefinitionMembers.hpp"
#include "settingscore/settings/file/SettingsFileContent.hpp"

#include <memory>
#include <string>
#include <string_view>

namespace settings::core::detail {

/// The name that the member `key` holds; empty when it is at fault. `parentName` is the full name of the
/// group that the node stands in.
std::string readDefinedName(const DefinitionMembers& members, std::string_view key,
                            const std::string& parentName, bool isTop);

ReadOnlyState readDefinedReadOnly(const DefinitionMembers& members);

/// Attributes, functions and the flag of a group; null when there is nothing of these.
std::unique_ptr<NodeDefinition> readGroupDefinition(const DefinitionMembers& members);

SettingRecord readDefinedSetting(const DefinitionMembers& members, const std::string& parentName);

} // namespace settings::core::detail
