/// Everything there is to know about one setting: for tools, support and error messages.
#pragma once

#include "settingscore/Export.hpp"
#include "varnek/data/Array.hpp"

#include <array>
#include <string>
#include <vector>

namespace settings::core {

class Settings;

struct LevelExplanation {
    std::string level;
    varnek::data::Array value; ///< void: not set on this level; "factory": also the run-time default
    bool isVector = false;
    bool wins = false; ///< readers that name no level get this value
    std::string
        file; ///< UTF-8 path of the file that keeps the level's values of this group; empty: memory only
    bool fileExists = false;
};

/// Texts are UTF-8; empty where there is nothing to say. Of an alias the name, `aliasOf`, `originLevel` and
/// `visible` are its own, and title and description where it has them; everything else is that of the setting
/// it stands for.
struct SettingExplanation {
    std::string fullName;
    std::string aliasOf;     ///< full name of the setting it stands for
    std::string originLevel; ///< the level it was defined or added on
    bool visible = true;
    bool readOnly = false;
    std::string title;
    std::string description;
    std::vector<std::string> validators; ///< in words; a value has to satisfy one of them
    std::string validationFunction;      ///< "language package.function"
    std::string runTimeDefault;
    std::array<LevelExplanation, 4> levels; ///< in order of precedence
};

/// A group: NotAKeyName. Thread-safe; asks the disk whether the files exist, and calls the run-time default.
SETTINGSCORE_EXPORT SettingExplanation explain(const Settings& setting);

} // namespace settings::core
