// export, import and dump: settings files outside the tree.

#include "Commands.hpp"
#include "Printable.hpp"
#include "Refusal.hpp"
#include "SaveOutcome.hpp"
#include "TargetFile.hpp"
#include "Tree.hpp"
#include "ValueText.hpp"

#include "opc/model/Package.hpp"
#include "opc/qfpackaging/Encryption.hpp"
#include "opc/qfservices/CorePropertiesManager.hpp"
#include "opc/qfservices/FileSystemManager.hpp"
#include "settingscore/exception/TreeFailures.hpp"
#include "settingscore/exception/ValidationFailures.hpp"
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
        else if (group.isSet(child->getName(), level))
            out << printable(name + " = " + shown(group.get(child->getName(), level))) << '\n';
    }
}

/// What a merge does with the values of a file.
struct MergeReport {
    std::size_t stored = 0;
    std::vector<std::string> skipped; // names that the tree has not
};

/// `to` is the group of the same name in the tree; empty when there is none.
void compare(const settings::core::Settings& from, const Handle& to, const std::string& prefix,
             const std::string& level, MergeReport& report) {
    for (const Handle& child : from.getChildren()) {
        const std::string name = prefix + "." + child->getName();
        const Handle same = to == nullptr ? Handle() : to->getChild(child->getName());
        if (!child->isLeafNode())
            compare(*child, same, name, level, report);
        else if (!from.isSet(child->getName(), level))
            continue;
        else if (same == nullptr)
            report.skipped.push_back(name);
        else
            ++report.stored;
    }
}

/// The value that the file has for a setting of the tree; void when it cannot be told.
varnek::data::Array valueFor(const settings::core::Settings& setting, const Handle& input,
                             const std::string& level) {
    const std::string name = setting.getFullName();
    const std::string above = input->getName() + ".";
    if (!name.starts_with(above))
        return {};
    try {
        const Handle same = input->getSettingsByFullName(name.substr(above.size()));
        return same->getParent()->get(same->getName(), level);
    } catch (const settings::core::exception::SettingsException&) { // an alias in the tree, for one
        return {};
    }
}

/// Refusals of one value say which.
void mergeDescendants(const Handle& product, const Handle& input, const std::string& level) {
    try {
        product->mergeDescendants(input, level);
    } catch (const settings::core::exception::ValidationException& failure) {
        const auto setting = failure.getCausingObject();
        const auto value = setting == nullptr ? varnek::data::Array() : valueFor(*setting, input, level);
        if (value.isVoid())
            throw;
        throw refusedValue(failure, *setting, value, level);
    }
}

void merge(const Handle& input, const std::string& level, std::ostream& out) {
    const Handle product = root()->getChild(input->getName());
    if (product == nullptr)
        throw settings::core::exception::InvalidNodePath(root(), input->getName());
    MergeReport report;
    compare(*input, product, input->getName(), level, report);
    const Saving saving(*product, level);
    mergeDescendants(product, input, level);
    saving.finish();
    out << printable("merged " + counted(report.stored, "value") + " into \"" + input->getName() +
                     "\" on level \"" + level + "\"")
        << '\n';
    for (const std::string& name : report.skipped)
        out << printable("skipped " + name + ": there is no such setting") << '\n';
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

} // namespace

void exportSettings(const ExportOptions& options, std::ostream& out) {
    if (options.level == "factory")
        throw std::invalid_argument(
            "level \"factory\" is not exported, the changes between releases would be "
            "lost: copy the factory file itself (\"explain\" names it)");
    std::vector<boost::shared_ptr<const settings::core::Settings>> nodes;
    for (const std::string& name : options.names)
        nodes.push_back(resolve(name));
    const auto file = targetPath(options.file);
    settings::core::Settings::exportSettings(nodes, utf16(file), options.level);
    const Handle written = settings::core::Settings::importAsStandaloneObject(utf16(file), options.level);
    const std::size_t count = countValues(*written, options.level);
    out << printable("exported " + counted(count, "value") + " to " + options.file) << '\n';
    if (count == 0)
        out << "nothing is set on level \"" << options.level << "\" there\n";
}

void importSettings(const ImportOptions& options, std::ostream& out) {
    const Handle input =
        settings::core::Settings::importAsStandaloneObject(utf16(absolutePath(options.file)), options.level);
    if (options.merge)
        merge(input, options.level, out);
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
