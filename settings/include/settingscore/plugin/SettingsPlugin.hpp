/// The interface of plug-in libraries with functions for settings: validation functions and run-time
/// defaults, named in definitions with the language "C", the library's name as package, and the function's
/// name.
///
///     #include "settingscore/plugin/SettingsPlugin.hpp"
///
///     SETTINGS_PLUGIN_LIBRARY // once in the library
///
///     SETTINGS_PLUGIN_FUNCTION void checkName(const settings::plugin::Setting& setting,
///                                             const settings::plugin::Setting& parent,
///                                             varnek::data::Array& value) {
///         if (value.numberOfElements() > 80)
///             throw settings::core::SettingsException("MyTool:names:tooLong", "The name is too long.",
///                                                     "tooLong");
///     }
///
/// A plug-in `name` is the file `lib<name>.so` in the folder `bin/linux64/settings_plugins` below the
/// installation. It is loaded when a definition first needs it, and never unloaded. A complete project to
/// copy is in examples/plugin.
///
/// Functions are called on the thread that sets or reads the setting, one validation function and one
/// run-time default of all plug-ins at a time, and may be called again from inside themselves. They must not
/// wait for another thread that sets or reads settings. What a validation function throws reaches the caller
/// of the set unchanged, the thread's own cancellation included.
#pragma once

#include "settingscore/exception/SettingsException.hpp"
#include "varnek/data/Array.hpp"

#include <boost/shared_ptr.hpp>

#include <cstdint>

/// Grows with every change that a plug-in has to be compiled again for. A library made for another version is
/// not used.
#define SETTINGS_PLUGIN_INTERFACE_VERSION 1

/// Before every function of the interface.
#define SETTINGS_PLUGIN_FUNCTION extern "C" __attribute__((visibility("default")))

/// Once in a library: says which version of the interface it is made for.
#define SETTINGS_PLUGIN_LIBRARY                                                                              \
    extern "C" {                                                                                             \
    extern __attribute__((visibility("default"))) const std::uint32_t settingsPluginInterfaceVersion;        \
    const std::uint32_t settingsPluginInterfaceVersion = SETTINGS_PLUGIN_INTERFACE_VERSION;                  \
    }

namespace settings::plugin {

/// A setting or group; never changed through this handle, and empty where there is none.
using Setting = boost::shared_ptr<const core::Settings>;

/// (the setting, its group, the value that is to be stored). Refuses the value by throwing, usually a
/// settings::core::SettingsException. May put another value in its place.
using ValidationFunction = void(const Setting& setting, const Setting& parent, varnek::data::Array& value);

/// Puts the factory value into `result`, which is void before. Throws when it has none.
using RunTimeDefaultFunction = void(varnek::data::Array& result);

} // namespace settings::plugin
