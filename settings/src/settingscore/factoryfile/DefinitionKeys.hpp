/// Members that only a definition document has; the others are those of a settings file.
#pragma once

#include <string_view>

namespace settings::core::detail::keys {

inline constexpr std::string_view schemaReference = "$schema"; // for editors; means nothing here
inline constexpr std::string_view groups = "groups";
inline constexpr std::string_view upgraders = "upgraders";

} // namespace settings::core::detail::keys
