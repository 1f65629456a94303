/// UTF-16 texts, UTF-8 texts and paths. Names in the file system are bytes, by custom UTF-8; bytes that are
/// no UTF-8 are shown as lone surrogates U+DC80 to U+DCFF, so that every path survives the way to UTF-16 and
/// back. Thread-safe.
#pragma once

#include "varnek/Export.hpp"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace varnek::files {

/// Throws FileError (invalidName) for NUL and for lone surrogates other than U+DC80 to U+DCFF.
VARNEK_EXPORT std::filesystem::path pathFromUtf16(std::u16string_view text);

VARNEK_EXPORT std::u16string utf16FromPath(const std::filesystem::path& path);

/// For messages, never fails: bytes that are no UTF-8 become U+DC80 to U+DCFF as in paths, and those become
/// the bytes again. Other lone surrogates show as U+FFFD.
VARNEK_EXPORT std::u16string messageUtf16(std::string_view text);
VARNEK_EXPORT std::string messageUtf8(std::u16string_view text);

/// A name as it stands between quotes in a message: control characters (U+0000 to U+001F, U+007F to U+009F,
/// and bytes 0x80 to 0x9F that are no UTF-8) and double quotes as \xNN for each byte, so that a name cannot
/// break the line or drive a terminal. Everything else is left as it is.
VARNEK_EXPORT std::string shownName(std::string_view name);

/// Whether the text is well-formed UTF-8.
VARNEK_EXPORT bool isUtf8(std::string_view text) noexcept;

/// Strict conversion of text that is no path; empty when it is not well-formed.
VARNEK_EXPORT std::optional<std::u16string> utf16FromUtf8(std::string_view text);
VARNEK_EXPORT std::optional<std::string> utf8FromUtf16(std::u16string_view text);

} // namespace varnek::files
