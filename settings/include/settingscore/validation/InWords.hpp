/// A declarative validator in words, for people.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/validation/SettingValueValidator.hpp"

#include <string>

namespace settings::core {

/// "numeric scalar, integer, from 6 to 72"; UTF-8, English, one line (control characters in allowed values
/// are escaped). Bounds that can refuse nothing are left out. Not meant to be parsed.
SETTINGSCORE_EXPORT std::string inWords(const SettingValueValidator::ConfigData& validator);

} // namespace settings::core
