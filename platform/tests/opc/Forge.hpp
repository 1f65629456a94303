// Takes archives apart and puts them together again, with lies wherever a test wants them. Independent of the
// tested code, so that both would have to be wrong in the same way.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace opc_test {

/// The numbers that stand in both headers of an entry.
struct Header {
    std::string name;
    std::uint16_t flags = 0, method = 0;
    std::uint32_t crc = 0, packed = 0, size = 0;
    std::string extra = {};
};

struct ForgedEntry {
    Header local, central;
    std::string data;
    std::string descriptor = {}; // follows the data
    std::string gap = {};        // stray bytes in front of the local header
    std::uint32_t attributes = 0100644u << 16;
    std::int64_t offset = -1; // claimed in the directory; -1: the truth

    /// Changes both headers alike.
    ForgedEntry& both(const std::function<void(Header&)>& change) {
        change(local), change(central);
        return *this;
    }
};

struct ForgedEnd {
    int disk = 0, entriesHere = -1, entries = -1; // -1: the truth
    std::int64_t directorySize = -1, directoryOffset = -1;
    std::string comment = {};
};

std::uint32_t crcOf(std::string_view bytes);
std::string le16(std::uint32_t number);
std::string le32(std::uint32_t number);
std::string extraField(std::uint16_t id, std::string_view data);

/// An honest stored entry.
ForgedEntry stored(const std::string& name, const std::string& bytes);

std::string forge(const std::vector<ForgedEntry>& entries, const ForgedEnd& end = {});

/// The entries of an honest archive, as they stand in it.
std::vector<ForgedEntry> takeApart(std::string_view archive);

} // namespace opc_test
