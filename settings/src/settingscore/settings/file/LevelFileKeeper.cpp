// Bookkeeping, turns and requests; reading is in levelFileReading.cpp, saving in LevelFileOperation.cpp.

#include "settingscore/settings/file/LevelFileKeeper.hpp"

#include "settingscore/SettingsSaving.hpp"
#include "settingscore/level/SettingsLevelManager.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "settingscore/settings/file/LevelFileOperation.hpp"
#include "settingscore/settings/file/LevelFileState.hpp"
#include "settingscore/settings/file/PrefdirFileWriterQueue.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "varnek/files/PathText.hpp"

#include <atomic>

namespace settings::core::detail {

// ---- bookkeeping ----

std::filesystem::path LevelFileKeeper::folderOfLevel(LevelIndex level) {
    return varnek::files::pathFromUtf16(
        SettingsLevelManager::getSettingsLevelObjs()[position(level)].levelRootPath());
}

namespace {

std::uint64_t nextNumber() noexcept {
    static std::atomic<std::uint64_t> last{0};
    return ++last;
}

} // namespace

LevelFileKeeper::LevelFileKeeper(FolderOfLevel folders, WriterThread writer)
    : number_(nextNumber()), folders_(std::move(folders)), writer_(writer) {}
LevelFileKeeper::~LevelFileKeeper() = default;

LevelFileKeeper::FileState& LevelFileKeeper::stateOf(const Key& key) const {
    auto& state = states_[key];
    if (state == nullptr)
        state = std::make_unique<FileState>();
    return *state;
}

std::filesystem::path LevelFileKeeper::fileOf(std::string_view group, LevelIndex level) const {
    const std::filesystem::path folder = folders_(level);
    return folder.empty() ? folder : folder / fileNameOf(group); // without a folder there is no file
}

LevelFileStatus LevelFileKeeper::statusOf(const Key& key, const FileState& state) const {
    LevelFileStatus status = state.status;
    status.group = key.first;
    status.level = key.second;
    return status;
}

LevelFileStatus LevelFileKeeper::status(std::string_view group, LevelIndex level) const {
    const Key key(group, level);
    LevelFileStatus status;
    {
        const std::lock_guard lock(mutex_);
        status = statusOf(key, stateOf(key));
    }
    status.file = fileOf(group, level);
    return status;
}

std::vector<LevelFileStatus> LevelFileKeeper::allStatuses() const {
    std::vector<LevelFileStatus> all;
    {
        const std::lock_guard lock(mutex_);
        for (const auto& [key, state] : states_)
            all.push_back(statusOf(key, *state));
    }
    for (LevelFileStatus& status : all)
        status.file = fileOf(status.group, status.level);
    return all;
}

std::optional<VersionRecord> LevelFileKeeper::versionRecord(std::string_view group, LevelIndex level) const {
    const std::lock_guard lock(mutex_);
    return stateOf({std::string(group), level}).version;
}

void LevelFileKeeper::setVersionRecord(std::string_view group, LevelIndex level, VersionRecord record) {
    const std::lock_guard lock(mutex_);
    FileState& state = stateOf({std::string(group), level});
    state.version = std::move(record);
    state.isVersionNew = true;
}

// ---- turns ----

LevelFileKeeper::Turn::Turn(LevelFileKeeper& keeper, const Key& key) : keeper_(keeper) {
    std::unique_lock lock(keeper.mutex_);
    FileState& state = keeper.stateOf(key);
    if (state.isBusy && isInsideSave()) {
        state.isLeftToOthers = true;
        return;
    }
    keeper.turnEnded_.wait(lock, [&] { return !state.isBusy; });
    state.isBusy = true;
    state_ = &state;
}

LevelFileKeeper::Turn::~Turn() {
    if (state_ == nullptr)
        return;
    {
        const std::lock_guard lock(keeper_.mutex_);
        state_->isBusy = false;
    }
    keeper_.turnEnded_.notify_all();
}

LevelFileKeeper::LeftToOthers::~LeftToOthers() {
    if (!isHad_)
        return;
    try {
        bool isDue = false;
        {
            const std::lock_guard lock(keeper_.mutex_);
            isDue = std::exchange(keeper_.stateOf(key_).isLeftToOthers, false);
        }
        if (isDue)
            keeper_.submitAgain(key_);
    } catch (...) { // the file stays marked
        logCaught(causeOfCurrentException(), fileNameOf(key_.first));
    }
}

/// Runs `work` while nobody else works on the file; false: that may not be had (see Turn).
bool LevelFileKeeper::inTurn(const Key& key, const std::function<void()>& work) {
    LeftToOthers left(*this, key);
    const Turn turn(*this, key);
    if (!turn)
        return false;
    left.turnIsHad();
    work();
    return true;
}

/// The turns are taken as a pass of the writer takes them.
bool LevelFileKeeper::inTurns(const NodePtr& topLevelGroup, const std::function<void()>& work) {
    const Key installation(topLevelGroup->getName(), LevelIndex::installation);
    const Key user(topLevelGroup->getName(), LevelIndex::user);
    LeftToOthers leftOfInstallation(*this, installation), leftOfUser(*this, user);
    const Turn first(*this, installation);
    if (!first)
        return false;
    leftOfInstallation.turnIsHad();
    const Turn second(*this, user);
    if (!second)
        return false;
    leftOfUser.turnIsHad();
    work();
    return true;
}

// ---- requests ----

void LevelFileKeeper::requestSave(const NodePtr& topLevelGroup, LevelIndex level) {
    if (levelTable[position(level)].fileSlot != 0)
        submit({topLevelGroup->getName(), level}, topLevelGroup);
}

/// Not any more once the writer has ended, nor in a child of a fork().
bool LevelFileKeeper::areMetLater() const noexcept {
    const PrefdirFileWriterQueue* const writer = writer_ == nullptr ? nullptr : writer_();
    return writer != nullptr && writer->isRunning();
}

void LevelFileKeeper::requestDelete(const NodePtr& topLevelGroup, const NodePtr& root, LevelIndex level) {
    if (levelTable[position(level)].fileSlot == 0)
        return;
    const Key key(topLevelGroup->getName(), level);
    const LoadOutcome loaded = status(key.first, level).loaded;
    const bool isFileKnown = loaded != LoadOutcome::notRead && loaded != LoadOutcome::absent;
    if (!isFileKnown && !topLevelGroup->hasAnythingToPersist(level) && !holdsMoreThanTheTree(key))
        return; // there is no file
    {
        const std::lock_guard lock(mutex_);
        FileState& state = stateOf(key);
        state.removedFrom = root;
    }
    submit(key, {});
}

std::shared_ptr<void> LevelFileKeeper::removalOf(const NodePtr& topLevelGroup) {
    const auto count = [this, name = topLevelGroup->getName()](int step) {
        const std::lock_guard lock(mutex_);
        for (const LevelIndex level : {LevelIndex::user, LevelIndex::installation})
            stateOf({name, level}).leaving += step;
    };
    count(1);
    return {this, [count](void*) { count(-1); }};
}

void LevelFileKeeper::submit(const Key& key, NodePtr group) {
    PrefdirFileWriterQueue* const writer = writer_ == nullptr ? nullptr : writer_();
    const bool isRemoval = group == nullptr;
    NodePtr root = isRemoval ? NodePtr() : group->getParent();
    bool isPending = false;
    {
        const std::lock_guard lock(mutex_);
        if (isReplaced_)
            return; // it was on its way when another tree took the place
        if (!isRemoval && group->getTopLevelNodeForSave() != group)
            return; // removed meanwhile; there may be another group of its name
        FileState& state = stateOf(key);
        if (!isRemoval && state.isRemoval && group->originLevel() == LevelIndex::session)
            return; // it has no file, and must not keep another one's
        if (!isRemoval && state.isRemoval)
            state.forgetKept(); // of the one that was removed
        isPending = state.queued > 0 && state.isRemoval == isRemoval;
        state.isRemoval = isRemoval;
        std::swap(state.group, group); // those before are let go without the lock
        std::swap(state.root, root);
        state.status.isMarked = true;
        ++state.requested;
    }
    if (writer != nullptr && isPending)
        logPending(key);
    else
        run(writer, key, isRemoval);
    if (isSettingsSavingTurnedOn() && !isInsideSave())
        saveWhatWasSkipped(key);
}

/// Once more what could not be met, or not by the one who asked.
void LevelFileKeeper::submitAgain(const Key& key, Again why) {
    PrefdirFileWriterQueue* const writer = writer_ == nullptr ? nullptr : writer_();
    bool isRemoval = false;
    {
        const std::lock_guard lock(mutex_);
        FileState& state = stateOf(key);
        if (!state.status.isMarked || (writer != nullptr && state.queued > 0))
            return;
        if (why == Again::skipped && isReplaced_)
            return; // nobody was handed it, and newer values are in its place
        ++state.requested;
        isRemoval = state.isRemoval;
    }
    run(writer, key, isRemoval);
}

/// Counts an operation when the queue has it, so that nobody relies on it before; it may have run by then.
class LevelFileKeeper::CountedLater {
  public:
    CountedLater(LevelFileKeeper& keeper, const Key& key) : keeper_(keeper), key_(key) {}
    CountedLater(const CountedLater&) = delete;
    CountedLater& operator=(const CountedLater&) = delete;
    ~CountedLater() {
        const std::lock_guard lock(keeper_.mutex_);
        ++keeper_.stateOf(key_).queued;
    }

  private:
    LevelFileKeeper& keeper_;
    const Key& key_;
};

/// Hands an operation to the writer thread or, without one, runs it. What that raises is logged: the change
/// is made, and the file stays marked.
void LevelFileKeeper::run(PrefdirFileWriterQueue* writer, const Key& key, bool isRemoval) {
    try {
        if (writer == nullptr)
            return runHere(key);
        auto operation =
            std::make_unique<Operation>(*this, key, fileOf(key.first, key.second), Operation::Place::inQueue);
        const CountedLater counted(*this, key);
        if (isRemoval)
            writer->requestDeleteFile(std::move(operation));
        else
            writer->requestFileUpdate(std::move(operation));
    } catch (const std::exception& failure) {
        logCaught(failure.what(), fileNameOf(key.first));
        noteNotRun(key);
    }
}

void LevelFileKeeper::noteNotRun(const Key& key) {
    {
        const std::lock_guard lock(mutex_);
        FileState& state = stateOf(key);
        state.attempted = state.requested; // nobody is to wait for it
        state.status.saved = SaveOutcome::failed;
    }
    turnEnded_.notify_all();
}

void LevelFileKeeper::runHere(const Key& key) {
    for (bool isDone = false; !isDone;) { // requests from inside the save follow it
        Operation operation(*this, key, fileOf(key.first, key.second), Operation::Place::inCaller);
        operation.begin();
        operation.prepare({});
        operation.execute();
        operation.finish();
        operation.tell();
        isDone = !operation.hasRun();
    }
}

void LevelFileKeeper::logPending(const Key& key) const {
    if (fileLog.enabled(varnek::log::Severity::info))
        PrefdirFileWriterQueue::logFileUpdate(fileOf(key.first, key.second));
}

void LevelFileKeeper::saveWhatWasSkipped(const Key& besides) {
    std::vector<Key> skipped;
    {
        const std::lock_guard lock(mutex_);
        if (!std::exchange(anySkipped_, false))
            return;
        for (const auto& [key, state] : states_)
            if (key != besides && state->status.isMarked && state->isSkipped)
                skipped.push_back(key);
    }
    for (const Key& key : skipped)
        submitAgain(key, Again::skipped);
}

LevelFileStatus LevelFileKeeper::awaitSave(std::string_view group, LevelIndex level) {
    const Key key(group, level);
    PrefdirFileWriterQueue* const writer = writer_ == nullptr ? nullptr : writer_();
    bool isDue = false;
    {
        const std::lock_guard lock(mutex_);
        const FileState& state = stateOf(key);
        isDue = state.attempted < state.requested;
    }
    if (isDue && writer == nullptr)
        submitAgain(key); // of a process that was forked
    if (isDue && writer != nullptr && !writer->isWorker() && !isInsideSave()) {
        writer->hurry();
        std::unique_lock lock(mutex_);
        const FileState& state = stateOf(key);
        turnEnded_.wait(lock, [&, mine = state.requested] { return state.attempted >= mine; });
    }
    return status(group, level);
}

bool LevelFileKeeper::holdsMoreThanTheTree(const Key& key) const {
    const std::lock_guard lock(mutex_);
    const FileState& state = stateOf(key);
    return state.leftovers != nullptr || state.foreignParts != nullptr;
}

/// Notes that there is no file: whatever comes in its place is a change.
void LevelFileKeeper::noteAbsent(const Key& key) {
    const std::lock_guard lock(mutex_);
    FileState& state = stateOf(key);
    state.base = std::make_shared<const GroupRecord>();
    state.stamp = {};
    state.status.loaded = LoadOutcome::absent;
    state.status.loadMessage.clear();
    state.status.isEncrypted = false;
}

} // namespace settings::core::detail
