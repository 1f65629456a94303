#include "settingscore/level/SettingsLevelManager.hpp"

#include "settingscore/settings/level/LevelFolders.hpp"

#include <boost/make_shared.hpp>

namespace settings::core {

namespace {

SettingsLevel makeLevel(LevelIndex level, SettingsLevel::RootPathFunction rootPath) {
    const LevelDescription& as = levelTable[position(level)];
    return {std::string(as.name), std::move(rootPath), as.canBeModified, as.fileSlot,
            as.isFactoryLevel,    as.isWorkgroupLevel, as.isUserLevel,   as.isInstallationLevel};
}

} // namespace

const std::array<SettingsLevel, levelCount>& SettingsLevelManager::getSettingsLevelObjs() {
    // Never destroyed: background threads may still ask for a folder while the process ends.
    static const auto* const levels = new std::array<SettingsLevel, levelCount>{
        makeLevel(LevelIndex::session, {}), makeLevel(LevelIndex::user, &detail::userFolder),
        makeLevel(LevelIndex::installation, &detail::installationFolder),
        makeLevel(LevelIndex::factory, &detail::factoryFolder)};
    return *levels;
}

std::string SettingsLevelManager::getLastLevelName() {
    return getSettingsLevelObjs().back().levelName();
}

std::vector<std::string> SettingsLevelManager::getAllLevelNames() const {
    std::vector<std::string> names;
    names.reserve(levelCount);
    for (const SettingsLevel& level : getSettingsLevelObjs())
        names.push_back(level.levelName());
    return names;
}

const SettingsLevel* SettingsLevelManager::getSettingsLevelByName(std::string_view name) const {
    const auto found = levelIndexOf(name);
    return found ? &getSettingsLevelObjs()[position(*found)] : nullptr;
}

bool SettingsLevelManager::isValidLevel(std::string_view name) const {
    return levelIndexOf(name).has_value();
}

bool SettingsLevelManager::isWritableLevel(std::string_view name) const {
    const SettingsLevel* level = getSettingsLevelByName(name);
    return level != nullptr && level->canHaveFile();
}

boost::shared_ptr<const SettingsLevelManager> getSettingsLevelManagerInstance() {
    static const auto& instance =
        *new boost::shared_ptr<const SettingsLevelManager>(boost::make_shared<const SettingsLevelManager>());
    return instance;
}

} // namespace settings::core
