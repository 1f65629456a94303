/// Checks of factory files: whether one is sound, and whether a new one is kind to the personal settings and
/// the programs of those who use the one before it.
///
///     for (const auto& finding : varnek::settings::compareFactoryFiles("released.vksettings",
///     "next.vksettings"))
///         if (finding.isFailure)
///             std::cerr << finding.name << ": " << finding.message << '\n';
///
/// docs/factory-files.md says what each kind means.
#pragma once

#include "settingscore/Export.hpp"

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace varnek::settings {

/// What a finding is about. Scripts rely on the names: never rename.
enum class FindingKind : std::uint8_t {
    name = 0,      ///< a name that causes trouble
    value = 1,     ///< a factory value that its own validators refuse
    validator = 2, ///< bounds that no value satisfies
    function = 3,  ///< a function, which is not called here
    alias = 4,     ///< what a setting stands for
    upgrader = 5,  ///< a change between releases
    group = 6,     ///< the top-level group
    removed = 7,   ///< a setting or group that is gone
    added = 8,
    moved = 9,     ///< an upgrader takes the personal values along
    nodeKind = 10, ///< a group in the place of a setting, or the other way round
    type = 11,     ///< class of the factory value
    shape = 12,    ///< one value or a vector
    range = 13,    ///< what the validators accept
    defaultValue = 14,
    readOnly = 15,
    visible = 16,
};

/// "name", "value", ..., "defaultValue", "readOnly", "visible".
SETTINGSCORE_EXPORT std::string_view nameOf(FindingKind kind) noexcept;

struct FactoryFileFinding {
    bool isFailure = false; ///< false: a note, worth a look
    FindingKind kind = FindingKind::name;
    std::string name;    ///< full name of a group or setting, or "upgrader R2025a, change 2"
    std::string message; ///< reads on after the name; UTF-8

    friend bool operator==(const FactoryFileFinding&, const FactoryFileFinding&) = default;
};

/// Every fault of one file, groups and settings in the order of their names, then the upgraders. Functions
/// are not called. Blocks on the disk.
/// Errors: exception::FileDoesNotExist; PackageCannotBeOpened; ErrorReadingSettingsData for a file that is no
/// sound factory file, or none at all.
SETTINGSCORE_EXPORT std::vector<FactoryFileFinding> checkFactoryFile(const std::filesystem::path& file);

/// What comes of replacing the factory file `released` by `next`. Settings are followed through the upgraders
/// that `next` adds. Errors as checkFactoryFile.
SETTINGSCORE_EXPORT std::vector<FactoryFileFinding> compareFactoryFiles(const std::filesystem::path& released,
                                                                        const std::filesystem::path& next);

} // namespace varnek::settings
