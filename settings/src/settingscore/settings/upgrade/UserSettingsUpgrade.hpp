/// Upgrades the personal files of one settings tree as they are loaded: knows what the factory files declare,
/// runs the changes, keeps the file as it was, and writes the results log.
///
/// Thread-safe. mutex_ (rank "location" in ARCHITECTURE.md) guards what is known of the groups; log lines are
/// the only foreign code that runs under it.
#pragma once

#include "settingscore/settings/file/PersonalFileUpgrade.hpp"
#include "settingscore/settings/upgrade/OtherFiles.hpp"

#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace settings::core::detail {

class UserSettingsUpgrade : public PersonalFileUpgrade {
  public:
    /// What the factory definitions of a top-level group declare, in place of what they declared before. Due
    /// before the first file of the tree is loaded that may move values into this group.
    void setFactoryChanges(const std::string& group, std::vector<UpgraderRecord> changes);
    /// Null for a group without factory definitions.
    FactoryChanges factoryChanges(const std::string& group) const;

    bool upgrade(const NodePtr& group, const std::filesystem::path& file,
                 SettingsFileContent& content) override;
    std::optional<VersionRecord> recordOfNewFile(const NodePtr& group,
                                                 const std::filesystem::path& file) override;
    void aboutToReplace(const std::filesystem::path& file) override;
    std::vector<std::string> takeWrittenGroups() override;

  private:
    bool noteFirstLoad(const std::string& group, const std::filesystem::path& file);
    void toBeKept(const std::filesystem::path& file, const FactoryChanges& changes, bool isToBeKept);
    UpgradeReport run(const NodePtr& group, const std::filesystem::path& file, SettingsFileContent& content);
    UpgradeReport runAcrossFiles(const NodePtr& group, const std::filesystem::path& file,
                                 SettingsFileContent& content);
    void writeOther(const NodePtr& root, const std::filesystem::path& file, const VersionLabel& release,
                    SettingsFileContent content);
    void logResults(const std::filesystem::path& file, SettingsFileContent& content,
                    const UpgradeReport& report) const;

    mutable std::mutex mutex_;
    std::map<std::string, FactoryChanges> changes_;
    std::set<std::filesystem::path> loaded_;                          // with the marker beside them
    std::map<std::filesystem::path, std::filesystem::path> toBeKept_; // as which, when they are replaced
    std::vector<std::string> written_;
};

} // namespace settings::core::detail
