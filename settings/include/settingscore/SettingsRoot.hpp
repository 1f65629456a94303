/// The roots of the settings trees.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/level/RootIndex.hpp"

#include <boost/shared_ptr.hpp>

#include <string>
#include <vector>

namespace settings::core {

class Settings;

/// A file that could not be used while a tree was built; the rest of the tree is in place.
struct LoadProblem {
    std::string file;    ///< UTF-8 path
    std::string message; ///< what is wrong with it
};

namespace detail {

/// The root of the tree with that index. The tree of DefaultRootIndex is built on first use from the location
/// file below the factory folder; the first callers wait for it, blocked on the disk. Thread-safe.
///
/// Errors: VARNEK::settings::core::SettingsLibraryNotInitialized for any other index that has no tree. When
/// the tree is built, of the location file: MalformedLocationFile, and exception::ErrorReadingSettingsData
/// when it is there and cannot be read; the next call tries again. Any other file that cannot be used is left
/// out and told by getLoadProblems. A folder of personal settings that cannot be determined ends the process
/// with status 1.
SETTINGSCORE_EXPORT boost::shared_ptr<Settings> getSettingsRoot(const RootIndex& index);

/// What went wrong when the tree of that index was built, and when definitions and personal files of its
/// groups were read last. Thread-safe.
SETTINGSCORE_EXPORT std::vector<LoadProblem> getLoadProblems(const RootIndex& index);

} // namespace detail
} // namespace settings::core

namespace settings::standalone {

/// The root of the process's standalone tree (index 0, both flags true): outside the application's main tree,
/// it raises no events and saves nothing. Thread-safe.
SETTINGSCORE_EXPORT boost::shared_ptr<settings::core::Settings> getSettingsRoot();

} // namespace settings::standalone
