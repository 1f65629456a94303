#include "opc/XmlParts.hpp"

#include "opc/NameRules.hpp"
#include "opc/Refusal.hpp"
#include "varnek/files/PathText.hpp"

#include <algorithm>
#include <charconv>
#include <pugixml.hpp>
#include <set>

namespace opc::detail {
namespace {

constexpr auto contentTypesNamespace = "http://schemas.openxmlformats.org/package/2006/content-types";
constexpr auto relationshipsNamespace = "http://schemas.openxmlformats.org/package/2006/relationships";
constexpr auto corePropertiesNamespace =
    "http://schemas.openxmlformats.org/package/2006/metadata/core-properties";
constexpr auto coreRelationship =
    "http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties";
const std::string unknownType = "application/octet-stream";

[[noreturn]] void damaged(std::string_view part, std::string cause) {
    throw Refusal{ErrorKind::damaged, std::string(part), std::move(cause)};
}

/// The name of an element without its prefix.
std::string_view localName(const char* name) {
    const std::string_view whole = name;
    return whole.substr(whole.find(':') + 1);
}

bool isNamespace(const pugi::xml_node& element, std::string_view wanted) {
    const std::string_view name = element.name();
    const std::size_t colon = name.find(':');
    const std::string attribute =
        colon == name.npos ? "xmlns" : "xmlns:" + std::string(name.substr(0, colon));
    return element.attribute(attribute.c_str()).value() == wanted;
}

/// Parses a part whose root element must be `root` in the given namespace. Document types are refused, so
/// that nothing can expand or be fetched.
pugi::xml_node parseXml(pugi::xml_document& document, std::string_view xml, std::string_view root,
                        std::string_view rootNamespace, std::string_view part) {
    const bool wide = xml.starts_with("\xFE\xFF") || xml.starts_with("\xFF\xFE");
    if (!wide && !varnek::files::isUtf8(xml))
        damaged(part, "not well-formed UTF-8");
    const auto encoding = wide ? pugi::encoding_utf16 : pugi::encoding_utf8;
    const unsigned options = pugi::parse_default | pugi::parse_doctype | pugi::parse_ws_pcdata;
    const pugi::xml_parse_result result = document.load_buffer(xml.data(), xml.size(), options, encoding);
    if (!result)
        damaged(part,
                std::string("XML: ") + result.description() + " at byte " + std::to_string(result.offset));
    for (const pugi::xml_node& node : document.children())
        if (node.type() == pugi::node_doctype)
            damaged(part, "a document type is not allowed");
    const pugi::xml_node element = document.document_element();
    if (localName(element.name()) != root || !isNamespace(element, rootNamespace))
        damaged(part, "the root element is not \"" + std::string(root) + "\"");
    return element;
}

struct TextWriter : pugi::xml_writer {
    std::string text;
    void write(const void* data, std::size_t size) override {
        text.append(static_cast<const char*>(data), size);
    }
};

std::string toText(const pugi::xml_document& document) {
    TextWriter writer;
    document.save(writer, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
    std::string text = R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>)";
    for (const char c : writer.text) // a bare carriage return would be read as a line feed
        c == '\r' ? text.append("&#13;") : text.append(1, c);
    return text;
}

std::string extensionOf(std::string_view name) {
    const std::string_view file = name.substr(name.rfind('/') + 1);
    const std::size_t dot = file.rfind('.');
    std::string extension(dot == file.npos ? std::string_view() : file.substr(dot + 1));
    for (char& c : extension)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
    return extension;
}

bool isPlain(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
    });
}

} // namespace

bool isContentType(std::string_view text) noexcept {
    const std::size_t slash = text.find('/');
    return slash != text.npos && slash > 0 && slash + 1 < text.size() && text.size() < 256 &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

ContentTypes ContentTypes::parse(std::string_view xml) {
    pugi::xml_document document;
    ContentTypes types;
    for (const pugi::xml_node& node :
         parseXml(document, xml, "Types", contentTypesNamespace, contentTypesName)) {
        if (node.type() != pugi::node_element)
            continue;
        const bool byName = localName(node.name()) == "Override";
        if (!byName && localName(node.name()) != "Default")
            damaged(contentTypesName, std::string("unknown element \"") + node.name() + "\"");
        const std::string type = node.attribute("ContentType").value();
        const std::string key = byName ? node.attribute("PartName").value()
                                       : extensionOf(std::string(".") + node.attribute("Extension").value());
        if (key.empty() || !isContentType(type))
            damaged(contentTypesName, "malformed entry for \"" + key + "\"");
        if (!(byName ? types.byName_ : types.byExtension_).emplace(key, type).second)
            damaged(contentTypesName, "two entries for \"" + key + "\"");
    }
    return types;
}

const std::string& ContentTypes::of(std::string_view name) const {
    if (const auto found = byName_.find(name); found != byName_.end())
        return found->second;
    const auto found = byExtension_.find(extensionOf(name));
    return found != byExtension_.end() ? found->second : unknownType;
}

std::string writeContentTypes(std::span<const TypedName> parts) {
    std::map<std::string, std::string_view> defaults;
    std::vector<TypedName> overrides;
    for (const TypedName& part : parts) {
        std::string extension = extensionOf(part.name);
        const bool own = part.type == corePropertiesType || !isPlain(extension);
        if (own || defaults.try_emplace(std::move(extension), part.type).first->second != part.type)
            overrides.push_back(part);
    }
    pugi::xml_document document;
    pugi::xml_node root = document.append_child("Types");
    root.append_attribute("xmlns") = contentTypesNamespace;
    for (const auto& [extension, type] : defaults) {
        pugi::xml_node node = root.append_child("Default");
        node.append_attribute("Extension") = extension.c_str();
        node.append_attribute("ContentType") = std::string(type).c_str();
    }
    for (const TypedName& part : overrides) {
        pugi::xml_node node = root.append_child("Override");
        node.append_attribute("PartName") = std::string(part.name).c_str();
        node.append_attribute("ContentType") = std::string(part.type).c_str();
    }
    return toText(document);
}

std::string findCoreProperties(std::string_view relationshipsXml) {
    pugi::xml_document document;
    const pugi::xml_node root = parseXml(document, relationshipsXml, "Relationships", relationshipsNamespace,
                                         packageRelationshipsName);
    std::string target;
    for (const pugi::xml_node& node : root) {
        if (node.attribute("Type").value() != std::string_view(coreRelationship))
            continue;
        const std::string_view text = node.attribute("Target").value();
        if (!target.empty() || text.empty() ||
            node.attribute("TargetMode").value() == std::string_view("External"))
            damaged(packageRelationshipsName, "no single part with core properties");
        target = text.starts_with('/') ? std::string(text) : "/" + std::string(text);
    }
    return target;
}

std::string addCoreProperties(std::string_view xml, std::string_view corePartName) {
    pugi::xml_document document;
    pugi::xml_node root;
    if (xml.empty()) {
        root = document.append_child("Relationships");
        root.append_attribute("xmlns") = relationshipsNamespace;
    } else {
        root = parseXml(document, xml, "Relationships", relationshipsNamespace, packageRelationshipsName);
    }
    std::set<std::string> taken;
    for (const pugi::xml_node& node : root)
        taken.insert(node.attribute("Id").value());
    std::size_t number = 1;
    while (taken.contains("rId" + std::to_string(number)))
        ++number;
    // The same prefix as the root's, if it has one.
    const std::string_view rootName = root.name();
    const std::size_t colon = rootName.find(':');
    const std::string name =
        std::string(rootName.substr(0, colon == rootName.npos ? 0 : colon + 1)) + "Relationship";
    pugi::xml_node node = root.append_child(name.c_str());
    node.append_attribute("Id") = ("rId" + std::to_string(number)).c_str();
    node.append_attribute("Type") = coreRelationship;
    node.append_attribute("Target") = std::string(corePartName.substr(1)).c_str();
    return toText(document);
}

namespace {

enum class Form { text, date };

struct Property {
    const char* element;
    std::string qfservices::CoreProperties::*field;
    Form form = Form::text;
};

using P = qfservices::CoreProperties;
constexpr auto revisionElement = "cp:revision";
// In the order of the elements' names, which is the order of writing.
constexpr Property properties[] = {
    {"cp:category", &P::category},
    {"cp:contentStatus", &P::contentStatus},
    {"cp:contentType", &P::contentType},
    {"cp:keywords", &P::keywords},
    {"cp:lastModifiedBy", &P::lastModifiedBy},
    {"cp:lastPrinted", &P::lastPrinted},
    {"cp:version", &P::version},
    {"dc:creator", &P::creator},
    {"dc:description", &P::description},
    {"dc:identifier", &P::identifier},
    {"dc:language", &P::language},
    {"dc:subject", &P::subject},
    {"dc:title", &P::title},
    {"dcterms:created", &P::created, Form::date},
    {"dcterms:modified", &P::modified, Form::date},
};

std::uint64_t parseRevision(std::string_view text, std::string_view partName) {
    std::uint64_t revision = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), revision);
    if (error != std::errc() || end != text.data() + text.size())
        damaged(partName, "the revision is not a number");
    return revision;
}

void checkText(const std::string& text, const char* element) {
    const bool control = std::any_of(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r';
    });
    const bool nonCharacter =
        text.find("\xEF\xBF\xBE") != text.npos || text.find("\xEF\xBF\xBF") != text.npos;
    if (control || nonCharacter || !varnek::files::isUtf8(text))
        throw Refusal{ErrorKind::unsupported, std::string(corePropertiesName),
                      std::string("XML cannot carry the text of ") + element};
}

} // namespace

qfservices::CoreProperties parseCoreProperties(std::string_view xml, std::string_view partName) {
    pugi::xml_document document;
    qfservices::CoreProperties result;
    std::set<std::string_view> seen;
    for (const pugi::xml_node& node :
         parseXml(document, xml, "coreProperties", corePropertiesNamespace, partName)) {
        if (node.type() != pugi::node_element)
            continue;
        const std::string_view name = localName(node.name());
        if (!seen.insert(name).second)
            damaged(partName, "two properties \"" + std::string(name) + "\"");
        const char* text = node.text().get();
        if (name == localName(revisionElement))
            result.revision = parseRevision(text, partName);
        for (const Property& property : properties)
            if (name == localName(property.element))
                result.*property.field = text;
    }
    return result;
}

std::string writeCoreProperties(const qfservices::CoreProperties& values) {
    pugi::xml_document document;
    pugi::xml_node root = document.append_child("cp:coreProperties");
    root.append_attribute("xmlns:cp") = corePropertiesNamespace;
    root.append_attribute("xmlns:dc") = "http://purl.org/dc/elements/1.1/";
    root.append_attribute("xmlns:dcterms") = "http://purl.org/dc/terms/";
    root.append_attribute("xmlns:xsi") = "http://www.w3.org/2001/XMLSchema-instance";
    for (const Property& property : properties) {
        const std::string& text = values.*property.field;
        checkText(text, property.element);
        if (text.empty())
            continue;
        pugi::xml_node node = root.append_child(property.element);
        if (property.form == Form::date)
            node.append_attribute("xsi:type") = "dcterms:W3CDTF";
        node.append_child(pugi::node_pcdata).set_value(text.c_str());
    }
    if (values.revision != 0)
        root.append_child(revisionElement)
            .append_child(pugi::node_pcdata)
            .set_value(std::to_string(values.revision).c_str());
    return toText(document);
}

} // namespace opc::detail
