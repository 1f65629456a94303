#include "settingscore/factoryfile/DefinedTree.hpp"

#include "opc/PackageError.hpp"
#include "opc/model/Package.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/SettingsFileKeys.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/node/FullNamePath.hpp"
#include "varnek/files/PathText.hpp"

#include <algorithm>

namespace settings::core::detail {

namespace {

/// Names may contain dots themselves: every way to split the rest is tried, the shortest name first.
DefinedNode findBelow(const GroupRecord& group, std::string_view rest) {
    for (std::size_t dot = rest.find('.');; dot = rest.find('.', dot + 1)) {
        const std::string_view name = rest.substr(0, dot);
        const auto isNamed = [name](const auto& record) { return record.name == name; };
        const auto child = std::find_if(group.groups.begin(), group.groups.end(), isNamed);
        if (dot == std::string_view::npos) {
            const auto setting = std::find_if(group.settings.begin(), group.settings.end(), isNamed);
            return {setting == group.settings.end() ? nullptr : &*setting,
                    child == group.groups.end() ? nullptr : &*child};
        }
        if (child != group.groups.end())
            if (const DefinedNode found = findBelow(*child, rest.substr(dot + 1)))
                return found;
    }
}

} // namespace

SettingsFileContent readFactoryFile(const std::filesystem::path& file) {
    try {
        auto package = opc::model::Package::open(file);
        SettingsFileContent content = readSettingsPackage(package, file, FileUse::factory);
        requireKind(package, file, true);
        return content;
    } catch (const opc::OpenError& failure) {
        throwNotOpened(failure, file);
    }
}

DefinedNode findDefined(const GroupRecord& top, std::string_view fullName) {
    if (fullName == top.name)
        return {nullptr, &top};
    const bool isBelow = isAtOrBelow(fullName, top.name);
    return isBelow ? findBelow(top, fullName.substr(top.name.size() + 1)) : DefinedNode();
}

std::string_view firstName(std::string_view fullName) noexcept {
    return nextName(fullName);
}

bool isAtOrBelow(std::string_view fullName, std::string_view ancestor) noexcept {
    return fullName.starts_with(ancestor) &&
           (fullName.size() == ancestor.size() || fullName[ancestor.size()] == '.');
}

std::optional<std::string> followed(std::string fullName, const std::vector<UpgraderRecord>& upgraders,
                                    std::size_t upgrader, std::size_t change) {
    for (; upgrader < upgraders.size(); ++upgrader, change = 0)
        for (; change < upgraders[upgrader].changes.size(); ++change) {
            const ChangeRecord& step = upgraders[upgrader].changes[change];
            if (step.inputs.size() != 1 || !isAtOrBelow(fullName, step.inputs.front()))
                continue;
            if (step.operation == keys::remove)
                return std::nullopt;
            if (step.operation == keys::move && step.outputs.size() == 1)
                fullName = step.outputs.front() + fullName.substr(step.inputs.front().size());
        }
    return fullName;
}

std::string aliasOf(const SettingRecord& setting) {
    return setting.definition == nullptr ? std::string() : setting.definition->aliasName;
}

const std::vector<SettingValueValidator::ConfigData>& validatorsOf(const SettingRecord& setting) {
    static const std::vector<SettingValueValidator::ConfigData> none;
    return setting.definition == nullptr ? none : setting.definition->multiCheckValueValidators;
}

std::string inQuotes(std::string_view name) {
    return "\"" + varnek::files::shownName(name) + "\"";
}

std::string shownLabel(const UpgraderRecord& upgrader) {
    return varnek::files::messageUtf8(upgrader.versionLabel);
}

} // namespace settings::core::detail
