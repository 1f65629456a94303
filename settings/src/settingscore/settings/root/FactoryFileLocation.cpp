#include "settingscore/FactoryFileLocation.hpp"

#include "opc/Limits.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/factoryfile/DefinedTree.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/FileFault.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/node/NodeNames.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/FileReplacement.hpp"
#include "varnek/files/FolderLock.hpp"
#include "varnek/files/PathText.hpp"
#include "json/ParseError.hpp"
#include "json/Parser.hpp"
#include "json/Writer.hpp"

#include <algorithm>

namespace settings::core {

namespace {

namespace json = varnek::json;
namespace files = varnek::files;

constexpr std::string_view folderOfFactoryFiles = "varnek/settings/factoryFiles";
constexpr std::string_view locationFile = "factoryFileLocation.json";
constexpr std::string_view notWellFormed = "factoryFileLocation.json is not properly formatted";
constexpr std::string_view groupKey = "ToolboxGroupName";
constexpr std::string_view fileKey = "FactoryFileName";
constexpr std::string_view hiddenKey = "Hidden";

// Everybody may read what is installed.
const files::ReplacementOptions readableByAll{.temporaryDirectoryRoot = {}, .mode = 0644, .keepsMode = true};

std::string textOf(const json::Object& entry, std::string_view key, const std::filesystem::path& file) {
    const json::Value* value = entry.find(key);
    if (value == nullptr || !value->isString() || value->asString().empty())
        throw MalformedLocationFile(file, "every entry needs the text \"" + std::string(key) + "\"");
    return std::string(value->asString());
}

FactoryFileLocation entryOf(const json::Value& value, const std::filesystem::path& file) {
    const json::Object* entry = value.ifObject();
    if (entry == nullptr)
        throw MalformedLocationFile(file, "every entry is an object");
    std::string factoryFile = textOf(*entry, fileKey, file);
    std::replace(factoryFile.begin(), factoryFile.end(), '\\', '/'); // as on this platform
    FactoryFileLocation location{textOf(*entry, groupKey, file), std::move(factoryFile)};
    if (const json::Value* hidden = entry->find(hiddenKey)) {
        if (hidden->kind() != json::Kind::boolean)
            throw MalformedLocationFile(file, "\"Hidden\" is true or false");
        location.hidden = hidden->asBool();
    }
    return location;
}

std::string written(const std::vector<FactoryFileLocation>& locations) {
    json::Array entries;
    for (const FactoryFileLocation& location : locations) {
        json::Object entry;
        entry.set(fileKey, location.factoryFile.generic_string());
        if (location.hidden)
            entry.set(hiddenKey, true);
        entry.set(groupKey, location.toolboxGroupName);
        entries.push_back(std::move(entry));
    }
    return json::writeIndented(std::move(entries)) + "\n";
}

std::string malformedText(const std::filesystem::path& file, const std::string& detail) {
    return std::string(notWellFormed)
        .append(": ")
        .append(files::shownName(file.native()))
        .append(": ")
        .append(detail);
}

std::vector<FactoryFileLocation> entriesOf(const json::Value& document, const std::filesystem::path& file) {
    const json::Array* entries = document.ifArray();
    if (entries == nullptr)
        throw MalformedLocationFile(file, "it holds an array");
    std::vector<FactoryFileLocation> locations;
    for (const json::Value& entry : *entries)
        locations.push_back(entryOf(entry, file));
    return locations;
}

void checkAgainstOthers(const std::vector<FactoryFileLocation>& locations, const FactoryFileLocation& entry,
                        const std::filesystem::path& factoryFolder) {
    const auto copy = (factoryFolder / entry.factoryFile).lexically_normal();
    for (const FactoryFileLocation& other : locations) {
        const bool isTheSame = other.toolboxGroupName == entry.toolboxGroupName;
        if (!isTheSame && detail::sameButForCase(other.toolboxGroupName, entry.toolboxGroupName))
            throw exception::ProductNodeAlreadyExisted(entry.toolboxGroupName, other.toolboxGroupName);
        if (!isTheSame && (factoryFolder / other.factoryFile).lexically_normal() == copy)
            detail::throwNotWritten(copy, "\"" + files::shownName(copy.native()) +
                                              "\" is listed as the factory file of \"" +
                                              files::shownName(other.toolboxGroupName) + "\"");
    }
}

/// Readable by everybody, unlike the folders of personal files.
void createFolder(const std::filesystem::path& folder) {
    std::error_code failure;
    std::filesystem::create_directories(folder, failure);
    if (failure)
        throw files::FileError(files::FileErrorKind::cannotCreateFolder, "create folder", folder,
                               failure.value());
}

/// In the place of the group's first entry, which stays the only one.
void enter(FactoryFileLocation entry, std::vector<FactoryFileLocation>& locations) {
    const auto isOfGroup = [group = entry.toolboxGroupName](const FactoryFileLocation& other) {
        return other.toolboxGroupName == group;
    };
    const auto earlier = std::find_if(locations.begin(), locations.end(), isOfGroup);
    if (earlier == locations.end()) {
        locations.push_back(std::move(entry));
        return;
    }
    *earlier = std::move(entry);
    locations.erase(std::remove_if(earlier + 1, locations.end(), isOfGroup), locations.end());
}

} // namespace

MalformedLocationFile::MalformedLocationFile(const std::filesystem::path& file, const std::string& detail)
    : Cloneable(malformedText(file, detail)) {}
MalformedLocationFile::~MalformedLocationFile() = default;

std::filesystem::path locationFileOf(const std::filesystem::path& factoryFolder) {
    return factoryFolder / folderOfFactoryFiles / locationFile;
}

std::vector<FactoryFileLocation> readFactoryFileLocations(const std::filesystem::path& factoryFolder) {
    const auto file = locationFileOf(factoryFolder);
    try {
        return entriesOf(json::parse(files::readFile(file, opc::limits::partBytes)), file);
    } catch (const files::FileError& error) {
        if (error.kind() == files::FileErrorKind::notFound)
            return {};
        throw exception::ErrorReadingSettingsData(detail::ReadError::open, detail::shownText(error.what()));
    } catch (const json::ParseError& error) {
        throw MalformedLocationFile(file, error.what());
    }
}

std::filesystem::path installFactoryFile(const std::filesystem::path& factoryFile,
                                         const std::filesystem::path& factoryFolder, bool hidden) {
    const std::string group = detail::readFactoryFile(factoryFile).tree.name; // the whole file is checked
    const FactoryFileLocation entry{
        group, std::filesystem::path(folderOfFactoryFiles) / detail::fileNameOf(group), hidden};
    const auto copy = factoryFolder / entry.factoryFile;
    try {
        createFolder(copy.parent_path());
        const files::FolderLock lock(copy.parent_path());
        files::removeStaleTemporaryDirectories(copy.parent_path());
        auto locations = readFactoryFileLocations(factoryFolder);
        checkAgainstOthers(locations, entry, factoryFolder);
        enter(entry, locations);
        files::copyFile(factoryFile, copy, opc::limits::archiveBytes, readableByAll);
        files::replaceFile(locationFileOf(factoryFolder), written(locations), readableByAll);
    } catch (const files::FileError& error) {
        detail::throwNotWritten(copy, error.what());
    }
    return copy;
}

} // namespace settings::core
