/// Texts of exceptions between UTF-8 and UTF-16. Making an exception never fails for the sake of its text:
/// bytes that are no UTF-8 (a path may hold any) are carried as U+DC80 to U+DCFF and come out as they were,
/// other lone surrogates as U+FFFD.
#pragma once

#include <string>
#include <string_view>

namespace settings::core::exception::detail {

std::string utf8(std::u16string_view text);
std::u16string utf16(std::string_view text);

} // namespace settings::core::exception::detail
