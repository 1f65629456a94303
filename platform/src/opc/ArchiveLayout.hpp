// The structure of a zip archive, checked byte for byte before anything is unpacked.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace opc::detail {

/// One entry as the directory and its own header both describe it.
struct ArchiveEntry {
    std::string name; // leading slash added, no slash at the end
    bool folder = false;
    bool encrypted = false; // with AES-256
    std::uint16_t flags = 0;
    std::uint16_t method = 0; // 0 stored, 8 deflated, 99 encrypted
    std::uint32_t crc = 0;
    std::uint32_t packedSize = 0;
    std::uint32_t size = 0;

    std::uint64_t headerOffset = 0, dataOffset = 0;
    std::string_view encryption; // parameters of the encryption, within the archive
};

/// The entries in the order of the archive's directory. Refuses everything but the plain case: entries follow
/// each other without gap or overlap from the first byte on, then one directory, then the end record, which
/// is the last thing in the file; each entry is described the same way twice, stored or deflated, a regular
/// file or an empty folder, with a safe name that occurs once, within the limits. Throws Refusal.
std::vector<ArchiveEntry> readLayout(std::string_view archive);

} // namespace opc::detail
