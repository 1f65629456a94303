/// One settings file in a folder of its own, and managers for it.
#pragma once

#include "support/FileTree.hpp"
#include "support/TempFolder.hpp"

#include "settingscore/MSettings.hpp"
#include "settingscore/SettingsFileManager.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/settings/level/LevelFolders.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdlib>

namespace settings::test {

inline core::SettingValueValidator::ConfigData points() {
    core::NumericMetaData<core::MustBeScalar> data;
    data.setMinValue(6);
    data.setMaxValue(72);
    return data;
}

inline core::detail::FactorySettingProperties sized(double value) {
    return {true, false, Array::scalar(value), {}, {}, false, false, {points()}};
}

inline unsigned modeOf(const std::filesystem::path& file) {
    struct stat status {};
    return ::stat(file.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

struct FileManager : testing::Test {
    ~FileManager() override { core::turnOnSettingsSaving(); }

    /// "editor" with "theme" and, in "font", "size" from 6 to 72.
    core::SettingsFileManager made(bool force = false) const {
        auto manager = core::SettingsFileManager::create(file, "factory", force, "editor");
        const Handle top = manager.getTopLevelNode();
        top->addSetting("theme", Array::scalar(1.0), true, false, "factory");
        const Handle font = top->addGroup("font", true, false, "factory");
        core::MSettings::of(font)->createFactorySetting("size", false, sized(12));
        core::MSettings::of(font)->set("size", 12.0, "factory");
        return manager;
    }
    Handle fontOf(const core::SettingsFileManager& manager) const {
        return manager.getTopLevelNode()->getChild("font");
    }
    double sizeIn(const std::filesystem::path& path) const {
        return fontOf(core::SettingsFileManager::open(path, "factory"))->get<double>("size", "factory");
    }

    TempFolder folder;
    std::filesystem::path file = folder / "editor.vksettings";
};

/// The folder is that of the level "installation".
struct InstallationLevel : FileManager {
    InstallationLevel() {
        if (const char* value = ::getenv("SETTINGS_INSTALLATIONDIR"))
            folderBefore = value;
        use(folder.path());
    }
    ~InstallationLevel() override { use(folderBefore); }
    static void use(const std::filesystem::path& installation) {
        ::setenv("SETTINGS_INSTALLATIONDIR", installation.c_str(), 1);
        core::detail::forgetLevelFolders();
    }
    std::string folderBefore;
};

inline const std::vector<core::detail::UpgraderRecord> upgraders = {
    {u"R2024b", {{"remove", {"editor.c"}, {}}}}};

} // namespace settings::test
