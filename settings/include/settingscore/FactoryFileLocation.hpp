/// Which factory files an installation has: the location file below the factory folder lists them.
///
/// "<factory folder>/varnek/settings/factoryFiles/factoryFileLocation.json" holds a JSON array of objects
/// with "ToolboxGroupName", "FactoryFileName" (relative: to the factory folder) and, optionally, "Hidden".
#pragma once

#include "settingscore/Export.hpp"
#include "varnek/exception/Exception.hpp"

#include <filesystem>
#include <memory>
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
    : public varnek::exception::Cloneable<MalformedLocationFile, varnek::exception::Exception> {
  public:
    MalformedLocationFile(const std::filesystem::path& file, const std::string& detail);
    const char* what() const noexcept override;

  private:
    std::shared_ptr<const std::string> text_;
};

/// Where the location file of a factory folder is.
SETTINGSCORE_EXPORT std::filesystem::path locationFileOf(const std::filesystem::path& factoryFolder);

/// The entries in their order; none when there is no location file. MalformedLocationFile,
/// varnek::files::FileError.
SETTINGSCORE_EXPORT std::vector<FactoryFileLocation>
readFactoryFileLocations(const std::filesystem::path& factoryFolder);

/// Copies a factory file below the factory folder and enters it in the location file, in place of an earlier
/// entry of the same group and file name. Both files are replaced durably, the location file last. Returns
/// the copy. Errors: those of reading the factory file, of the location file, and varnek::files::FileError; a
/// failure leaves the location file as it was. Not meant for several processes at once.
SETTINGSCORE_EXPORT std::filesystem::path installFactoryFile(const std::filesystem::path& factoryFile,
                                                             const std::filesystem::path& factoryFolder,
                                                             bool hidden);

} // namespace settings::core
