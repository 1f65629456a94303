// Single values that are needed before there is a tree.

#include "opc/PackageError.hpp"
#include "opc/model/Package.hpp"
#include "opc/qfservices/FileSystemManager.hpp"
#include "settingscore/Settings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/file/EncryptedPackage.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/NameText.hpp"
#include "settingscore/settings/file/SettingsFileKeys.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/node/FullNamePath.hpp"
#include "settingscore/settings/node/LevelCheck.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/PathText.hpp"

#include <algorithm>

namespace settings::core {

using namespace detail;

namespace {

/// The values of one group of a package; none when it is not there.
std::vector<SettingRecord> settingsOf(const opc::model::Package& package, const std::filesystem::path& file,
                                      std::string_view groupFullName, FileUse use) {
    std::u16string folder(keys::treeFolder);
    auto group = readGroupPart(package, file, folder, use);
    const std::string product(nextName(groupFullName));
    if (!group || (group->name.empty() ? groupNameOf(file) : group->name) != product)
        return {};
    if (groupFullName.empty())
        return std::move(group->settings);
    while (!groupFullName.empty())
        folder += u"/" + folderNameOf(nextName(groupFullName));
    group = readGroupPart(package, file, folder, use);
    return group ? std::move(group->settings) : std::vector<SettingRecord>();
}

} // namespace

varnek::data::Array Settings::getStartupSetting(const std::u16string& path, std::string_view group,
                                                std::string_view setting, std::string_view level) {
    const std::filesystem::path file = varnek::files::pathFromUtf16(path);
    const LevelIndex at = requireLevel(level, [] { return boost::shared_ptr<const Settings>(); });
    const FileUse use = at == LevelIndex::factory ? FileUse::factory : FileUse::level;
    try {
        auto package = opc::model::Package::open(file);
        if (opc::qfservices::FileSystemManager(package).isEncrypted())
            decrypt(package, {file, {}});
        const auto settings = settingsOf(package, file, group, use);
        const auto found = std::find_if(settings.begin(), settings.end(),
                                        [&](const SettingRecord& record) { return record.name == setting; });
        return found == settings.end() ? varnek::data::Array() : found->value.first;
    } catch (const opc::OpenError& failure) {
        throwNotOpened(failure, file);
    }
}

void Settings::removeStartupSettings(const std::u16string& path) {
    const std::filesystem::path file = varnek::files::pathFromUtf16(path);
    try {
        varnek::files::removeFile(file);
    } catch (const varnek::files::FileError& failure) {
        throwNotWritten(file, failure.what());
    }
}

} // namespace settings::core
