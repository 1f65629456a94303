#include "settingscore/settings/upgrade/OtherFiles.hpp"

#include "opc/PackageError.hpp"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/settings/file/SettingsFileKeys.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"

#include <chrono>

namespace settings::core::detail {

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds patience{2};

std::string topLevelOf(const std::string& fullName) {
    return fullName.substr(0, fullName.find('.'));
}

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

} // namespace

struct OtherFiles::File {
    SettingsFileContent content;
    bool isUpgraded = false;
    std::unique_ptr<PersonalTree> tree; // of the content
};

OtherFiles::OtherFiles(std::filesystem::path folder, ChangesOfGroup changesOf, Use use)
    : folder_(std::move(folder)), changesOf_(std::move(changesOf)), use_(use) {}
OtherFiles::~OtherFiles() = default;

std::optional<PersonalNode> OtherFiles::open(PersonalTree& from, const std::string& fullName) {
    const auto place = placeToday(fullName, from.release());
    if (!place)
        return std::nullopt;
    PersonalTree& tree = from.isOurs(*place) ? from : treeOf(topLevelOf(*place));
    return PersonalNode{tree, *place};
}

/// Follows what later releases did to the place, through the groups that it was moved to.
std::optional<std::string> OtherFiles::placeToday(std::string fullName, VersionLabel release) const {
    for (;;) {
        const std::string group = topLevelOf(fullName);
        const FactoryChanges changes = changesOf_(group);
        if (changes == nullptr)
            return fullName;
        for (const UpgraderRecord& upgrader : *changes) {
            const VersionLabel label(upgrader.versionLabel);
            if (!(label > release))
                continue; // the place is one of after that
            for (std::size_t i = 0; i < upgrader.changes.size() && topLevelOf(fullName) == group; ++i) {
                const auto place = placeAfter(upgrader.changes[i], fullName);
                if (!place)
                    return std::nullopt;
                fullName = *place;
            }
            if (topLevelOf(fullName) != group) {
                release = label;
                break;
            }
        }
        if (topLevelOf(fullName) == group)
            return fullName;
    }
}

PersonalTree& OtherFiles::treeOf(const std::string& group) {
    if (const auto known = files_.find(group); known != files_.end())
        return *known->second->tree;
    for (PersonalTree* tree : underWay_)
        if (tree->group() == group)
            return *tree;
    auto file = read(group);
    const FactoryChanges changes = changesOf_(group);
    UpgradeReport report = runUpgrade(file->content, changes, *this);
    if (UpgradePosition::of(file->content.version) < UpgradePosition::endOf(changes))
        throw UpgradeInterrupted("the settings of \"" + group + "\" cannot be upgraded now");
    file->isUpgraded = report.hasRun;
    reports_[group] = std::move(report);
    file->tree = std::make_unique<PersonalTree>(file->content.tree, *this, file->content.isEncrypted);
    PersonalTree& tree = *file->tree;
    files_[group] = std::move(file);
    order_.push_back(group);
    return tree;
}

std::unique_ptr<OtherFiles::File> OtherFiles::read(const std::string& group) {
    keepOthersOut();
    const std::filesystem::path path = folder_ / fileNameOf(group);
    auto file = std::make_unique<File>();
    try {
        file->content = readSettingsFile(path, FileUse::level);
    } catch (const opc::OpenError& failure) {
        if (failure.kind() != opc::ErrorKind::notFound)
            throw UpgradeInterrupted(failure.what());
        file->content.tree.name = group;
        const FactoryChanges changes = changesOf_(group);
        if (changes != nullptr && !changes->empty())
            file->content.version = recordAfter(*changes, changes->size());
    } catch (const exception::ErrorReadingSettingsData& failure) {
        throw UpgradeInterrupted(failure.what());
    }
    if (file->content.isEncrypted)
        throw std::runtime_error("the settings of \"" + group + "\" are encrypted");
    if (file->content.tree.name != group)
        throw UpgradeInterrupted("\"" + path.string() + "\" holds another group's settings");
    return file;
}

/// Not for long: whoever saves may wait for a file that this thread is loading. Where a file system knows no
/// locks, there is no waiting either, and it goes on without.
void OtherFiles::keepOthersOut() {
    if (use_ == Use::preview || othersOut_ != nullptr)
        return;
    const auto begin = Clock::now();
    othersOut_ = std::make_unique<varnek::files::FolderLock>(folder_, patience);
    if (othersOut_->isHeld() || Clock::now() - begin < patience / 2)
        return;
    othersOut_.reset();
    throw UpgradeInterrupted("other files of \"" + folder_.string() + "\" are being saved");
}

void OtherFiles::forEachChanged(const WriteFile& write) {
    for (const std::string& group : order_)
        if (File& file = *files_.at(group); file.isUpgraded || file.tree->hasChanged())
            write(group, std::move(file.content));
    files_.clear();
    order_.clear();
}

} // namespace settings::core::detail
