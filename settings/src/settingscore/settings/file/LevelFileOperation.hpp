/// The operations of the keeper of level files: one save, or removal, of one file, with the file's turn held
/// from its beginning to its end.
///
/// Confined to one thread at a time. The keeper outlives it.
#pragma once

#include "settingscore/settings/file/FileOperation.hpp"
#include "settingscore/settings/file/LevelFileState.hpp"
#include "settingscore/settings/file/PrefdirFileAccess.hpp"
#include "varnek/files/FolderLock.hpp"

namespace settings::core::detail {

class LevelFileKeeper::Operation : public FileOperation {
  public:
    Operation(LevelFileKeeper& keeper, Key key, std::filesystem::path file);
    ~Operation() override;

    void prepare(bool ahead) final;
    void flush() noexcept final;
    bool execute() final;
    void finish() final;

    /// Whether it had the turn and met a request.
    bool hasRun() const noexcept { return hasRun_; }

  protected:
    /// What the first line in the log says of it.
    virtual const char* announcement() const = 0;

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

    bool begin();
    NodePtr groupToSave();
    /// Runs a step; what it raises ends the operation.
    template <class Step>
    void attempt(Step&& step);
    void end(SaveOutcome outcome, std::string message = {});

    void prepareSave(bool ahead);
    void executeSave();
    void makeAccess();
    std::optional<std::string> makeImage();
    void noteSaved();
    SaveOutcome removeFile(bool isAnnounced);
    bool refuseEncrypted();

    LevelFileKeeper& keeper_;
    const boost::shared_ptr<LevelFileKeeper> alive_; // of a keeper that is shared
    const Key key_;
    std::optional<Turn> turn_;
    std::uint64_t taken_ = 0; // number of the last request that it meets
    bool hasRun_ = false;
    NodePtr group_; // none: the file is to go
    std::unique_ptr<varnek::files::FolderLock> othersOut_;
    std::optional<PrefdirFileAccess> access_;
    Image image_;
    varnek::files::FileStamp foundStamp_; // of the file that is to be replaced; then of the one in its place
    bool isOverrun_ = false;              // somebody has written that file in between
    std::optional<SaveOutcome> outcome_;  // once it is known how it ended
    std::string message_;                 // of a failure
    LateEvents events_;                   // of what was taken over from the file
};

class LevelFileKeeper::WriteOperation final : public Operation {
  public:
    using Operation::Operation;

  private:
    const char* announcement() const override { return "Save settings file: "; }
};

class LevelFileKeeper::DeleteOperation final : public Operation {
  public:
    using Operation::Operation;

  private:
    const char* announcement() const override { return "Delete settings file: "; }
};

} // namespace settings::core::detail
