// A plug-in whose functions do what plug-ins should not.

#include "settingscore/Settings.hpp"
#include "settingscore/plugin/SettingsPlugin.hpp"

#include <pthread.h>

#include <stdexcept>
#include <string>
#include <thread>

using settings::plugin::Setting;
using varnek::data::Array;

SETTINGS_PLUGIN_LIBRARY

SETTINGS_PLUGIN_FUNCTION void throwStandard(const Setting&, const Setting&, Array& value) {
    value = Array();
    throw std::runtime_error("out of order");
}

SETTINGS_PLUGIN_FUNCTION void throwNumber(const Setting&, const Setting&, Array&) {
    throw 7;
}

SETTINGS_PLUGIN_FUNCTION void endThread(const Setting&, const Setting&, Array&) {
    ::pthread_exit(nullptr);
}

/// Takes the setting for the wrong one when it is that of its group.
SETTINGS_PLUGIN_FUNCTION void doubled(const Setting& setting, const Setting& parent, Array& value) {
    if (setting == parent)
        throw std::invalid_argument("setting and group are the same");
    value = Array::scalar(2 * value.element<double>());
}

/// Stores the names of what it is told of.
SETTINGS_PLUGIN_FUNCTION void namesOfSettingAndGroup(const Setting& setting, const Setting& parent,
                                                     Array& value) {
    const std::string names = setting->getFullName() + " in " + parent->getFullName();
    value = Array::text(std::u16string(names.begin(), names.end()));
}

/// Refuses when another call of it is at work.
SETTINGS_PLUGIN_FUNCTION void alone(const Setting&, const Setting&, Array&) {
    static volatile int inside = 0; // neither atomic nor locked
    const int before = inside;
    inside = before + 1;
    std::this_thread::yield();
    if (inside != 1)
        throw std::logic_error("another call is at work");
    inside = 0;
}

SETTINGS_PLUGIN_FUNCTION void noDefault(Array&) {
    throw std::runtime_error("no display");
}

SETTINGS_PLUGIN_FUNCTION void throwNumberAsDefault(Array&) {
    throw 7;
}

SETTINGS_PLUGIN_FUNCTION void endThreadAsDefault(Array&) {
    ::pthread_exit(nullptr);
}
