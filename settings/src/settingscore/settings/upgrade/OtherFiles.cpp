#include "settingscore/settings/upgrade/OtherFiles.hpp"

#include "opc/PackageError.hpp"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/settings/file/SettingsFileKeys.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/file/SettingsFileWriter.hpp"

#include <algorithm>

namespace settings::core::detail {

namespace {

using Names = std::vector<std::string>;

bool isAtOrBelow(const std::string& fullName, const std::string& group) {
    return fullName == group || fullName.starts_with(group + ".");
}

/// What a change makes of a place; nothing when it removes it.
std::optional<std::string> placeAfter(const ChangeRecord& change, const std::string& fullName) {
    if (change.inputs.size() != 1 || !isAtOrBelow(fullName, change.inputs.front()))
        return fullName;
    if (change.operation == keys::remove)
        return std::nullopt;
    if (change.operation != keys::move || change.outputs.size() != 1)
        return fullName;
    return change.outputs.front() + fullName.substr(change.inputs.front().size());
}

/// Whether it matters to a change if there is something at the place.
bool concerns(const ChangeRecord& change, const std::string& fullName) {
    const auto isOnOneLine = [&](const Names& names) {
        return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
            return isAtOrBelow(fullName, name) || isAtOrBelow(name, fullName);
        });
    };
    return isOnOneLine(change.inputs) || isOnOneLine(change.outputs);
}

/// Older changes of its group would still apply to what is put there. Seen from the other end, when the group
/// that gives it away is loaded, they are done before; a group that gives it to itself has no other end.
[[noreturn]] void throwTooEarly(const std::string& fullName, bool isSource) {
    const std::string why = "\"" + fullName + "\" has to wait for older changes of its group";
    if (isSource)
        throw std::runtime_error(why);
    throw UpgradeInterrupted(why);
}

} // namespace

struct OtherFiles::File {
    SettingsFileContent content;
    UpgradeReport report;
    std::unique_ptr<PersonalTree> tree; // of the content
};

OtherFiles::OtherFiles(std::filesystem::path folder, ChangesOfGroup changesOf)
    : folder_(std::move(folder)), changesOf_(std::move(changesOf)) {}
OtherFiles::~OtherFiles() = default;

std::optional<PersonalNode> OtherFiles::open(PersonalTree& from, const std::string& fullName) {
    const auto place = placeToday(fullName, from.release());
    if (!place)
        return std::nullopt;
    return PersonalNode{treeOf(topLevelOf(*place)), *place};
}

// ---- the place ----

/// Follows what later releases did to the place, through the groups that it was moved to.
std::optional<std::string> OtherFiles::placeToday(std::string fullName, VersionLabel release) const {
    for (;;) {
        const std::string group = topLevelOf(fullName);
        auto place = placeInGroup(std::move(fullName), release);
        if (!place || topLevelOf(*place) == group)
            return place;
        fullName = std::move(*place);
    }
}

/// Where a place of `release` is in what its group has become so far; or in the next group, as a place of the
/// release that moved it there.
std::optional<std::string> OtherFiles::placeInGroup(std::string fullName, VersionLabel& release) const {
    const std::string group = topLevelOf(fullName);
    const FactoryChanges changes = changesOf_(group).value_or(nullptr);
    if (changes == nullptr)
        throw UpgradeInterrupted("the factory file of \"" + group + "\" cannot be read");
    const PersonalTree* const tree = treeUnderWay(group);
    const bool isSource = tree != nullptr && tree == underWay_.back(); // it is back
    UpgradePosition end = tree == nullptr ? UpgradePosition::endOf(changes) : tree->position();
    if (isSource)
        ++end.change;
    for (UpgradePosition at; at.upgrader < changes->size(); at = {at.upgrader + 1, 0}) {
        const UpgraderRecord& upgrader = (*changes)[at.upgrader];
        const VersionLabel label(upgrader.versionLabel);
        const bool isLater = label > release;
        for (; at.change < upgrader.changes.size(); ++at.change) {
            const ChangeRecord& change = upgrader.changes[at.change];
            if (!isLater && at >= end && concerns(change, fullName))
                throwTooEarly(fullName, isSource);
            if (!isLater || at >= end)
                continue; // the place is one of after that, or the group will see to it
            auto place = placeAfter(change, fullName);
            if (!place)
                return std::nullopt;
            fullName = std::move(*place);
            if (topLevelOf(fullName) != group) {
                release = label;
                return fullName;
            }
        }
    }
    return fullName;
}

PersonalTree* OtherFiles::treeUnderWay(const std::string& group) const {
    const auto found = std::find_if(underWay_.begin(), underWay_.end(),
                                    [&](const PersonalTree* tree) { return tree->group() == group; });
    return found == underWay_.end() ? nullptr : *found;
}

// ---- the files ----

PersonalTree& OtherFiles::treeOf(const std::string& group) {
    PersonalTree* tree = treeUnderWay(group);
    if (tree == nullptr) {
        File& file = fileOf(group);
        if (file.report.isInterrupted)
            throw UpgradeInterrupted("the settings of \"" + group + "\" cannot be upgraded now");
        tree = file.tree.get();
    }
    if (tree->isSecret())
        throw std::runtime_error("the settings of \"" + group + "\" are encrypted");
    return *tree;
}

/// Also one whose own run was interrupted counts from then on: it may have given something to others.
OtherFiles::File& OtherFiles::fileOf(const std::string& group) {
    if (const auto known = files_.find(group); known != files_.end())
        return *known->second;
    auto file = read(group);
    if (!file->content.isEncrypted)
        file->report = runUpgrade(file->content, *changesOf_(group), *this);
    file->tree = std::make_unique<PersonalTree>(file->content.tree, *this, file->content.isEncrypted);
    reports_[group] = file->report;
    return *(files_[group] = std::move(file));
}

std::unique_ptr<OtherFiles::File> OtherFiles::read(const std::string& group) const {
    const std::filesystem::path path = folder_ / fileNameOf(group);
    const FactoryChanges changes = changesOf_(group).value_or(nullptr);
    if (changes == nullptr)
        throw UpgradeInterrupted("the factory file of \"" + group + "\" cannot be read");
    auto file = std::make_unique<File>();
    try {
        file->content = readSettingsFile(path, FileUse::level);
    } catch (const opc::OpenError& failure) {
        if (failure.kind() != opc::ErrorKind::notFound)
            throw UpgradeInterrupted(failure.what());
        file->content.tree.name = group;
        if (!changes->empty())
            file->content.version = recordAfter(*changes, changes->size());
    } catch (const exception::ErrorReadingSettingsData& failure) {
        throw UpgradeInterrupted(failure.what());
    }
    if (file->content.tree.name != group)
        throw UpgradeInterrupted("\"" + path.string() + "\" holds another group's settings");
    return file;
}

NewFiles OtherFiles::newFiles() {
    NewFiles changed;
    for (const auto& [group, file] : files_)
        if (file->report.hasRun || file->report.hasChangedValues || file->tree->hasChanged())
            if (auto bytes =
                    fileImage(file->content, LevelIndex::user, PresentFile::at(folder_ / fileNameOf(group))))
                changed[group] = std::move(*bytes);
    return changed;
}

} // namespace settings::core::detail
