#include "settingscore/settings/file/FactoryFileManagerImpl.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "settingscore/settings/file/SettingsFileWriter.hpp"
#include "settingscore/settings/file/TreeSnapshot.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/settingsImpl.hpp"
#include "varnek/files/FolderLock.hpp"
#include "varnek/files/PathText.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <stdexcept>

namespace settings::core::detail {

namespace {

constexpr mode_t anyWritePermission = S_IWUSR | S_IWGRP | S_IWOTH;

/// The administrator may write every file; one without any write permission is protected from him as well. A
/// file that is not there is a matter of its folder.
bool mayBeWritten(const std::filesystem::path& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0)
        return true;
    return (status.st_mode & anyWritePermission) != 0 && ::access(file.c_str(), W_OK) == 0;
}

[[noreturn]] void refuse(const std::filesystem::path& file, const boost::shared_ptr<const Settings>& object) {
    throw exception::ErrorSaveSettingsDueToFileIOError(object, varnek::files::utf16FromPath(file));
}

/// Gives a file the owner's write permission for as long as it lives.
class WritePermission {
  public:
    WritePermission(const std::filesystem::path& file, const boost::shared_ptr<const Settings>& object)
        : file_(file) {
        if (!change(S_IWUSR, 0))
            refuse(file, object);
    }
    WritePermission(const WritePermission&) = delete;
    WritePermission& operator=(const WritePermission&) = delete;
    ~WritePermission() {
        try {
            if (!change(0, S_IWUSR))
                VARNEK_LOG(fileLog, error)
                    << "the write permission could not be taken away again: " << file_.string();
        } catch (...) { // a line of the log is not worth the process
        }
    }

  private:
    bool change(mode_t add, mode_t take) const {
        struct stat status {};
        return ::stat(file_.c_str(), &status) == 0 &&
               ::chmod(file_.c_str(), ((status.st_mode | add) & ~take) & 07777) == 0;
    }

    const std::filesystem::path file_;
};

/// Calls `write` with the permission to write `file`.
template <class Write>
void withPermission(const std::filesystem::path& file, bool forced,
                    const boost::shared_ptr<const Settings>& object, Write write) {
    const varnek::files::FolderLock lock(file.parent_path()); // nobody sees the permission that is lent
    std::optional<WritePermission> lent;
    if (!mayBeWritten(file)) {
        if (!forced)
            refuse(file, object);
        lent.emplace(file, object);
    }
    VARNEK_LOG(fileLog, info) << "Start:Write factory file: " << file.string();
    write();
    VARNEK_LOG(fileLog, info) << "Finish:Write factory file: " << file.string();
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
        writeTree(file, [&](SettingsFileContent& content, const SettingsFileContent* present) {
            const bool areTheirs = present != nullptr && upgraders_ == writtenUpgraders_;
            content.upgraders = areTheirs ? present->upgraders : upgraders_;
            written = content.upgraders;
        });
        upgraders_ = written;
        writtenUpgraders_ = std::move(written);
    });
}

void writeAsFactoryFile(const NodePtr& group, const std::filesystem::path& file,
                        const std::vector<UpgraderRecord>& upgraders, std::optional<std::uint32_t> version) {
    const auto object = group->getThisObject();
    if (group->isConnectedToTheSettingsTree())
        throw exception::ErrorCreateFactoryFileFromATreeNode(object);
    if (group->isLeafNode() || group->isRoot())
        throw exception::NotANodeName(object, group->getName());
    if (!file.is_absolute())
        throwNotWritten(file, "the path is relative");
    if (!isSettingsSavingTurnedOn())
        return;
    SettingsFileContent content;
    content.tree = snapshotOf(group, LevelIndex::factory);
    if (version)
        content.tree.version = version;
    content.upgraders = upgraders;
    withPermission(file, false, object,
                   [&] { SettingsFileWriter::write(std::move(content), LevelIndex::factory, file); });
}

// ---- what nodes and handles offer ----

void SettingsImpl::writeFactoryFile(const std::u16string& file,
                                    const std::vector<UpgraderRecord>& upgraders) {
    writeAsFactoryFile(shared_from_this(), varnek::files::pathFromUtf16(file), upgraders, std::nullopt);
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
