/// What the keeper of level files remembers of one file, and the turns on it.
#pragma once

#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/node/SettingsNodeImpl.hpp"
#include "varnek/files/FileStamp.hpp"

#include <boost/weak_ptr.hpp>

namespace settings::core::detail {

/// Guarded by the keeper's mutex.
struct LevelFileKeeper::FileState {
    LevelFileStatus status;
    std::shared_ptr<const GroupRecord> leftovers; // null: none
    std::shared_ptr<const std::vector<ForeignPart>> foreignParts;
    std::shared_ptr<const GroupRecord> base; // what the file held when it was last read or written
    varnek::files::FileStamp stamp;          // of the file then
    varnek::files::FileStamp folder;         // of its folder then
    std::optional<VersionRecord> version;
    bool isVersionNew = false;                  // set here and not written yet: a reading must not replace it
    std::shared_ptr<const Inherited> inherited; // null: none

    std::filesystem::path isOf; // where the file was at the last reading; empty: nowhere yet

    int leaving = 0;                               // threads that are about to remove the group
    bool isRemoval = false;                        // the file is to go
    boost::weak_ptr<SettingsNodeImpl> removedFrom; // the root of the group that was removed
    NodePtr root;                                  // of the tree, which stays until it is saved
    NodePtr group;                                 // whose values are to be saved; empty: the file is to go
    std::uint64_t requested = 0;                   // number of the last request
    std::uint64_t attempted = 0;                   // number of the last request that a pass has taken up
    int queued = 0;                                // operations that the writer thread has and not begun
    bool isBusy = false;                           // somebody has the turn
    bool isLeftToOthers = false;                   // a request that could not wait for it
    bool isUpgraded = false;                       // since the file was read, and not saved yet
    bool isSkipped = false;                        // where it is marked, the next save takes it along

    /// What the file holds beyond the tree.
    void forgetKept() {
        leftovers = nullptr;
        foreignParts = nullptr;
        version.reset();
        isVersionNew = false;
    }

    /// Everything that was learned from the file.
    void forgetContent() {
        forgetKept();
        base = nullptr;
        stamp = {};
        folder = {};
        const bool wasMarked = status.isMarked;
        status = {};
        status.isMarked = wasMarked;
    }
};

/// What was inherited of one file.
struct LevelFileKeeper::Inherited {
    GroupRecord base; // what the file held when it was last read or written there
    GroupRecord tree; // what the tree held
};

/// The right to work on one file; given back at the end of the scope.
class LevelFileKeeper::Turn {
  public:
    /// Waits until the file is free. A thread that is inside a save must not wait for another one that may
    /// wait for it: then the turn may not be had.
    Turn(LevelFileKeeper& keeper, const Key& key);
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn();

    explicit operator bool() const noexcept { return state_ != nullptr; }

  private:
    LevelFileKeeper& keeper_;
    FileState* state_ = nullptr;
};

/// When a turn that was had is over: what was requested meanwhile by somebody who must not wait is met. Made
/// before the turn, so that it is destroyed after it, also when the work in between has failed.
class LevelFileKeeper::LeftToOthers {
  public:
    LeftToOthers(LevelFileKeeper& keeper, Key key) : keeper_(keeper), key_(std::move(key)) {}
    LeftToOthers(const LeftToOthers&) = delete;
    LeftToOthers& operator=(const LeftToOthers&) = delete;
    ~LeftToOthers();

    void turnIsHad() noexcept { isHad_ = true; }

  private:
    LevelFileKeeper& keeper_;
    const Key key_;
    bool isHad_ = false;
};

/// Whether the calling thread is inside a save.
bool isInsideSave() noexcept;

} // namespace settings::core::detail
