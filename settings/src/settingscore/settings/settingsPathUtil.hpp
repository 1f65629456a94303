/// The state behind the preferences directory of the process, for other rooms and for tests.
#pragma once

#include <filesystem>
#include <string>

namespace settings::core::detail {

/// Everything that was set or found is forgotten, as at the start of the process. For tests; nobody may be
/// asking for the directory.
void forgetPreferencesDirectory();

/// VARNEK::settings::core::PreferenceDirectoryNotExist when `folder` is the directory in use and is gone.
/// Where none has been found yet, none is looked for.
void requireIfPreferencesDirectory(const std::filesystem::path& folder);

/// While it lives, `directory` is the pending location and overriding is enabled; what was enabled before is
/// so again afterwards.
class PendingPreferencesDirectory {
  public:
    explicit PendingPreferencesDirectory(std::u16string directory);
    PendingPreferencesDirectory(const PendingPreferencesDirectory&) = delete;
    PendingPreferencesDirectory& operator=(const PendingPreferencesDirectory&) = delete;
    ~PendingPreferencesDirectory();

  private:
    bool wasEnabled_ = false;
};

} // namespace settings::core::detail
