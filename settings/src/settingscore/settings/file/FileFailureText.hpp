/// Failures of files as the interface shows them.
#pragma once

#include "varnek/exception/CurrentException.hpp"

#include <filesystem>
#include <string>
#include <string_view>

namespace opc {
class OpenError;
}

namespace settings::core::detail {

using varnek::exception::causeOfCurrentException;

/// Logs "Exception caught: " with the text, "Unknown" for an empty one, and the file where the text does not
/// name it.
void logCaught(std::string_view text, const std::filesystem::path& file);

/// "Failed to write settings file; Error: <cause>", with "Unknown" for an empty cause.
std::string notWrittenText(std::string_view cause);

/// Logs that text and raises SettingsFileNotWritten.
[[noreturn]] void throwNotWritten(const std::filesystem::path& file, std::string_view cause);

/// Why, without the sentence that it cannot be opened.
std::string causeOf(const opc::OpenError& failure);

/// Raises FileDoesNotExist or PackageCannotBeOpened.
[[noreturn]] void throwNotOpened(const opc::OpenError& failure, const std::filesystem::path& file);

/// Text of any encoding as UTF-16; bytes that are no UTF-8 become U+DC80 to U+DCFF, as in paths.
std::u16string shownText(std::string_view text);

} // namespace settings::core::detail
