/// Whether one set of declarative validators lets through everything that another one does.
#pragma once

#include "settingscore/validation/SettingValueValidator.hpp"

#include <vector>

namespace settings::core::detail {

/// True when every value that `narrow` accepts is accepted by `wide`. Of several alternatives each of
/// `narrow` has to be covered by a single one of `wide`, so that a range that two of them share counts as not
/// covered. No validators accept everything. Thread-safe.
bool covers(const std::vector<SettingValueValidator::ConfigData>& wide,
            const std::vector<SettingValueValidator::ConfigData>& narrow);

} // namespace settings::core::detail
