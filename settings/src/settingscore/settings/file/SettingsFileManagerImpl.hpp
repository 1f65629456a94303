/// One settings file as a tree of its own, outside every tree of the process.
///
/// What is written back is what changed here since the file was read or last written, on top of what the file
/// says by then: what other processes wrote in between stays, and where both changed one setting, this side
/// wins. A file that is gone is written whole. The tree itself stays as it is; what others changed is seen
/// when the file is opened again.
///
/// Threads: one object is externally synchronised; the nodes are as thread-safe as any.
#pragma once

#include "settingscore/level/LevelIndex.hpp"
#include "settingscore/settings/file/SettingsFileContent.hpp"
#include "settingscore/settings/node/SettingsNodeImpl.hpp"
#include "varnek/files/FileStamp.hpp"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace settings::core::detail {

class SettingsFileManagerImpl {
  public:
    virtual ~SettingsFileManagerImpl();
    /// Nothing while saving is switched off. Keeps other processes out of the folder meanwhile. A failure
    /// leaves the file as it was, and this object ready for another attempt.
    virtual void save(const std::filesystem::path& file) = 0;
    virtual NodePtr topLevelNode() const = 0;
    /// The release label that the file carries; empty for one that was never written.
    virtual std::string releaseVersion() const = 0;

    /// The levels that have files: UnSupportedLevel for any other name.
    static LevelIndex fileLevel(std::string_view level);
    /// FileDoesNotExist, FileCannotBeOpened, and ErrorReadingSettingsData for what is wrong inside or was
    /// written for another kind of level. `forced`: of a factory file, see FactoryFileManagerImpl.
    /// `groupName`: of the group that the file has to hold; empty: any.
    static std::unique_ptr<SettingsFileManagerImpl> open(const std::filesystem::path& file, LevelIndex level,
                                                         bool forced, std::string_view groupName = {});
    /// An empty group. `replaced`: the state of the file that it replaces, absent for none; a file in another
    /// state by the time it is saved is not replaced.
    static std::unique_ptr<SettingsFileManagerImpl> create(const std::filesystem::path& file,
                                                           LevelIndex level, bool forced,
                                                           std::string_view groupName,
                                                           const varnek::files::FileStamp& replaced);

    NodePtr rootNode() const { return root_; }
    LevelIndex level() const noexcept { return level_; }

  protected:
    SettingsFileManagerImpl(NodePtr topLevelNode, LevelIndex level);

    /// What the file is to hold beyond the tree. `present`: what is there now, nothing for a file that is new
    /// or replaced. `hasChanged`: the tree has, since the file was read or last written.
    using Completion = std::function<void(SettingsFileContent& content, const SettingsFileContent* present,
                                          bool hasChanged)>;

    /// The read, merge and replacement of a save. NoFileWritePermission for a folder that cannot be written,
    /// SettingsFileNotWritten and ErrorReadingSettingsData, all with the file as it was.
    void writeTree(const std::filesystem::path& file, const Completion& complete);

    /// Takes another tree of the same group in place of this one. `leftovers`: what of the file has no place
    /// in it.
    void replaceTree(NodePtr topLevelNode, GroupRecord leftovers);
    /// The tree with the leftovers, as a file of the level holds it.
    GroupRecord snapshot() const;
    const NodePtr& top() const noexcept { return top_; }
    const std::string& recordedRelease() const noexcept { return release_; }
    /// Made here and not written yet.
    bool isNew() const noexcept { return isReplaced_.has_value(); }
    boost::shared_ptr<Settings> topHandle() const;

  private:
    std::optional<SettingsFileContent> readPresent(const std::filesystem::path& file) const;
    void mergeAndWrite(const std::filesystem::path& file, const Completion& complete);

    LevelIndex level_;
    NodePtr top_;
    NodePtr root_;
    GroupRecord leftovers_;
    GroupRecord base_;                                   // the snapshot when the file was read or written
    std::vector<ForeignPart> foreignParts_;              // of the file then
    std::string release_;                                // of the file then
    std::optional<varnek::files::FileStamp> isReplaced_; // a state of the file that does not count
};

} // namespace settings::core::detail
