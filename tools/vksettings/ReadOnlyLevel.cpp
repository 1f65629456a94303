#include "ReadOnlyLevel.hpp"

#include "settingscore/level/SettingsLevelManager.hpp"
#include "varnek/files/PathText.hpp"

#include <filesystem>

namespace vksettings {

std::string whyReadOnly(const std::string& level) {
    const auto* found = settings::core::getSettingsLevelManagerInstance()->getSettingsLevelByName(level);
    if (found == nullptr || !found->canBeModified())
        return "it holds what toolboxes define";
    const auto folder = varnek::files::pathFromUtf16(found->levelRootPath());
    if (folder.empty())
        return "it has no folder; SETTINGS_INSTALLATIONDIR names one";
    std::error_code ignored;
    const auto status = std::filesystem::status(folder, ignored);
    const std::string name = "its folder " + folder.string();
    if (status.type() == std::filesystem::file_type::not_found)
        return name + " does not exist";
    return name + (std::filesystem::is_directory(status) ? " cannot be written" : " is no folder");
}

} // namespace vksettings
