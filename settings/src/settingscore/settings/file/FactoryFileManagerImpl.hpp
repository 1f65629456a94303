/// A factory file as a tree of its own: definitions, factory values and upgraders.
#pragma once

#include "settingscore/settings/file/SettingsFileManagerImpl.hpp"

#include <vector>

namespace settings::core::detail {

class FactoryFileManagerImpl : public SettingsFileManagerImpl {
  public:
    /// `forced`: a file without write permission is written all the same and stays without.
    FactoryFileManagerImpl(NodePtr topLevelNode, std::vector<UpgraderRecord> upgraders, bool forced);

    /// ErrorSaveSettingsDueToFileIOError for a file that may not be written, or whose permission cannot be
    /// changed. The owner's write permission, where it had to be added, is taken away again whatever happens.
    /// SettingsFileNotWritten when others have changed the upgraders as well.
    void save(const std::filesystem::path& file) override;
    NodePtr topLevelNode() const override { return top(); }
    std::string releaseVersion() const override { return recordedRelease(); }

    const std::vector<UpgraderRecord>& upgraders() const noexcept { return upgraders_; }
    void setUpgraders(std::vector<UpgraderRecord> upgraders) { upgraders_ = std::move(upgraders); }

  private:
    std::vector<UpgraderRecord> upgraders_;
    std::vector<UpgraderRecord> writtenUpgraders_; // when the file was read or written
    const bool forced_;
};

/// Writes a group that stands in no tree of the process as a factory file, in place of what is there.
/// Nothing while saving is switched off. `version`: of the definitions; absent: the group's own. `forced`: as
/// above.
///
/// Errors: NotANodeName for a setting and for a root, ErrorCreateFactoryFileFromATreeNode,
/// ErrorSaveSettingsDueToFileIOError for a file without write permission, SettingsFileNotWritten (also for a
/// relative path); the file is as it was.
void writeAsFactoryFile(const NodePtr& group, const std::filesystem::path& file,
                        const std::vector<UpgraderRecord>& upgraders,
                        std::optional<std::uint32_t> version = {}, bool forced = false);

} // namespace settings::core::detail
