#include "settingscore/settings/upgrade/UserSettingsUpgrade.hpp"

#include "settingscore/SettingsSaving.hpp"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/LevelFileState.hpp"
#include "settingscore/settings/file/PrefdirFileAccess.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/file/SettingsFileWriter.hpp"
#include "settingscore/settings/prefdir/FillRecord.hpp"
#include "settingscore/settings/settingsFile.hpp"
#include "settingscore/settings/upgrade/KeptFile.hpp"
#include "settingscore/settings/upgrade/LogFileAccess.hpp"
#include "settingscore/settings/upgrade/NameDependencyModel.hpp"
#include "settingscore/settings/upgrade/UpgradeLog.hpp"

namespace settings::core::detail {

namespace {

VersionLabel targetOf(const FactoryChanges& changes) {
    return changes == nullptr || changes->empty() ? VersionLabel()
                                                  : VersionLabel(changes->back().versionLabel);
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

} // namespace

// ---- what is known ----

void UserSettingsUpgrade::setFactoryChanges(const std::string& group, std::vector<UpgraderRecord> changes) {
    auto declared = std::make_shared<const std::vector<UpgraderRecord>>(std::move(changes));
    const std::lock_guard lock(mutex_);
    changes_[group].swap(declared);
}

FactoryChanges UserSettingsUpgrade::factoryChanges(const std::string& group) const {
    const std::lock_guard lock(mutex_);
    const auto found = changes_.find(group);
    return found == changes_.end() ? nullptr : found->second;
}

/// True when the folder was filled from an earlier release. Logs the first load of the file.
bool UserSettingsUpgrade::noteFirstLoad(const std::string& group, const std::filesystem::path& file) {
    if (!hasMigrationMarker(file.parent_path()))
        return false;
    const std::lock_guard lock(mutex_);
    if (loaded_.insert(file).second)
        VARNEK_LOG(upgradeLog, info) << "Migrate for: " << group;
    return true;
}

void UserSettingsUpgrade::toBeKept(const std::filesystem::path& file, const FactoryChanges& changes,
                                   bool isToBeKept) {
    const std::lock_guard lock(mutex_);
    if (isToBeKept)
        toBeKept_[file] = keptFileOf(file, targetOf(changes));
    else
        toBeKept_.erase(file);
}

void UserSettingsUpgrade::aboutToReplace(const std::filesystem::path& file) {
    std::filesystem::path kept;
    {
        const std::lock_guard lock(mutex_);
        const auto found = toBeKept_.find(file);
        if (found == toBeKept_.end())
            return;
        kept = found->second;
        toBeKept_.erase(found);
    }
    keepBeforeUpgrade(file, kept);
}

std::vector<std::string> UserSettingsUpgrade::takeWrittenGroups() {
    const std::lock_guard lock(mutex_);
    return std::exchange(written_, {});
}

// ---- the upgrade ----

bool UserSettingsUpgrade::upgrade(const NodePtr& group, const std::filesystem::path& file,
                                  SettingsFileContent& content) {
    const std::string& name = group->getName();
    VARNEK_LOG(upgradeLog, info) << "Handle upgraders for " << name;
    const bool isMigrated = noteFirstLoad(name, file);
    const FactoryChanges changes = factoryChanges(name);
    if (UpgradePosition::of(content.version) == UpgradePosition::endOf(changes)) {
        toBeKept(file, changes, false);
        NoOtherFiles noOthers([](const std::string&) { return FactoryChanges(); }, {});
        runUpgrade(content, changes, noOthers); // says that there is nothing to do
        return false;
    }
    GroupRecord before = content.tree.clone();
    const auto versionBefore = content.version;
    try {
        const UpgradeReport report = run(group, file, content);
        toBeKept(file, changes, report.hasChangedValues);
        if (report.hasRun)
            logPrefdirVersion(file, *content.version);
        logResults(file, content, report);
        return report.hasChangedValues;
    } catch (...) {
        content.tree = std::move(before);
        content.version = versionBefore;
        const std::string cause = causeOfCurrentException();
        VARNEK_LOG(upgradeLog, error) << "Exception caught: " << cause;
        if (isMigrated) {
            const exception::ErrorMigrateSettingsBetweenReleases failure(shownText(name), shownText(cause));
            VARNEK_LOG(upgradeLog, error) << failure.what() << ' ' << name;
        }
        return false;
    }
}

/// When other files cannot be had, the run ends before the first change that needs one.
UpgradeReport UserSettingsUpgrade::run(const NodePtr& group, const std::filesystem::path& file,
                                       SettingsFileContent& content) {
    const auto changesOf = [this](const std::string& name) { return factoryChanges(name); };
    const FactoryChanges changes = factoryChanges(group->getName());
    std::string reason = whyNoOtherFiles();
    if (reason.empty()) {
        GroupRecord before = content.tree.clone();
        const auto versionBefore = content.version;
        try {
            return runAcrossFiles(group, file, content);
        } catch (const UpgradeInterrupted& interruption) {
            content.tree = std::move(before);
            content.version = versionBefore;
            reason = interruption.what();
        }
    }
    NoOtherFiles noOthers(changesOf, reason);
    return runUpgrade(content, changes, noOthers);
}

UpgradeReport UserSettingsUpgrade::runAcrossFiles(const NodePtr& group, const std::filesystem::path& file,
                                                  SettingsFileContent& content) {
    const auto changesOf = [this](const std::string& name) { return factoryChanges(name); };
    const FactoryChanges changes = factoryChanges(group->getName());
    const std::filesystem::path folder = file.parent_path();
    OtherFiles others(folder, changesOf, OtherFiles::Use::change);
    UpgradeReport report = runUpgrade(content, changes, others);
    others.forEachChanged([&](const std::string& name, SettingsFileContent changed) {
        writeOther(group->getParent(), folder / fileNameOf(name), targetOf(changes), std::move(changed));
    });
    for (const auto& [name, theirs] : others.reports())
        logReleaseCompatResults(folder, name, theirs.results);
    return report;
}

/// Replaces the file of another group, which takes the change over like one of another process.
void UserSettingsUpgrade::writeOther(const NodePtr& root, const std::filesystem::path& file,
                                     const VersionLabel& release, SettingsFileContent content) {
    const std::string name = content.tree.name;
    const NodePtr group = root == nullptr ? NodePtr() : root->getChild(name, false);
    if (group == nullptr)
        throw UpgradeInterrupted("the group \"" + name + "\" is not there yet");
    PrefdirFileAccess access(
        LevelIndex::user, group, file,
        [&content](const NodePtr&, const std::filesystem::path& path, std::string_view, SaveOutcome&) {
            return fileImage(content, LevelIndex::user, PresentFile::at(path));
        },
        true);
    access.onReplacing([&] { keepBeforeUpgrade(file, keptFileOf(file, release)); });
    SaveOutcome outcome = SaveOutcome::failed;
    try {
        outcome = saveSettingsFile(access);
    } catch (const std::exception& failure) {
        throw UpgradeInterrupted(failure.what());
    }
    if (outcome != SaveOutcome::saved && outcome != SaveOutcome::unchanged)
        throw UpgradeInterrupted("\"" + file.string() + "\" cannot be written");
    const std::lock_guard lock(mutex_);
    written_.push_back(name);
}

void UserSettingsUpgrade::logResults(const std::filesystem::path& file, SettingsFileContent& content,
                                     const UpgradeReport& report) const {
    const std::string& group = content.tree.name;
    logReleaseCompatResults(file.parent_path(), group, report.results);
    if (!report.hasRun)
        return;
    NoOtherFiles noOthers([](const std::string&) { return FactoryChanges(); }, {});
    const PersonalTree tree(content.tree, noOthers, content.isEncrypted);
    const NameDependencyModel model(settingsRenames());
    logReleaseCompatResults(file.parent_path(), group, model.check(tree, report.results.versionLabel));
}

std::optional<VersionRecord> UserSettingsUpgrade::recordOfNewFile(const NodePtr& group,
                                                                  const std::filesystem::path& file) {
    const FactoryChanges changes = factoryChanges(group->getName());
    if (changes == nullptr || changes->empty())
        return std::nullopt;
    VersionRecord record = recordAfter(*changes, changes->size());
    logPrefdirVersion(file, record);
    return record;
}

} // namespace settings::core::detail
