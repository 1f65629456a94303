#include "settingscore/settings/file/SettingsFileAccess.hpp"

#include "settingscore/settings/file/FileLog.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/FileReplacement.hpp"

namespace settings::core::detail {

SettingsFileAccess::~SettingsFileAccess() = default;

void SettingsFileAccess::writeTo(const std::filesystem::path& path) {
    const auto bytes = content();
    if (!bytes)
        return;
    varnek::files::FileReplacement replacement(path, {.temporaryDirectoryRoot = {}, .mode = fileMode()});
    replacement.write(*bytes);
    replacement.flush();
    aboutToReplace();
    replacement.rename();
    flushFolderOf(replacement);
    setOutcome(SaveOutcome::saved);
}

void flushFolderOf(varnek::files::FileReplacement& replaced) {
    try {
        replaced.flushFolder();
    } catch (const varnek::files::FileError& failure) {
        VARNEK_LOG(fileLog, warning) << failure.what() << "; the new file is in place all the same";
    }
}

} // namespace settings::core::detail
