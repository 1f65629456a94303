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
#include "settingscore/settings/node/LevelCheck.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/PathText.hpp"

#include <algorithm>
#include <optional>

namespace settings::core {

using namespace detail;

namespace {

/// Names may contain dots themselves: every way to split the rest is tried, the shortest name first.
std::optional<GroupRecord> groupBelow(const opc::model::Package& package, const std::filesystem::path& file,
                                      const std::u16string& folder, std::string_view rest, FileUse use) {
    for (std::size_t dot = rest.find('.');; dot = rest.find('.', dot + 1)) {
        const std::u16string child = folder + u"/" + folderNameOf(std::string(rest.substr(0, dot)));
        auto group = readGroupPart(package, file, child, use);
        if (dot == std::string_view::npos)
            return group;
        if (group)
            if (auto found = groupBelow(package, file, child, rest.substr(dot + 1), use))
                return found;
    }
}

/// The values of one group of a package; none when it is not there.
std::vector<SettingRecord> settingsOf(const opc::model::Package& package, const std::filesystem::path& file,
                                      std::string_view groupFullName, FileUse use) {
    const std::u16string folder(keys::treeFolder);
    auto group = readGroupPart(package, file, folder, use);
    if (!group)
        return {};
    const std::string product = group->name.empty() ? groupNameOf(file) : group->name;
    if (groupFullName != product) {
        if (!groupFullName.starts_with(product + "."))
            return {};
        group = groupBelow(package, file, folder, groupFullName.substr(product.size() + 1), use);
    }
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
