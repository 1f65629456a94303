#include "settingscore/settings/prefdir/FirstFill.hpp"

#include "opc/Limits.hpp"
#include "settingscore/exception/CatalogueFailures.hpp"
#include "settingscore/prefdir/PreferencesDirectory.hpp"
#include "settingscore/settings/prefdir/FillRecord.hpp"
#include "settingscore/settings/prefdir/PrefdirLog.hpp"
#include "settingscore/settings/prefdir/PrefdirPaths.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/FolderLock.hpp"
#include "varnek/files/PathText.hpp"
#include "varnek/host/Environment.hpp"
#include "varnek/host/HostError.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <functional>

namespace settings::core::detail {

namespace files = varnek::files;
using files::FileErrorKind;

namespace {

constexpr std::string_view settingsFileExtension = ".vksettings";

/// `cause` is logged, too: what() of the failure has none.
[[noreturn]] void throwNotReadable(const FillSource& source, const char* operation,
                                   const std::error_code& cause) {
    const std::string detail = std::string(operation) + " \"" + files::shownName(source.directory.native()) +
                               "\": " + cause.message();
    PrefdirLine(varnek::log::Severity::error) << detail;
    throw EarlierReleaseNotReadable(source.release.text(), currentRelease().text(), detail);
}

/// What cannot be looked at may hold the user's settings: to go on without them would be for good.
bool isThere(const FillSource& source) {
    std::error_code error;
    const auto status = std::filesystem::status(source.directory, error);
    if (status.type() == std::filesystem::file_type::not_found)
        return false;
    if (error)
        throwNotReadable(source, "cannot look at", error);
    return std::filesystem::is_directory(status);
}

/// Nothing where the user has no home folder.
std::optional<std::filesystem::path> standardDirectoryOf(const varnek::release::ReleaseLabel& release) {
    try {
        return standardDirectory(release);
    } catch (const varnek::host::HostError& failure) {
        PrefdirLine(varnek::log::Severity::warning) << "no standard directories: " << failure.what();
        return std::nullopt;
    }
}

std::string timeOfNow() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    ::gmtime_r(&now, &parts);
    char text[sizeof "2025-03-01T09:30:00Z" + 8]; // years of more digits, too
    return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

void stamp(files::NewFolder& folder, const std::filesystem::path& directory, const std::string& time) {
    const std::string name = files::pathFromUtf16(getTimestampFileNameUStr()).native();
    try {
        folder.addFile(name, time + "\n");
        folder.flush();
    } catch (const files::FileError& failure) {
        throw VARNEK::settings::core::ErrorCreatePreferenceDirectoryTimeStamp(directory / name,
                                                                              failure.what());
    }
}

/// Names of the settings files, links and whatever else is called like one, and of those that are still to
/// take the places of some of them; sorted.
std::vector<std::string> namesToCopy(const FillSource& source) {
    std::error_code error;
    std::vector<std::string> names;
    for (std::filesystem::directory_iterator entry(source.directory, error), end; !error && entry != end;
         entry.increment(error))
        if (entry->path().native().ends_with(settingsFileExtension) ||
            entry->path().filename() == pendingUpgradeFile)
            names.push_back(entry->path().filename().native());
    if (error)
        throwNotReadable(source, "cannot list", error);
    std::sort(names.begin(), names.end());
    return names;
}

/// What there is to copy; nothing where that is no file of this folder.
std::optional<std::string> contentToCopy(const std::filesystem::path& file,
                                         const std::filesystem::path& copy) {
    try {
        return files::readFile(file, opc::limits::archiveBytes);
    } catch (const files::FileError& failure) {
        switch (failure.kind()) {
        case FileErrorKind::notFound: // the earlier release may be running
        case FileErrorKind::notRegularFile:
        case FileErrorKind::linkLeavesFolder:
            PrefdirLine(varnek::log::Severity::warning) << "not copied: " << failure.what();
            return std::nullopt;
        default:
            throw VARNEK::settings::core::ErrorCopyFileInPrefDir(file, copy, failure.what());
        }
    }
}

/// Copies reach the disk several at a time: what fails may be one of those before.
void throwingForCopies(const FillSource& source, const std::filesystem::path& directory,
                       const std::function<void()>& work) {
    try {
        work();
    } catch (const files::FileError& failure) {
        const auto name = failure.path().filename();
        if (failure.errorNumber() == EEXIST)
            throw VARNEK::settings::core::ErrorOverwriteFileInPrefDir(directory / name);
        throw VARNEK::settings::core::ErrorCopyFileInPrefDir(source.directory / name, directory / name,
                                                             failure.what());
    }
}

void addRecord(files::NewFolder& folder, const PreferencesDirectoryFill& fill) {
    try {
        folder.addFile(fillRecordFile, writtenRecord(fill));
        folder.flush();
    } catch (const std::exception& failure) {
        PrefdirLine(varnek::log::Severity::warning)
            << "the preferences directory has no record: " << failure.what();
    }
}

void addMarker(files::NewFolder& folder) {
    try {
        folder.addFile(migrationMarkerFile, {});
        folder.flush();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "Warning: failed to create migratePref.txt file \n");
        PrefdirLine(varnek::log::Severity::warning) << failure.what();
    }
}

} // namespace

std::optional<FillSource> findFillSource(const std::filesystem::path& directory,
                                         const std::filesystem::path& previous) {
    FillSource tried{previousRelease(), previous.empty() ? previousDirectory(directory) : previous};
    const auto stops = varnek::host::environmentVariable(stopsAtPreviousVariable);
    const bool goesOn = !stops || stops->empty();
    while (!isThere(tried)) {
        if (!goesOn || tried.release <= oldestRelease())
            return std::nullopt;
        tried.release = tried.release.previous();
        auto next = standardDirectoryOf(tried.release);
        if (!next)
            return std::nullopt;
        tried.directory = *std::move(next);
    }
    return tried;
}

PreferencesDirectoryFill::Source copySettingsFiles(const FillSource& source, files::NewFolder& folder,
                                                   const std::filesystem::path& directory) {
    PreferencesDirectoryFill::Source copied{
        source.release.text(), files::utf16FromPath(source.directory), {}, {}};
    const files::FolderLock othersOut(source.directory); // so that the files belong together
    for (const std::string& name : namesToCopy(source)) {
        const auto file = source.directory / name, copy = directory / name;
        const auto content = contentToCopy(file, copy);
        if (content)
            throwingForCopies(source, directory, [&] { folder.addFile(name, *content); });
        (content ? copied.files : copied.skipped).push_back(name);
    }
    throwingForCopies(source, directory, [&] { folder.flush(); });
    return copied;
}

void fillNewDirectory(files::NewFolder& folder, const std::filesystem::path& directory,
                      const std::filesystem::path& previous) {
    PreferencesDirectoryFill fill{currentRelease().text(), timeOfNow(), {}};
    stamp(folder, directory, fill.created);
    if (const auto source = findFillSource(directory, previous)) {
        PrefdirLine(varnek::log::Severity::info) << "Filling " << files::shownName(directory.native())
                                                 << " from " << files::shownName(source->directory.native());
        fill.source = copySettingsFiles(*source, folder, directory);
    }
    addRecord(folder, fill);
    addMarker(folder);
}

void stampNewDirectory(files::NewFolder& folder, const std::filesystem::path& directory) {
    const PreferencesDirectoryFill fill{currentRelease().text(), timeOfNow(), {}};
    stamp(folder, directory, fill.created);
    addRecord(folder, fill);
}

} // namespace settings::core::detail
