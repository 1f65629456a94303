// The personal settings are in the preferences directory. The level asks for it when its folder is first
// used, also in programs that have called nothing of this library before.

#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/prefdir/PreferencesDirectory.hpp"
#include "settingscore/settings/level/LevelFolders.hpp"

#include <stdexcept>

namespace settings::core::detail {

namespace {

/// What it throws is the last thing that the user reads: with the path, where the failure has one.
std::u16string personalFolder() {
    try {
        return getPreferencesDirectoryUStr(false);
    } catch (const exception::RelativePreferencePathNotSupported& failure) {
        throw std::runtime_error(failure.getErrorMessage());
    } catch (const EarlierReleaseNotReadable& failure) {
        throw std::runtime_error(failure.getErrorMessage());
    }
}

[[maybe_unused]] const bool isInstalled = (installLevelFolders({&personalFolder, {}, {}, {}}), true);

} // namespace

} // namespace settings::core::detail
