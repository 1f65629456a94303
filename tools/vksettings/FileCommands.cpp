// export, import and dump: settings files outside the tree.

#include "Commands.hpp"
#include "Merge.hpp"
#include "Printable.hpp"
#include "Remote.hpp"
#include "TargetFile.hpp"
#include "Tree.hpp"
#include "ValueText.hpp"

#include "opc/model/Package.hpp"
#include "opc/qfpackaging/Encryption.hpp"
#include "opc/qfservices/CorePropertiesManager.hpp"
#include "opc/qfservices/FileSystemManager.hpp"
#include "varnek/files/PathText.hpp"
#include "json/ParseError.hpp"
#include "json/Parser.hpp"
#include "json/Writer.hpp"

#include <filesystem>
#include <stdexcept>

namespace vksettings {

namespace json = varnek::json;

namespace {

std::u16string utf16(const std::filesystem::path& path) {
    return varnek::files::utf16FromPath(path);
}

std::size_t countValues(const settings::core::Settings& group, const std::string& level) {
    std::size_t count = 0;
    for (const Handle& child : group.getChildren())
        if (!child->isLeafNode())
            count += countValues(*child, level);
        else if (group.isSet(child->getName(), level))
            ++count;
    return count;
}

void showValues(const settings::core::Settings& group, const std::string& prefix, const std::string& level,
                std::ostream& out) {
    for (const Handle& child : group.getChildren()) {
        const std::string name = prefix + "." + child->getName();
        if (!child->isLeafNode())
            showValues(*child, name, level, out);
        else if (const auto value = shapedValue(group, child->getName(), level); !value.first.isVoid())
            out << printable(name + " = " + shown(value.first, value.second)) << '\n';
    }
}

json::Object shownProperties(const opc::qfservices::CoreProperties& properties) {
    json::Object object;
    const auto add = [&](const char* name, const std::string& text) {
        if (!text.empty())
            object.set(name, text);
    };
    add("title", properties.title);
    add("contentType", properties.contentType);
    add("version", properties.version);
    add("creator", properties.creator);
    add("created", properties.created);
    add("modified", properties.modified);
    if (properties.revision != 0)
        object.set("revision", properties.revision);
    return object;
}

/// JSON parts as JSON, everything else as text.
json::Value shownPart(const std::string& bytes) {
    try {
        return json::parse(bytes);
    } catch (const json::ParseError&) {
        return bytes;
    }
}

void collectParts(const opc::qfservices::FileSystemManager& files, std::u16string_view folder,
                  json::Object& parts) {
    for (const auto& entry : files.getChildren(folder)) {
        if (entry.isFolder()) {
            collectParts(files, entry.getPathName(), parts);
            continue;
        }
        const json::Value name(entry.getPathName());
        parts.set(name.asString(), shownPart(*files.getFileContentSource(entry.getPathName())));
    }
}

/// The last word, where a forgotten FILE would leave the name of a group or setting.
void checkIsFile(const std::string& file) {
    if (!file.empty() && file.find('/') == std::string::npos &&
        !file.ends_with(settings::core::Settings::settingsExtension))
        throw WrongUsage("\"" + file + "\" is no name of a settings file: it has to end in \"" +
                         settings::core::Settings::settingsExtension +
                         "\"; for a file of another name, write \"./" + file + "\"");
}

/// Definitions are no values of a level: what they say goes by the location file.
void checkHoldsValues(const std::filesystem::path& file) {
    const opc::qfservices::FileSystemManager parts(opc::model::Package::open(file));
    if (parts.hasEntry(u"/upgraders.json"))
        throw std::invalid_argument(file.string() + " is a factory file: it holds definitions, not values; "
                                                    "\"factory install\" installs it");
}

} // namespace

void exportSettings(const ExportOptions& options, std::ostream& out) {
    checkIsFile(options.file);
    std::vector<boost::shared_ptr<const settings::core::Settings>> nodes;
    for (const std::string& name : options.names) {
        nodes.push_back(resolve(name));
        requireOwn(*nodes.back());
    }
    const auto file = targetPath(options.file);
    settings::core::Settings::exportSettings(nodes, utf16(file), options.level);
    const Handle written = settings::core::Settings::importAsStandaloneObject(utf16(file), options.level);
    const std::size_t count = countValues(*written, options.level);
    out << printable("exported " + counted(count, "value") + " to " + options.file) << '\n';
    if (count == 0)
        out << "nothing is set on level \"" << options.level << "\" there\n";
}

void importSettings(const ImportOptions& options, std::ostream& out) {
    const auto file = absolutePath(options.file);
    const Handle input = settings::core::Settings::importAsStandaloneObject(utf16(file), options.level);
    checkHoldsValues(file);
    if (options.merge)
        mergeInto(input, options.level, out);
    else
        showValues(*input, input->getName(), options.level, out);
}

void dump(const DumpOptions& options, std::ostream& out) {
    auto package = opc::model::Package::open(absolutePath(options.file));
    if (!options.password.empty())
        opc::qfpackaging::enableDecryptionFromPassword(package, {options.password});
    json::Object parts;
    const opc::qfservices::FileSystemManager files(package);
    collectParts(files, u"/", parts);
    json::Object document;
    document.set("file", jsonText(options.file));
    document.set("encrypted", files.isEncrypted());
    document.set("coreProperties",
                 shownProperties(opc::qfservices::CorePropertiesManager(package).getCoreProperties()));
    document.set("parts", std::move(parts));
    out << json::writeIndented(json::Value(std::move(document))) << '\n';
}

} // namespace vksettings
