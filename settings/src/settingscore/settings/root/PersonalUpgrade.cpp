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

void requireGroup(const SettingsFileContent& content, const std::string& group,
                  const std::filesystem::path& file) {
    if (content.tree.name != group)
        FilePlace{file, {}}.refuse(ReadError::name, "$.groupName",
                                   "the file holds the group \"" + content.tree.name + "\"");
}

/// What the factory files declare, each read when it is asked for.
class DeclaredChanges {
  public:
    DeclaredChanges()
        : factoryFolder_(LevelFileKeeper::folderOfLevel(LevelIndex::factory)),
          locations_(factoryFolder_.empty() ? Locations() : readFactoryFileLocations(factoryFolder_)) {}

    bool lists(const std::string& group) const { return locationOf(group) != locations_.end(); }

    /// Of a group that is listed.
    FactoryChanges of(const std::string& group) {
        FactoryChanges& changes = changes_[group];
        if (changes == nullptr) {
            const auto file = factoryFolder_ / locationOf(group)->factoryFile;
            auto content = readOrThrow(file, FileUse::factory);
            requireGroup(content, group, file);
            changes = std::make_shared<const std::vector<UpgraderRecord>>(std::move(content.upgraders));
        }
        return changes;
    }

    /// The same as a run asks for it.
    std::optional<FactoryChanges> find(const std::string& group) {
        if (!lists(group))
            return std::nullopt;
        try {
            return of(group);
        } catch (const std::exception&) {
            return nullptr; // a start goes on without it
        }
    }

  private:
    using Locations = std::vector<FactoryFileLocation>;

    Locations::const_iterator locationOf(const std::string& group) const {
        return std::find_if(locations_.begin(), locations_.end(), [&](const FactoryFileLocation& entry) {
            return entry.toolboxGroupName == group;
        });
    }

    const std::filesystem::path factoryFolder_;
    const Locations locations_;
    std::map<std::string, FactoryChanges> changes_;
};

} // namespace

UpgradePreview previewUpgrade(const std::string& group) {
    DeclaredChanges declared;
    if (!declared.lists(group))
        throw exception::InvalidNodePath({}, group);
    const FactoryChanges changes = declared.of(group);
    UpgradePreview preview;
    preview.upgraderCount = changes->size();
    preview.file = personalFileOf(group);
    std::error_code ignored;
    preview.isThere = std::filesystem::exists(preview.file, ignored);
    if (!preview.isThere)
        return preview;
    SettingsFileContent content = readOrThrow(preview.file, FileUse::level);
    requireGroup(content, group, preview.file);
    const auto position = UpgradePosition::of(content.version);
    preview.upgraderIndex = position.upgrader;
    preview.changeIndex = position.change;
    OtherFiles others(preview.file.parent_path(),
                      [&](const std::string& name) { return declared.find(name); });
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
