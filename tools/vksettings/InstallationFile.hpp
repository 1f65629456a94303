/// Changing values of the level "installation": straight in its file, while other processes wait.
#pragma once

#include "Tree.hpp"

#include "settingscore/SettingsFileManager.hpp"
#include "varnek/files/FolderLock.hpp"

#include <memory>
#include <string>

namespace vksettings {

/// The installation's file of the product that a setting belongs to, with the settings that are defined for
/// it. As long as it lives, other processes that want to save in the folder wait.
class InstallationFile {
  public:
    /// Reads the file. NoFileWritePermission; what SettingsFileManager::open raises for a file that is there
    /// and cannot be read.
    explicit InstallationFile(const Setting& setting);

    /// Where the setting is to be changed: aliases are followed.
    const Handle& group() const { return group_; }
    const std::string& name() const { return name_; }
    void save() { file_.save(); }

  private:
    std::unique_ptr<varnek::files::FolderLock> othersOut_;
    settings::core::SettingsFileManager file_;
    Handle group_;
    std::string name_;
};

} // namespace vksettings
