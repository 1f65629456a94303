// How the keeper of level files brings their values into the tree.

#include "opc/PackageError.hpp"
#include "settingscore/Settings.hpp"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/settings/file/ExternalChanges.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "settingscore/settings/file/LevelFileState.hpp"
#include "settingscore/settings/file/PersonalFileUpgrade.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/file/TreeLoader.hpp"
#include "settingscore/settings/file/TreeSnapshot.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/FileReplacement.hpp"
#include "varnek/files/Folder.hpp"

namespace settings::core::detail {

namespace {

constexpr LevelIndex levelsWithPersonalFiles[] = {LevelIndex::user, LevelIndex::installation};

/// False when it cannot be told.
bool isAbsent(const std::filesystem::path& file) {
    std::error_code ignored;
    return std::filesystem::symlink_status(file, ignored).type() == std::filesystem::file_type::not_found;
}

GroupRecord shell(const GroupRecord& of) {
    GroupRecord record;
    record.name = of.name;
    record.readOnly = of.readOnly;
    record.visible = of.visible;
    record.isUserDefined = of.isUserDefined;
    if (of.definition != nullptr)
        record.definition = std::make_unique<NodeDefinition>(*of.definition);
    return record;
}

} // namespace

/// `found`: of the file as it is now.
bool LevelFileKeeper::mustReadFirst(const Key& key, const varnek::files::FileStamp& found) const {
    const std::lock_guard lock(mutex_);
    const FileState& state = stateOf(key);
    switch (state.status.loaded) {
    case LoadOutcome::ok:
        return found != state.stamp; // another process has changed it meanwhile
    case LoadOutcome::absent:
        return found.exists;
    default:
        return true;
    }
}

LoadOutcome LevelFileKeeper::refuse(const Key& key, LoadOutcome outcome, const std::string& cause) {
    std::filesystem::path file = fileOf(key.first, key.second);
    if (outcome != LoadOutcome::absent)
        VARNEK_LOG(fileLog, error) << "Cannot read settings file: " << file.string()
                                   << " at level: " << levelName(key.second) << "Exception caught: " << cause;
    const std::lock_guard lock(mutex_);
    LevelFileStatus& status = stateOf(key).status;
    status.loaded = outcome;
    status.loadMessage = cause;
    status.refused = std::move(file);
    return outcome;
}

void LevelFileKeeper::noteEncrypted(const Key& key, const varnek::files::FileStamp& stamp) {
    const auto folder = varnek::files::FileStamp::of(fileOf(key.first, key.second).parent_path());
    const std::lock_guard lock(mutex_);
    FileState& state = stateOf(key);
    state.status.isEncrypted = true;
    state.stamp = stamp;
    state.folder = folder;
}

/// Whether the file must stay as it is because it was encrypted when it was last looked at. One that is gone
/// from its folder, or was replaced, is looked at again.
bool LevelFileKeeper::isStillEncrypted(const Key& key) const {
    {
        const std::lock_guard lock(mutex_);
        if (!stateOf(key).status.isEncrypted)
            return false;
    }
    const auto stamp = varnek::files::FileStamp::of(fileOf(key.first, key.second));
    const bool isOfThisFolder = isInTheFolderOfThen(key);
    const std::lock_guard lock(mutex_);
    const FileState& state = stateOf(key);
    return state.status.isEncrypted && (!isOfThisFolder || stamp == state.stamp);
}

std::optional<LevelFileKeeper::Found> LevelFileKeeper::readContent(const Key& key) {
    const std::filesystem::path file = fileOf(key.first, key.second);
    if (isAbsent(file)) { // as most are, so that it costs little
        refuse(key, LoadOutcome::absent, {});
        return std::nullopt;
    }
    const auto stamp = varnek::files::FileStamp::of(file); // before: a change while this reads is seen later
    VARNEK_LOG(fileLog, info) << "Read settings file: " << file.string()
                              << " for level: " << levelName(key.second);
    try {
        SettingsFileContent content = readSettingsFile(file, FileUse::level);
        if (content.tree.name != key.first)
            FilePlace{file, {}}.refuse(ReadError::name, "$.groupName",
                                       "the file holds the group \"" + content.tree.name + "\"");
        auto base = std::make_shared<GroupRecord>(content.tree.clone());
        return Found{std::move(content), std::move(base), stamp, false};
    } catch (const opc::OpenError& failure) {
        if (failure.kind() == opc::ErrorKind::notFound)
            refuse(key, LoadOutcome::absent, {});
        else
            refuse(key, failure.isPassing() ? LoadOutcome::unreadable : LoadOutcome::damaged, failure.what());
    } catch (const exception::ErrorReadingSettingsData& failure) {
        const bool isEncrypted = failure.getErrorCode() == ReadError::encrypted;
        refuse(key, isEncrypted ? LoadOutcome::unreadable : LoadOutcome::damaged, failure.what());
        if (isEncrypted)
            noteEncrypted(key, stamp);
    } catch (...) { // out of memory, for one: it says nothing about the file
        refuse(key, LoadOutcome::unreadable, causeOfCurrentException());
    }
    return std::nullopt;
}

void LevelFileKeeper::remember(const Key& key, Found found, GroupRecord rest) {
    SettingsFileContent& content = found.content;
    auto leftovers = rest.isEmpty() ? nullptr : std::make_shared<const GroupRecord>(std::move(rest));
    auto foreignParts =
        content.foreignParts.empty()
            ? nullptr
            : std::make_shared<const std::vector<ForeignPart>>(std::move(content.foreignParts));
    const auto folder = varnek::files::FileStamp::of(fileOf(key.first, key.second).parent_path());
    const std::lock_guard lock(mutex_);
    FileState& state = stateOf(key);
    state.leftovers = std::move(leftovers);
    state.foreignParts = std::move(foreignParts);
    state.base = std::move(found.base);
    state.stamp = found.stamp;
    state.folder = folder;
    if (!state.isVersionNew)
        state.version = std::move(content.version);
    state.status.loaded = LoadOutcome::ok;
    state.status.loadMessage.clear();
    state.status.isEncrypted = content.isEncrypted;
    state.status.revision = content.revision;
}

bool LevelFileKeeper::isInTheFolderOfThen(const Key& key) const {
    const auto folder = varnek::files::FileStamp::of(fileOf(key.first, key.second).parent_path());
    const std::lock_guard lock(mutex_);
    return folder.isSameEntry(stateOf(key).folder);
}

/// Whether the file held something when its folder was last seen, and that folder is not there now.
bool LevelFileKeeper::isFolderAway(const Key& key) const {
    const bool isOfThisFolder = isInTheFolderOfThen(key);
    const std::lock_guard lock(mutex_);
    const auto& base = stateOf(key).base;
    return base != nullptr && !isOfThisFolder && (base->isUserDefined || !base->isEmpty());
}

/// What the tree has taken from the file, or nothing before the first reading.
std::optional<GroupRecord> LevelFileKeeper::takenBefore(const Key& key) const {
    std::shared_ptr<const GroupRecord> base;
    std::shared_ptr<const GroupRecord> kept;
    {
        const std::lock_guard lock(mutex_);
        base = stateOf(key).base;
        kept = stateOf(key).leftovers;
    }
    if (base == nullptr)
        return std::nullopt;
    GroupRecord taken = base->clone();
    if (kept != nullptr)
        removeKept(taken, *kept);
    return taken;
}

/// Nobody else holds anything any more: what was not changed here since goes too. Only where the folder is
/// the one that held the file, for one that is away, or was made anew, says nothing.
void LevelFileKeeper::takeOverAbsence(const Key& key, const NodePtr& group, LateEvents& events) {
    const auto taken = takenBefore(key);
    if (taken && !isInTheFolderOfThen(key))
        return;
    if (taken)
        takeOverRemoval(*taken, group, key.second, events);
    {
        const std::lock_guard lock(mutex_);
        FileState& state = stateOf(key);
        state.leftovers = nullptr;
        state.foreignParts = nullptr;
        if (!state.isVersionNew)
            state.version.reset();
    }
    noteAbsent(key);
}

LoadOutcome LevelFileKeeper::read(const Key& key, const NodePtr& group, LateEvents& events, Telling telling) {
    auto found = readUpgraded(key, group);
    if (!found) {
        const LoadOutcome outcome = status(key.first, key.second).loaded;
        if (outcome == LoadOutcome::absent) {
            const bool isFirst = !takenBefore(key);
            takeOverAbsence(key, group, events);
            upgradeAbsent(key, group);
            if (isFirst)
                loadInherited(key, group, telling == Telling::yes ? &events : nullptr);
        }
        return outcome;
    }
    GroupRecord tree = std::move(found->content.tree);
    auto taken = takenBefore(key);
    if (const auto inherited = inheritedOf(key); inherited != nullptr && taken)
        countAsKnown(*taken, tree, inherited->tree);
    else if (inherited != nullptr)
        tree = withChanges(std::move(tree), inherited->base, inherited->tree);
    if (taken && (!isInTheFolderOfThen(key) || isOfAnotherRelease(key, *found)))
        keepCommon(*taken, tree); // what a folder that was made anew, or another release, lacks says nothing
    if (taken)
        tree = takeOverChanges(*taken, std::move(tree), group, key.second, events);
    else if (telling == Telling::yes)
        tree = takeOverChanges(GroupRecord(), std::move(tree), group, key.second, events);
    const LoadRules rules{.level = key.second,
                          .isSecret = found->content.isEncrypted,
                          .makeNode = makePlainNode,
                          .events = telling == Telling::yes ? &events : nullptr};
    GroupRecord rest = loadIntoTree(std::move(tree), group, rules);
    countAsDefined(*found->base, group);
    remember(key, std::move(*found), std::move(rest));
    return LoadOutcome::ok;
}

LoadOutcome LevelFileKeeper::loadLevel(const NodePtr& topLevelGroup, LevelIndex level, Telling telling) {
    const Key key(topLevelGroup->getName(), level);
    LateEvents events;
    inTurn(key, [&] { readForTheFolder(key, topLevelGroup, events, telling); });
    events.tell();
    adoptLeftovers(topLevelGroup, telling == Telling::yes);
    if (telling == Telling::yes)
        followUpgrades(topLevelGroup);
    return status(key.first, level).loaded;
}

void LevelFileKeeper::loadUserSettings(const NodePtr& topLevelGroup) {
    const Key key(topLevelGroup->getName(), LevelIndex::user);
    if (isReadFrom(key, fileOf(key.first, key.second)))
        return;
    LateEvents events;
    inTurn(key, [&] {
        if (!isReadFrom(key, fileOf(key.first, key.second))) // nobody was quicker
            readForTheFolder(key, topLevelGroup, events, Telling::yes);
    });
    events.tell();
    adoptLeftovers(topLevelGroup, true);
    followUpgrades(topLevelGroup);
}

bool LevelFileKeeper::isReadFrom(const Key& key, const std::filesystem::path& file) const {
    const std::lock_guard lock(mutex_);
    return stateOf(key).isOf == file;
}

/// Reads the file. When the folder of the level is another one than at the last reading, what was remembered
/// of the file there counts no more.
void LevelFileKeeper::readForTheFolder(const Key& key, const NodePtr& group, LateEvents& events,
                                       Telling telling) {
    if (group->getTopLevelNodeForSave() != group)
        return; // removed meanwhile; there may be another group of its name
    if (group->originLevel() == LevelIndex::session || isToBeRemoved(key))
        return; // such a group has no file; the one that is there is about to go
    const std::filesystem::path file = fileOf(key.first, key.second);
    bool isOfAnotherFolder = false;
    {
        const std::lock_guard lock(mutex_);
        FileState& state = stateOf(key);
        isOfAnotherFolder = !state.isOf.empty() && state.isOf != file;
    }
    if (upgrade_ != nullptr && key.second == LevelIndex::user)
        upgrade_->finishInterrupted(file.parent_path(), key.first);
    if (isOfAnotherFolder)
        moveBase(key, file);
    const LoadOutcome outcome = read(key, group, events, isOfAnotherFolder ? Telling::yes : telling);
    const bool isKnown = outcome == LoadOutcome::ok || outcome == LoadOutcome::absent;
    const bool isDropped = isOfAnotherFolder && !isKnown;
    if (const auto taken = takenBefore(key); isDropped && taken)
        takeOverChanges(*taken, GroupRecord(), group, key.second, events); // what the old folder held
    const std::lock_guard lock(mutex_);
    FileState& state = stateOf(key);
    if (isDropped)
        state.base = std::make_shared<const GroupRecord>(); // the tree holds none of it any more
    state.isOf = file;
}

// ---- values whose definition appears later ----

void LevelFileKeeper::adopt(const Key& key, const NodePtr& group, LateEvents* events) {
    if (group->getTopLevelNodeForSave() != group)
        return; // removed meanwhile
    std::shared_ptr<const GroupRecord> leftovers;
    bool isSecret = false;
    {
        const std::lock_guard lock(mutex_);
        leftovers = stateOf(key).leftovers;
        isSecret = stateOf(key).status.isEncrypted;
    }
    if (leftovers == nullptr)
        return;
    const LoadRules rules{
        .level = key.second, .isSecret = isSecret, .makeNode = makePlainNode, .events = events};
    GroupRecord rest = loadIntoTree(leftovers->clone(), group, rules);
    leftovers = rest.isEmpty() ? nullptr : std::make_shared<const GroupRecord>(std::move(rest));
    const std::lock_guard lock(mutex_);
    stateOf(key).leftovers = std::move(leftovers);
}

void LevelFileKeeper::adoptLeftovers(const NodePtr& topLevelGroup, bool isTreeInUse) {
    for (const LevelIndex level : levelsWithPersonalFiles) {
        const Key key(topLevelGroup->getName(), level);
        LateEvents events;
        inTurn(key, [&] { adopt(key, topLevelGroup, isTreeInUse ? &events : nullptr); });
        events.tell();
    }
}

GroupRecord LevelFileKeeper::unsavedValues(const NodePtr& topLevelGroup, LevelIndex level) const {
    GroupRecord values = snapshotOf(topLevelGroup, level);
    const std::lock_guard lock(mutex_);
    if (const auto& base = stateOf({topLevelGroup->getName(), level}).base)
        values.removeSame(*base);
    return values;
}

bool LevelFileKeeper::differsFromFile(const NodePtr& topLevelGroup, LevelIndex level) const {
    const Key key(topLevelGroup->getName(), level);
    GroupRecord missingThere = snapshotOf(topLevelGroup, level);
    GroupRecord missingHere = takenBefore(key).value_or(GroupRecord());
    const bool isAdded = missingThere.isUserDefined && !missingHere.isUserDefined;
    const GroupRecord there = missingHere.clone();
    missingHere.removeSame(missingThere);
    missingThere.removeSame(there);
    return isAdded || !missingThere.isEmpty() || !missingHere.isEmpty();
}

void LevelFileKeeper::reloadLevel(const NodePtr& topLevelGroup, LevelIndex level, LateEvents& events) {
    const Key key(topLevelGroup->getName(), level);
    readForTheFolder(key, topLevelGroup, events, Telling::yes);
    adopt(key, topLevelGroup, &events);
}

void LevelFileKeeper::forgetFilesOf(const std::string& group) noexcept {
    const std::lock_guard lock(mutex_);
    for (auto& [key, state] : states_)
        if (key.first == group) {
            state->forgetContent();
            state->isOf.clear();
        }
}

void LevelFileKeeper::takeUp(const NodePtr& topLevelGroup, LevelIndex level, GroupRecord values,
                             LateEvents& events) {
    if (values.isEmpty())
        return;
    const Key key(topLevelGroup->getName(), level);
    const LoadRules rules{.level = level,
                          .isSecret = status(key.first, level).isEncrypted,
                          .makeNode = makePlainNode,
                          .events = &events};
    GroupRecord rest = loadIntoTree(std::move(values), topLevelGroup, rules);
    if (rest.isEmpty())
        return;
    const std::lock_guard lock(mutex_);
    auto& leftovers = stateOf(key).leftovers;
    GroupRecord kept = leftovers == nullptr ? GroupRecord() : leftovers->clone();
    kept.addMissing(std::move(rest));
    leftovers = std::make_shared<const GroupRecord>(std::move(kept));
}

void LevelFileKeeper::adoptKeptValues(const NodePtr& topLevelGroup) {
    try {
        adoptLeftovers(topLevelGroup, true);
    } catch (...) { // they stay kept
        VARNEK_LOG(fileLog, error) << "Exception caught: " << causeOfCurrentException();
    }
}

void LevelFileKeeper::forgetKeptValues(const NodePtr& topLevelGroup, const std::vector<std::string>& path) {
    for (const LevelIndex level : levelsWithPersonalFiles) {
        const Key key(topLevelGroup->getName(), level);
        if (forget(key, path))
            requestSave(topLevelGroup, level);
    }
}

bool LevelFileKeeper::forget(const Key& key, const std::vector<std::string>& path) {
    {
        const std::lock_guard lock(mutex_);
        if (stateOf(key).leftovers == nullptr)
            return false;
    }
    bool isForgotten = false;
    const auto forgetNow = [&] {
        const std::lock_guard lock(mutex_);
        FileState& state = stateOf(key);
        if (state.leftovers == nullptr)
            return;
        GroupRecord rest = state.leftovers->clone();
        isForgotten = rest.remove(path);
        state.leftovers = rest.isEmpty() ? nullptr : std::make_shared<const GroupRecord>(std::move(rest));
    };
    if (!inTurn(key, forgetNow)) // whoever adopts kept values puts the rest back
        forgetNow();
    return isForgotten;
}

// ---- groups that users added ----

bool LevelFileKeeper::isToBeRemoved(const Key& key) const {
    const std::lock_guard lock(mutex_);
    const FileState& state = stateOf(key);
    return state.isRemoval || state.leaving > 0;
}

NodePtr LevelFileKeeper::readAddedGroup(const Key& key, const NodePtr& root, LateEvents* events) {
    auto found = readContent(key);
    if (!found || !found->content.tree.isUserDefined)
        return {}; // a file whose definition is missing today is read when it appears
    const LoadRules rules{
        .level = key.second, .isSecret = found->content.isEncrypted, .makeNode = makePlainNode};
    const NodePtr group = buildTree(shell(found->content.tree), rules);
    GroupRecord rest = loadIntoTree(std::move(found->content.tree), group, rules);
    try {
        if (const auto local = boost::dynamic_pointer_cast<SettingsImpl>(root->unwrap()); events && local)
            local->adoptWithEvents({group}, *events);
        else
            root->adoptChildren({group});
    } catch (const std::exception& failure) { // differs from another group by case only
        refuse(key, LoadOutcome::unreadable, failure.what());
        return {};
    }
    remember(key, std::move(*found), std::move(rest));
    const std::filesystem::path file = fileOf(key.first, key.second);
    const std::lock_guard lock(mutex_);
    stateOf(key).isOf = file;
    for (const LevelIndex level : levelsWithPersonalFiles) // a group of that name may have been there before
        if (level != key.second) {
            stateOf({key.first, level}).forgetContent();
            stateOf({key.first, level}).isOf.clear();
        }
    return group;
}

std::vector<NodePtr> LevelFileKeeper::loadAddedGroups(const NodePtr& root, LevelIndex level,
                                                      bool isTreeInUse) {
    const std::filesystem::path folder = folders_(level);
    varnek::files::removeStaleTemporaryDirectories(folder); // of saves that a crash ended
    std::vector<std::filesystem::path> files;
    try {
        files = varnek::files::listFiles(folder, Settings::settingsExtension);
    } catch (const varnek::files::FileError& failure) {
        if (failure.kind() != varnek::files::FileErrorKind::notFound)
            VARNEK_LOG(fileLog, error) << failure.what();
    }
    std::vector<NodePtr> added;
    std::vector<Key> due;
    for (const std::filesystem::path& file : files) {
        const std::string name = groupNameOf(file);
        const bool isAGroups = fileNameOf(name) == file.filename().string();
        if (!isAGroups || root->getChild(name, false) != nullptr)
            continue;
        const Key key(name, level);
        LateEvents events;
        inTurn(key, [&] {
            if (isToBeRemoved(key))
                due.push_back(key);                          // the folder that held it may be back
            else if (root->getChild(name, false) == nullptr) // nobody was quicker
                if (const NodePtr group = readAddedGroup(key, root, isTreeInUse ? &events : nullptr))
                    added.push_back(group);
        });
        events.tell();
    }
    for (const NodePtr& group : added)
        if (level == LevelIndex::user)
            loadLevel(group, LevelIndex::installation, isTreeInUse ? Telling::yes : Telling::no);
        else
            adoptLeftovers(group, isTreeInUse);
    for (const Key& key : due)
        submitAgain(key);
    return added;
}

} // namespace settings::core::detail
