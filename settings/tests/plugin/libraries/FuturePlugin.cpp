// A plug-in that is made for a later version of the interface.

#include "settingscore/plugin/SettingsPlugin.hpp"

#undef SETTINGS_PLUGIN_INTERFACE_VERSION
#define SETTINGS_PLUGIN_INTERFACE_VERSION 4711

SETTINGS_PLUGIN_LIBRARY

SETTINGS_PLUGIN_FUNCTION void mustBeEven(const settings::plugin::Setting&, const settings::plugin::Setting&,
                                         varnek::data::Array&) {}
