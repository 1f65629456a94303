#include "opc/PackageData.hpp"

#include "opc/Archive.hpp"
#include "opc/Limits.hpp"
#include "opc/NameRules.hpp"
#include "opc/XmlParts.hpp"
#include "opc/model/Package.hpp"

#include <algorithm>
#include <cstring>

namespace opc::detail {

Secret::Secret(const std::string& text) : text_(text) {
    if (text.find('\0') != text.npos)
        throw std::invalid_argument("a package password must not contain NUL");
}
// Short texts lie in the object itself, hence no plain move.
Secret::Secret(Secret&& other) noexcept {
    text_.swap(other.text_);
}
Secret& Secret::operator=(Secret&& other) noexcept {
    text_.swap(other.text_);
    return *this;
}
Secret::~Secret() {
    ::explicit_bzero(text_.data(), text_.capacity()); // what a swap left behind too
}

void PackageData::expectOpen() const {
    if (!open)
        throw std::logic_error("the package is closed");
}

void PackageData::expectChangeable() const {
    if (sealed)
        throw Refusal{ErrorKind::noPassword, {}, "the package is encrypted"};
}

bool clashesWithFolder(const Content& content, const std::string& name) {
    const auto& parts = content.parts;
    const auto below = parts.lower_bound(name + "/");
    bool clash = below != parts.end() && below->first.starts_with(name + "/");
    for (std::size_t slash = name.rfind('/'); !clash && slash != 0; slash = name.rfind('/', slash - 1))
        clash = parts.contains(std::string_view(name).substr(0, slash));
    for (const std::string_view own :
         {contentTypesName, packageRelationshipsName, corePropertiesName, std::string_view(content.coreName)})
        clash = clash || own.starts_with(name + "/") ||
                (!own.empty() && name.starts_with(std::string(own) + "/"));
    return clash;
}

const std::shared_ptr<PackageData>& openData(const model::Package& package) {
    if (!package.data())
        throw std::logic_error("the package has been moved from");
    package.data()->expectOpen();
    return package.data();
}

namespace {

const ArchiveEntry* find(const std::vector<ArchiveEntry>& layout, std::string_view name) {
    const auto found = std::find_if(layout.begin(), layout.end(), [&](const ArchiveEntry& entry) {
        return !entry.folder && entry.name == name;
    });
    return found == layout.end() ? nullptr : &*found;
}

/// One of the parts that describe the package; they are never encrypted.
std::string readOwn(ArchiveReader& reader, const ArchiveEntry& entry) {
    if (entry.encrypted)
        throw Refusal{ErrorKind::unsupported, entry.name, "this part must not be encrypted"};
    if (entry.size > limits::xmlBytes)
        throw Refusal{ErrorKind::limitExceeded, entry.name,
                      "larger than " + std::to_string(limits::xmlBytes) + " bytes"};
    return reader.read(entry);
}

void readCore(Content& content, ArchiveReader& reader, const std::vector<ArchiveEntry>& layout) {
    content.coreName = findCoreProperties(content.relationships);
    if (content.coreName.empty())
        return;
    const ArchiveEntry* entry = isOwnName(content.coreName) ? nullptr : find(layout, content.coreName);
    if (!entry)
        throw Refusal{ErrorKind::damaged, content.coreName, "the part with the core properties is missing"};
    content.coreXml = std::make_shared<const std::string>(readOwn(reader, *entry));
    content.core = parseCoreProperties(*content.coreXml, content.coreName);
}

/// Either all parts are encrypted or none: else plain parts could be slipped into an encrypted package.
bool isSealed(const Content& content, const std::vector<ArchiveEntry>& layout) {
    std::size_t plain = 0, encrypted = 0;
    for (const ArchiveEntry& entry : layout)
        if (content.parts.contains(entry.name))
            ++(entry.encrypted ? encrypted : plain);
    if (plain != 0 && encrypted != 0)
        throw Refusal{ErrorKind::damaged, {}, "plain and encrypted parts in one package"};
    return encrypted != 0;
}

void readParts(Content& content, ArchiveReader& reader, const std::vector<ArchiveEntry>& layout,
               const char* password) {
    for (const ArchiveEntry& entry : layout)
        if (const auto part = content.parts.find(entry.name); part != content.parts.end() && !entry.folder)
            part->second.bytes = std::make_shared<const std::string>(reader.read(entry, password));
}

} // namespace

void readPackage(PackageData& data, std::string_view archive) {
    const std::vector<ArchiveEntry> layout = readLayout(archive);
    const ArchiveEntry* typesEntry = find(layout, contentTypesName);
    if (!typesEntry)
        throw Refusal{ErrorKind::damaged, std::string(contentTypesName), "this part is missing"};
    ArchiveReader reader(archive, layout);
    const ContentTypes types = ContentTypes::parse(readOwn(reader, *typesEntry));

    Content content;
    const ArchiveEntry* relationships = find(layout, packageRelationshipsName);
    if (relationships) {
        content.relationships = readOwn(reader, *relationships);
        readCore(content, reader, layout);
    }
    for (const ArchiveEntry& entry : layout)
        if (!entry.folder && &entry != typesEntry && &entry != relationships &&
            entry.name != content.coreName)
            content.parts.emplace(entry.name, Part{nullptr, types.of(entry.name)});

    data.encrypted = data.sealed = isSealed(content, layout);
    if (data.sealed)
        data.archive = std::make_shared<const std::string>(archive);
    else
        readParts(content, reader, layout, nullptr);
    data.content = std::move(content);
}

void unsealPackage(PackageData& data, const Secret& password) {
    const std::vector<ArchiveEntry> layout = readLayout(*data.archive);
    ArchiveReader reader(*data.archive, layout);
    Content content = data.content;
    readParts(content, reader, layout, password.text());
    if (data.asOpened)
        data.asOpened = content;
    data.content = std::move(content);
    data.sealed = false;
    data.archive.reset();
}

std::string packPackage(const PackageData& data) {
    if (data.encrypted && data.password.empty())
        throw Refusal{
            ErrorKind::noPassword, {}, "the package was encrypted, and no password for writing is set"};
    const Content& content = data.content;
    std::vector<TypedName> types;
    std::vector<OutgoingEntry> entries{{contentTypesName, {}, false}};
    const bool hasCore = !content.coreName.empty();
    if (!content.relationships.empty()) {
        types.push_back({packageRelationshipsName, relationshipsType});
        entries.push_back({packageRelationshipsName, content.relationships, false});
    }
    if (hasCore) {
        types.push_back({content.coreName, corePropertiesType});
        entries.push_back({content.coreName, *content.coreXml, false});
    }
    for (const auto& [name, part] : content.parts) {
        types.push_back({name, part.contentType});
        entries.push_back({name, *part.bytes, !data.password.empty()});
    }
    const std::string typesXml = writeContentTypes(types);
    entries.front().bytes = typesXml;

    std::uint64_t unpacked = 0;
    for (const OutgoingEntry& entry : entries)
        unpacked += entry.bytes.size();
    if (typesXml.size() > limits::xmlBytes || entries.size() > limits::parts ||
        unpacked > limits::packageBytes)
        throw Refusal{ErrorKind::limitExceeded, {}, "more or larger parts than a package may have"};
    return writeArchive(entries, data.password.text());
}

bool sameContent(const Content& a, const Content& b) {
    const auto samePart = [](const auto& x, const auto& y) {
        const Part &first = x.second, &second = y.second;
        return x.first == y.first && first.contentType == second.contentType &&
               (first.bytes == second.bytes || *first.bytes == *second.bytes);
    };
    qfservices::CoreProperties core = a.core;
    core.revision = b.core.revision;
    return a.coreName == b.coreName && core == b.core && a.relationships == b.relationships &&
           std::equal(a.parts.begin(), a.parts.end(), b.parts.begin(), b.parts.end(), samePart);
}

} // namespace opc::detail
