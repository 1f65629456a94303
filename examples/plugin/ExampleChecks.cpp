// A validation function and a run-time default for settings of an imaginary application.

#include "settingscore/plugin/SettingsPlugin.hpp"

#include <cmath>
#include <thread>

using settings::core::SettingsException;
using settings::plugin::Setting;
using varnek::data::Array;
using varnek::data::TypeCode;

SETTINGS_PLUGIN_LIBRARY

/// Accepts even numbers: tab widths, for instance.
SETTINGS_PLUGIN_FUNCTION void mustBeEven(const Setting&, const Setting&, Array& value) {
    if (value.type() != TypeCode::float64)
        throw SettingsException("ExampleChecks:mustBeEven:type", "The value must be a double.", "type");
    for (const double number : value.elements<double>())
        if (std::fmod(number, 2) != 0) // NaN and infinities included
            throw SettingsException("ExampleChecks:mustBeEven:odd", "The value must be even.", "odd");
}

/// As many worker threads as the machine runs at a time.
SETTINGS_PLUGIN_FUNCTION void defaultWorkerCount(Array& result) {
    const unsigned threads = std::thread::hardware_concurrency();
    result = Array::scalar(threads == 0 ? 1.0 : static_cast<double>(threads));
}
