/// The personal files of other top-level groups during one upgrade: read when a change moves something into
/// one of them, brought up to date themselves, and written together at the end, before the file that the
/// values came from.
#pragma once

#include "settingscore/settings/upgrade/UpgradeRun.hpp"
#include "varnek/files/FolderLock.hpp"

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace settings::core::detail {

/// Confined to one thread.
class OtherFiles : public OtherGroups {
  public:
    using ChangesOfGroup = std::function<FactoryChanges(const std::string& group)>;
    using WriteFile = std::function<void(const std::string& group, SettingsFileContent content)>;

    enum class Use { preview, change };

    /// `folder` holds the files. For a change, other processes and saves are kept out of it from the first
    /// file that is needed to the end of this object.
    OtherFiles(std::filesystem::path folder, ChangesOfGroup changesOf, Use use);
    ~OtherFiles() override;

    bool knows(const std::string& group) const override { return changesOf_(group) != nullptr; }
    std::optional<PersonalNode> open(PersonalTree& from, const std::string& fullName) override;
    void enter(PersonalTree& tree) override { underWay_.push_back(&tree); }
    void leave() noexcept override { underWay_.pop_back(); }

    /// What came of bringing the others up to date.
    const std::map<std::string, UpgradeReport>& reports() const noexcept { return reports_; }
    /// Calls `write` for what has changed, a file before those that moved values into it.
    void forEachChanged(const WriteFile& write);

  private:
    struct File;

    std::optional<std::string> placeToday(std::string fullName, VersionLabel release) const;
    PersonalTree& treeOf(const std::string& group);
    std::unique_ptr<File> read(const std::string& group);
    void keepOthersOut();

    const std::filesystem::path folder_;
    const ChangesOfGroup changesOf_;
    const Use use_;
    std::unique_ptr<varnek::files::FolderLock> othersOut_;
    std::vector<PersonalTree*> underWay_; // are being upgraded
    std::map<std::string, std::unique_ptr<File>> files_;
    std::vector<std::string> order_; // in which they were complete
    std::map<std::string, UpgradeReport> reports_;
};

/// Whatever would go to another group ends the run for now.
class NoOtherFiles : public OtherGroups {
  public:
    NoOtherFiles(OtherFiles::ChangesOfGroup changesOf, std::string reason)
        : changesOf_(std::move(changesOf)), reason_(std::move(reason)) {}

    bool knows(const std::string& group) const override { return changesOf_(group) != nullptr; }
    std::optional<PersonalNode> open(PersonalTree&, const std::string&) override {
        throw UpgradeInterrupted(reason_);
    }

  private:
    const OtherFiles::ChangesOfGroup changesOf_;
    const std::string reason_;
};

} // namespace settings::core::detail
