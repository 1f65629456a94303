/// Changing values of the level "installation": straight in its file, while other processes wait.
#pragma once

#include "Tree.hpp"

#include "settingscore/SettingsFileManager.hpp"
#include "varnek/files/FolderLock.hpp"

#include <functional>
#include <memory>
#include <string>

namespace vksettings {

/// The installation's file of a product, with the settings that are defined for it. As long as it lives,
/// other processes that want to save in the folder wait.
class InstallationFile {
  public:
    /// Reads the file. NoFileWritePermission; what SettingsFileManager::open raises for a file that is there
    /// and cannot be read.
    explicit InstallationFile(const Handle& product);

    using Change = std::function<void(settings::core::Settings& group, const std::string& name)>;
    /// Calls `change` with the group of the file where a setting of the product is to be changed: aliases are
    /// followed. Failures name the setting of the tree.
    void change(const Setting& setting, const Change& change);
    void save() { file_.save(); }

  private:
    Handle groupOf(const Setting& setting) const;

    std::unique_ptr<varnek::files::FolderLock> othersOut_;
    settings::core::SettingsFileManager file_;
};

/// The product that a node belongs to.
Handle productOf(const Handle& node);

} // namespace vksettings
