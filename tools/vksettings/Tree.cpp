#include "Tree.hpp"

#include "settingscore/FactoryFileLocation.hpp"
#include "settingscore/SettingsRoot.hpp"
#include "settingscore/exception/TreeFailures.hpp"
#include "settingscore/level/LevelIndex.hpp"
#include "settingscore/level/SettingsLevelManager.hpp"
#include "varnek/files/PathText.hpp"

#include <iostream>

namespace vksettings {

using settings::core::DefaultRootIndex;

namespace {

Handle find(const Handle& from, const std::string& path) {
    for (std::size_t dot = path.find('.');; dot = path.find('.', dot + 1)) {
        const Handle child = from->getChild(path.substr(0, dot));
        if (dot == std::string::npos)
            return child;
        if (child == nullptr)
            continue;
        if (const Handle found = find(child, path.substr(dot + 1)))
            return found;
    }
}

/// Helps whoever has set up nothing yet.
std::string whereDefinitionsAre() {
    const auto* level = settings::core::getSettingsLevelManagerInstance()->getSettingsLevelByName("factory");
    if (level->levelRootPath().empty())
        return "; SETTINGS_FACTORYDIR names the folder of the factory files";
    const auto folder = varnek::files::pathFromUtf16(level->levelRootPath());
    return "; factory files are listed in " + settings::core::locationFileOf(folder).string();
}

} // namespace

Handle root() {
    static const Handle tree = [] {
        Handle built = settings::core::detail::getSettingsRoot(DefaultRootIndex());
        for (const auto& problem : settings::core::detail::getLoadProblems(DefaultRootIndex()))
            std::cerr << "vksettings: warning: " << problem.file << ": " << problem.message << '\n';
        if (built->getChildren().empty())
            std::cerr << "vksettings: warning: no settings are defined" << whereDefinitionsAre() << '\n';
        return built;
    }();
    return tree;
}

Handle resolve(const std::string& fullName) {
    const Handle found = find(root(), fullName);
    if (found == nullptr)
        throw settings::core::exception::InvalidNodePath(root(), fullName);
    return found;
}

Setting resolveSetting(const std::string& fullName) {
    const Handle handle = resolve(fullName);
    const Handle group = handle->getParent();
    if (!handle->isLeafNode())
        throw settings::core::exception::NotAKeyName(group, handle->getName());
    return {group, handle->getName(), handle};
}

std::string effectiveLevel(const Setting& setting) {
    for (const auto level : settings::core::levelsInOrder)
        if (setting.group->isSet(setting.name, settings::core::levelName(level)))
            return std::string(settings::core::levelName(level));
    return {};
}

} // namespace vksettings
