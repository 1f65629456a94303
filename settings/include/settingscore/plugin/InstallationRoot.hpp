/// The folder that the application is installed in. Plug-ins are looked for below it, so that what stands
/// there can run in this process.
#pragma once

#include "settingscore/Export.hpp"

#include <filesystem>
#include <functional>

namespace settings::core {

/// Called without a lock, on any thread; an empty path means that there is no installation.
using InstallationRootFunction = std::function<std::filesystem::path()>;

/// What the function of setInstallationRoot says; without one the folder that this library was loaded from
/// without `bin/linux64`, or else without the library folder of `cmake --install`. Throws what that function
/// throws, and varnek::host::HostError.
SETTINGSCORE_EXPORT std::filesystem::path installationRoot();

/// Replaces the function and returns the one before; empty restores the default. What is loaded already stays
/// as it is. Thread-safe.
SETTINGSCORE_EXPORT InstallationRootFunction setInstallationRoot(InstallationRootFunction function);

} // namespace settings::core
