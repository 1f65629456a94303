/// Texts that come from files, made fit for a terminal, for one line and for JSON.
#pragma once

#include "json/Value.hpp"

#include <cstddef>
#include <string>
#include <string_view>

namespace vksettings {

/// Without control characters, which stand as \xNN: what comes out can neither break a line nor drive a
/// terminal.
std::string printable(std::string_view text);

/// A path or name of any bytes; those that are no UTF-8 become lone surrogates U+DC80 to U+DCFF.
varnek::json::Value jsonText(std::string_view bytes);

/// "1 value", "2 values".
std::string counted(std::size_t count, const std::string& what);

} // namespace vksettings
