/// Moves the process to another preferences directory.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/level/RootIndex.hpp"

#include <string>

namespace settings::core {

/// Uses the directory `newPath` (UTF-8) from now on, which is made when it is not there, and reads the
/// personal values of the tree from it. What was changed before is saved into the old directory; a change
/// that another thread makes meanwhile goes into the new one. Values, added settings and added groups become
/// those of the new directory; listeners hear of every effective value that has changed, then of an
/// UpdatePrefdirEvent. Groups that nobody has needed yet are read from there when they are needed. Where the
/// variable SETTINGS_USERDIR names the folder of personal settings, that one stays in use.
///
/// `reload` false: values stay as they are, and no event is told. `mode` is for the host; it is only logged.
///
/// Components that wait (startup/Readiness.hpp) go on afterwards, whatever came of it. False: the directory
/// could not be made or set, and the old one stays in use. Thread-safe; blocks on the disk.
/// Errors, with the old directory in use: SettingsLibraryNotInitialized before init();
/// RelativePreferencePathNotSupported; std::logic_error inside a readiness callback, and in code that a tree
/// or a group is made with.
SETTINGSCORE_EXPORT bool updatePrefdir(const std::string& newPath, const RootIndex& tree = DefaultRootIndex(),
                                       bool reload = true, int mode = 0);

namespace detail {

SETTINGSCORE_EXPORT bool updatePrefdirImpl(const std::string& newPath, const RootIndex& tree, bool reload,
                                           int mode);

} // namespace detail
} // namespace settings::core
