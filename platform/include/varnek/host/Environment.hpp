/// The environment variables of the process.
#pragma once

#include "varnek/Export.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace varnek::host {

/// The value of a variable, empty when it is not set; a variable that is set to nothing gives an empty text.
/// Bytes that are no UTF-8 become lone surrogates as in files/PathText.hpp, so that a path survives. In a
/// process with more rights than its user (set-user-id) no variable counts as set.
///
/// Reads the environment anew each time. Thread-safe as long as no thread changes it.
VARNEK_EXPORT std::optional<std::u16string> environmentVariable(std::string_view name);

} // namespace varnek::host
