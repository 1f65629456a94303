// The rules for names of parts, in UTF-8 with a leading slash.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace opc::detail {

inline constexpr std::string_view contentTypesName = "/[Content_Types].xml";
inline constexpr std::string_view packageRelationshipsName = "/_rels/.rels";
inline constexpr std::string_view corePropertiesName = "/docProps/core.xml";

/// Throws Refusal (unsafeName, limitExceeded).
void checkName(std::string_view name);

/// UTF-8 of a name given in UTF-16, checked. Throws Refusal.
std::string checkedName(std::u16string_view name);

/// Whether the name belongs to the package itself: content types and relationships.
bool isOwnName(std::string_view name) noexcept;

/// One name of a package. Folder names have no slash at the end here.
struct NamedEntry {
    std::string_view name;
    bool folder;
};

/// Refuses equal names and files in the place of folders (duplicatePart); logs names that differ only by the
/// case of ASCII letters, which other tools may take for the same.
void checkNamesTogether(std::vector<NamedEntry> entries);

} // namespace opc::detail
