/// Keeps the files of one tree: one file for each top-level group and level, in the level's folder.
///
/// It remembers for each file what the tree cannot hold: values whose definition is missing, parts that this
/// library does not know, the version record, the revision number, whether the file is encrypted, and how the
/// last reading and the last saving ended.
///
/// Other processes may change the same files. Every save therefore keeps them out of the folder while it
/// works, and first takes over what they have written since this process read or wrote the file: values that
/// were not changed here become theirs, with the events of a change; where both have changed one value, that
/// of this process stays. A file that is gone holds nothing; a folder that is gone says nothing.
///
/// A request is handed to the file-writer thread; without one it is carried out before the request returns.
/// A failure is logged and can be asked for, it does not come back. A request that cannot be met stays marked
/// and goes with the next one. Of one file only one operation runs at a time: requests that arrive meanwhile
/// share the next write. A request from inside a save (from a save hook) does not wait; the file is written
/// again afterwards.
///
/// Threads: thread-safe. mutex_ (rank "level files") is held while the bookkeeping changes, never while a
/// node, a hook or the disk works. Loading blocks on the disk, and for an encrypted file in the security
/// plug-in; so do requests where there is no writer thread.
#pragma once

#include "settingscore/events/EventDelivery.hpp"
#include "settingscore/level/LevelIndex.hpp"
#include "settingscore/settings/file/FileOutcome.hpp"
#include "settingscore/settings/file/SettingsFileContent.hpp"
#include "settingscore/settings/node/TreeContext.hpp"
#include "varnek/files/FileStamp.hpp"

#include <boost/enable_shared_from_this.hpp>

#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace settings::core::detail {

/// What is known of one file.
struct LevelFileStatus {
    std::string group;
    LevelIndex level = LevelIndex::user;
    std::filesystem::path file;
    std::filesystem::path refused; // where it was when it could not be loaded
    LoadOutcome loaded = LoadOutcome::notRead;
    std::string loadMessage; // of a failure
    SaveOutcome saved = SaveOutcome::none;
    std::string saveMessage; // of a failure
    bool isEncrypted = false;
    bool isMarked = false; // something is still to be saved
    std::uint64_t revision = 0;
};

class PersonalFileUpgrade;
class PrefdirFileWriterQueue;

class LevelFileKeeper : public SaveRequests, public boost::enable_shared_from_this<LevelFileKeeper> {
  public:
    /// The folder of a level's files; empty where there is none.
    using FolderOfLevel = std::function<std::filesystem::path(LevelIndex)>;

    /// The folders of the process's levels.
    static std::filesystem::path folderOfLevel(LevelIndex level);

    /// The file-writer thread that there is at the moment, or null.
    using WriterThread = PrefdirFileWriterQueue* (*)();

    /// With a writer the keeper is to be held by a shared pointer: pending operations keep it alive.
    explicit LevelFileKeeper(FolderOfLevel folders = folderOfLevel, WriterThread writer = nullptr);
    ~LevelFileKeeper() override;

    /// What personal files go through before their values are used; none without it. Before the first load.
    void setUpgrade(std::shared_ptr<PersonalFileUpgrade> upgrade) { upgrade_ = std::move(upgrade); }

    void requestSave(const NodePtr& topLevelGroup, LevelIndex level) override;
    bool areMetLater() const noexcept override;
    void loadUserSettings(const NodePtr& topLevelGroup) override;
    void requestDelete(const NodePtr& topLevelGroup, const NodePtr& root, LevelIndex level) override;
    std::shared_ptr<void> removalOf(const NodePtr& topLevelGroup) override;
    void adoptKeptValues(const NodePtr& topLevelGroup) override;
    void forgetKeptValues(const NodePtr& topLevelGroup, const std::vector<std::string>& path) override;

    /// Whether a first reading tells events: not while the tree is built.
    enum class Telling : bool { no, yes };

    /// Reads the group's file of the level into the tree. The first time, values that are in memory already
    /// stay; later only what has changed in the file is put in place, with events. A file that cannot be read
    /// puts nothing in place and stays as it is.
    LoadOutcome loadLevel(const NodePtr& topLevelGroup, LevelIndex level, Telling telling = Telling::yes);

    /// Brings back the top-level groups that users added: those with a file in the level's folder and no node
    /// below `root`. Files of groups whose definition is missing are left alone. Returns the groups, those of
    /// "user" with installation values. Clears the folder of what crashes left. `isTreeInUse`: with events.
    std::vector<NodePtr> loadAddedGroups(const NodePtr& root, LevelIndex level, bool isTreeInUse = false);

    /// Puts values in place whose definition has appeared since their file was read; in a tree in use with
    /// events.
    void adoptLeftovers(const NodePtr& topLevelGroup, bool isTreeInUse = false);

    /// The folder of the level is about to become another one: the values of each group that was read from
    /// the folder before are exchanged for those of the new one by the next reading, and before the next
    /// save. What was changed since the last save stays.
    void followFolder(LevelIndex level, const std::filesystem::path& folder);

    // For a group that is defined anew; the events are left in `events`.

    /// Runs `work`, which uses the three below, while nobody else works on the group's files, so that none is
    /// saved in the middle of it. False: that may not be had inside a save, and nothing was done.
    bool inTurns(const NodePtr& topLevelGroup, const std::function<void()>& work);
    /// What the group holds on the level and its file does not.
    GroupRecord unsavedValues(const NodePtr& topLevelGroup, LevelIndex level) const;
    /// loadLevel(), of a tree in use; followUpgrades() is due afterwards.
    void reloadLevel(const NodePtr& topLevelGroup, LevelIndex level, LateEvents& events);
    /// Puts values in place where the tree has a setting for them and no value; the others are kept.
    void takeUp(const NodePtr& topLevelGroup, LevelIndex level, GroupRecord values, LateEvents& events);

    // For a tree that takes the place of another one.

    /// What was changed in the tree of `before` and is not in its files yet is part of what is read here for
    /// the first time. `before` saves it, ahead of the saves of this keeper, and meets no other request any
    /// more: what comes late would be older than what is asked of this one.
    void inheritFrom(LevelFileKeeper& before);
    /// The same for a group that has been read: with what has come into its files since.
    void catchUp(const NodePtr& topLevelGroup, LateEvents& events);
    /// What `before` has saved by now is in the files. False: there is something that it has still to try.
    bool forgetInherited(const LevelFileKeeper& before);

    /// What was read of a group never came into the tree: its files count as not read.
    void forgetFilesOf(const std::string& group) noexcept;

    /// Saves what an upgrade has changed in the group's file, and reads again what it has written into other
    /// groups' files; loadLevel() does so itself when it tells events.
    void followUpgrades(const NodePtr& topLevelGroup);

    std::filesystem::path fileOf(std::string_view group, LevelIndex level) const;
    LevelFileStatus status(std::string_view group, LevelIndex level) const;
    /// Waits until what was requested so far has been tried, and tells how it went. From inside a save it
    /// does not wait.
    LevelFileStatus awaitSave(std::string_view group, LevelIndex level);
    /// Whether the file may hold something else than when it was last read or written here.
    bool mayHaveChanged(std::string_view group, LevelIndex level) const {
        return mustReadFirst({std::string(group), level}, varnek::files::FileStamp::of(fileOf(group, level)));
    }
    /// Whether a value was set, unset, added or removed in the group since its file was last read or written.
    bool differsFromFile(const NodePtr& topLevelGroup, LevelIndex level) const;
    /// Of all files that have been asked for, in order of group and level.
    std::vector<LevelFileStatus> allStatuses() const;

    /// How far the personal file has followed the changes between releases; a new record is written with the
    /// next save.
    std::optional<VersionRecord> versionRecord(std::string_view group, LevelIndex level) const;
    void setVersionRecord(std::string_view group, LevelIndex level, VersionRecord record);

  private:
    using Key = std::pair<std::string, LevelIndex>;
    struct FileState;
    class Turn;
    class LeftToOthers;
    class Operation;
    class CountedLater;

    FileState& stateOf(const Key& key) const; // mutex_ is held
    LevelFileStatus statusOf(const Key& key, const FileState& state) const;
    /// What a tree held that has been replaced, and its file did not.
    struct Inherited;
    std::map<Key, NodePtr> pendingSaves() const;
    std::map<Key, NodePtr> endRequests();
    std::shared_ptr<const Inherited> unsavedIn(const Key& key, const NodePtr& group) const;
    std::shared_ptr<const Inherited> inheritedOf(const Key& key) const;
    void submit(const Key& key, NodePtr group);
    enum class Again : bool { due, skipped }; // of a tree that has been replaced only what is due
    void submitAgain(const Key& key, Again why = Again::due);
    bool inTurn(const Key& key, const std::function<void()>& work);
    void run(PrefdirFileWriterQueue* writer, const Key& key, bool isRemoval);
    void runHere(const Key& key);
    void noteNotRun(const Key& key);
    void logPending(const Key& key) const;
    void saveWhatWasSkipped(const Key& besides);

    // Below, the caller has the file's turn and does not hold mutex_.
    // Events of what is taken over from the file are left in `events`, to be told after the turn.
    bool holdsMoreThanTheTree(const Key& key) const;
    bool mustReadFirst(const Key& key, const varnek::files::FileStamp& found) const;
    void noteAbsent(const Key& key);
    bool isInTheFolderOfThen(const Key& key) const;
    bool isFolderAway(const Key& key) const;
    std::optional<GroupRecord> takenBefore(const Key& key) const;
    void noteEncrypted(const Key& key, const varnek::files::FileStamp& stamp);
    bool isStillEncrypted(const Key& key) const;
    void takeOverAbsence(const Key& key, const NodePtr& group, LateEvents& events);
    LoadOutcome read(const Key& key, const NodePtr& group, LateEvents& events, Telling telling);
    bool isReadFrom(const Key& key, const std::filesystem::path& file) const;
    void followIfMoved(const Key& key, const NodePtr& group, LateEvents& events);
    void moveBase(const Key& key, const std::filesystem::path& file);
    void readForTheFolder(const Key& key, const NodePtr& group, LateEvents& events, Telling telling);
    bool isToBeRemoved(const Key& key) const;
    void loadInherited(const Key& key, const NodePtr& group, LateEvents* events);
    NodePtr readAddedGroup(const Key& key, const NodePtr& root, LateEvents* events);
    /// What a reading has found; it counts once the values are in the tree.
    struct Found {
        SettingsFileContent content;
        std::shared_ptr<GroupRecord> base;
        varnek::files::FileStamp stamp;
        bool isOfLaterRelease = false; // than this one knows
    };
    std::optional<Found> readContent(const Key& key);
    LoadOutcome refuse(const Key& key, LoadOutcome outcome, const std::string& cause);
    std::optional<Found> readUpgraded(const Key& key, const NodePtr& group);
    bool isOfAnotherRelease(const Key& key, const Found& found) const;
    void upgradeAbsent(const Key& key, const NodePtr& group);
    void remember(const Key& key, Found found, GroupRecord rest);
    void adopt(const Key& key, const NodePtr& group, LateEvents* events);
    bool forget(const Key& key, const std::vector<std::string>& path);

    const std::uint64_t number_; // in the order in which keepers are made
    const FolderOfLevel folders_;
    const WriterThread writer_;
    std::shared_ptr<PersonalFileUpgrade> upgrade_;
    mutable std::mutex mutex_;
    std::condition_variable turnEnded_;
    std::map<LevelIndex, std::filesystem::path> followed_;     // folders that became others
    bool anySkipped_ = false;                                  // a save follows the next one of another file
    bool isReplaced_ = false;                                  // by the keeper of another tree
    mutable std::map<Key, std::unique_ptr<FileState>> states_; // entries are never removed
};

} // namespace settings::core::detail
