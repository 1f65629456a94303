/// The four levels of this process, in order of precedence.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/level/LevelIndex.hpp"
#include "settingscore/level/SettingsLevel.hpp"

#include <boost/shared_ptr.hpp>

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace settings::core {

/// Without state of its own; thread-safe.
class SETTINGSCORE_EXPORT SettingsLevelManager {
  public:
    /// "session", "user", "installation", "factory"; built on first use, kept to the end of the process.
    static const std::array<SettingsLevel, levelCount>& getSettingsLevelObjs();
    /// "factory".
    static std::string getLastLevelName();

    std::vector<std::string> getAllLevelNames() const;
    /// The level of exactly that name, or null. Lives to the end of the process.
    const SettingsLevel* getSettingsLevelByName(std::string_view name) const;
    bool isValidLevel(std::string_view name) const;
    /// Whether the level has files of its own. "factory" counts, "session" does not: whether values of the
    /// level may be changed is SettingsLevel::canBeModified().
    bool isWritableLevel(std::string_view name) const;
};

SETTINGSCORE_EXPORT boost::shared_ptr<const SettingsLevelManager> getSettingsLevelManagerInstance();

} // namespace settings::core
