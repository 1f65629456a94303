/// A file of the level "user" or "installation" as a tree of its own: values, and nodes that were added on
/// the level.
#pragma once

#include "settingscore/settings/file/SettingsFileManagerImpl.hpp"

namespace settings::core::detail {

class NonFactoryFileManagerImpl : public SettingsFileManagerImpl {
  public:
    NonFactoryFileManagerImpl(NodePtr topLevelNode, LevelIndex level, std::optional<VersionRecord> version);

    void save(const std::filesystem::path& file) override;
    NodePtr topLevelNode() const override { return top(); }
    /// That of the version record where there is one.
    std::string releaseVersion() const override;

    const std::string& levelName() const noexcept { return levelName_; }
    /// How far the file has followed the changes between releases.
    const std::optional<VersionRecord>& version() const noexcept { return version_; }

    /// Makes the tree anew with the nodes of `group`, their rules and flags, without values; what the file
    /// and the tree hold is put in its place there and kept otherwise. Nodes of the old tree are let go.
    /// std::invalid_argument for a group of another name, NotANodeName for a setting.
    void define(const ConstNodePtr& group);

  private:
    const std::string levelName_;
    std::optional<VersionRecord> version_;
};

} // namespace settings::core::detail
