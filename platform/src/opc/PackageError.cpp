#include "opc/PackageError.hpp"

#include "varnek/files/PathText.hpp"

namespace opc {
namespace {

/// A part name from a hostile file as it may stand in a message: of reasonable length.
std::string shown(std::string_view text) {
    constexpr std::size_t longest = 200;
    const std::string result = varnek::files::shownName(text.substr(0, longest));
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
        text.append(" \"").append(varnek::files::shownName(path.native())).append("\"");
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
