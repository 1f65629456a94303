/// What the reader accepts; the writer refuses to make more.
#pragma once

#include <cstddef>

namespace varnek::json {

/// Arrays and objects inside each other, the outermost counted.
inline constexpr std::size_t maximumDepth = 64;
/// Bytes of one text.
inline constexpr std::size_t maximumTextSize = std::size_t{64} << 20;

} // namespace varnek::json
