/// Paths into a JSON document, as messages show them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace varnek::json::detail {

/// Adds ".key", or "["any other key"]".
void appendKey(std::string& path, std::string_view key);
/// Adds "[index]".
void appendIndex(std::string& path, std::size_t index);

} // namespace varnek::json::detail
