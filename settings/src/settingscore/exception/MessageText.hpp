/// Texts of exceptions between UTF-8 and UTF-16. What is not valid is left out, so that making an exception
/// does not fail for the sake of its text.
#pragma once

#include <string>
#include <string_view>

namespace settings::core::exception::detail {

std::string utf8(std::u16string_view text);
std::u16string utf16(std::string_view text);

} // namespace settings::core::exception::detail
