// factory inspect: what is in a factory file.

#include "Commands.hpp"
#include "Printable.hpp"
#include "TargetFile.hpp"
#include "Tree.hpp"

#include "opc/model/Package.hpp"
#include "opc/qfservices/CorePropertiesManager.hpp"
#include "opc/qfservices/FileSystemManager.hpp"
#include "settingscore/SettingsFileManager.hpp"
#include "varnek/files/PathText.hpp"
#include "json/Writer.hpp"

#include <utility>

namespace vksettings {

namespace json = varnek::json;
using settings::core::SettingsFileManager;
using settings::core::detail::ChangeRecord;
using settings::core::detail::UpgraderRecord;

namespace {

struct Contents {
    std::string group;
    std::vector<std::pair<std::string, std::size_t>> groups; // full name, settings directly in it
    std::size_t settings = 0;
    std::vector<UpgraderRecord> upgraders;
    std::string release;
    std::string schema;
    std::uint64_t revision = 0;
    std::vector<std::pair<std::u16string, std::size_t>> parts; // name, bytes
};

void collectGroups(const settings::core::Settings& group, Contents& contents) {
    const std::size_t at = contents.groups.size();
    contents.groups.emplace_back(group.getFullName(), 0);
    for (const Handle& child : group.getChildren())
        if (child->isLeafNode())
            ++contents.groups[at].second;
        else
            collectGroups(*child, contents);
    contents.settings += contents.groups[at].second;
}

void collectParts(const opc::qfservices::FileSystemManager& files, std::u16string_view folder,
                  Contents& contents) {
    for (const auto& entry : files.getChildren(folder))
        if (entry.isFolder())
            collectParts(files, entry.getPathName(), contents);
        else
            contents.parts.emplace_back(entry.getPathName(),
                                        files.getFileContentSource(entry.getPathName())->size());
}

Contents read(const std::filesystem::path& path) {
    const auto file = SettingsFileManager::open(path, "factory");
    Contents contents;
    contents.group = file.getTopLevelNode()->getName();
    contents.upgraders = file.getUpgraders();
    contents.release = file.getFileReleaseVersion();
    collectGroups(*file.getTopLevelNode(), contents);
    const auto package = opc::model::Package::open(path);
    const opc::qfservices::FileSystemManager files(package);
    constexpr std::u16string_view schemaPart = u"/schema.json";
    if (!files.isEncrypted())
        collectParts(files, u"/", contents);
    if (!files.isEncrypted() && files.hasEntry(std::u16string(schemaPart)))
        contents.schema = *files.getFileContentSource(schemaPart);
    contents.revision = opc::qfservices::CorePropertiesManager(package).getCoreProperties().revision;
    return contents;
}

json::Array texts(const std::vector<std::string>& paths) {
    json::Array array;
    for (const std::string& path : paths)
        array.push_back(jsonText(path));
    return array;
}

json::Object asJson(const ChangeRecord& change) {
    json::Object object;
    object.set("operation", change.operation);
    object.set("inputs", texts(change.inputs));
    object.set("outputs", texts(change.outputs));
    return object;
}

json::Object asJson(const Contents& contents) {
    json::Array groups, upgraders, parts;
    for (const auto& [name, count] : contents.groups) {
        json::Object group;
        group.set("name", jsonText(name));
        group.set("settings", count);
        groups.push_back(std::move(group));
    }
    for (const UpgraderRecord& each : contents.upgraders) {
        json::Array changes;
        for (const ChangeRecord& change : each.changes)
            changes.push_back(asJson(change));
        json::Object upgrader;
        upgrader.set("label", each.versionLabel);
        upgrader.set("changes", std::move(changes));
        upgraders.push_back(std::move(upgrader));
    }
    for (const auto& [name, bytes] : contents.parts) {
        json::Object part;
        part.set("name", name);
        part.set("bytes", bytes);
        parts.push_back(std::move(part));
    }
    json::Object object;
    object.set("groupName", jsonText(contents.group));
    object.set("settings", contents.settings);
    object.set("groups", std::move(groups));
    object.set("upgraders", std::move(upgraders));
    object.set("release", contents.release);
    object.set("schema", contents.schema);
    object.set("revision", contents.revision);
    object.set("parts", std::move(parts));
    return object;
}

std::string joined(const std::vector<std::string>& paths) {
    std::string all;
    for (const std::string& path : paths)
        all += (all.empty() ? "" : ", ") + path;
    return all;
}

std::string shownOr(const std::string& text) {
    return text.empty() ? "(not recorded)" : printable(text);
}

void print(const Contents& contents, std::ostream& out) {
    out << "group:     " << printable(contents.group) << '\n'
        << "settings:  " << contents.settings << " in " << counted(contents.groups.size(), "group") << '\n';
    for (const auto& [name, count] : contents.groups)
        out << "  " << printable(name) << ".  " << count << '\n';
    out << "upgraders: " << contents.upgraders.size() << '\n';
    for (const UpgraderRecord& upgrader : contents.upgraders) {
        out << "  " << printable(varnek::files::messageUtf8(upgrader.versionLabel)) << '\n';
        for (const ChangeRecord& change : upgrader.changes)
            out << printable("    " + change.operation + " " + joined(change.inputs) +
                             (change.outputs.empty() ? "" : " -> " + joined(change.outputs)))
                << '\n';
    }
    out << "release:   " << shownOr(contents.release) << '\n'
        << "schema:    " << shownOr(contents.schema) << '\n'
        << "revision:  " << contents.revision << '\n'
        << "parts:     " << contents.parts.size() << '\n';
    for (const auto& [name, bytes] : contents.parts)
        out << "  " << printable(varnek::files::messageUtf8(name)) << "  " << counted(bytes, "byte") << '\n';
}

} // namespace

void factoryInspect(const InspectOptions& options, std::ostream& out) {
    const Contents contents = read(factoryFilePath(options.file));
    if (options.json)
        out << json::writeIndented(json::Value(asJson(contents))) << '\n';
    else
        print(contents, out);
}

} // namespace vksettings
