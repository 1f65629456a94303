/// Starts the library.
///
///     int main() {
///         settings::core::init();
///         auto root = settings::core::detail::getSettingsRoot(settings::core::DefaultRootIndex());
///         auto size = root->getByFullName<double>("editor.font.size");
///     }
#pragma once

#include "settingscore/Export.hpp"

namespace settings::core {

/// To be called before the first settings tree is asked for: before that
/// VARNEK::settings::core::SettingsLibraryNotInitialized is raised, except by the standalone tree and by file
/// managers. Reads nothing yet: whoever makes the application's tree first, getSettingsRoot() as a rule,
/// finds the preferences directory and builds the tree. Calling it again does nothing. Thread-safe. Errors:
/// those of serviceContext() (plugin/ServiceFramework.hpp).
SETTINGSCORE_EXPORT void init();

namespace detail {

/// What tells whether the host is an interactive session or computes for others
/// (varnek/host/HostInfo.hpp), followed from the first call on. Part of init().
SETTINGSCORE_EXPORT void createHostInfoTracker();

} // namespace detail
} // namespace settings::core
