/// The check of a compiled gettext file before it is handed to the reader, which trusts its offsets.
#pragma once

#include <span>

namespace varnek::catalogue {

/// Null when every table and text lies inside the file and every text ends with NUL; else what is wrong.
const char* faultOfMoFile(std::span<const char> file) noexcept;

} // namespace varnek::catalogue
