/// The handle for front ends of languages: what Settings offers, and the operations that define settings,
/// build nodes outside any tree, and manage trees.
///
/// A front end makes a node with createSetting or createSettingsNode and adds it with setParent; or it adds
/// settings of a definition with createFactorySetting. The bool `sync` of these is handed to listeners by
/// SettingsAddNodeEvent::syncCoreSettingsTreeRequired.
///
/// Names given here follow stricter rules than those of Settings: see validateSettingOrGroupName.
///
/// Threads, ownership and errors: as for Settings.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/Settings.hpp"
#include "settingscore/level/RootIndex.hpp"
#include "settingscore/node/ReleaseChanges.hpp"
#include "settingscore/validation/FactorySettingProperties.hpp"
#include "settingscore/validation/SettingsProperties.hpp"

#include <boost/optional.hpp>
#include <boost/shared_ptr.hpp>

#include <queue>
#include <string>
#include <string_view>
#include <vector>

namespace settings::core {

class SettingsEvent;

class SETTINGSCORE_EXPORT MSettings : public Settings {
  public:
    explicit MSettings(boost::shared_ptr<detail::SettingsNodeImpl> node);
    ~MSettings() override;

    /// A handle to the same node; empty for an empty handle.
    static boost::shared_ptr<MSettings> of(const boost::shared_ptr<Settings>& handle);

    // ---- making and adding nodes ----

    /// A setting outside any tree, on level "user"; its value, when it has one, is checked and stored there.
    /// Errors: those of the name, InvalidValidator, and those of Settings::set for the value.
    static boost::shared_ptr<MSettings> createSetting(const std::string& name, bool sync,
                                                      const SettingsProperties& properties);
    /// A group outside any tree, on level "user".
    static boost::shared_ptr<MSettings> createSettingsNode(const std::string& name, bool sync,
                                                           bool visible = true,
                                                           ReadOnlyState readOnly = ReadOnlyState::inherited);

    /// Adds this node, which stands outside any tree, with all that is below it to a group. Listeners of a
    /// settings tree get one event, for this node; what is kept in files is saved. Values on "user" are
    /// checked anew, and stored as the validators accept them.
    /// Errors: std::invalid_argument for an empty handle; NotANodeName for a setting as parent;
    /// CannotAddKeyToRoot for a setting below the root; ErrorAddingChildNodeOrKey for a node that stands in a
    /// group already, a root, and a group that `parent` is or stands below; and those of
    /// Settings::addSetting.
    void setParent(const boost::shared_ptr<Settings>& parent);

    /// Adds a setting that a definition defines below this group, on level "factory". One that a definition
    /// has defined already stays as it is, but takes a run-time default that it has not.
    /// Errors: those of the name, CannotAddKeyToRoot, SameNameChildAlreadyExisted for a group or an added
    /// setting of that name; InvalidValidator and UnsupportedType for a new setting; MultipleRuntimeFuncError
    /// when both definitions have a run-time default.
    boost::shared_ptr<MSettings> createFactorySetting(const std::string& name, bool sync,
                                                      const detail::FactorySettingProperties& properties);

    /// Raises InvalidSettingOrGroupName for a name that does not begin with an ASCII letter or goes on with
    /// anything but ASCII letters, ASCII digits and "_". An empty name is a fault of the caller:
    /// std::out_of_range, "invalid string position". UTF-8; there is no limit of its length.
    static void validateSettingOrGroupName(std::string_view name);

    // ---- this node ----

    // Both follow an alias to its destination, as a set does.

    /// Replaces the validation function of this setting; the value it holds is not checked. NotAKeyName for a
    /// group, InvalidValidator.
    void setValidator(const ValidatorVariant& validator);
    /// Checks the effective value of a setting once more; nothing changes, and without a value nothing is
    /// checked. The error handler of the definition is told of a refusal, as by a set (checkValue of
    /// ValueCheck.hpp tells nobody). NotAKeyName for a group, std::invalid_argument for an empty handle, and
    /// what the validators raise.
    static void validate(const boost::shared_ptr<const Settings>& setting);

    /// Directly below the root of a tree.
    bool isTopLevelNode() const;
    /// Whether the tree of the interpreted language mirrors this node.
    bool needsSyncWithVCOSTree() const;
    void setSyncWithVCOSTree(bool sync);

    // ---- factory files ----

    /// Adds the top-level group that the factory file `file` in `folder` defines to the tree of this node,
    /// with its installation and personal values; listeners hear of the group. `name`: what the group has to
    /// be called; empty: whatever the file says. `upgraders`, unless empty, become those of the file: its own
    /// ones have to stand at their beginning, since released ones are never changed. `force`: they are
    /// written even where the file has no write permission; see SettingsFileManager::create. Blocks on the
    /// disk.
    /// Errors, with tree and file as they were: SettingsLibraryNotInitialized for a node that stands in no
    /// tree of the process; std::invalid_argument for a relative path and for upgraders that change released
    /// ones; ProductNodeAlreadyExisted; those of SettingsFileManager::open and save; ErrorReadingSettingsData
    /// for a group of another name.
    void registerFactoryFile(const std::u16string& file, const std::u16string& folder,
                             const std::vector<detail::UpgraderRecord>& upgraders, bool force,
                             std::string_view name);
    /// Writes this group with its definitions, and the upgraders, as a factory file: as
    /// Settings::createFactorySettingsFile, with the group's own version number.
    void writeFactoryFile(const std::u16string& file, const std::vector<detail::UpgraderRecord>& upgraders);

    // ---- folders of a tree ----

    /// The folder of a tree's level, whether the tree is there or not; empty where none is known. A folder
    /// for personal settings that cannot be determined ends the process with status 1.
    static std::u16string getFactoryDir(const RootIndex& tree);
    static std::u16string getInstallationDir(const RootIndex& tree);
    static std::u16string getUserDir(const RootIndex& tree);
    /// Belongs to no level; the environment variable "SETTINGS_WORKGROUPDIR" unless set here.
    static std::u16string getWorkgroupDir(const RootIndex& tree);

    /// Sets folders of one tree in place of those of the process, environment variables included. An absent
    /// path leaves its folder as it is, an empty one gives that of the process back.
    ///
    /// To be called before the tree is built: one that is there saves into the new folders from then on, but
    /// reads no values from them before reset(). Waits for what is still to be saved in the old ones.
    /// std::invalid_argument for an index that names no tree.
    static void setSettingsFileLocation(const RootIndex& tree, const boost::optional<std::u16string>& factory,
                                        const boost::optional<std::u16string>& installation,
                                        const boost::optional<std::u16string>& user,
                                        const boost::optional<std::u16string>& workgroup);

    // ---- trees ----

    /// The root of a tree; as detail::getSettingsRoot.
    static boost::shared_ptr<MSettings> getMSettingsRoot(const RootIndex& tree);
    /// Makes a tree without groups, whose changes raise events and are saved. False when there is a tree of
    /// that index, or the index names none. That of DefaultRootIndex is the application's: it counts as ready
    /// (startup/Readiness.hpp), and reset() builds it from files.
    static bool createEmptySettingsFor(const RootIndex& tree);
    /// Builds the tree of DefaultRootIndex anew from its files and returns its root. What only the old tree
    /// held is lost: values on "session", and what could not be saved. What other threads change meanwhile is
    /// in the new tree. Listeners of the old nodes hear nothing any more; the event queue, switched on or
    /// off, goes over with what is in it. Old handles of groups and settings stay valid outside the tree.
    /// When it cannot be built, the old tree stays. Errors and blocking: as detail::getSettingsRoot.
    static boost::shared_ptr<MSettings> reset();

    // ---- the event queue ----

    /// Switches the event queue of a tree on or off; off at first. What changes while it is on is queued and
    /// also delivered to listeners; what is queued stays until it is fetched. SettingsLibraryNotInitialized
    /// when there is no such tree.
    static void enableEventQueue(const RootIndex& tree, bool enable);
    /// Moves the events queued for the tree of DefaultRootIndex to the end of `events`, first in, first out.
    /// Whatever this thread has changed before is among them. When there is no memory, std::bad_alloc; what
    /// was not moved is still queued.
    static void eventQueue(std::queue<boost::shared_ptr<const SettingsEvent>>& events);
    /// The same for another tree; nothing when there is none of that index.
    static void eventQueue(const RootIndex& tree, std::queue<boost::shared_ptr<const SettingsEvent>>& events);

  private:
    explicit MSettings(const Settings& handle);
};

} // namespace settings::core
