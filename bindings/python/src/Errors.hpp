/// Failures of the settings library as Python exceptions; the classes are in vksettings/errors.py.
#pragma once

#include <pybind11/pybind11.h>

namespace settings::python {

/// From now on functions of the module turn what the library throws into those exceptions.
void registerErrors();

/// Keeps what a Python function raised on this thread, so that the exception which the library makes of it
/// names it as its cause. With the interpreter lock.
void keepCause(const pybind11::error_already_set& failure);

} // namespace settings::python
