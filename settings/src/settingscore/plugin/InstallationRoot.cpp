#include "settingscore/plugin/InstallationRoot.hpp"

#include "varnek/host/Executable.hpp"

#include <mutex>
#include <utility>

namespace settings::core {

namespace {

struct Installed {
    std::mutex mutex;
    InstallationRootFunction function; // guarded by mutex
};

Installed& installed() {
    static auto* const instance = new Installed; // outlives every thread
    return *instance;
}

/// A host may keep this library among its own in bin/linux64, `cmake --install` puts it where the build says.
/// Nothing else is searched, because what is found there is run.
std::filesystem::path rootOfThisLibrary() {
    const auto library = varnek::host::modulePathOf(reinterpret_cast<const void*>(&installationRoot));
    const std::filesystem::path folder = library.parent_path();
    const bool isAmongThoseOfTheHost =
        folder.filename() == "linux64" && folder.parent_path().filename() == "bin";
    return (folder / (isAmongThoseOfTheHost ? "../.." : SETTINGSCORE_PREFIX_FROM_LIBRARY)).lexically_normal();
}

} // namespace

std::filesystem::path installationRoot() {
    InstallationRootFunction function;
    {
        const std::lock_guard lock(installed().mutex);
        function = installed().function;
    }
    return function ? function() : rootOfThisLibrary();
}

InstallationRootFunction setInstallationRoot(InstallationRootFunction function) {
    const std::lock_guard lock(installed().mutex);
    return std::exchange(installed().function, std::move(function));
}

} // namespace settings::core
