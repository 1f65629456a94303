/// Defining settings from Python, and making nodes outside any tree.
#pragma once

#include "Handle.hpp"

#include "settingscore/validation/FunctionValidators.hpp"
#include "settingscore/validation/RunTimeDefaults.hpp"

#include <pybind11/pybind11.h>

#include <optional>
#include <string>

namespace settings::python {

/// None, "package.function" of the language, or a callable. TypeError, ValueError.
core::ValidatorVariant validatorVariant(const pybind11::object& validator);

/// None, or "package.function" of the language. ValueError.
core::RunTimeDefaultVariant defaultVariant(const std::optional<std::string>& function);

void defineDefinitions(pybind11::module_& module, pybind11::class_<Handle>& handle);

} // namespace settings::python
