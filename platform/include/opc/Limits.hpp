/// What a package may hold at most. Reading refuses more, whatever the directory of the archive claims, and
/// writing refuses the same before it touches a file. The values are part of the file format: only ever raise
/// them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace opc::limits {

inline constexpr std::uint64_t partBytes = std::uint64_t{64} << 20;     // one part, unpacked
inline constexpr std::uint64_t packageBytes = std::uint64_t{256} << 20; // all parts together, unpacked
inline constexpr std::uint64_t archiveBytes = std::uint64_t{384} << 20; // the file as it stands on the disk
inline constexpr std::size_t parts = 10'000;                            // parts and folder entries
inline constexpr std::size_t nameBytes = 4'096;                         // name of one part, in UTF-8
inline constexpr std::size_t xmlBytes = std::size_t{4} << 20; // content types, relationships, properties
inline constexpr unsigned jsonDepth = 64;                     // nesting in a JSON part

} // namespace opc::limits
