#include "opc/ArchiveLayout.hpp"

#include "opc/Limits.hpp"
#include "opc/NameRules.hpp"
#include "opc/Refusal.hpp"

#include <algorithm>

namespace opc::detail {
namespace {

constexpr std::uint32_t endSignature = 0x06054b50, directorySignature = 0x02014b50,
                        headerSignature = 0x04034b50, descriptorSignature = 0x08074b50;
constexpr std::size_t endSize = 22, directoryEntrySize = 46, headerSize = 30, descriptorSize = 12;

constexpr std::uint16_t encryptedFlag = 1, descriptorFlag = 1 << 3, utf8Flag = 1 << 11,
                        packerFlags = 1 << 1 | 1 << 2;
constexpr std::uint16_t stored = 0, deflated = 8, aes = 99;
constexpr std::uint16_t zip64Extra = 0x0001, unicodeNameExtra = 0x7075, aesExtra = 0x9901;
constexpr std::uint8_t aes256 = 3;

[[noreturn]] void damaged(std::string cause, std::string part = {}) {
    throw Refusal{ErrorKind::damaged, std::move(part), std::move(cause)};
}

/// Little-endian numbers of a record that is known to lie within the archive.
class Record {
  public:
    Record(std::string_view archive, std::uint64_t offset, std::uint64_t size, const char* what) {
        if (offset > archive.size() || size > archive.size() - offset)
            damaged(std::string(what) + " lies beyond the end");
        bytes_ = archive.substr(offset, size);
    }
    std::uint16_t u16(std::size_t at) const {
        return static_cast<std::uint16_t>(byte(at) | byte(at + 1) << 8);
    }
    std::uint32_t u32(std::size_t at) const {
        return static_cast<std::uint32_t>(u16(at)) | static_cast<std::uint32_t>(u16(at + 2)) << 16;
    }
    std::uint8_t byte(std::size_t at) const { return static_cast<std::uint8_t>(bytes_[at]); }
    std::string_view text(std::size_t at, std::size_t size) const { return bytes_.substr(at, size); }

  private:
    std::string_view bytes_;
};

struct Directory {
    std::uint64_t offset, size, count;
};

Directory readEnd(std::string_view archive) {
    if (archive.size() < endSize)
        damaged("too short for a package");
    const std::uint64_t at = archive.size() - endSize;
    const Record end(archive, at, endSize, "end record");
    if (end.u32(0) != endSignature)
        damaged("no end record: not a package, cut off, or followed by other bytes");
    if (end.u16(4) != 0 || end.u16(6) != 0 || end.u16(8) != end.u16(10) || end.u16(20) != 0)
        damaged("end record of a split archive, or with a comment");
    const Directory directory{end.u32(16), end.u32(12), end.u16(10)};
    if (directory.offset + directory.size != at)
        damaged("the directory does not stand in front of the end record");
    if (directory.count > limits::parts)
        throw Refusal{ErrorKind::limitExceeded, {}, "more than " + std::to_string(limits::parts) + " parts"};
    return directory;
}

/// The extra fields of one header. Those that change the meaning of the header are refused; returns the AES
/// field.
std::string_view checkExtras(const ArchiveEntry& entry, std::string_view extras) {
    std::string_view found;
    for (std::size_t at = 0; at != extras.size();) {
        if (extras.size() - at < 4)
            damaged("malformed extra field", entry.name);
        const Record head(extras, at, 4, "extra field");
        const std::size_t size = head.u16(2);
        if (size > extras.size() - at - 4)
            damaged("malformed extra field", entry.name);
        if (head.u16(0) == zip64Extra || head.u16(0) == unicodeNameExtra)
            throw Refusal{ErrorKind::unsupported, entry.name, "extended sizes or a second name"};
        if (head.u16(0) == aesExtra) {
            if (!found.empty())
                damaged("two encryption fields", entry.name);
            found = extras.substr(at + 4, size);
        }
        at += 4 + size;
    }
    return found;
}

void checkPacking(ArchiveEntry& entry) {
    const auto unsupported = [&](const char* cause) {
        throw Refusal{ErrorKind::unsupported, entry.name, cause};
    };
    if (entry.flags & ~(encryptedFlag | packerFlags | descriptorFlag | utf8Flag))
        unsupported("unknown packing flags");
    std::uint16_t packing = entry.method;
    if (entry.method == aes) {
        if (!(entry.flags & encryptedFlag) || entry.encryption.size() != 7)
            damaged("contradictory encryption", entry.name);
        const Record field(entry.encryption, 0, 7, "encryption field");
        if (field.u16(0) < 1 || field.u16(0) > 2 || field.text(2, 2) != "AE" || field.byte(4) != aes256)
            unsupported("encryption other than AES-256");
        packing = field.u16(5);
        entry.encrypted = true;
    } else if (entry.flags & encryptedFlag) {
        unsupported("encryption other than AES-256");
    } else if (!entry.encryption.empty()) {
        damaged("contradictory encryption", entry.name);
    }
    if (packing != stored && packing != deflated)
        unsupported("unknown packing method");

    constexpr std::uint32_t seal = 28; // salt, check value and code of an AES-256 part
    if (entry.encrypted && entry.packedSize < seal)
        damaged("too short for an encrypted part", entry.name);
    const std::uint64_t packed = entry.packedSize - (entry.encrypted ? seal : 0);
    constexpr std::uint64_t deflateRatio = 1032; // the best that the method can do
    if (packing == stored ? packed != entry.size : entry.size > packed * deflateRatio)
        damaged("the size cannot be true", entry.name);
}

/// Regular files and empty folders only; a link would lead elsewhere when unpacked.
void checkFileType(const ArchiveEntry& entry, std::uint32_t attributes) {
    const std::uint32_t type = attributes >> 16 & 0170000;
    if (type != 0 && type != (entry.folder ? 0040000u : 0100000u))
        throw Refusal{ErrorKind::unsupported, entry.name, "neither a regular file nor a folder"};
    if (entry.folder && entry.size != 0)
        damaged("a folder with content", entry.name);
}

std::string entryName(std::string_view text, std::uint16_t flags, bool& folder) {
    const bool ascii =
        std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    std::string name = "/" + std::string(text);
    if (!ascii && !(flags & utf8Flag))
        throw Refusal{ErrorKind::unsafeName, name, "the name is not marked as UTF-8"};
    folder = name.size() > 1 && name.ends_with('/');
    if (folder)
        name.pop_back();
    checkName(name);
    return name;
}

/// One entry of the directory; moves `at` behind it.
ArchiveEntry readDirectoryEntry(std::string_view directory, std::uint64_t& at) {
    const Record fixed(directory, at, directoryEntrySize, "directory entry");
    if (fixed.u32(0) != directorySignature)
        damaged("malformed directory entry");
    const std::size_t nameSize = fixed.u16(28), extraSize = fixed.u16(30), commentSize = fixed.u16(32);
    const std::uint64_t size = directoryEntrySize + nameSize + extraSize + commentSize;
    const Record record(directory, at, size, "directory entry");
    at += size;

    ArchiveEntry entry;
    entry.flags = record.u16(8);
    entry.name = entryName(record.text(directoryEntrySize, nameSize), entry.flags, entry.folder);
    entry.method = record.u16(10);
    entry.crc = record.u32(16);
    entry.packedSize = record.u32(20);
    entry.size = record.u32(24);
    entry.headerOffset = record.u32(42);
    if (record.u16(34) != 0)
        damaged("part of a split archive", entry.name);
    if (entry.size > limits::partBytes)
        throw Refusal{ErrorKind::limitExceeded, entry.name,
                      "larger than " + std::to_string(limits::partBytes) + " bytes"};
    entry.encryption = checkExtras(entry, record.text(directoryEntrySize + nameSize, extraSize));
    checkPacking(entry);
    checkFileType(entry, record.u32(38));
    return entry;
}

/// Compares the header in front of the data with the directory, and finds where the data begins.
void checkHeader(std::string_view archive, ArchiveEntry& entry) {
    const Record fixed(archive, entry.headerOffset, headerSize, "header of a part");
    const std::size_t nameSize = fixed.u16(26), extraSize = fixed.u16(28);
    const Record record(archive, entry.headerOffset, headerSize + nameSize + extraSize, "header of a part");
    const std::string_view name = record.text(headerSize, nameSize);
    const bool sameName = "/" + std::string(name) == (entry.folder ? entry.name + "/" : entry.name);
    if (record.u32(0) != headerSignature || !sameName || record.u16(6) != entry.flags ||
        record.u16(8) != entry.method)
        damaged("header and directory differ", entry.name);
    // With a data descriptor the numbers follow the data, and those in the header may be left out.
    const bool same =
        record.u32(14) == entry.crc && record.u32(18) == entry.packedSize && record.u32(22) == entry.size;
    const bool none = record.u32(14) == 0 && record.u32(18) == 0 && record.u32(22) == 0;
    if (!same && !(none && (entry.flags & descriptorFlag)))
        damaged("header and directory differ", entry.name);
    if (checkExtras(entry, record.text(headerSize + nameSize, extraSize)) != entry.encryption)
        damaged("header and directory differ", entry.name);
    entry.dataOffset = entry.headerOffset + headerSize + nameSize + extraSize;
}

/// The entry must end where the next thing begins.
void checkEnd(std::string_view archive, const ArchiveEntry& entry, std::uint64_t next) {
    const std::uint64_t end = entry.dataOffset + entry.packedSize;
    const std::uint64_t gap = next - end; // wraps round when the data overlap the next thing
    if (!(entry.flags & descriptorFlag)) {
        if (gap != 0)
            damaged("the data overlap the next part or leave a gap", entry.name);
        return;
    }
    if (gap != descriptorSize && gap != descriptorSize + 4)
        damaged("the data overlap the next part or leave a gap", entry.name);
    const Record descriptor(archive, end, gap, "data descriptor");
    const std::size_t numbers = gap - descriptorSize;
    if ((numbers != 0 && descriptor.u32(0) != descriptorSignature) || descriptor.u32(numbers) != entry.crc ||
        descriptor.u32(numbers + 4) != entry.packedSize || descriptor.u32(numbers + 8) != entry.size)
        damaged("data descriptor and directory differ", entry.name);
}

void checkOrder(std::string_view archive, std::vector<ArchiveEntry>& entries, std::uint64_t directoryOffset) {
    std::vector<ArchiveEntry*> order;
    for (ArchiveEntry& entry : entries)
        order.push_back(&entry);
    std::sort(order.begin(), order.end(), [](auto* a, auto* b) { return a->headerOffset < b->headerOffset; });
    if ((order.empty() ? directoryOffset : order.front()->headerOffset) != 0)
        damaged("bytes in front of the first part");
    for (std::size_t i = 0; i < order.size(); ++i) {
        checkHeader(archive, *order[i]);
        checkEnd(archive, *order[i], i + 1 < order.size() ? order[i + 1]->headerOffset : directoryOffset);
    }
}

} // namespace

std::vector<ArchiveEntry> readLayout(std::string_view archive) {
    if (archive.size() > limits::archiveBytes)
        throw Refusal{
            ErrorKind::limitExceeded, {}, "larger than " + std::to_string(limits::archiveBytes) + " bytes"};
    const Directory directory = readEnd(archive);
    const std::string_view bytes = archive.substr(directory.offset, directory.size);

    std::vector<ArchiveEntry> entries;
    std::uint64_t at = 0, unpacked = 0;
    while (at != bytes.size() && entries.size() < directory.count) {
        entries.push_back(readDirectoryEntry(bytes, at));
        unpacked += entries.back().size;
    }
    if (at != bytes.size() || entries.size() != directory.count)
        damaged("the directory does not have the announced number of entries");
    if (unpacked > limits::packageBytes)
        throw Refusal{ErrorKind::limitExceeded,
                      {},
                      "unpacked larger than " + std::to_string(limits::packageBytes) + " bytes"};

    std::vector<NamedEntry> names;
    for (const ArchiveEntry& entry : entries)
        names.push_back({entry.name, entry.folder});
    checkNamesTogether(std::move(names));
    checkOrder(archive, entries, directory.offset);
    return entries;
}

} // namespace opc::detail
