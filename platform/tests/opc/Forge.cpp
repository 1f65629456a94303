#include "opc/Forge.hpp"

#include <stdexcept>

namespace opc_test {
namespace {

std::string fields(const Header& header) {
    const std::string time = le16(0), date = le16(33);
    return le16(header.flags) + le16(header.method) + time + date + le32(header.crc) + le32(header.packed) +
           le32(header.size) + le16(static_cast<std::uint32_t>(header.name.size())) +
           le16(static_cast<std::uint32_t>(header.extra.size()));
}

std::uint32_t number(std::string_view bytes, std::size_t at, int size) {
    std::uint32_t value = 0;
    for (int i = size - 1; i >= 0; --i)
        value = value << 8 | static_cast<unsigned char>(bytes.at(at + static_cast<std::size_t>(i)));
    return value;
}

Header headerAt(std::string_view bytes, std::size_t at, std::size_t fixedSize) {
    Header header;
    const std::size_t flags = fixedSize == 46 ? at + 8 : at + 6;
    header.flags = static_cast<std::uint16_t>(number(bytes, flags, 2));
    header.method = static_cast<std::uint16_t>(number(bytes, flags + 2, 2));
    header.crc = number(bytes, flags + 8, 4);
    header.packed = number(bytes, flags + 12, 4);
    header.size = number(bytes, flags + 16, 4);
    const std::size_t nameSize = number(bytes, flags + 20, 2), extraSize = number(bytes, flags + 22, 2);
    header.name = bytes.substr(at + fixedSize, nameSize);
    header.extra = bytes.substr(at + fixedSize + nameSize, extraSize);
    return header;
}

} // namespace

std::string le16(std::uint32_t number) {
    return {static_cast<char>(number & 0xFF), static_cast<char>(number >> 8 & 0xFF)};
}
std::string le32(std::uint32_t number) {
    return le16(number & 0xFFFF) + le16(number >> 16);
}

std::string extraField(std::uint16_t id, std::string_view data) {
    return le16(id) + le16(static_cast<std::uint32_t>(data.size())) + std::string(data);
}

std::uint32_t crcOf(std::string_view bytes) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (const char c : bytes) {
        crc ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320u : 0);
    }
    return ~crc;
}

ForgedEntry stored(const std::string& name, const std::string& bytes) {
    const auto size = static_cast<std::uint32_t>(bytes.size());
    const Header header{name, 0, 0, crcOf(bytes), size, size};
    return {header, header, bytes};
}

std::string forge(const std::vector<ForgedEntry>& entries, const ForgedEnd& end) {
    std::string archive, directory;
    for (const ForgedEntry& entry : entries) {
        archive += entry.gap;
        const std::int64_t offset =
            entry.offset < 0 ? static_cast<std::int64_t>(archive.size()) : entry.offset;
        archive += "PK\3\4" + le16(20) + fields(entry.local) + entry.local.name + entry.local.extra +
                   entry.data + entry.descriptor;
        constexpr std::uint32_t unixSystem = 3 << 8 | 63;
        directory += "PK\1\2" + le16(unixSystem) + le16(20) + fields(entry.central) + le16(0) + le16(0) +
                     le16(0) + le32(entry.attributes) + le32(static_cast<std::uint32_t>(offset)) +
                     entry.central.name + entry.central.extra;
    }
    const auto orTruth = [](std::int64_t claimed, std::size_t truth) {
        return static_cast<std::uint32_t>(claimed < 0 ? static_cast<std::int64_t>(truth) : claimed);
    };
    return archive + directory + "PK\5\6" + le16(static_cast<std::uint32_t>(end.disk)) + le16(0) +
           le16(orTruth(end.entriesHere, entries.size())) + le16(orTruth(end.entries, entries.size())) +
           le32(orTruth(end.directorySize, directory.size())) +
           le32(orTruth(end.directoryOffset, archive.size())) +
           le16(static_cast<std::uint32_t>(end.comment.size())) + end.comment;
}

std::vector<ForgedEntry> takeApart(std::string_view archive) {
    const std::size_t end = archive.size() - 22;
    std::size_t at = number(archive, end + 16, 4);
    std::vector<ForgedEntry> entries(number(archive, end + 10, 2));
    for (ForgedEntry& entry : entries) {
        if (archive.substr(at, 4) != "PK\1\2")
            throw std::logic_error("not an honest archive");
        entry.central = headerAt(archive, at, 46);
        entry.attributes = number(archive, at + 38, 4);
        const std::size_t header = number(archive, at + 42, 4);
        entry.local = headerAt(archive, header, 30);
        entry.data = archive.substr(header + 30 + entry.local.name.size() + entry.local.extra.size(),
                                    entry.central.packed);
        at += 46 + entry.central.name.size() + entry.central.extra.size() + number(archive, at + 32, 2);
    }
    return entries;
}

} // namespace opc_test
