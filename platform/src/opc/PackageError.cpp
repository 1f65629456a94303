#include "opc/PackageError.hpp"

#include <cstdio>

namespace opc {
namespace {

/// A text from a hostile file as it may stand in a message: one line, of reasonable length.
std::string shown(std::string_view text) {
    constexpr std::size_t longest = 200;
    std::string result;
    for (const char c : text.substr(0, longest)) {
        if (static_cast<unsigned char>(c) >= 0x20 && c != 0x7F && c != '"') {
            result += c;
        } else {
            char escaped[5];
            std::snprintf(escaped, sizeof escaped, "\\x%02X",
                          static_cast<unsigned>(static_cast<unsigned char>(c)));
            result += escaped;
        }
    }
    return text.size() > longest ? result + "..." : result;
}

} // namespace

std::string_view nameOf(ErrorKind kind) noexcept {
    constexpr std::string_view names[] = {"notFound",   "permission",    "ioFault",     "notRegularFile",
                                          "damaged",    "limitExceeded", "unsafeName",  "duplicatePart",
                                          "noPassword", "wrongPassword", "unsupported", "noSuchPart"};
    return names[static_cast<std::size_t>(kind)];
}

PackageError::PackageError(std::string_view sentence, ErrorKind kind, const std::filesystem::path& path,
                           std::string_view part, std::string_view cause) {
    std::string text(sentence);
    if (!path.empty())
        text.append(" \"").append(path.native()).append("\"");
    if (!part.empty())
        text.append(": part \"").append(shown(part)).append("\"");
    text.append(": ").append(cause);
    data_ = std::make_shared<const Data>(Data{kind, path, std::string(part), std::move(text)});
}

OpenError::OpenError(ErrorKind kind, const std::filesystem::path& path, std::string_view part,
                     std::string_view cause)
    : Cloneable("Failed to open OPC Package", kind, path, part, cause) {}

WriteError::WriteError(ErrorKind kind, const std::filesystem::path& path, std::string_view part,
                       std::string_view cause)
    : Cloneable("Failed to write OPC Package", kind, path, part, cause) {}

} // namespace opc
