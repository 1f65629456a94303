/// Places in a JSON document, as messages show them: `$.settings[2].name`, `$["a key"]`.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace settings::core::detail {

/// The member `key` of the object at `path`. `key` is a key that the parser accepted.
std::string memberPath(std::string_view path, std::string_view key);
std::string elementPath(std::string_view path, std::size_t index);

} // namespace settings::core::detail
