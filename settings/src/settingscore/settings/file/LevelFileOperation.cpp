#include "settingscore/settings/file/LevelFileOperation.hpp"

#include "settingscore/SettingsSaving.hpp"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "settingscore/settings/file/PersonalFileUpgrade.hpp"
#include "settingscore/settings/file/PresentFile.hpp"
#include "settingscore/settings/file/SettingsFileWriter.hpp"
#include "settingscore/settings/file/TreeSnapshot.hpp"
#include "settingscore/settings/settingsFile.hpp"
#include "settingscore/settings/settingsImpl.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/FileStamp.hpp"
#include "varnek/files/Folder.hpp"
#include "json/Value.hpp"

#include <stdexcept>

namespace settings::core::detail {

namespace {

thread_local int saveDepth = 0;

struct InsideSave {
    InsideSave() noexcept { ++saveDepth; }
    InsideSave(const InsideSave&) = delete;
    InsideSave& operator=(const InsideSave&) = delete;
    ~InsideSave() { --saveDepth; }
};

/// How often a save begins anew when somebody who takes no lock writes the file meanwhile.
constexpr int mostOverruns = 5;

/// Whether the request is still to be met after this outcome.
bool leavesMark(SaveOutcome outcome) {
    switch (outcome) {
    case SaveOutcome::switchedOff:
    case SaveOutcome::notWritable:
    case SaveOutcome::waitingForRead:
    case SaveOutcome::failed:
    case SaveOutcome::folderAway:
        return true;
    default:
        return false;
    }
}

/// `isWaitedFor`: somebody has just waited in vain.
std::unique_ptr<varnek::files::FolderLock> keepOthersOut(const std::filesystem::path& file,
                                                         bool isWaitedFor) {
    using varnek::files::FolderLock;
    if (file.empty())
        return {};
    auto lock = isWaitedFor ? std::make_unique<FolderLock>(file.parent_path(), std::chrono::milliseconds(0))
                            : std::make_unique<FolderLock>(file.parent_path());
    if (!lock->isHeld())
        VARNEK_LOG(fileLog, warning) << "saves without a lock on the folder: " << file.parent_path().string();
    return lock;
}

void logEncrypted(const std::filesystem::path& file) {
    VARNEK_LOG(fileLog, warning) << "Don't write file because it was previously encrypted: " << file.string();
}

bool isFolder(const std::filesystem::path& folder) {
    std::error_code ignored;
    return std::filesystem::is_directory(folder, ignored);
}

} // namespace

bool isInsideSave() noexcept {
    return saveDepth > 0;
}

LevelFileKeeper::Operation::Operation(LevelFileKeeper& keeper, Key key, std::filesystem::path file,
                                      Place place)
    : FileOperation(key.second, std::move(file), keeper.number_), keeper_(keeper),
      alive_(keeper.weak_from_this().lock()), key_(std::move(key)), isQueued_(place == Place::inQueue) {}

LevelFileKeeper::Operation::~Operation() {
    leaveQueue();
}

/// No longer among those that wait: another request needs another operation.
void LevelFileKeeper::Operation::leaveQueue() noexcept {
    if (!std::exchange(isQueued_, false))
        return;
    const std::lock_guard lock(keeper_.mutex_);
    --keeper_.stateOf(key_).queued;
}

// ---- the steps ----

void LevelFileKeeper::Operation::begin() {
    leaveQueue();
    turn_.emplace(keeper_, key_);
    if (*turn_)
        takeRequest();
    if (!hasRun_)
        turn_.reset(); // whoever has it goes on as long as there are requests
}

void LevelFileKeeper::Operation::takeRequest() {
    const std::lock_guard lock(keeper_.mutex_);
    FileState& state = keeper_.stateOf(key_);
    state.isLeftToOthers = false;
    taken_ = state.requested;
    hasRun_ = state.attempted < taken_;
    if (hasRun_ && state.group == nullptr && !state.isRemoval) { // another request has met this one
        state.attempted = taken_;
        hasRun_ = false;
    }
    group_ = state.group;
}

void LevelFileKeeper::Operation::prepare(const FolderTurn& folder) {
    if (!hasRun_)
        return;
    attempt([&] {
        hasWaited_ = folder.isWaitedFor;
        file_ = keeper_.fileOf(key_.first, key_.second);
        group_ = groupToSave();
        isRemoval_ = group_ == nullptr;
        if (!isRemoval_)
            keeper_.followIfMoved(key_, group_, events_);
        if (!isRemoval_)
            prepareSave(folder);
    });
}

void LevelFileKeeper::Operation::write() noexcept {
    if (together_ != nullptr)
        access_->writeAhead(*together_);
}

void LevelFileKeeper::Operation::flush() noexcept {
    if (access_)
        access_->flushAhead();
}

void LevelFileKeeper::Operation::letGo() noexcept {
    if (access_)
        access_->letGo();
}

void LevelFileKeeper::Operation::announce() const {
    const InsideSave inside; // for log sinks
    VARNEK_LOG(fileLog, info) << (isRemoval_ ? "Delete settings file: " : "Save settings file: ")
                              << file_.string();
    if (outcome_ == SaveOutcome::failed)
        logCaught(message_, file_);
}

bool LevelFileKeeper::Operation::execute() {
    if (!hasRun_)
        return false;
    announce();
    if (!outcome_) {
        attempt([&] {
            if (isRemoval_)
                end(removeFile());
            else
                executeSave();
        });
        const InsideSave inside; // for log sinks
        if (outcome_ == SaveOutcome::failed)
            logCaught(message_, file_);
    }
    othersOut_.reset();
    if (access_)
        access_->dropAhead(); // of a save that was refused in the end
    return access_ && access_->leavesFolderToFlush();
}

void LevelFileKeeper::Operation::finish() {
    if (!hasRun_)
        return;
    const SaveOutcome outcome = outcome_.value_or(SaveOutcome::failed);
    NodePtr finished; // let go without the lock
    NodePtr root;
    bool isMore = false, isHandedOver = false;
    {
        const std::lock_guard lock(keeper_.mutex_);
        FileState& state = keeper_.stateOf(key_);
        isHandedOver = keeper_.isReplaced_; // while it was pending
        state.attempted = taken_;
        state.status.saved = outcome;
        state.status.saveMessage = std::move(message_);
        state.isSkipped = outcome == SaveOutcome::switchedOff;
        keeper_.anySkipped_ = keeper_.anySkipped_ || state.isSkipped;
        if (state.requested == taken_) {
            root = std::move(state.root);
            state.status.isMarked = leavesMark(outcome);
            state.isRemoval = state.isRemoval && state.status.isMarked;
            if (!state.status.isMarked)
                finished = std::move(state.group);
        }
    }
    othersOut_.reset();
    turn_.reset();
    group_.reset();
    {
        const std::lock_guard lock(keeper_.mutex_);
        isMore = std::exchange(keeper_.stateOf(key_).isLeftToOthers, false);
    }
    // Whoever looked for what was skipped since saving was turned on has not found this one.
    const bool isMissed = outcome == SaveOutcome::switchedOff && isSettingsSavingTurnedOn();
    if (isMore || isMissed)
        keeper_.submitAgain(key_, isMore || isHandedOver ? Again::due : Again::skipped);
}

void LevelFileKeeper::Operation::tell() {
    events_.tellAfterTheChange();
}

template <class Step>
void LevelFileKeeper::Operation::attempt(Step&& step) {
    const InsideSave inside;
    try {
        step();
    } catch (const exception::ErrorWriteToTempSettingsFile& failure) {
        end(SaveOutcome::failed, std::string(varnek::json::Value(failure.getDetail()).asString()));
    } catch (...) {
        end(SaveOutcome::failed, causeOfCurrentException());
    }
}

void LevelFileKeeper::Operation::end(SaveOutcome outcome, std::string message) {
    outcome_ = outcome;
    message_ = std::move(message);
}

// ---- saving ----

/// The group whose values the file is to hold; none: it is to go.
NodePtr LevelFileKeeper::Operation::groupToSave() {
    if (group_ != nullptr)
        return group_;
    NodePtr root;
    {
        const std::lock_guard lock(keeper_.mutex_);
        FileState& state = keeper_.stateOf(key_);
        root = state.removedFrom.lock();
        state.forgetKept();
    }
    const NodePtr again = root == nullptr ? NodePtr() : root->getChild(key_.first, false);
    const bool isOfThisProcess =
        again != nullptr && boost::dynamic_pointer_cast<SettingsImpl>(again->unwrap()) != nullptr;
    return isOfThisProcess && again->originLevel() != LevelIndex::session ? again : NodePtr();
}

bool LevelFileKeeper::Operation::refuseEncrypted() {
    if (!keeper_.isStillEncrypted(key_))
        return false;
    logEncrypted(file_);
    end(SaveOutcome::encrypted);
    return true;
}

/// Takes over what other processes have written, and keeps them out from here on.
void LevelFileKeeper::Operation::prepareSave(const FolderTurn& folder) {
    const std::filesystem::path& file = file_;
    const auto isRemoved = [&] { return group_->getTopLevelNodeForSave() != group_; };
    if (isRemoved()) // its file goes by another request
        return end(SaveOutcome::nothingToSave);
    if (!isSettingsSavingTurnedOn()) {
        if (!refuseEncrypted())
            end(SaveOutcome::switchedOff);
        return;
    }
    if (refuseEncrypted())
        return;
    keeper_.adopt(key_, group_, &events_); // of what was added while the turn could not be had
    const bool hasSomething = group_->hasAnythingToPersist(key_.second) || keeper_.holdsMoreThanTheTree(key_);
    const bool isLocked = folder.isLocked && isInFolderOfPass();
    const bool isFolderAway = !isLocked && !isFolder(file.parent_path());
    if (key_.second == LevelIndex::user && hasSomething && group_->originLevel() != LevelIndex::session &&
        isFolderAway)
        createMissingFolder(file.parent_path()); // before it is locked
    if (!isLocked && !othersOut_)                // a save that begins anew keeps it
        othersOut_ = keepOthersOut(file, folder.isWaitedFor);
    finishUpgrade();
    foundStamp_ = varnek::files::FileStamp::of(file);
    // A folder that was away took nothing from the tree, and a group of this session has no file.
    const bool isToBeRead =
        (!isFolderAway || foundStamp_.exists) && group_->originLevel() != LevelIndex::session;
    if (isToBeRead && keeper_.mustReadFirst(key_, foundStamp_)) {
        const LoadOutcome outcome = keeper_.read(key_, group_, events_, Telling::yes);
        if (refuseEncrypted())
            return;
        if (outcome == LoadOutcome::unreadable)
            return end(SaveOutcome::waitingForRead);
        if (isRemoved()) // with its file
            return end(SaveOutcome::nothingToSave);
    }
    makeAccess();
    together_ = isInFolderOfPass() ? folder.together : nullptr;
}

/// Files that an upgrade has left to be replaced come first. Raises why this one has to wait.
void LevelFileKeeper::Operation::finishUpgrade() {
    if (keeper_.upgrade_ == nullptr || key_.second != LevelIndex::user)
        return;
    if (const auto why = keeper_.upgrade_->finishInterrupted(file_.parent_path(), key_.first))
        throw std::runtime_error(*why);
}

void LevelFileKeeper::Operation::makeAccess() {
    access_.emplace(
        key_.second, group_, file_,
        [this](const NodePtr&, const std::filesystem::path&, std::string_view, SaveOutcome& outcome) {
            auto bytes = makeImage();
            outcome = image_.outcome;
            return bytes;
        },
        keeper_.holdsMoreThanTheTree(key_));
    access_->onReplacing([this] {
        requireAsFound();
        if (image_.replacesDamaged)
            keepAside(file_);
        if (keeper_.upgrade_ != nullptr)
            keeper_.upgrade_->aboutToReplace(file_);
    });
    // What a hook does to the file afterwards is not ours.
    access_->onReplaced([this] { foundStamp_ = varnek::files::FileStamp::of(file_); });
}

void LevelFileKeeper::Operation::executeSave() {
    VARNEK_LOG(fileLog, debug) << access_->description();
    for (int overruns = 0; !outcome_; ++overruns)
        try {
            const SaveOutcome outcome = saveSettingsFile(*access_);
            if (outcome == SaveOutcome::saved || outcome == SaveOutcome::unchanged)
                noteSaved();
            const bool isGone =
                outcome == SaveOutcome::nothingToSave && group_->originLevel() != LevelIndex::session;
            end(isGone ? removeFile() : outcome);
        } catch (...) {
            if (!std::exchange(isOverrun_, false) || overruns == mostOverruns)
                throw;
            prepareSave({}); // takes over what has come in between
        }
}

/// Raises what makes the save begin anew.
void LevelFileKeeper::Operation::requireAsFound() {
    isOverrun_ = varnek::files::FileStamp::of(file_) != foundStamp_;
    if (isOverrun_)
        throw std::runtime_error("the file has changed while it was being saved");
}

/// What is in the file's place. It is not read again when it is the one that was read or written last and the
/// tree holds something else.
PresentFile LevelFileKeeper::Operation::presentFile(const GroupRecord& tree) const {
    std::shared_ptr<const GroupRecord> base;
    PresentFile known;
    {
        const std::lock_guard lock(keeper_.mutex_);
        const FileState& state = keeper_.stateOf(key_);
        const bool isAsItWas = foundStamp_.exists && foundStamp_ == state.stamp &&
                               state.status.loaded == LoadOutcome::ok && !state.status.isEncrypted;
        if (isAsItWas && !state.isVersionNew)
            base = state.base;
        known.state = PresentFile::State::plain;
        known.revision = state.status.revision;
    }
    return base != nullptr && tree.changesValueOf(*base) ? std::move(known) : PresentFile::at(file_);
}

std::optional<std::string> LevelFileKeeper::Operation::makeImage() {
    image_ = {};
    SettingsFileContent content;
    content.tree = snapshotOf(group_, key_.second);
    PresentFile present = presentFile(content.tree);
    if (present.state == PresentFile::State::encrypted) {
        logEncrypted(file_);
        image_.outcome = SaveOutcome::encrypted;
        return std::nullopt;
    }
    if (present.state == PresentFile::State::unreadable) {
        image_.outcome = SaveOutcome::waitingForRead;
        return std::nullopt;
    }
    bool isDamaged = present.state == PresentFile::State::damaged;
    {
        const std::lock_guard lock(keeper_.mutex_);
        const FileState& state = keeper_.stateOf(key_);
        if (state.leftovers != nullptr)
            content.tree.addMissing(state.leftovers->clone());
        if (state.foreignParts != nullptr)
            content.foreignParts = *state.foreignParts;
        content.version = state.version;
        content.revision = state.status.revision;
        isDamaged = isDamaged || state.status.loaded == LoadOutcome::damaged;
    }
    if (content.tree.isEmpty() && !content.tree.isUserDefined && content.foreignParts.empty()) {
        image_.outcome = SaveOutcome::nothingToSave;
        return std::nullopt;
    }
    if (isDamaged && present.state != PresentFile::State::absent)
        present.state = PresentFile::State::damaged; // to be replaced, whatever it says
    auto bytes = fileImage(content, key_.second, present);
    image_.isComplete = true;
    image_.version = content.version;
    image_.tree = std::make_shared<const GroupRecord>(std::move(content.tree));
    image_.replacesDamaged = present.state == PresentFile::State::damaged;
    image_.revision = std::max(content.revision, present.revision);
    return bytes;
}

void LevelFileKeeper::Operation::noteSaved() {
    if (!image_.isComplete)
        return;
    const auto folder = varnek::files::FileStamp::of(file_.parent_path());
    const std::lock_guard lock(keeper_.mutex_);
    FileState& state = keeper_.stateOf(key_);
    state.base = image_.tree;
    state.stamp = foundStamp_;
    state.folder = folder;
    state.isVersionNew = state.isVersionNew && state.version != image_.version;
    state.isUpgraded = false;
    state.inherited = nullptr; // whoever was to save it came first
    state.status.loaded = LoadOutcome::ok;
    state.status.loadMessage.clear();
    state.status.revision = image_.revision;
}

// ---- removing ----

SaveOutcome LevelFileKeeper::Operation::removeFile() {
    if (!isSettingsSavingTurnedOn())
        return SaveOutcome::switchedOff;
    if (!othersOut_)
        othersOut_ = keepOthersOut(file_, hasWaited_);
    finishUpgrade();
    const PresentFile present = PresentFile::at(file_);
    if (!isRemoval_ && present.state != PresentFile::State::absent)
        requireAsFound(); // it may hold something now
    switch (present.state) {
    case PresentFile::State::absent:
        if (keeper_.isFolderAway(key_))
            return SaveOutcome::folderAway;
        keeper_.noteAbsent(key_);
        return SaveOutcome::nothingToSave;
    case PresentFile::State::encrypted:
        logEncrypted(file_);
        return SaveOutcome::encrypted;
    case PresentFile::State::unreadable:
        return SaveOutcome::waitingForRead;
    case PresentFile::State::damaged:
        setAside(file_);
        break;
    case PresentFile::State::plain:
        if (keeper_.status(key_.first, key_.second).loaded == LoadOutcome::damaged) {
            setAside(file_);
            break;
        }
        if (!isRemoval_) // which has been said
            VARNEK_LOG(fileLog, info) << "Delete settings file: " << file_.string();
        if (keeper_.upgrade_ != nullptr)
            keeper_.upgrade_->aboutToReplace(file_);
        varnek::files::removeFile(file_);
        break;
    }
    keeper_.noteAbsent(key_);
    const std::lock_guard lock(keeper_.mutex_);
    FileState& state = keeper_.stateOf(key_);
    state.status.revision = std::max(state.status.revision, present.revision);
    return SaveOutcome::removed;
}

} // namespace settings::core::detail
