#include "settingscore/settings/prefdir/FirstFill.hpp"

#include "opc/Limits.hpp"
#include "settingscore/exception/CatalogueFailures.hpp"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/settings/prefdir/FillRecord.hpp"
#include "settingscore/settings/prefdir/PrefdirLog.hpp"
#include "settingscore/settings/prefdir/PrefdirPaths.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/PathText.hpp"
#include "varnek/host/Environment.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>

namespace settings::core::detail {

namespace files = varnek::files;
using files::FileErrorKind;

namespace {

constexpr std::string_view settingsFileExtension = ".vksettings";

bool isFolder(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::is_directory(path, ignored);
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
    } catch (const files::FileError& failure) {
        throw VARNEK::settings::core::ErrorCreatePreferenceDirectoryTimeStamp(directory / name,
                                                                              failure.what());
    }
}

/// Names of the settings files, links and whatever else is called like one, sorted.
std::vector<std::string> namesToCopy(const FillSource& source) {
    std::error_code error;
    std::vector<std::string> names;
    for (std::filesystem::directory_iterator entry(source.directory, error), end; !error && entry != end;
         entry.increment(error))
        if (entry->path().native().ends_with(settingsFileExtension))
            names.push_back(entry->path().filename().native());
    if (error) {
        VARNEK_LOG(prefdirLog, error)
            << "cannot list \"" << files::shownName(source.directory.native()) << "\": " << error.message();
        throw exception::ErrorMigratePrefsBetweenReleases(source.release.text(), currentRelease().text());
    }
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
            VARNEK_LOG(prefdirLog, warning) << "not copied: " << failure.what();
            return std::nullopt;
        default:
            throw VARNEK::settings::core::ErrorCopyFileInPrefDir(file, copy, failure.what());
        }
    }
}

void addCopy(files::NewFolder& folder, const std::filesystem::path& file, const std::filesystem::path& copy,
             const std::string& content) {
    try {
        folder.addFile(copy.filename().native(), content);
    } catch (const files::FileError& failure) {
        if (failure.errorNumber() == EEXIST)
            throw VARNEK::settings::core::ErrorOverwriteFileInPrefDir(copy);
        throw VARNEK::settings::core::ErrorCopyFileInPrefDir(file, copy, failure.what());
    }
}

void addRecord(files::NewFolder& folder, const PreferencesDirectoryFill& fill) {
    try {
        folder.addFile(fillRecordFile, writtenRecord(fill));
    } catch (const std::exception& failure) {
        VARNEK_LOG(prefdirLog, warning) << "the preferences directory has no record: " << failure.what();
    }
}

void addMarker(files::NewFolder& folder) {
    try {
        folder.addFile(migrationMarkerFile, {});
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "Warning: failed to create migratePref.txt file \n");
        VARNEK_LOG(prefdirLog, warning) << failure.what();
    }
}

} // namespace

std::optional<FillSource> findFillSource(const std::filesystem::path& directory,
                                         const std::filesystem::path& previous) {
    FillSource tried{previousRelease(), previous.empty() ? previousDirectory(directory) : previous};
    const auto stops = varnek::host::environmentVariable(stopsAtPreviousVariable);
    const bool goesOn = !stops || stops->empty();
    while (!isFolder(tried.directory)) {
        if (!goesOn || tried.release <= oldestRelease())
            return std::nullopt;
        tried.release = tried.release.previous();
        tried.directory = standardDirectory(tried.release);
    }
    return tried;
}

PreferencesDirectoryFill::Source copySettingsFiles(const FillSource& source, files::NewFolder& folder,
                                                   const std::filesystem::path& directory) {
    PreferencesDirectoryFill::Source copied{
        source.release.text(), files::utf16FromPath(source.directory), {}, {}};
    for (const std::string& name : namesToCopy(source)) {
        const auto file = source.directory / name, copy = directory / name;
        const auto content = contentToCopy(file, copy);
        if (content)
            addCopy(folder, file, copy, *content);
        (content ? copied.files : copied.skipped).push_back(name);
    }
    return copied;
}

void fillNewDirectory(files::NewFolder& folder, const std::filesystem::path& directory,
                      const std::filesystem::path& previous) {
    PreferencesDirectoryFill fill{currentRelease().text(), timeOfNow(), {}};
    stamp(folder, directory, fill.created);
    if (const auto source = findFillSource(directory, previous)) {
        VARNEK_LOG(prefdirLog, info) << "Filling " << directory.native() << " from "
                                     << source->directory.native();
        fill.source = copySettingsFiles(*source, folder, directory);
    }
    addRecord(folder, fill);
    addMarker(folder);
}

} // namespace settings::core::detail
