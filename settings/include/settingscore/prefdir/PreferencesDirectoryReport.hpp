/// Everything about the folder of the personal settings of this process.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/prefdir/PreferencesDirectory.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace settings::core {

/// Who decided where the personal settings are.
enum class PreferencesDirectoryOrigin {
    userFolderVariable, ///< SETTINGS_USERDIR: the preferences directory is not consulted
    blessed,
    variable, ///< VARNEK_PREFDIR
    standard,
    temporary,
    setByHost, ///< setPreferencesDirectoryUStr
};

/// "SETTINGS_USERDIR", "blessed", "VARNEK_PREFDIR", "standard", "temporary", "host".
SETTINGSCORE_EXPORT std::string_view originName(PreferencesDirectoryOrigin origin) noexcept;

/// What is wrong with a directory that was to be used. Logged: never renumber.
enum class InvalidPrefdirKind : int {
    notWritable = 0, ///< or it could not be made
    notReadable = 2,
    notTestable = 3, ///< whether it exists cannot be told
};

struct InvalidPrefdir {
    InvalidPrefdirKind kind = InvalidPrefdirKind::notWritable;
    std::u16string path;

    bool operator==(const InvalidPrefdir&) const = default;
};

/// How a directory came to be, as "prefdir.json" in it tells.
struct PreferencesDirectoryFill {
    struct Source {
        std::string release;              ///< "R2024b"
        std::u16string directory;         ///< where its files were
        std::vector<std::string> files;   ///< names of the copied files
        std::vector<std::string> skipped; ///< names of links out of the folder and the like
    };
    std::string createdBy;        ///< the release that made it
    std::string created;          ///< when: "2025-03-01T09:30:00Z"
    std::optional<Source> source; ///< none: no earlier release had a directory
};

struct PreferencesDirectoryReport {
    std::u16string path;
    PreferencesDirectoryOrigin origin = PreferencesDirectoryOrigin::standard;
    bool isReadable = false;
    bool isWritable = false;
    bool hasMigrationMarker = false;              ///< "migratePref.txt"
    std::optional<PreferencesDirectoryFill> fill; ///< none: not made by this library, or its record is gone
    std::vector<InvalidPrefdir> findings;         ///< of the time when the directory was found
    TempMessage tempMessage;
};

/// Finds the directory when that is due, unless SETTINGS_USERDIR names the folder. Blocks on the disk.
/// Thread-safe. Errors: those of PreferencesDirectory.hpp.
SETTINGSCORE_EXPORT PreferencesDirectoryReport describePreferencesDirectory();

} // namespace settings::core
