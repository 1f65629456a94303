/// Names of nodes and the names they get in files.
#pragma once

#include <string>
#include <string_view>

namespace settings::core::detail {

/// The form of a name in file and part names: everything but ASCII letters, digits, "_" and "-" becomes "%"
/// and two upper-case hexadecimal digits per byte (RFC 3986, section 2.1).
std::string encodedName(std::string_view name);

/// The reverse; the text itself where a "%" is not followed by two hexadecimal digits.
std::string decodedName(std::string_view encoded);

/// Equal, or different in the case of ASCII letters only: two products may not be called so.
bool sameButForCase(std::string_view a, std::string_view b);
/// An order in which such names are equal.
bool lessButForCase(std::string_view a, std::string_view b);

/// Any name that is not empty will do in memory, but a tree has to fit into its files: a top-level group's
/// encoded name with the extension into a file name (255 bytes), a group's path into a part name (4 KiB).
bool isAcceptableName(std::string_view name, std::string_view parentFullName, bool isTopLevel);

} // namespace settings::core::detail
