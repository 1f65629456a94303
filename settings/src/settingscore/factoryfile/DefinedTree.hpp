/// What a factory file defines, for looking into without a tree of nodes.
#pragma once

#include "settingscore/settings/file/SettingsFileContent.hpp"

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace settings::core::detail {

/// FileDoesNotExist, PackageCannotBeOpened; ErrorReadingSettingsData, also for a file without definitions.
SettingsFileContent readFactoryFile(const std::filesystem::path& file);

/// At most one of both.
struct DefinedNode {
    const SettingRecord* setting = nullptr;
    const GroupRecord* group = nullptr;

    explicit operator bool() const noexcept { return setting != nullptr || group != nullptr; }
};

/// The node of that full name, which begins with the name of `top`.
DefinedNode findDefined(const GroupRecord& top, std::string_view fullName);

/// The first name of a full name.
std::string_view firstName(std::string_view fullName) noexcept;

/// Whether `fullName` is `ancestor` or below it.
bool isAtOrBelow(std::string_view fullName, std::string_view ancestor) noexcept;

/// Where the value at `fullName` is after all changes from change `change` of upgrader `upgrader` on; nothing
/// when one of them removes it. Changes that are not well-formed change nothing.
std::optional<std::string> followed(std::string fullName, const std::vector<UpgraderRecord>& upgraders,
                                    std::size_t upgrader, std::size_t change = 0);

/// "", or the alias that the setting is.
std::string aliasOf(const SettingRecord& setting);
/// None for a setting without rules.
const std::vector<SettingValueValidator::ConfigData>& validatorsOf(const SettingRecord& setting);

/// A name from a file as messages show it.
std::string inQuotes(std::string_view name);
/// As messages show a label.
std::string shownLabel(const UpgraderRecord& upgrader);

} // namespace settings::core::detail
