// Requests, turns and saves; reading is in levelFileReading.cpp.

#include "settingscore/settings/file/LevelFileKeeper.hpp"

#include "settingscore/SettingsSaving.hpp"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/level/SettingsLevelManager.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "settingscore/settings/file/LevelFileState.hpp"
#include "settingscore/settings/file/PrefdirFileAccess.hpp"
#include "settingscore/settings/file/PresentFile.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/file/SettingsFileWriter.hpp"
#include "settingscore/settings/file/TreeSnapshot.hpp"
#include "settingscore/settings/settingsFile.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/FolderLock.hpp"
#include "varnek/files/PathText.hpp"
#include "json/Value.hpp"

namespace settings::core::detail {

namespace {

thread_local int saveDepth = 0;

struct InsideSave {
    InsideSave() noexcept { ++saveDepth; }
    ~InsideSave() { --saveDepth; }
};

/// Whether the request is still to be met after this outcome.
bool leavesMark(SaveOutcome outcome) {
    switch (outcome) {
    case SaveOutcome::switchedOff:
    case SaveOutcome::notWritable:
    case SaveOutcome::waitingForRead:
    case SaveOutcome::failed:
        return true;
    default:
        return false;
    }
}

std::unique_ptr<varnek::files::FolderLock> keepOthersOut(const std::filesystem::path& file) {
    if (file.empty())
        return {};
    auto lock = std::make_unique<varnek::files::FolderLock>(file.parent_path());
    if (!lock->isHeld())
        VARNEK_LOG(fileLog, warning) << "saves without a lock on the folder: " << file.parent_path().string();
    return lock;
}

void logEncrypted(const std::filesystem::path& file) {
    VARNEK_LOG(fileLog, warning) << "Don't write file because it was previously encrypted: " << file.string();
}

} // namespace

bool isInsideSave() noexcept {
    return saveDepth > 0;
}

// ---- bookkeeping ----

std::filesystem::path LevelFileKeeper::folderOfLevel(LevelIndex level) {
    return varnek::files::pathFromUtf16(
        SettingsLevelManager::getSettingsLevelObjs()[position(level)].levelRootPath());
}

LevelFileKeeper::LevelFileKeeper(FolderOfLevel folders) : folders_(std::move(folders)) {}
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
    if (state.isBusy && isInsideSave())
        return;
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

// ---- requests ----

void LevelFileKeeper::requestSave(const NodePtr& topLevelGroup, LevelIndex level) {
    if (levelTable[position(level)].fileSlot != 0)
        submit({topLevelGroup->getName(), level}, topLevelGroup);
}

void LevelFileKeeper::requestDelete(const NodePtr& topLevelGroup, const NodePtr& root, LevelIndex level) {
    if (levelTable[position(level)].fileSlot == 0)
        return;
    const Key key(topLevelGroup->getName(), level);
    {
        const std::lock_guard lock(mutex_);
        FileState& state = stateOf(key);
        state.removedFrom = root;
    }
    submit(key, {});
}

void LevelFileKeeper::submit(const Key& key, NodePtr group) {
    {
        std::unique_lock lock(mutex_);
        if (group != nullptr && group->getTopLevelNodeForSave() != group)
            return; // removed meanwhile; there may be another group of its name
        FileState& state = stateOf(key);
        if (group != nullptr && state.isRemoval && group->originLevel() == LevelIndex::session)
            return; // it has no file, and must not keep another one's
        if (group != nullptr && state.isRemoval)
            state.forgetKept(); // of the one that was removed
        state.isRemoval = group == nullptr;
        std::swap(state.group, group); // the one before is let go without the lock
        state.status.isMarked = true;
        ++state.requested;
        runPasses(key, lock);
    }
    if (isSettingsSavingTurnedOn() && !isInsideSave())
        saveWhatWasSkipped(key);
}

/// Returns when a pass has taken up the last request that was made before the call; inside a save at once
/// when another thread, or this one further up, is at it.
void LevelFileKeeper::runPasses(const Key& key, std::unique_lock<std::mutex>& lock) {
    FileState& state = stateOf(key);
    const std::uint64_t mine = state.requested;
    LateEvents events;
    while (state.attempted < mine) {
        if (state.isBusy) {
            if (isInsideSave())
                return; // whoever is at it goes on as long as there are requests
            turnEnded_.wait(lock);
            continue;
        }
        state.isBusy = true;
        do {
            const std::uint64_t taken = state.requested;
            NodePtr group = state.group;
            if (group == nullptr && !state.isRemoval) { // another request has met this one
                state.attempted = taken;
                continue;
            }
            lock.unlock();
            auto [outcome, message] = attempt(key, group, events);
            group.reset();
            lock.lock();
            state.attempted = taken;
            state.status.saved = outcome;
            state.status.saveMessage = std::move(message);
            anySkipped_ = anySkipped_ || outcome == SaveOutcome::switchedOff;
            if (state.requested == taken) {
                state.status.isMarked = leavesMark(outcome);
                state.isRemoval = state.isRemoval && state.status.isMarked;
            }
        } while (state.attempted < state.requested);
        state.isBusy = false;
        NodePtr finished = state.status.isMarked ? nullptr : std::move(state.group);
        turnEnded_.notify_all();
        lock.unlock();
        finished.reset();
        events.tell();
        lock.lock();
    }
}

void LevelFileKeeper::saveWhatWasSkipped(const Key& besides) {
    std::unique_lock lock(mutex_);
    if (!std::exchange(anySkipped_, false))
        return;
    const auto isSkipped = [](const FileState& state) {
        return state.status.isMarked && state.status.saved == SaveOutcome::switchedOff;
    };
    std::vector<Key> skipped;
    for (const auto& [key, state] : states_)
        if (key != besides && isSkipped(*state))
            skipped.push_back(key);
    for (const Key& key : skipped) {
        if (!isSkipped(stateOf(key)))
            continue; // saved meanwhile: the lock is let go during a pass
        ++stateOf(key).requested;
        runPasses(key, lock);
    }
}

// ---- saving ----

std::pair<SaveOutcome, std::string> LevelFileKeeper::attempt(const Key& key, const NodePtr& group,
                                                             LateEvents& events) {
    const InsideSave inside;
    try {
        return {group == nullptr ? removeFileOfGroup(key, events) : save(key, group, events), {}};
    } catch (const exception::ErrorWriteToTempSettingsFile& failure) {
        const std::string detail(varnek::json::Value(failure.getDetail()).asString());
        VARNEK_LOG(fileLog, error) << "Exception caught: " << failure.what() << ' ' << detail;
        return {SaveOutcome::failed, detail};
    } catch (...) {
        const std::string cause = causeOfCurrentException();
        VARNEK_LOG(fileLog, error) << "Exception caught: " << (cause.empty() ? "Unknown" : cause);
        return {SaveOutcome::failed, cause};
    }
}

SaveOutcome LevelFileKeeper::save(const Key& key, const NodePtr& group, LateEvents& events) {
    const std::filesystem::path file = fileOf(key.first, key.second);
    const auto refuseEncrypted = [&] {
        if (!status(key.first, key.second).isEncrypted)
            return false;
        logEncrypted(file);
        return true;
    };
    if (group->getTopLevelNodeForSave() != group)
        return SaveOutcome::nothingToSave; // removed meanwhile; its file goes by another request
    if (!isSettingsSavingTurnedOn())
        return refuseEncrypted() ? SaveOutcome::encrypted : SaveOutcome::switchedOff;
    if (!varnek::files::FileStamp::of(file).exists)
        forgetEncryption(key);
    if (refuseEncrypted())
        return SaveOutcome::encrypted;
    adopt(key, group); // of what was added while the turn could not be had
    const bool hasSomething = group->hasAnythingToPersist(key.second) || holdsMoreThanTheTree(key);
    std::error_code ignored;
    const bool isFolderAway = !std::filesystem::is_directory(file.parent_path(), ignored);
    if (key.second == LevelIndex::user && hasSomething && group->originLevel() != LevelIndex::session &&
        isFolderAway)
        createMissingFolder(file.parent_path()); // before it is locked
    const auto othersOut = keepOthersOut(file);
    // A folder that was away took nothing from the tree.
    const bool isNew = isFolderAway && !varnek::files::FileStamp::of(file).exists;
    if (!isNew && mustReadFirst(key)) {
        const LoadOutcome outcome = read(key, group, events);
        if (refuseEncrypted())
            return SaveOutcome::encrypted;
        if (outcome == LoadOutcome::unreadable)
            return SaveOutcome::waitingForRead;
        if (group->getTopLevelNodeForSave() != group)
            return SaveOutcome::nothingToSave; // gone with its file
    }
    Image image;
    PrefdirFileAccess access(
        key.second, group, file,
        [&](const NodePtr& saved, const std::filesystem::path& path, std::string_view, SaveOutcome& outcome) {
            auto bytes = makeImage(key, saved, path, image);
            outcome = image.outcome;
            return bytes;
        },
        holdsMoreThanTheTree(key));
    access.onReplacing([&] {
        if (image.replacesDamaged)
            keepAside(file);
    });
    const SaveOutcome outcome = execute(access);
    if (outcome == SaveOutcome::saved || outcome == SaveOutcome::unchanged)
        noteSaved(key, image);
    const bool isGone = outcome == SaveOutcome::nothingToSave && group->originLevel() != LevelIndex::session;
    return isGone ? removeFile(key) : outcome;
}

bool LevelFileKeeper::holdsMoreThanTheTree(const Key& key) const {
    const std::lock_guard lock(mutex_);
    const FileState& state = stateOf(key);
    return state.leftovers != nullptr || state.foreignParts != nullptr;
}

/// The one place where a save is carried out; a writer thread would take the access from here.
SaveOutcome LevelFileKeeper::execute(SettingsFileAccess& access) {
    VARNEK_LOG(fileLog, info) << "Save settings file: " << access.filePath().string();
    VARNEK_LOG(fileLog, debug) << access.description();
    return saveSettingsFile(access);
}

std::optional<std::string> LevelFileKeeper::makeImage(const Key& key, const NodePtr& group,
                                                      const std::filesystem::path& file, Image& image) {
    PresentFile present = PresentFile::at(file);
    if (present.state == PresentFile::State::encrypted) {
        logEncrypted(file);
        image.outcome = SaveOutcome::encrypted;
        return std::nullopt;
    }
    if (present.state == PresentFile::State::unreadable) {
        image.outcome = SaveOutcome::waitingForRead;
        return std::nullopt;
    }
    SettingsFileContent content;
    content.tree = snapshotOf(group, key.second);
    bool isDamaged = present.state == PresentFile::State::damaged;
    {
        const std::lock_guard lock(mutex_);
        const FileState& state = stateOf(key);
        if (state.leftovers != nullptr)
            content.tree.addMissing(state.leftovers->clone());
        if (state.foreignParts != nullptr)
            content.foreignParts = *state.foreignParts;
        content.version = state.version;
        content.revision = state.status.revision;
        isDamaged = isDamaged || state.status.loaded == LoadOutcome::damaged;
    }
    if (content.tree.isEmpty() && !content.tree.isUserDefined && content.foreignParts.empty()) {
        image.outcome = SaveOutcome::nothingToSave;
        return std::nullopt;
    }
    if (isDamaged && present.state != PresentFile::State::absent)
        present.state = PresentFile::State::damaged; // to be replaced, whatever it says
    auto bytes = fileImage(content, key.second, present);
    image.isComplete = true;
    image.version = content.version;
    image.tree = std::make_shared<const GroupRecord>(std::move(content.tree));
    image.replacesDamaged = present.state == PresentFile::State::damaged;
    image.revision = std::max(content.revision, present.revision);
    return bytes;
}

void LevelFileKeeper::noteSaved(const Key& key, const Image& image) {
    if (!image.isComplete)
        return;
    const std::filesystem::path file = fileOf(key.first, key.second);
    const auto stamp = varnek::files::FileStamp::of(file);
    const auto folder = varnek::files::FileStamp::of(file.parent_path());
    const std::lock_guard lock(mutex_);
    FileState& state = stateOf(key);
    state.base = image.tree;
    state.stamp = stamp;
    state.folder = folder;
    state.isVersionNew = state.isVersionNew && state.version != image.version;
    state.status.loaded = LoadOutcome::ok;
    state.status.loadMessage.clear();
    state.status.revision = image.revision;
}

SaveOutcome LevelFileKeeper::removeFileOfGroup(const Key& key, LateEvents& events) {
    NodePtr root;
    {
        const std::lock_guard lock(mutex_);
        FileState& state = stateOf(key);
        root = state.removedFrom.lock();
        state.forgetKept();
    }
    const NodePtr again = root == nullptr ? NodePtr() : root->getChild(key.first, false);
    const bool isReplaced = again != nullptr && again->originLevel() != LevelIndex::session;
    return isReplaced ? save(key, again, events) : removeFile(key);
}

SaveOutcome LevelFileKeeper::removeFile(const Key& key) {
    if (!isSettingsSavingTurnedOn())
        return SaveOutcome::switchedOff;
    const std::filesystem::path file = fileOf(key.first, key.second);
    const auto othersOut = keepOthersOut(file);
    const PresentFile present = PresentFile::at(file);
    switch (present.state) {
    case PresentFile::State::absent:
        noteAbsent(key);
        return SaveOutcome::nothingToSave;
    case PresentFile::State::encrypted:
        logEncrypted(file);
        return SaveOutcome::encrypted;
    case PresentFile::State::unreadable:
        return SaveOutcome::waitingForRead;
    case PresentFile::State::damaged:
        setAside(file);
        break;
    case PresentFile::State::plain:
        if (status(key.first, key.second).loaded == LoadOutcome::damaged) {
            setAside(file);
            break;
        }
        VARNEK_LOG(fileLog, info) << "Delete settings file: " << file.string();
        varnek::files::removeFile(file);
        break;
    }
    noteAbsent(key);
    const std::lock_guard lock(mutex_);
    FileState& state = stateOf(key);
    state.status.revision = std::max(state.status.revision, present.revision);
    return SaveOutcome::removed;
}

void LevelFileKeeper::forgetEncryption(const Key& key) {
    const std::lock_guard lock(mutex_);
    stateOf(key).status.isEncrypted = false;
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
