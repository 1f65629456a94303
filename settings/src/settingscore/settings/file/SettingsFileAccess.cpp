#include "settingscore/settings/file/SettingsFileAccess.hpp"

#include "settingscore/settings/file/FileFailureText.hpp"
#include "varnek/files/FileReplacement.hpp"

namespace settings::core::detail {

SettingsFileAccess::~SettingsFileAccess() = default;

void SettingsFileAccess::writeTo(const std::filesystem::path& path) {
    const auto bytes = content();
    if (!bytes)
        return;
    try {
        varnek::files::FileReplacement replacement(path, {.temporaryDirectoryRoot = {}, .mode = fileMode()});
        replacement.write(*bytes);
        replacement.flush();
        aboutToReplace();
        replacement.commit();
    } catch (const std::exception& failure) {
        throwNotWritten(path, failure.what());
    }
    setOutcome(SaveOutcome::saved);
}

} // namespace settings::core::detail
