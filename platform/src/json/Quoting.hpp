/// Writing one JSON string.
#pragma once

#include <string>
#include <string_view>

namespace varnek::json::detail {

/// Adds `text` in quotation marks: control characters, quotation marks and backslashes as escapes, a
/// surrogate without partner as \uXXXX, everything else as it is. False, and `result` is unusable, when
/// `text` is not generalised UTF-8.
[[nodiscard]] bool appendQuoted(std::string& result, std::string_view text);

/// The same for messages: bytes that are no text become "?".
void appendQuotedLeniently(std::string& result, std::string_view text);

} // namespace varnek::json::detail
