#include "settingscore/settings/file/FactoryFileManagerImpl.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "settingscore/settings/file/SettingsFileWriter.hpp"
#include "settingscore/settings/file/WritePermission.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/settingsImpl.hpp"
#include "varnek/files/FolderLock.hpp"
#include "varnek/files/PathText.hpp"

#include <stdexcept>

namespace settings::core::detail {

namespace {

/// Calls `write` with the permission to write `file`.
template <class Write>
void withPermission(const std::filesystem::path& file, bool forced,
                    const boost::shared_ptr<const Settings>& object, Write write) {
    const varnek::files::FolderLock lock(file.parent_path()); // nobody sees the permission that is lent
    std::optional<WritePermission> lent;
    if (!mayBeWritten(file) && (!forced || !lent.emplace(file).isGiven()))
        throw exception::ErrorSaveSettingsDueToFileIOError(object, varnek::files::utf16FromPath(file));
    write();
}

/// Nobody's upgraders are lost: personal files count them.
const std::vector<UpgraderRecord>& mergedUpgraders(const std::vector<UpgraderRecord>& ours,
                                                   const std::vector<UpgraderRecord>& base,
                                                   const SettingsFileContent* present,
                                                   const std::filesystem::path& file) {
    if (present == nullptr || present->upgraders == base)
        return ours;
    if (ours != base && ours != present->upgraders)
        throwNotWritten(file, "its upgraders have been changed by others as well since it was opened");
    return present->upgraders;
}

} // namespace

FactoryFileManagerImpl::FactoryFileManagerImpl(NodePtr topLevelNode, std::vector<UpgraderRecord> upgraders,
                                               bool forced)
    : SettingsFileManagerImpl(std::move(topLevelNode), LevelIndex::factory), upgraders_(std::move(upgraders)),
      writtenUpgraders_(upgraders_), forced_(forced) {}

void FactoryFileManagerImpl::save(const std::filesystem::path& file) {
    if (!isSettingsSavingTurnedOn())
        return;
    withPermission(file, forced_, topHandle(), [&] {
        std::vector<UpgraderRecord> written;
        VARNEK_LOG(fileLog, info) << "Start:Write factory file: " << file.string();
        writeTree(file, [&](SettingsFileContent& content, const SettingsFileContent* present, bool) {
            content.upgraders = mergedUpgraders(upgraders_, writtenUpgraders_, present, file);
            written = content.upgraders;
        });
        VARNEK_LOG(fileLog, info) << "Finish:Write factory file: " << file.string();
        upgraders_ = written;
        writtenUpgraders_ = std::move(written);
    });
}

void writeAsFactoryFile(const NodePtr& group, const std::filesystem::path& file,
                        const std::vector<UpgraderRecord>& upgraders, std::optional<std::uint32_t> version,
                        bool forced) {
    const auto object = group->getThisObject();
    if (group->isConnectedToTheSettingsTree())
        throw exception::ErrorCreateFactoryFileFromATreeNode(object);
    if (group->isLeafNode() || group->isRoot())
        throw exception::NotANodeName(object, group->getName());
    if (!file.is_absolute())
        throwNotWritten(file, "the path is relative");
    if (!isSettingsSavingTurnedOn())
        return;
    withPermission(file, forced, object,
                   [&] { SettingsFileWriter::writeFactoryFile(group, file, upgraders, version); });
}

// ---- what nodes and handles offer ----

void SettingsImpl::writeFactoryFile(const std::u16string& file,
                                    const std::vector<UpgraderRecord>& upgraders) {
    writeAsFactoryFile(shared_from_this(), varnek::files::pathFromUtf16(file), upgraders);
}

} // namespace settings::core::detail

namespace settings::core {

void Settings::createFactorySettingsFile(const boost::shared_ptr<const Settings>& group,
                                         const std::u16string& path, std::uint32_t version) {
    if (group == nullptr)
        throw std::invalid_argument("no group to write a factory file from");
    detail::writeAsFactoryFile(detail::SettingsAccess::mutableNode(*group),
                               varnek::files::pathFromUtf16(path), {}, version);
}

} // namespace settings::core
