/// One settings file as a tree of its own, outside every settings tree of the process: for tools that make or
/// edit factory files, and for whoever keeps the installation level's files.
///
///     auto file = SettingsFileManager::open("/opt/workbench/editor.vksettings", "factory");
///     file.getTopLevelNode()->set("theme", std::u16string(u"slate"), "factory");
///     file.save();
///
/// The tree has one level that can be modified, the file's, "factory" included; nothing is saved but by
/// save(). Values are checked by the rules that the file, or define(), gives the settings.
///
/// Several processes may work on one file: save() writes the changes that were made here, on top of what the
/// file says by then. The tree does not take over what others wrote; opening the file again does.
///
/// Ownership: the manager owns the tree. A handle keeps its node, but not the tree, alive.
/// Threads: the nodes are as thread-safe as all; a manager itself is externally synchronised.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/Settings.hpp"
#include "settingscore/node/ReleaseChanges.hpp"

#include <boost/optional.hpp>
#include <boost/shared_ptr.hpp>

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace settings::core {

namespace detail {
class SettingsFileManagerImpl;
}

/// Move-only.
class SETTINGSCORE_EXPORT SettingsFileManager {
  public:
    /// A new, empty tree. The disk is not touched before save(), which replaces a file of the same group that
    /// is there already. `level`: "user", "installation" or "factory". `force`: see save(). `groupName`: of
    /// the top-level group; empty: that of the file without its extension.
    /// Errors: UnSupportedLevel for a level without files, InvalidSettingOrGroupName.
    static SettingsFileManager create(const std::filesystem::path& file, std::string_view level, bool force,
                                      std::string_view groupName);

    /// The tree that the file holds. Blocks on the disk, for an encrypted file also in the security plug-in.
    /// Errors: UnSupportedLevel; FileDoesNotExist; FileCannotBeOpened; ErrorReadingSettingsData for a file
    /// that is wrong inside, or holds definitions where the level has values, or the other way round.
    static SettingsFileManager open(const std::filesystem::path& file, std::string_view level);

    /// The same for the file of the group `groupName` in the folder "toolbox" below `folder`. `force`: see
    /// save(). ErrorReadingSettingsData also for a file that holds another group.
    static SettingsFileManager open(const std::u16string& folder, std::string_view groupName,
                                    std::string_view level, bool force);

    /// The file of the group `groupName` in an installation folder, to be written: opened when it is there,
    /// created otherwise. `folder`: the installation folder; empty: that of the level "installation" of this
    /// process; a relative one lies below that. A folder that cannot be written, or is not there, and a file
    /// without write permission are refused at once: NoFileWritePermission. Other errors as for open and
    /// create.
    static SettingsFileManager createOrUpdateInstallationFile(const std::u16string& folder,
                                                              std::string_view groupName);

    SettingsFileManager(SettingsFileManager&&) noexcept;
    SettingsFileManager& operator=(SettingsFileManager&&) noexcept;
    ~SettingsFileManager();

    const std::filesystem::path& getFilePath() const noexcept { return file_; }
    std::string getLevelName() const;

    /// The root above the top-level group: nothing can be added to it or removed from it.
    boost::shared_ptr<Settings> getRootNode() const;
    boost::shared_ptr<Settings> getTopLevelNode() const;

    /// The label of the release that wrote the file ("R2025a"); empty for a file that was never written.
    std::string getFileReleaseVersion() const;

    /// The changes between releases that a factory file declares, in their order; none for other files.
    std::vector<detail::UpgraderRecord> getUpgraders() const;
    /// std::invalid_argument for a file that is no factory file.
    void setUpgraders(std::vector<detail::UpgraderRecord> upgraders);
    /// How far a personal file has followed those changes; absent where it does not say.
    boost::optional<detail::VersionRecord> getVersionRecord() const;

    /// Gives the tree of a file of values the settings that `group` has, with their rules and flags, so that
    /// values can be stored for them and are checked. `group` is the top-level group of that name in another
    /// tree. An alias stands for itself. Handles got before belong to the tree that is replaced.
    /// Errors: std::invalid_argument for a factory file and for a group of another name; NotANodeName.
    void define(const Settings& group);

    /// Writes the tree back to the file, durably; an identical file is left alone. Nothing while saving is
    /// switched off (SettingsSaving.hpp). A file without write permission is refused; a factory file is
    /// written all the same with `force`: then it has none afterwards either, also after a failure. A file
    /// that is there keeps its permissions, a personal one is its owner's alone. Blocks on the disk, and on
    /// other processes that save in the folder.
    ///
    /// Errors, all with the file as it was: NoFileWritePermission for a folder or a file of values that
    /// cannot be written; ErrorSaveSettingsDueToFileIOError for a factory file; ErrorReadingSettingsData and
    /// SettingsFileNotWritten, also for a file that since it was opened has been damaged, encrypted or
    /// replaced by that of another group, has followed changes between releases (names may mean something
    /// else in it), or got other upgraders while they were changed here: open it again;
    /// and when other processes have been saving in the folder all the time (ten seconds).
    void save();

  private:
    SettingsFileManager(std::filesystem::path file, std::unique_ptr<detail::SettingsFileManagerImpl> impl);

    std::filesystem::path file_;
    std::unique_ptr<detail::SettingsFileManagerImpl> impl_;
};

} // namespace settings::core
