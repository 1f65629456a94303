#include "opc/qfservices/FileSystemManager.hpp"

#include "opc/Limits.hpp"
#include "opc/NameRules.hpp"
#include "opc/PackageData.hpp"
#include "opc/XmlParts.hpp"
#include "varnek/files/PathText.hpp"

namespace opc::qfservices {
namespace {

using detail::PackageData;
using detail::Refusal;

/// The name as the parts are keyed; empty when no part can have it. The root is "".
std::optional<std::string> keyOf(std::u16string_view name) {
    if (name == u"/")
        return std::string();
    return name.starts_with(u'/') ? varnek::files::utf8FromUtf16(name) : std::nullopt;
}

std::u16string shownName(std::string_view name) {
    return *varnek::files::utf16FromUtf8(name);
}

const detail::Part* findFile(const PackageData& data, const std::optional<std::string>& key) {
    if (!key || detail::isOwnName(*key))
        return nullptr;
    const auto found = data.content.parts.find(*key);
    return found == data.content.parts.end() ? nullptr : &found->second;
}

/// The parts of a folder that can be seen, by the first of them; the end iterator when there is none.
auto firstBelow(const PackageData& data, const std::string& folder) {
    const auto& parts = data.content.parts;
    auto part = parts.lower_bound(folder + "/");
    while (part != parts.end() && part->first.starts_with(folder + "/") && detail::isOwnName(part->first))
        ++part;
    return part != parts.end() && part->first.starts_with(folder + "/") ? part : parts.end();
}

bool isFolder(const PackageData& data, const std::optional<std::string>& key) {
    return key && (key->empty() || firstBelow(data, *key) != data.content.parts.end());
}

[[noreturn]] void throwNoSuchPart(const PackageData& data, std::u16string_view name) {
    throw OpenError(ErrorKind::noSuchPart, data.path, keyOf(name).value_or("?"), "no such part");
}

const detail::Part& expectFile(const PackageData& data, std::u16string_view name) {
    if (const detail::Part* part = findFile(data, keyOf(name)))
        return *part;
    throwNoSuchPart(data, name);
}

/// Refuses what a reader would refuse in the package with the new part.
void checkNewPart(const PackageData& data, const std::string& name, const std::string& bytes,
                  const std::string& contentType) {
    const auto refuse = [&](ErrorKind kind, std::string cause) {
        throw Refusal{kind, name, std::move(cause)};
    };
    const auto& parts = data.content.parts;
    if (detail::isOwnName(name) || name == detail::corePropertiesName || name == data.content.coreName)
        refuse(ErrorKind::unsafeName, "the name belongs to the package itself");
    if (!detail::isContentType(contentType))
        refuse(ErrorKind::unsupported, "malformed content type");
    if (bytes.size() > limits::partBytes)
        refuse(ErrorKind::limitExceeded, "larger than " + std::to_string(limits::partBytes) + " bytes");
    constexpr std::size_t ownParts = 3;
    if (!parts.contains(name) && parts.size() + ownParts >= limits::parts)
        refuse(ErrorKind::limitExceeded, "more than " + std::to_string(limits::parts) + " parts");

    if (detail::clashesWithFolder(data.content, name))
        refuse(ErrorKind::duplicatePart, "a file and a folder of one name");
}

} // namespace

const std::string& getTextContentType() {
    static const auto& type = *new std::string("text/plain"); // files are written while the process ends
    return type;
}

FileSystemManager::FileSystemManager(const model::Package& package) : data_(detail::openData(package)) {}

bool FileSystemManager::hasEntry(std::u16string_view name) const {
    data_->expectOpen();
    const auto key = keyOf(name);
    return findFile(*data_, key) || isFolder(*data_, key);
}

FileSystemEntry FileSystemManager::getEntry(std::u16string_view name) const {
    data_->expectOpen();
    const auto key = keyOf(name);
    if (findFile(*data_, key))
        return FileSystemEntry(std::u16string(name), false);
    if (isFolder(*data_, key))
        return FileSystemEntry(std::u16string(name), true);
    throwNoSuchPart(*data_, name);
}

std::vector<FileSystemEntry> FileSystemManager::getChildren(std::u16string_view folder) const {
    if (!getEntry(folder).isFolder())
        return {};
    const auto& parts = data_->content.parts;
    const std::string prefix = *keyOf(folder) + "/";
    std::map<std::string, bool> children;
    for (auto part = parts.lower_bound(prefix); part != parts.end() && part->first.starts_with(prefix);) {
        const std::size_t end = part->first.find('/', prefix.size());
        const std::string name = part->first.substr(0, end);
        if (end == std::string::npos) {
            if (!detail::isOwnName(name))
                children.emplace(name, false);
            ++part;
        } else {
            if (firstBelow(*data_, name) != parts.end())
                children.emplace(name, true);
            part = parts.lower_bound(name + static_cast<char>('/' + 1)); // behind the whole folder
        }
    }
    std::vector<FileSystemEntry> entries;
    for (const auto& [name, isFolder] : children)
        entries.emplace_back(shownName(name), isFolder);
    return entries;
}

std::shared_ptr<const std::string> FileSystemManager::getFileContentSource(std::u16string_view name) const {
    data_->expectOpen();
    const detail::Part& part = expectFile(*data_, name);
    if (!part.bytes)
        throw OpenError(ErrorKind::noPassword, data_->path, *keyOf(name), "the part is encrypted");
    return part.bytes;
}

std::string FileSystemManager::getContentType(std::u16string_view name) const {
    data_->expectOpen();
    return expectFile(*data_, name).contentType;
}

void FileSystemManager::addFile(std::u16string_view name, std::string bytes, const std::string& contentType) {
    data_->expectOpen();
    detail::atBorder<WriteError>(data_->path, [&] {
        data_->expectChangeable();
        const std::string key = detail::checkedName(name);
        checkNewPart(*data_, key, bytes, contentType);
        detail::Part part{std::make_shared<const std::string>(std::move(bytes)), contentType};
        data_->content.parts.insert_or_assign(key, std::move(part));
    });
}

void FileSystemManager::deleteFile(std::u16string_view name) {
    data_->expectOpen();
    detail::atBorder<WriteError>(data_->path, [&] {
        data_->expectChangeable();
        const auto key = keyOf(name);
        if (!findFile(*data_, key))
            throw Refusal{ErrorKind::noSuchPart, key.value_or("?"), "no such part"};
        data_->content.parts.erase(data_->content.parts.find(*key));
    });
}

std::size_t FileSystemManager::deleteFolder(std::u16string_view folder) {
    data_->expectOpen();
    detail::atBorder<WriteError>(data_->path, [&] { data_->expectChangeable(); });
    const auto key = keyOf(folder);
    return key ? std::erase_if(data_->content.parts,
                               [&](const auto& part) { return part.first.starts_with(*key + "/"); })
               : 0;
}

bool FileSystemManager::isEncrypted() const {
    data_->expectOpen();
    return data_->encrypted;
}

} // namespace opc::qfservices
