/// Declarative validators in the keywords of Python.
#pragma once

#include "Values.hpp"

#include "settingscore/validation/FactorySettingProperties.hpp"

#include <pybind11/pybind11.h>

namespace settings::python {

struct ConstraintKeywords {
    pybind11::handle minimum; ///< None or a number
    pybind11::handle maximum;
    bool integer = false;
    pybind11::object choices; ///< None, or a sequence of numbers or of texts
};

/// The validator of values like `value`, of its kind and shape; none when no keyword says anything. TypeError
/// for keywords that do not go with such values.
core::detail::FactorySettingProperties::MultiCheckValueValidators
constraints(const ShapedValue& value, const ConstraintKeywords& keywords);

} // namespace settings::python
