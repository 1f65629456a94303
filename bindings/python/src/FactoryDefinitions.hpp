/// Definitions of toolboxes that Python code makes: the class `FactoryGroup`, the files ".py" that a
/// "settingsInfo.json" names, and callables of the program.
#pragma once

#include <pybind11/pybind11.h>

namespace settings::python {

/// From now on the trees of the process run such files. Without the interpreter lock.
void registerDefinitionRunner();
void unregisterDefinitionRunner();

void defineFactoryDefinitions(pybind11::module_& module);

} // namespace settings::python
