#include "settingscore/SettingsSaving.hpp"

#include "settingscore/settings/file/FileLog.hpp"

#include <atomic>
#include <exception>

namespace settings::core {

namespace {

std::atomic<bool> savingIsOn{true};

} // namespace

void turnOnSettingsSaving() noexcept {
    VARNEK_LOG(detail::fileLog, info) << "Turn on Settings Save";
    savingIsOn.exchange(true);
}

void turnOffSettingsSaving() noexcept {
    try {
        waitForSettingsSaves(); // of what was changed while saving was on
    } catch (const std::exception& failure) {
        VARNEK_LOG(detail::fileLog, error) << failure.what();
    }
    VARNEK_LOG(detail::fileLog, info) << "Turn off Settings Save";
    savingIsOn.exchange(false);
}

bool isSettingsSavingTurnedOn() noexcept {
    return savingIsOn.load();
}

} // namespace settings::core
