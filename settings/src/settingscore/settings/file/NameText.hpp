/// The names of groups and settings in the parts of a file. Nodes have any bytes as their names; what comes
/// out here reads back to the same bytes. Functions are thread-safe.
#pragma once

#include "json/Value.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace settings::core::detail {

/// As a JSON string: bytes that are no UTF-8 become surrogates without partner, U+DC80 to U+DCFF.
varnek::json::Value nameToJson(std::string_view name);

/// The reverse. Nothing for a string that stands for no name: empty, or with other surrogates without
/// partner.
std::optional<std::string> nameFromJson(const varnek::json::Value& string);

/// The name of a group's folder in a package: encodedName(), or, where a package cannot have that as a name
/// (".", "a/"), "~" and two hexadecimal digits per byte.
std::u16string folderNameOf(std::string_view groupName);

/// The reverse.
std::string groupOfFolder(std::string_view folderName);

} // namespace settings::core::detail
