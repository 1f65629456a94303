/// The switch that stops all saving of settings files in this process, on at first.
///
/// While it is off, values change in memory only; files stay as they are and are not deleted either. What was
/// not saved stays marked, and is saved together with the next change after saving has been turned on again.
/// Thread-safe; nothing blocks or throws.
#pragma once

#include "settingscore/Export.hpp"

namespace settings::core {

SETTINGSCORE_EXPORT void turnOnSettingsSaving() noexcept;
SETTINGSCORE_EXPORT void turnOffSettingsSaving() noexcept;
SETTINGSCORE_EXPORT bool isSettingsSavingTurnedOn() noexcept;

} // namespace settings::core
