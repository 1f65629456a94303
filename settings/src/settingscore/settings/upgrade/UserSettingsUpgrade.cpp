#include "settingscore/settings/upgrade/UserSettingsUpgrade.hpp"

#include "settingscore/SettingsSaving.hpp"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/LevelFileState.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/file/SettingsFileWriter.hpp"
#include "settingscore/settings/prefdir/FillRecord.hpp"
#include "settingscore/settings/upgrade/KeptFile.hpp"
#include "settingscore/settings/upgrade/LogFileAccess.hpp"
#include "settingscore/settings/upgrade/NameDependencyModel.hpp"
#include "settingscore/settings/upgrade/UpgradeLog.hpp"
#include "varnek/files/FileStamp.hpp"
#include "varnek/files/FolderLock.hpp"
#include "varnek/release/Release.hpp"

#include <algorithm>

namespace settings::core::detail {

namespace {

using varnek::files::FolderLock;

VersionLabel targetOf(const FactoryChanges& changes) {
    if (changes == nullptr || changes->empty())
        return VersionLabel(varnek::release::getCurrentVARNEKReleaseInfo().label.text());
    return VersionLabel(changes->back().versionLabel);
}

void logPrefdirVersion(const std::filesystem::path& file, const VersionRecord& record) {
    VARNEK_LOG(upgradeLog, info) << "Setting pref dir version of: " << file.string()
                                 << " to: " << record.releaseVersion;
}

/// Why other files cannot be written now; empty when they can.
std::string whyNoOtherFiles() {
    if (!isSettingsSavingTurnedOn())
        return "saving is switched off";
    return isInsideSave() ? "another file is being saved" : "";
}

/// Where a file system knows no locks, there is no waiting either, and it goes on without.
std::unique_ptr<FolderLock> keepOthersOut(const std::filesystem::path& folder) {
    auto lock = std::make_unique<FolderLock>(folder);
    if (lock->isTimeUp())
        throw UpgradeInterrupted("other files of \"" + folder.string() + "\" are being saved");
    return lock;
}

/// Whether one of the changes that are still to be made leads to another group.
bool reachesOthers(const SettingsFileContent& content, const FactoryChanges& changes) {
    const std::size_t first = UpgradePosition::of(content.version).upgrader;
    const auto leadsAway = [&](const std::string& place) { return topLevelOf(place) != content.tree.name; };
    for (std::size_t i = first; changes != nullptr && i < changes->size(); ++i)
        for (const ChangeRecord& change : (*changes)[i].changes)
            if (std::any_of(change.outputs.begin(), change.outputs.end(), leadsAway))
                return true;
    return false;
}

SettingsFileContent readAgain(const std::filesystem::path& file, const std::string& group) {
    SettingsFileContent content;
    try {
        content = readSettingsFile(file, FileUse::level);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& failure) {
        throw UpgradeInterrupted(failure.what());
    }
    if (content.isEncrypted || content.tree.name != group)
        throw UpgradeInterrupted("\"" + file.string() + "\" has been replaced");
    return content;
}

/// Keeps the present files and makes the new ones due; false: no other file is to change.
bool makeFilesDue(OtherFiles& others, const std::filesystem::path& file, SettingsFileContent& own,
                  const VersionLabel& release) {
    const std::filesystem::path folder = file.parent_path();
    try {
        NewFiles files = others.newFiles();
        if (files.empty())
            return false;
        if (auto bytes = fileImage(own, LevelIndex::user, PresentFile::at(file)))
            files[own.tree.name] = std::move(*bytes);
        for (const auto& [group, bytes] : files)
            keepBeforeUpgrade(folder / fileNameOf(group), release);
        makeDue(folder, files);
        return true;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& failure) {
        throw UpgradeInterrupted(failure.what());
    }
}

} // namespace

// ---- what is known ----

void UserSettingsUpgrade::setFactoryChanges(const std::string& group, std::vector<UpgraderRecord> changes) {
    auto declared = std::make_shared<const std::vector<UpgraderRecord>>(std::move(changes));
    const std::lock_guard lock(mutex_);
    changes_[group].swap(declared);
}

std::optional<FactoryChanges> UserSettingsUpgrade::factoryChanges(const std::string& group) const {
    {
        const std::lock_guard lock(mutex_);
        if (const auto found = changes_.find(group); found != changes_.end())
            return found->second;
    }
    return reader_ ? reader_(group) : std::nullopt;
}

bool UserSettingsUpgrade::isComplete(const std::string& group,
                                     const std::optional<VersionRecord>& record) const {
    const auto changes = factoryChanges(group);
    return changes && *changes != nullptr && UpgradePosition::of(record) == UpgradePosition::endOf(*changes);
}

ChangesOfGroup UserSettingsUpgrade::changesOfGroup() const {
    return [this](const std::string& group) { return factoryChanges(group); };
}

/// Null for a group without.
FactoryChanges UserSettingsUpgrade::changesOf(const std::string& group) const {
    return factoryChanges(group).value_or(nullptr);
}

void UserSettingsUpgrade::noteFirstLoad(const std::string& group, const std::filesystem::path& file) {
    {
        const std::lock_guard lock(mutex_);
        if (!loaded_.insert(file).second)
            return;
    }
    VARNEK_LOG(upgradeLog, info) << "Handle upgraders for " << group;
    if (hasMigrationMarker(file.parent_path()))
        VARNEK_LOG(upgradeLog, info) << "Migrate for: " << group;
}

void UserSettingsUpgrade::toBeKept(const std::filesystem::path& file, std::optional<VersionLabel> release) {
    const std::lock_guard lock(mutex_);
    if (release)
        toBeKept_.insert_or_assign(file, std::move(*release));
    else
        toBeKept_.erase(file);
}

void UserSettingsUpgrade::aboutToReplace(const std::filesystem::path& file) {
    decltype(toBeKept_)::node_type kept;
    {
        const std::lock_guard lock(mutex_);
        kept = toBeKept_.extract(file);
    }
    if (kept)
        keepBeforeUpgrade(file, kept.mapped());
}

void UserSettingsUpgrade::noteWritten(const std::vector<std::string>& groups) {
    const std::lock_guard lock(mutex_);
    written_.insert(written_.end(), groups.begin(), groups.end());
}

/// By another process, which may have written anybody's file on the way.
void UserSettingsUpgrade::noteUpgradedElsewhere() {
    const std::lock_guard lock(mutex_);
    for (const auto& [group, changes] : changes_)
        written_.push_back(group);
}

std::vector<std::string> UserSettingsUpgrade::takeWrittenGroups() {
    const std::lock_guard lock(mutex_);
    return std::exchange(written_, {});
}

// ---- the upgrade ----

std::optional<std::string> UserSettingsUpgrade::finishInterrupted(const std::filesystem::path& folder,
                                                                  const std::string& group) {
    if (!hasPendingFiles(folder) || isWithoutWaitingFor(folder, group))
        return std::nullopt;
    PendingOutcome outcome = finishPendingFilesAlone(folder);
    const auto why = outcome.whyHeld(group);
    notePending(folder, std::move(outcome));
    return why;
}

/// Whether all that is due is what could not be replaced before, and is no concern of the group.
bool UserSettingsUpgrade::isWithoutWaitingFor(const std::filesystem::path& folder,
                                              const std::string& group) const {
    const auto stamp = varnek::files::FileStamp::of(pendingFileOf(folder));
    const std::lock_guard lock(mutex_);
    const auto known = pending_.find(folder);
    return known != pending_.end() && known->second.stamp == stamp && known->second.due.count(group) == 0;
}

void UserSettingsUpgrade::notePending(const std::filesystem::path& folder, PendingOutcome outcome) {
    noteWritten(outcome.replaced);
    const std::lock_guard lock(mutex_);
    if (outcome.due.empty())
        pending_.erase(folder);
    else
        pending_.insert_or_assign(folder, std::move(outcome));
}

Upgraded UserSettingsUpgrade::upgrade(const NodePtr& group, const std::filesystem::path& file,
                                      SettingsFileContent& content) {
    const std::string& name = group->getName();
    noteFirstLoad(name, file);
    const auto end = UpgradePosition::endOf(changesOf(name));
    if (const auto position = UpgradePosition::of(content.version); position >= end) {
        runAlone(file, content, {}); // says that there is nothing to do, or that it knows too little
        return position == end ? Upgraded::nothing : Upgraded::tooNew;
    }
    GroupRecord before = content.tree.clone();
    const auto versionBefore = content.version;
    try {
        return run(file, content);
    } catch (...) {
        content.tree = std::move(before);
        content.version = versionBefore;
        const std::string cause = causeOfCurrentException();
        VARNEK_LOG(upgradeLog, error) << "Exception caught: " << cause;
        if (hasMigrationMarker(file.parent_path())) {
            const exception::ErrorMigrateSettingsBetweenReleases failure(shownText(name), shownText(cause));
            VARNEK_LOG(upgradeLog, error) << failure.what() << ' ' << name;
        }
        return Upgraded::nothing;
    }
}

/// When other files cannot be had, the run ends before the first change that needs one.
Upgraded UserSettingsUpgrade::run(const std::filesystem::path& file, SettingsFileContent& content) {
    std::string reason = whyNoOtherFiles();
    if (reason.empty() && !content.isEncrypted && reachesOthers(content, changesOf(content.tree.name)))
        try {
            return runAcrossFiles(file, content);
        } catch (const UpgradeInterrupted& interruption) {
            reason = interruption.what();
        }
    return runAlone(file, content, reason);
}

Upgraded UserSettingsUpgrade::runAlone(const std::filesystem::path& file, SettingsFileContent& content,
                                       const std::string& reason) {
    NoOtherFiles noOthers(changesOfGroup(), reason);
    return noteRun(file, content, runUpgrade(content, changesOf(content.tree.name), noOthers));
}

/// Goes by what is in the files while nobody else writes them. When a value has left the group, the new files
/// are in place in the end.
Upgraded UserSettingsUpgrade::runAcrossFiles(const std::filesystem::path& file,
                                             SettingsFileContent& content) {
    const std::filesystem::path folder = file.parent_path();
    const auto othersOut = keepOthersOut(folder);
    finishInterrupted(folder, content.tree.name);
    if (hasPendingFiles(folder))
        throw UpgradeInterrupted("an earlier upgrade is not finished yet");
    SettingsFileContent own = readAgain(file, content.tree.name);
    const FactoryChanges changes = changesOf(own.tree.name);
    if (UpgradePosition::of(own.version) == UpgradePosition::endOf(changes)) {
        noteUpgradedElsewhere();
        return Upgraded::files;
    }
    OtherFiles others(folder, changesOfGroup());
    const UpgradeReport report = runUpgrade(own, changes, others);
    if (!makeFilesDue(others, file, own, targetOf(changes))) {
        content = std::move(own);
        return noteRun(file, content, report);
    }
    logRun(file, own, report);
    for (const auto& [group, theirs] : others.reports())
        logReleaseCompatResults(folder, group, theirs.results, targetOf(changesOf(group)));
    toBeKept(file, {});
    notePending(folder, finishPendingFiles(folder));
    return Upgraded::files;
}

Upgraded UserSettingsUpgrade::noteRun(const std::filesystem::path& file, SettingsFileContent& content,
                                      const UpgradeReport& report) {
    toBeKept(file,
             report.hasChangedValues ? std::optional(targetOf(changesOf(content.tree.name))) : std::nullopt);
    logRun(file, content, report);
    return report.hasChangedValues ? Upgraded::values : Upgraded::nothing;
}

void UserSettingsUpgrade::logRun(const std::filesystem::path& file, SettingsFileContent& content,
                                 const UpgradeReport& report) const {
    const std::string& group = content.tree.name;
    const VersionLabel target = targetOf(changesOf(group));
    if (report.hasRun)
        logPrefdirVersion(file, *content.version);
    logReleaseCompatResults(file.parent_path(), group, report.results, target);
    if (!report.hasRun)
        return;
    NoOtherFiles noOthers(changesOfGroup(), {});
    const PersonalTree tree(content.tree, noOthers, content.isEncrypted);
    const NameDependencyModel model(settingsRenames());
    logReleaseCompatResults(file.parent_path(), group, model.check(tree, report.results.versionLabel),
                            target);
}

std::optional<VersionRecord> UserSettingsUpgrade::recordOfNewFile(const NodePtr& group,
                                                                  const std::filesystem::path& file) {
    noteFirstLoad(group->getName(), file);
    const FactoryChanges changes = changesOf(group->getName());
    if (changes == nullptr || changes->empty())
        return std::nullopt;
    VersionRecord record = recordAfter(*changes, changes->size());
    logPrefdirVersion(file, record);
    return record;
}

} // namespace settings::core::detail
