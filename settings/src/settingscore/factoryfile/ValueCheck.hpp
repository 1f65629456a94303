/// Whether a declarative validator would accept a value of a setting, and why not. For values that have no
/// setting yet: nothing is stored, called or raised. Thread-safe.
#pragma once

#include "settingscore/validation/SettingValueValidator.hpp"
#include "varnek/data/Array.hpp"

#include <optional>
#include <string>
#include <vector>

namespace settings::core::detail {

/// Nothing when the validator accepts the value, else why not: "must be one value, has 2 elements".
std::optional<std::string> refusalOf(const SettingValueValidator::ConfigData& validator,
                                     const varnek::data::Array& value);

/// Nothing when one of the validators accepts the value or there is none; else the reasons, joined by "; or
/// ".
std::optional<std::string> refusalOf(const std::vector<SettingValueValidator::ConfigData>& validators,
                                     const varnek::data::Array& value);

} // namespace settings::core::detail
