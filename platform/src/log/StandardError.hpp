/// Text made safe for a terminal, and the way to standard error.
#pragma once

#include <string>
#include <string_view>

namespace varnek::log {

/// Control characters become "\n", "\r", "\t", "\x1b" or "\u0085", bytes that are no UTF-8 "\xff"; everything
/// else stays.
std::string escaped(std::string_view text);

/// UTF-8; a lone surrogate becomes "\ud800".
std::string utf8Of(std::u16string_view text);

/// Writes all bytes to descriptor 2, in one call where the system allows it. Failures are ignored: there is
/// no other place to report them.
void writeToStandardError(std::string_view text) noexcept;

} // namespace varnek::log
