/// Puts arguments into the placeholders of a message.
#pragma once

#include "varnek/catalogue/Catalogue.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace varnek::catalogue {

/// Empty when the text has a placeholder that is not a number in braces or names no argument, or a lone
/// brace. Arguments without placeholder are left out.
std::optional<std::string> filledIn(std::string_view text, const Arguments& arguments);

} // namespace varnek::catalogue
