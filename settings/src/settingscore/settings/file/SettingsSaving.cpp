#include "settingscore/SettingsSaving.hpp"

#include "settingscore/settings/file/FileLog.hpp"

#include <atomic>

namespace settings::core {

namespace {

std::atomic<bool> savingIsOn{true};

} // namespace

void turnOnSettingsSaving() noexcept {
    VARNEK_LOG(detail::fileLog, info) << "Turn on Settings Save";
    savingIsOn.exchange(true);
}

void turnOffSettingsSaving() noexcept {
    VARNEK_LOG(detail::fileLog, info) << "Turn off Settings Save";
    savingIsOn.exchange(false);
}

bool isSettingsSavingTurnedOn() noexcept {
    return savingIsOn.load();
}

} // namespace settings::core
