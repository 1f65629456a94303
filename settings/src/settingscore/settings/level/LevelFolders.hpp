/// The folders of the levels: an environment variable where it is set, else a function of a higher layer.
/// A relative path in a variable counts from where the process was when it was first asked for.
/// All functions are thread-safe. No lock of this file is held while a function of a higher layer runs; when
/// it is called for a level's folder, SettingsLevel::mutex_ is.
#pragma once

#include "settingscore/level/SettingsLevel.hpp"

#include <string>

namespace settings::core::detail {

/// Supplies a folder; may throw. An empty one leaves the folder unknown (empty).
using FolderFunction = SettingsLevel::RootPathFunction;

struct LevelFolders {
    FolderFunction user;
    FolderFunction installation;
    FolderFunction factory;
    FolderFunction workgroup;
};

/// The functions of the process, before anybody has asked for a folder: nothing is forgotten.
void installLevelFolders(LevelFolders folders);

/// Replaces the functions, forgets the folders found so far, and returns the functions before.
LevelFolders setLevelFolders(LevelFolders folders);

/// The next levelRootPath() of every level finds its folder anew: for a change of the preferences directory,
/// and for tests that change the environment.
void forgetLevelFolders();

/// "SETTINGS_USERDIR", else the function. Without a folder, or when the function throws, the reason is
/// written to standard error, and the process ends at once with status 1: there is no way on without a user
/// folder.
std::u16string userFolder();
/// "SETTINGS_INSTALLATIONDIR", else the function.
std::u16string installationFolder();
/// "SETTINGS_FACTORYDIR", else the function.
std::u16string factoryFolder();
/// "SETTINGS_WORKGROUPDIR", else the function. Belongs to no level; found anew at every call.
std::u16string workgroupFolder();

} // namespace settings::core::detail
