/// The folders that the system gives to a user. All paths are absolute and end without separator. A variable
/// that does not hold an absolute path counts as not set. Functions read the environment anew each time;
/// thread-safe as long as no thread changes it.
#pragma once

#include "varnek/Export.hpp"

#include <filesystem>

namespace varnek::host {

/// Where applications keep what belongs to the user: $XDG_CONFIG_HOME, else ".config" in the home folder,
/// which is $HOME or what the user database says. Not created. Throws HostError when the user has no home
/// folder.
VARNEK_EXPORT std::filesystem::path userConfigFolder();

/// The same for what stays on this machine: $XDG_STATE_HOME, else ".local/state" in the home folder.
VARNEK_EXPORT std::filesystem::path userStateFolder();

/// $TMPDIR when it is a folder, else the system's. Does not throw but for want of memory.
VARNEK_EXPORT std::filesystem::path temporaryFolder();

/// For sockets and the like, which end with the user's session: $XDG_RUNTIME_DIR when it is a folder that
/// only this user can enter, else the folder "varnek-<user id>" below the temporary folder, created with mode
/// 0700. Throws HostError when somebody else owns what stands there or it cannot be created.
VARNEK_EXPORT std::filesystem::path runtimeFolder();

} // namespace varnek::host
