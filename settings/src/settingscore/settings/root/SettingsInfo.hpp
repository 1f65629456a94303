/// The descriptions "settingsInfo.json" by which toolboxes declare themselves, each in a folder of its own.
#pragma once

#include "settingscore/settings/root/ToolboxSources.hpp"

#include <filesystem>
#include <string>
#include <vector>

namespace settings::core::detail {

class LoadProblems;

struct SettingsInfo {
    std::string toolboxGroupName;
    std::filesystem::path factoryFile; // a factory file, or code that makes definitions
    std::string className;
    bool isHidden = false;
    std::filesystem::path file; // the description itself

    void enter(ToolboxSources& sources) const;
    /// Its definitions are in a factory file.
    bool isOfFile() const;
};

/// Those in the folders of "varnek/settings/toolboxes" below the factory folder, in the order of their names.
/// One that cannot be used becomes a problem. Blocks on the disk.
std::vector<SettingsInfo> readSettingsInfos(const std::filesystem::path& factoryFolder,
                                            LoadProblems& problems);

} // namespace settings::core::detail
