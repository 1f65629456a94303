#include "settingscore/plugin/PluginFolder.hpp"

namespace settings::core::detail {

std::filesystem::path pluginFolder(const std::filesystem::path& installationRoot) {
    return installationRoot / "bin/linux64/settings_plugins";
}

bool isTrusted(const std::filesystem::path& library) {
    using std::filesystem::perms;
    const perms others = perms::group_write | perms::others_write;
    return (std::filesystem::status(library).permissions() & others) == perms::none;
}

} // namespace settings::core::detail
