/// The operations of the keeper of level files: one save, or removal, of one file, with the file's turn held
/// from its beginning to its end.
///
/// Confined to one thread at a time. The keeper outlives it.
#pragma once

#include "settingscore/settings/file/FileOperation.hpp"
#include "settingscore/settings/file/LevelFileState.hpp"
#include "settingscore/settings/file/PrefdirFileAccess.hpp"
#include "settingscore/settings/file/PresentFile.hpp"
#include "varnek/files/FolderLock.hpp"

namespace settings::core::detail {

class LevelFileKeeper::Operation : public FileOperation {
  public:
    enum class Place { inQueue, inCaller };

    Operation(LevelFileKeeper& keeper, Key key, std::filesystem::path file, Place place);
    ~Operation() override;

    void begin() override;
    void prepare(const FolderTurn& folder) override;
    void write() noexcept override;
    void flush() noexcept override;
    bool execute() override;
    void finish() override;
    void tell() override;
    void letGo() noexcept override;

    /// Whether it had the turn and met a request.
    bool hasRun() const noexcept { return hasRun_; }

  private:
    /// What the save learned about the file; it counts once the save has succeeded.
    struct Image {
        bool isComplete = false;
        bool replacesDamaged = false;
        std::uint64_t revision = 0;
        std::optional<VersionRecord> version{};
        std::shared_ptr<const GroupRecord> tree{};
        SaveOutcome outcome = SaveOutcome::unchanged; // when there are no bytes to write
    };

    void takeRequest();
    void leaveQueue() noexcept;
    void announce() const;
    NodePtr groupToSave();
    /// Runs a step; what it raises ends the operation.
    template <class Step>
    void attempt(Step&& step);
    void end(SaveOutcome outcome, std::string message = {});

    void prepareSave(const FolderTurn& folder);
    void executeSave();
    void requireAsFound();
    void finishUpgrade();
    void makeAccess();
    std::optional<std::string> makeImage();
    PresentFile presentFile(const GroupRecord& tree) const;
    void noteSaved();
    SaveOutcome removeFile();
    bool refuseEncrypted();
    /// Whether the file is still where it was when it was asked for, in the folder of the pass.
    bool isInFolderOfPass() const { return file_.parent_path() == path().parent_path(); }

    LevelFileKeeper& keeper_;
    const boost::shared_ptr<LevelFileKeeper> alive_; // of a keeper that is shared
    const Key key_;
    std::optional<Turn> turn_;
    std::filesystem::path file_; // where it is now
    bool isQueued_ = false;      // counts among the operations that wait
    std::uint64_t taken_ = 0;    // number of the last request that it meets
    bool hasRun_ = false;
    bool isRemoval_ = false; // the file is to go
    NodePtr group_;          // none: the file is to go
    std::unique_ptr<varnek::files::FolderLock> othersOut_;
    std::optional<PrefdirFileAccess> access_;
    varnek::files::ReplacementFolder* together_ = nullptr; // where it is written ahead
    Image image_;
    varnek::files::FileStamp foundStamp_; // of the file that is to be replaced; then of the one in its place
    bool hasWaited_ = false;              // the pass, for other processes, in vain
    bool isOverrun_ = false;              // somebody has written that file in between
    std::optional<SaveOutcome> outcome_;  // once it is known how it ended
    std::string message_;                 // of a failure
    LateEvents events_;                   // of what was taken over from the file
};

} // namespace settings::core::detail
