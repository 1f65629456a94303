/// Secrets for encrypted settings files. The library keeps none itself: it asks a service that a plug-in
/// registers.
///
/// The plug-in is a bundle in the folder `bin/linux64/settings_plugins` below the installation
/// (settingscore/plugin/InstallationRoot.hpp), loaded on first use of one of the functions. `cmake --install`
/// puts a key manager there that keeps secrets in memory. A plug-in registers a KeyManager; among several the
/// one with the highest ranking serves.
///
/// An encrypted settings file is opened with the secret that is kept under the file's name with its extension
/// ("editor.vksettings"), taken as the password.
#pragma once

#include "settingscore/Export.hpp"

#include <string>
#include <vector>

namespace settings::security {

/// The service; a plug-in needs this header and no library of ours. Implementations are thread-safe and may
/// block, for instance to ask the user; no lock of this library is held meanwhile. Secrets are bytes of any
/// value; names are UTF-16.
class SETTINGSCORE_EXPORT KeyManager {
  public:
    virtual ~KeyManager() = default;

    /// Keeps a secret, in the place of an earlier one of that name.
    virtual void addSecret(const std::u16string& name, const std::string& secret) = 0;
    /// Empty when there is none of that name.
    virtual std::string getSecret(const std::u16string& name) = 0;
    /// The kind of secrets that are kept, for people ("in memory").
    virtual std::string getSecretType() = 0;
    /// Whether there is a secret for every one of the names.
    virtual bool hasSessionKeyStored(const std::vector<std::u16string>& names) = 0;
};

// The same operations on the service in charge. Without one they log "failed to load settings security
// plugin" and raise settings::core::exception::ErrorLoadingLibrary. What the service raises passes through.

SETTINGSCORE_EXPORT void addSecret(const std::u16string& name, const std::string& secret);
/// The caller should overwrite the copy when it is done with it.
SETTINGSCORE_EXPORT std::string getSecret(const std::u16string& name);
SETTINGSCORE_EXPORT std::string getSecretType();
SETTINGSCORE_EXPORT bool hasSessionKeyStored(const std::vector<std::u16string>& names);

} // namespace settings::security
