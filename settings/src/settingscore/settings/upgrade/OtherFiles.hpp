/// The personal files of other top-level groups during one upgrade: read when a change moves something into
/// one of them, and brought up to date themselves. Nothing is written here.
#pragma once

#include "settingscore/settings/file/PendingFiles.hpp"
#include "settingscore/settings/upgrade/UpgradeRun.hpp"

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace settings::core::detail {

/// What a top-level group declares; nothing where there is no such group.
using ChangesOfGroup = std::function<std::optional<FactoryChanges>(const std::string& group)>;

/// Confined to one thread. For a change, the caller keeps other processes out of the folder from before the
/// first file is read until the new files are in place.
class OtherFiles : public OtherGroups {
  public:
    /// `folder` holds the files.
    OtherFiles(std::filesystem::path folder, ChangesOfGroup changesOf);
    ~OtherFiles() override;

    bool knows(const std::string& group) const override { return changesOf_(group).has_value(); }
    std::optional<PersonalNode> open(PersonalTree& from, const std::string& fullName) override;
    void enter(PersonalTree& tree) override { underWay_.push_back(&tree); }
    void leave() noexcept override { underWay_.pop_back(); }

    /// What came of bringing the others up to date.
    const std::map<std::string, UpgradeReport>& reports() const noexcept { return reports_; }
    /// The files that are to be replaced. Raises what fileImage() does.
    NewFiles newFiles();

  private:
    struct File;

    std::optional<std::string> placeToday(std::string fullName, VersionLabel release) const;
    std::optional<std::string> placeInGroup(std::string fullName, VersionLabel& release) const;
    PersonalTree* treeUnderWay(const std::string& group) const;
    PersonalTree& treeOf(const std::string& group);
    File& fileOf(const std::string& group);
    std::unique_ptr<File> read(const std::string& group) const;

    const std::filesystem::path folder_;
    const ChangesOfGroup changesOf_;
    std::vector<PersonalTree*> underWay_; // are being upgraded
    std::map<std::string, std::unique_ptr<File>> files_;
    std::map<std::string, UpgradeReport> reports_;
};

/// Whatever would go to another group ends the run for now.
class NoOtherFiles : public OtherGroups {
  public:
    NoOtherFiles(ChangesOfGroup changesOf, std::string reason)
        : changesOf_(std::move(changesOf)), reason_(std::move(reason)) {}

    bool knows(const std::string& group) const override { return changesOf_(group).has_value(); }
    std::optional<PersonalNode> open(PersonalTree&, const std::string&) override {
        throw UpgradeInterrupted(reason_);
    }

  private:
    const ChangesOfGroup changesOf_;
    const std::string reason_;
};

} // namespace settings::core::detail
