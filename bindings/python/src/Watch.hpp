/// The Python class `PersonalFileWatch`.
#pragma once

#include <pybind11/pybind11.h>

namespace settings::python {

void defineWatch(pybind11::module_& module);

} // namespace settings::python
