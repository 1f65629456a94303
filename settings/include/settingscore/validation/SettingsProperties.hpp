/// What fixes a setting that is created at run time, outside a factory definition.
#pragma once

#include "settingscore/validation/FunctionValidators.hpp"
#include "settingscore/validation/ReadOnlyState.hpp"
#include "settingscore/validation/SettingValueValidator.hpp"
#include "varnek/data/Array.hpp"

#include <vector>

namespace settings::core {

/// A plain value. Without a value (a void array) the setting starts with none.
struct SettingsProperties {
    bool visible = true;
    ReadOnlyState readOnlyState = ReadOnlyState::inherited;
    varnek::data::Array value{};
    ValidatorVariant validator{};
    std::vector<SettingValueValidator::ConfigData> multiCheckValueValidators{};
};

} // namespace settings::core
