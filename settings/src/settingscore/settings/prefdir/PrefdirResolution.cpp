#include "settingscore/settings/prefdir/PrefdirResolution.hpp"

#include "settingscore/settings/prefdir/DirectoryCreation.hpp"
#include "settingscore/settings/prefdir/FirstFill.hpp"
#include "settingscore/settings/prefdir/PrefdirLog.hpp"
#include "settingscore/settings/prefdir/PrefdirPaths.hpp"
#include "varnek/files/FileReplacement.hpp"
#include "varnek/files/PathText.hpp"
#include "varnek/host/Environment.hpp"
#include "varnek/host/Folders.hpp"

#include <fcntl.h>
#include <unistd.h>

namespace settings::core::detail {

namespace files = varnek::files;

namespace {

constexpr std::string_view temporaryNamePart = "tmpSubPrefDir";

bool isAllowed(const std::filesystem::path& directory, int access) {
    return ::faccessat(AT_FDCWD, directory.c_str(), access | X_OK, AT_EACCESS) == 0;
}

ResolvedPrefdir candidate(const PrefdirWishes& wishes) {
    ResolvedPrefdir result;
    if (!wishes.blessed.empty()) {
        result.origin = PreferencesDirectoryOrigin::blessed;
        result.directory = absoluteDirectory(wishes.blessed);
    } else if (const auto given = varnek::host::environmentVariable(prefdirVariable);
               given && !given->empty()) {
        result.origin = PreferencesDirectoryOrigin::variable;
        result.directory = absoluteDirectory(*given);
    } else {
        result.directory = standardDirectory(currentRelease());
    }
    return result;
}

void report(InvalidPrefdirKind kind, const std::filesystem::path& directory,
            std::vector<InvalidPrefdir>& findings) {
    findings.push_back({kind, files::utf16FromPath(directory)});
}

/// Something else in its place is left to the creation, which says what is in the way.
bool exists(const std::filesystem::path& directory, std::vector<InvalidPrefdir>& findings) {
    try {
        return std::filesystem::is_directory(directory);
    } catch (const std::exception& failure) {
        PrefdirLine(varnek::log::Severity::warning)
            << "Cannot tell whether the prefdir exists: " << files::shownName(directory.native()) << ": "
            << failure.what();
        report(InvalidPrefdirKind::notTestable, directory, findings);
        return false;
    }
}

void logNotCreated(const std::filesystem::path& directory, const CreationOutcome& failure) {
    PrefdirLine(varnek::log::Severity::warning)
        << "Prefdir could not be created, code " << static_cast<int>(failure.code) << ": "
        << files::shownName(directory.native()) << ": " << failure.reason;
}

/// For this process, for want of the directory.
void useTemporary(ResolvedPrefdir& result, const CreationOutcome& failure) {
    logNotCreated(result.directory, failure);
    report(InvalidPrefdirKind::notWritable, result.directory, result.findings);
    result.temporary =
        std::make_shared<files::SessionFolder>(varnek::host::temporaryFolder(), temporaryNamePart);
    result.tempMessage = tempMessageFor(failure, result.directory, result.temporary->path());
    result.directory = result.temporary->path();
    result.origin = PreferencesDirectoryOrigin::temporary;
}

} // namespace

bool isWritableDirectory(const std::filesystem::path& directory) {
    return isAllowed(directory, W_OK);
}

bool isReadableDirectory(const std::filesystem::path& directory) {
    return isAllowed(directory, R_OK);
}

std::vector<InvalidPrefdir> checkPreferencesDirectory(const std::filesystem::path& directory) {
    std::vector<InvalidPrefdir> findings;
    if (!isWritableDirectory(directory)) {
        report(InvalidPrefdirKind::notWritable, directory, findings);
        PrefdirLine(varnek::log::Severity::warning)
            << "Prefdir is not writable: " << files::shownName(directory.native());
    }
    if (!isReadableDirectory(directory)) {
        report(InvalidPrefdirKind::notReadable, directory, findings);
        PrefdirLine(varnek::log::Severity::warning)
            << "Prefdir is not readable: " << files::shownName(directory.native());
    }
    return findings;
}

ResolvedPrefdir resolvePreferencesDirectory(const PrefdirWishes& wishes) {
    ResolvedPrefdir result = candidate(wishes);
    files::removeStaleTemporaryDirectories(result.directory.parent_path()); // of fills that a crash ended
    if (exists(result.directory, result.findings)) {
        result.findings = checkPreferencesDirectory(result.directory);
        return result;
    }
    const auto previous = wishes.previousDirectory.empty() ? std::filesystem::path()
                                                           : absoluteDirectory(wishes.previousDirectory);
    const CreationOutcome outcome = createDirectory(result.directory, [&](files::NewFolder& folder) {
        fillNewDirectory(folder, result.directory, previous);
    });
    if (!outcome.hasDirectory())
        useTemporary(result, outcome);
    return result;
}

bool makeUsable(const std::filesystem::path& directory) {
    std::vector<InvalidPrefdir> findings;
    if (exists(directory, findings)) {
        checkPreferencesDirectory(directory);
        return true;
    }
    const CreationOutcome outcome =
        createDirectory(directory, [&](files::NewFolder& folder) { stampNewDirectory(folder, directory); });
    if (!outcome.hasDirectory())
        logNotCreated(directory, outcome);
    return outcome.hasDirectory();
}

} // namespace settings::core::detail
