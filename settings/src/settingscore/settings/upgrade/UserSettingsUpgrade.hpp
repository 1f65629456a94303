/// Upgrades the personal files of one settings tree as they are loaded: knows what the factory files declare,
/// runs the changes, keeps the file as it was, and writes the results log.
///
/// Thread-safe. mutex_ (rank "upgrades" in ARCHITECTURE.md) guards what is known of the groups.
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
    /// Where to ask for the changes of groups that nobody has told of: those are not loaded yet. Before the
    /// first use. Called without a lock; blocks on the disk.
    void setFactoryChangesReader(ChangesOfGroup reader) { reader_ = std::move(reader); }
    /// Nothing for a group without factory definitions, null for one whose definitions cannot be read now:
    /// what moves into it has to wait.
    std::optional<FactoryChanges> factoryChanges(const std::string& group) const;
    /// Whether a personal file with this record has been through all changes of its group.
    bool isComplete(const std::string& group, const std::optional<VersionRecord>& record) const;

    std::optional<std::string> finishInterrupted(const std::filesystem::path& folder,
                                                 const std::string& group) override;
    Upgraded upgrade(const NodePtr& group, const std::filesystem::path& file,
                     SettingsFileContent& content) override;
    std::optional<VersionRecord> recordOfNewFile(const NodePtr& group,
                                                 const std::filesystem::path& file) override;
    void aboutToReplace(const std::filesystem::path& file) override;
    std::vector<std::string> takeWrittenGroups() override;

  private:
    ChangesOfGroup changesOfGroup() const;
    FactoryChanges changesOf(const std::string& group) const;
    void noteFirstLoad(const std::string& group, const std::filesystem::path& file);
    bool isWithoutWaitingFor(const std::filesystem::path& folder, const std::string& group) const;
    void notePending(const std::filesystem::path& folder, PendingOutcome outcome);
    void noteWritten(const std::vector<std::string>& groups);
    void noteUpgradedElsewhere();
    void toBeKept(const std::filesystem::path& file, std::optional<VersionLabel> release);
    Upgraded run(const std::filesystem::path& file, SettingsFileContent& content);
    Upgraded runAlone(const std::filesystem::path& file, SettingsFileContent& content,
                      const std::string& reason);
    Upgraded runAcrossFiles(const std::filesystem::path& file, SettingsFileContent& content);
    Upgraded noteRun(const std::filesystem::path& file, SettingsFileContent& content,
                     const UpgradeReport& report);
    void logRun(const std::filesystem::path& file, SettingsFileContent& content,
                const UpgradeReport& report) const;

    ChangesOfGroup reader_;
    mutable std::mutex mutex_;
    std::map<std::string, FactoryChanges> changes_;
    std::set<std::filesystem::path> loaded_;
    std::map<std::filesystem::path, VersionLabel> toBeKept_; // for which release, when they are replaced
    std::vector<std::string> written_;
    std::map<std::filesystem::path, PendingOutcome> pending_; // by folder: what could not be finished
};

} // namespace settings::core::detail
