/// Validation functions and run-time defaults that definitions name: a module (the package) and a function in
/// it.
///
/// A validation function is called as function(setting, name, value) and refuses the value by raising; what
/// it returns takes the value's place, unless it is None. A run-time default is called without arguments.
///
/// Modules are found like those of any import; besides, in the folder "python" below the factory folder of
/// the default tree, where toolboxes keep them.
#pragma once

#include "settingscore/validation/FunctionValidators.hpp"

#include <pybind11/pybind11.h>

namespace settings::python {

/// Registers the calls with the settings library. Without the interpreter lock.
void registerFunctionCalls();
void unregisterFunctionCalls();

/// A callable of this process as a validator, called like a validation function, on any thread. It cannot put
/// another value in place. With the interpreter lock.
core::CPPValidator validatorOf(const pybind11::object& callable);

} // namespace settings::python
