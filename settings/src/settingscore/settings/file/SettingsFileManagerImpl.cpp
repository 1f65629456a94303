#include "settingscore/settings/file/SettingsFileManagerImpl.hpp"

#include "opc/PackageError.hpp"
#include "opc/model/Package.hpp"
#include "settingscore/Settings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/level/SettingsLevelManager.hpp"
#include "settingscore/settings/file/FactoryFileManagerImpl.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/FileFault.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "settingscore/settings/file/NonFactoryFileManagerImpl.hpp"
#include "settingscore/settings/file/PendingFiles.hpp"
#include "settingscore/settings/file/PresentFile.hpp"
#include "settingscore/settings/file/RecordPatch.hpp"
#include "settingscore/settings/file/SaveHook.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/file/SettingsFileWriter.hpp"
#include "settingscore/settings/file/TreeLoader.hpp"
#include "settingscore/settings/file/TreeSnapshot.hpp"
#include "settingscore/settings/node/NodeNames.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/node/SettingsImplForFileManager.hpp"
#include "varnek/files/FolderLock.hpp"
#include "varnek/files/PathText.hpp"
#include "varnek/release/Release.hpp"

#include <unistd.h>

#include <cerrno>

namespace settings::core::detail {

namespace {

/// Everybody reads what is installed; personal files are nobody else's business.
SettingsFileWriter::Readers readersOf(LevelIndex level) {
    using Readers = SettingsFileWriter::Readers;
    return level == LevelIndex::user ? Readers::asTheLevel : Readers::everybody;
}

FileUse useOf(LevelIndex level) {
    return level == LevelIndex::factory ? FileUse::factory : FileUse::level;
}

void logUnreadable(const std::filesystem::path& file, LevelIndex level, const std::string& cause) {
    if (level == LevelIndex::factory)
        VARNEK_LOG(fileLog, error) << "Cannot read settings factory file:" << file.string()
                                   << "Exception caught: " << cause;
    else
        VARNEK_LOG(fileLog, error) << "Cannot read settings file: " << file.string()
                                   << " at level: " << levelName(level) << "Exception caught: " << cause;
}

SettingsFileContent readForLevel(const std::filesystem::path& file, LevelIndex level,
                                 std::string_view group) {
    try {
        auto package = opc::model::Package::open(file);
        SettingsFileContent content = readSettingsPackage(package, file, useOf(level));
        requireKind(package, file, level == LevelIndex::factory);
        if (!group.empty() && content.tree.name != group)
            FilePlace{file, {}}.refuse(ReadError::name, {},
                                       "holds the settings of \"" + content.tree.name + "\", not of \"" +
                                           std::string(group) + "\"");
        return content;
    } catch (const opc::OpenError& failure) {
        if (failure.kind() == opc::ErrorKind::notFound) // no fault: whoever asks may make it
            throw exception::FileDoesNotExist(varnek::files::utf16FromPath(file));
        logUnreadable(file, level, failure.what());
        throw exception::FileCannotBeOpened(varnek::files::utf16FromPath(file), std::string(levelName(level)),
                                            shownText(causeOf(failure)));
    } catch (const exception::ErrorReadingSettingsData& failure) {
        logUnreadable(file, level, failure.what());
        throw;
    }
}

/// Files that an upgrade has left to be replaced come first. Returns why this one must not be saved; nothing
/// when it may.
std::optional<std::string> finishUpgrade(const std::filesystem::path& file, LevelIndex level) {
    const std::filesystem::path folder = file.parent_path();
    if (level != LevelIndex::user || !hasPendingFiles(folder))
        return std::nullopt;
    return finishPendingFilesAlone(folder).whyHeld(groupNameOf(file));
}

/// A folder that is not there is no matter of permission.
void requireWritableFolder(const std::filesystem::path& file, LevelIndex level,
                           const boost::shared_ptr<Settings>& object) {
    const std::filesystem::path folder = file.parent_path();
    if (::access(folder.c_str(), W_OK | X_OK) == 0 || errno == ENOENT || errno == ENOTDIR)
        return;
    throw exception::NoFileWritePermission(
        object, SettingsLevelManager::getSettingsLevelObjs()[position(level)],
        {varnek::files::utf16FromPath(file), varnek::files::utf16FromPath(folder)});
}

} // namespace

SettingsFileManagerImpl::~SettingsFileManagerImpl() = default;

SettingsFileManagerImpl::SettingsFileManagerImpl(NodePtr topLevelNode, LevelIndex level)
    : level_(level), top_(std::move(topLevelNode)), root_(SettingsImplForFileManager::makeRoot(top_, level)) {
    base_ = snapshotOf(top_, level_);
}

LevelIndex SettingsFileManagerImpl::fileLevel(std::string_view level) {
    const auto found = levelIndexOf(level);
    if (found && levelTable[position(*found)].fileSlot != 0)
        return *found;
    std::vector<std::string> names;
    for (const LevelDescription& description : levelTable)
        if (description.fileSlot != 0)
            names.emplace_back(description.name);
    throw exception::UnSupportedLevel(nullptr, std::string(level), std::move(names));
}

std::unique_ptr<SettingsFileManagerImpl> SettingsFileManagerImpl::open(const std::filesystem::path& file,
                                                                       LevelIndex level, bool forced,
                                                                       std::string_view groupName) {
    VARNEK_LOG(fileLog, info) << "Read settings file: " << file.string()
                              << " for level: " << levelName(level);
    finishUpgrade(file, level);
    SettingsFileContent content = readForLevel(file, level, groupName);
    const LoadRules rules{
        .level = level, .isSecret = content.isEncrypted, .makeNode = [level](NodeSpec spec, bool isGroup) {
            return isGroup ? SettingsImplForFileManager::makeGroup(std::move(spec), level)
                           : SettingsImplForFileManager::makeSetting(std::move(spec), level);
        }};
    const NodePtr top = buildTree(std::move(content.tree), rules);
    std::unique_ptr<SettingsFileManagerImpl> manager;
    if (level == LevelIndex::factory)
        manager = std::make_unique<FactoryFileManagerImpl>(top, std::move(content.upgraders), forced);
    else
        manager = std::make_unique<NonFactoryFileManagerImpl>(top, level, std::move(content.version));
    manager->foreignParts_ = std::move(content.foreignParts);
    manager->release_ = std::move(content.release);
    return manager;
}

std::unique_ptr<SettingsFileManagerImpl>
SettingsFileManagerImpl::create(const std::filesystem::path& file, LevelIndex level, bool forced,
                                std::string_view groupName, const varnek::files::FileStamp& replaced) {
    NodeSpec spec;
    spec.name = groupName.empty() ? groupNameOf(file) : std::string(groupName);
    if (!isAcceptableName(spec.name, {}, true))
        throw exception::InvalidSettingOrGroupName(spec.name);
    const NodePtr top = SettingsImplForFileManager::makeGroup(std::move(spec), level);
    std::unique_ptr<SettingsFileManagerImpl> manager;
    if (level == LevelIndex::factory)
        manager = std::make_unique<FactoryFileManagerImpl>(top, std::vector<UpgraderRecord>(), forced);
    else
        manager = std::make_unique<NonFactoryFileManagerImpl>(top, level, std::nullopt);
    manager->isReplaced_ = replaced;
    return manager;
}

boost::shared_ptr<Settings> SettingsFileManagerImpl::topHandle() const {
    return SettingsAccess::wrap(top_);
}

GroupRecord SettingsFileManagerImpl::snapshot() const {
    GroupRecord record = snapshotOf(top_, level_);
    record.addMissing(leftovers_.clone());
    return record;
}

void SettingsFileManagerImpl::replaceTree(NodePtr topLevelNode, GroupRecord leftovers) {
    NodePtr root = SettingsImplForFileManager::makeRoot(topLevelNode, level_);
    top_ = std::move(topLevelNode);
    root_ = std::move(root);
    leftovers_ = std::move(leftovers);
}

/// Nothing for a file that is new or replaced as a whole. What the writer refuses to replace is left to it.
std::optional<SettingsFileContent>
SettingsFileManagerImpl::readPresent(const std::filesystem::path& file) const {
    PresentFile present = PresentFile::at(file);
    if (present.state != PresentFile::State::plain ||
        (isReplaced_ && *isReplaced_ == varnek::files::FileStamp::of(file)))
        return std::nullopt;
    SettingsFileContent content = readSettingsPackage(*present.package, file, useOf(level_));
    if (content.tree.name != top_->getName())
        return std::nullopt;
    requireKind(*present.package, file, level_ == LevelIndex::factory);
    return content;
}

void SettingsFileManagerImpl::mergeAndWrite(const std::filesystem::path& file, const Completion& complete) {
    GroupRecord ours = snapshot();
    std::optional<SettingsFileContent> present = readPresent(file);
    SettingsFileContent content;
    content.tree = present ? patched(std::move(present->tree), base_, ours, level_) : ours.clone();
    content.foreignParts = present ? present->foreignParts : foreignParts_;
    complete(content, present ? &*present : nullptr, !isSame(base_, ours, level_));
    std::vector<ForeignPart> kept = content.foreignParts;
    SettingsFileWriter::write(std::move(content), level_, file, readersOf(level_));
    base_ = std::move(ours);
    foreignParts_ = std::move(kept);
    isReplaced_.reset();
    release_ = varnek::release::getCurrentVARNEKReleaseInfo().label.text();
}

void SettingsFileManagerImpl::writeTree(const std::filesystem::path& file, const Completion& complete) {
    requireWritableFolder(file, level_, topHandle());
    const varnek::files::FolderLock othersOut(file.parent_path());
    if (othersOut.isTimeUp())
        throwNotWritten(file, "other files of \"" + file.parent_path().string() + "\" are being saved");
    if (!othersOut.isHeld())
        VARNEK_LOG(fileLog, warning) << "saves without a lock on the folder: " << file.parent_path().string();
    if (const auto why = finishUpgrade(file, level_))
        throwNotWritten(file, *why);
    whileNoOtherSaveReplacesFiles([&] { mergeAndWrite(file, complete); });
}

} // namespace settings::core::detail
