#include "settingscore/root/PersonalUpgrade.hpp"

#include "opc/Limits.hpp"
#include "opc/PackageError.hpp"
#include "settingscore/FactoryFileLocation.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/upgrade/KeptFile.hpp"
#include "settingscore/settings/upgrade/LogFileAccess.hpp"
#include "settingscore/settings/upgrade/OtherFiles.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/FileReplacement.hpp"
#include "varnek/files/PathText.hpp"

#include <algorithm>
#include <map>

namespace settings::core {

using namespace detail;

namespace {

std::filesystem::path personalFileOf(const std::string& group) {
    return LevelFileKeeper::folderOfLevel(LevelIndex::user) / fileNameOf(group);
}

SettingsFileContent readOrThrow(const std::filesystem::path& file, FileUse use) {
    try {
        return readSettingsFile(file, use);
    } catch (const opc::OpenError& failure) {
        throwNotOpened(failure, file);
    }
}

/// What the factory files declare, each read when it is asked for.
class DeclaredChanges {
  public:
    DeclaredChanges()
        : factoryFolder_(LevelFileKeeper::folderOfLevel(LevelIndex::factory)),
          locations_(factoryFolder_.empty() ? std::vector<FactoryFileLocation>()
                                            : readFactoryFileLocations(factoryFolder_)) {}

    FactoryChanges of(const std::string& group) {
        if (const auto known = changes_.find(group); known != changes_.end())
            return known->second;
        const auto location =
            std::find_if(locations_.begin(), locations_.end(),
                         [&](const FactoryFileLocation& entry) { return entry.toolboxGroupName == group; });
        FactoryChanges changes;
        if (location != locations_.end()) {
            auto content = readOrThrow(factoryFolder_ / location->factoryFile, FileUse::factory);
            changes = std::make_shared<const std::vector<UpgraderRecord>>(std::move(content.upgraders));
        }
        return changes_[group] = std::move(changes);
    }

  private:
    const std::filesystem::path factoryFolder_;
    const std::vector<FactoryFileLocation> locations_;
    std::map<std::string, FactoryChanges> changes_;
};

} // namespace

UpgradePreview previewUpgrade(const std::string& group) {
    DeclaredChanges declared;
    const FactoryChanges changes = declared.of(group);
    if (changes == nullptr)
        throw exception::InvalidNodePath({}, group);
    UpgradePreview preview;
    preview.upgraderCount = changes->size();
    preview.file = personalFileOf(group);
    std::error_code ignored;
    preview.isThere = std::filesystem::exists(preview.file, ignored);
    if (!preview.isThere)
        return preview;
    SettingsFileContent content = readOrThrow(preview.file, FileUse::level);
    const auto position = UpgradePosition::of(content.version);
    preview.upgraderIndex = position.upgrader;
    preview.changeIndex = position.change;
    const auto changesOf = [&](const std::string& name) { return declared.of(name); };
    OtherFiles others(preview.file.parent_path(), changesOf, OtherFiles::Use::preview);
    preview.results = runUpgrade(content, changes, others).results;
    return preview;
}

std::vector<LoggedResults> loggedUpgrades(const std::string& group) {
    const std::filesystem::path folder = LevelFileKeeper::folderOfLevel(LevelIndex::user);
    std::vector<LoggedResults> all;
    for (const std::string_view type : {userSettingsUpgrade, nameDependencyModelResults})
        for (auto& [name, runs] : readResultsLog(resultsLogOf(folder, type)))
            for (ReleaseCompatibilityResults& run : runs)
                if (group.empty() || name == group)
                    all.push_back({name, std::move(run)});
    return all;
}

std::filesystem::path copyFileBeforeUpgrade(const std::string& group, const std::filesystem::path& folder) {
    const std::filesystem::path file = personalFileOf(group);
    const auto kept = keptFilesOf(file);
    if (kept.empty())
        throw exception::FileDoesNotExist(varnek::files::utf16FromPath(file) + u".before-*");
    const std::filesystem::path target = folder / file.filename();
    std::error_code ignored;
    if (std::filesystem::exists(std::filesystem::symlink_status(target, ignored)))
        throwNotWritten(target, "\"" + target.string() + "\": the file is there already");
    try {
        varnek::files::copyFile(kept.back().path, target, opc::limits::archiveBytes, {});
    } catch (const varnek::files::FileError& failure) {
        throwNotWritten(target, failure.what());
    }
    return target;
}

} // namespace settings::core
