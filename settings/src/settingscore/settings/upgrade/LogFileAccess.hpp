/// The results log: what upgrades have done to the personal files of a folder.
///
/// One file per kind of result, "UserSettingsUpgrade.json" and "NameDependencyModelResults.json": an object
/// with an array of results for each top-level group, which is named as its file is, the latest last. Of each
/// group the last twenty are kept.
#pragma once

#include "settingscore/settings/file/SettingsFileAccess.hpp"
#include "settingscore/upgrade/ReleaseCompatibilityResults.hpp"
#include "settingscore/upgrade/VersionLabel.hpp"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace settings::core::detail {

/// Writes the results of one run into the log of their kind.
class LogFileAccess : public SettingsFileAccess {
  public:
    /// `target` is the release that the run was to reach.
    LogFileAccess(const std::filesystem::path& folder, std::string group, ReleaseCompatibilityResults results,
                  VersionLabel target);

    /// False where the folder is not there or cannot be written.
    bool checkBeforeSaving() override;
    /// Nothing when the log ends with these results already. varnek::files::FileError.
    std::optional<std::string> content() override;
    std::string description() const override;

  private:
    std::string group_;
    ReleaseCompatibilityResults results_;
    VersionLabel target_;
};

std::filesystem::path resultsLogOf(const std::filesystem::path& folder, std::string_view resultType);

/// Results without content are not logged; a failure is logged only. Blocks on the disk and, for a while, on
/// other processes that write the folder.
void logReleaseCompatResults(const std::filesystem::path& folder, const std::string& group,
                             const ReleaseCompatibilityResults& results, const VersionLabel& target) noexcept;

/// What a log holds, oldest first for each group; nothing where there is no log or none that can be
/// understood. varnek::files::FileError when it is there and cannot be read.
std::map<std::string, std::vector<ReleaseCompatibilityResults>>
readResultsLog(const std::filesystem::path& log);

} // namespace settings::core::detail
