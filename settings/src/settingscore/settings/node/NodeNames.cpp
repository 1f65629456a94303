#include "settingscore/settings/node/NodeNames.hpp"

#include "opc/Limits.hpp"

#include <algorithm>

namespace settings::core::detail {

namespace {

constexpr std::size_t longestFileName = 255;
// Room for the folder of the tree, the file of the group and the temporary file beside the real one.
constexpr std::size_t partNameOverhead = 64;
constexpr std::size_t fileNameOverhead = 24;

bool staysAsItIs(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

char lowered(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

} // namespace

bool sameButForCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lowered(x) == lowered(y); });
}

bool lessButForCase(std::string_view a, std::string_view b) {
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                        [](char x, char y) { return lowered(x) < lowered(y); });
}

std::string encodedName(std::string_view name) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string encoded;
    encoded.reserve(name.size());
    for (const char c : name) {
        if (staysAsItIs(c)) {
            encoded += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        encoded += '%';
        encoded += digits[byte >> 4];
        encoded += digits[byte & 15];
    }
    return encoded;
}

std::string decodedName(std::string_view encoded) {
    std::string name;
    name.reserve(encoded.size());
    for (std::size_t at = 0; at < encoded.size(); ++at) {
        const bool escape = encoded[at] == '%' && at + 2 < encoded.size() && hexDigit(encoded[at + 1]) >= 0 &&
                            hexDigit(encoded[at + 2]) >= 0;
        name += escape ? static_cast<char>(hexDigit(encoded[at + 1]) * 16 + hexDigit(encoded[at + 2]))
                       : encoded[at];
        at += escape ? 2 : 0;
    }
    return name;
}

bool isAcceptableName(std::string_view name, std::string_view parentFullName, bool isTopLevel) {
    if (name.empty())
        return false;
    constexpr std::size_t longest = 3; // of one byte; most names need not be encoded to know
    const std::size_t most = longest * name.size();
    if (longest * parentFullName.size() + most + partNameOverhead <= opc::limits::nameBytes &&
        (!isTopLevel || most + fileNameOverhead <= longestFileName))
        return true;
    const std::size_t length = encodedName(name).size();
    if (isTopLevel && length + fileNameOverhead > longestFileName)
        return false;
    return encodedName(parentFullName).size() + length + partNameOverhead <= opc::limits::nameBytes;
}

} // namespace settings::core::detail
