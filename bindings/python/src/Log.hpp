/// Where failures of Python code go that nobody else hears of.
#pragma once

#include <pybind11/pybind11.h>

#include <string>

namespace settings::python {

/// Type, message and traceback as lines, UTF-8. Needs the interpreter lock, like everything here.
std::string tracebackText(const pybind11::error_already_set& failure);

/// What Python prints as the last line of a traceback; for a ValueError the message alone, since that is how
/// a function says what is wrong with a value.
std::string failureText(const pybind11::error_already_set& failure);

/// Writes the traceback to the channel "settings::bindings::python".
void logFailure(const char* what, const pybind11::error_already_set& failure);

/// The same, and hands the failure to sys.unraisablehook, which prints it unless the program says otherwise.
/// A KeyboardInterrupt is repeated.
void reportUnraisable(const char* what, pybind11::error_already_set& failure, pybind11::handle origin);

/// After a KeyboardInterrupt in a function whose failures go no further: the program is interrupted as soon
/// as it runs on. Does nothing on other threads than the main one, which are not interrupted from outside.
void repeatInterruption();

} // namespace settings::python
