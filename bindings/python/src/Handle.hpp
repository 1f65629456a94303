/// The Python class `Settings`: a handle to one group or setting.
#pragma once

#include "settingscore/MSettings.hpp"

#include <pybind11/pybind11.h>

namespace settings::python {

/// A value; never empty.
struct Handle {
    boost::shared_ptr<core::MSettings> node;
};

/// None for an empty handle. Python knows no constant objects: whoever gets the handle can change the node.
/// With the interpreter lock.
pybind11::object toHandle(const boost::shared_ptr<const core::Settings>& node);

void defineHandle(pybind11::module_& module);

} // namespace settings::python
