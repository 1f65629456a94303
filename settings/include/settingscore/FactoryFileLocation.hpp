/// Which factory files an installation has: the location file below the factory folder lists them.
///
/// "<factory folder>/varnek/settings/factoryFiles/factoryFileLocation.json" holds a JSON array of objects
/// with "ToolboxGroupName", "FactoryFileName" (relative: to the factory folder) and, optionally, "Hidden".
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/exception/FailureShapes.hpp"

#include <filesystem>
#include <string>
#include <vector>

namespace settings::core {

struct FactoryFileLocation {
    std::string toolboxGroupName;
    std::filesystem::path factoryFile; ///< as the entry has it
    bool hidden = false;

    bool operator==(const FactoryFileLocation&) const = default;
};

/// The location file is not what it has to be. what() names it, then the rule.
class SETTINGSCORE_EXPORT MalformedLocationFile
    : public exception::Cloneable<MalformedLocationFile, exception::detail::BuiltTextFailure> {
  public:
    MalformedLocationFile(const std::filesystem::path& file, const std::string& detail);
    ~MalformedLocationFile() override;
};

/// Where the location file of a factory folder is.
SETTINGSCORE_EXPORT std::filesystem::path locationFileOf(const std::filesystem::path& factoryFolder);

/// The entries in their order; none when there is no location file. Errors: MalformedLocationFile;
/// exception::ErrorReadingSettingsData when the file is there and cannot be read. Thread-safe.
SETTINGSCORE_EXPORT std::vector<FactoryFileLocation>
readFactoryFileLocations(const std::filesystem::path& factoryFolder);

/// Copies a factory file below the factory folder, under the name of its group, and enters it in the location
/// file, in place of whatever stood there for that group. Both files are replaced durably, the location file
/// last. Returns the copy. Whoever installs at the same time is waited for, ten seconds at most.
///
/// Errors: exception::FileDoesNotExist, PackageCannotBeOpened and ErrorReadingSettingsData for a file that is
/// no sound factory file (one that a user exported has no "/upgraders.json"); those of
/// readFactoryFileLocations; exception::ProductNodeAlreadyExisted when a listed group differs by case only;
/// exception::SettingsFileNotWritten, also when another group is listed with the file that would be replaced.
/// A failure leaves the location file as it was.
SETTINGSCORE_EXPORT std::filesystem::path installFactoryFile(const std::filesystem::path& factoryFile,
                                                             const std::filesystem::path& factoryFolder,
                                                             bool hidden);

} // namespace settings::core
