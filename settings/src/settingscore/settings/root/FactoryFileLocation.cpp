#include "settingscore/FactoryFileLocation.hpp"

#include "opc/Limits.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/FileReplacement.hpp"
#include "varnek/files/Folder.hpp"
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
const files::ReplacementOptions readableByAll{.temporaryDirectoryRoot = {}, .mode = 0644};

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
    FactoryFileLocation location{textOf(*entry, groupKey, file), textOf(*entry, fileKey, file)};
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

} // namespace

MalformedLocationFile::MalformedLocationFile(const std::filesystem::path& file, const std::string& detail) {
    std::string text(notWellFormed);
    text.append(": ").append(file.string()).append(": ").append(detail);
    text_ = std::make_shared<const std::string>(std::move(text));
}

const char* MalformedLocationFile::what() const noexcept {
    return text_->c_str();
}

std::filesystem::path locationFileOf(const std::filesystem::path& factoryFolder) {
    return factoryFolder / folderOfFactoryFiles / locationFile;
}

std::vector<FactoryFileLocation> readFactoryFileLocations(const std::filesystem::path& factoryFolder) {
    const auto file = locationFileOf(factoryFolder);
    std::string text;
    try {
        text = files::readFile(file, opc::limits::partBytes);
    } catch (const files::FileError& error) {
        if (error.kind() == files::FileErrorKind::notFound)
            return {};
        throw;
    }
    std::vector<FactoryFileLocation> locations;
    try {
        const json::Value document = json::parse(text);
        const json::Array* entries = document.ifArray();
        if (entries == nullptr)
            throw MalformedLocationFile(file, "it holds an array");
        for (const json::Value& entry : *entries)
            locations.push_back(entryOf(entry, file));
    } catch (const json::ParseError& error) {
        throw MalformedLocationFile(file, error.what());
    }
    return locations;
}

std::filesystem::path installFactoryFile(const std::filesystem::path& factoryFile,
                                         const std::filesystem::path& factoryFolder, bool hidden) {
    const auto content = detail::readSettingsFile(factoryFile, detail::FileUse::factory);
    auto locations = readFactoryFileLocations(factoryFolder);
    const FactoryFileLocation entry{
        content.tree.name, std::filesystem::path(folderOfFactoryFiles) / factoryFile.filename(), hidden};
    const auto copy = factoryFolder / entry.factoryFile;
    const auto earlier =
        std::find_if(locations.begin(), locations.end(), [&](const FactoryFileLocation& other) {
            return other.toolboxGroupName == entry.toolboxGroupName && other.factoryFile == entry.factoryFile;
        });
    if (earlier == locations.end())
        locations.push_back(entry);
    else
        *earlier = entry;
    std::filesystem::create_directories(copy.parent_path());
    files::copyFile(factoryFile, copy, opc::limits::archiveBytes, readableByAll);
    files::replaceFile(locationFileOf(factoryFolder), written(locations), readableByAll);
    return copy;
}

} // namespace settings::core
