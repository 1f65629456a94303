/// Names of parts: absolute, case-sensitive, segments separated by "/" ("/settingstree/settings.json").
#pragma once

#include "varnek/Export.hpp"

#include <string_view>

namespace opc {

/// Whether a package can have a part (or a folder) of this name: well-formed UTF-16, a leading slash, at most
/// limits::nameBytes, no empty segment, none that is or ends with a dot, no backslash, colon or control
/// character; and no empty segment, dot segment or NUL either once percent-encoded characters are decoded,
/// since other tools may decode them. Thread-safe.
VARNEK_EXPORT bool isSafePartName(std::u16string_view name);

} // namespace opc
