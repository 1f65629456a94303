#include "Definitions.hpp"

#include "FunctionCalls.hpp"
#include "Gil.hpp"
#include "Values.hpp"

#include "settingscore/validation/FactorySettingProperties.hpp"
#include "settingscore/validation/SettingsProperties.hpp"

#include <pybind11/stl.h>

#include <string>
#include <utility>

namespace py = pybind11;

namespace settings::python {

using core::MSettings;
using varnek::data::Array;

namespace {

using Text = const std::string&;

/// "workbench.checks.even": the function "even" of the module "workbench.checks".
std::pair<std::string, std::string> splitName(Text name) {
    const auto dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0 || dot + 1 == name.size())
        throw py::value_error("a function is named \"package.function\", not \"" + name + "\"");
    return {name.substr(0, dot), name.substr(dot + 1)};
}

Array valueOf(py::handle value, const std::optional<std::string>& type) {
    return toValue(value, {type ? std::optional(elementType(*type)) : std::nullopt, std::nullopt}).array;
}

core::ReadOnlyState stateOf(bool readOnly) {
    return readOnly ? core::ReadOnlyState::readOnly : core::ReadOnlyState::inherited;
}

py::object createFactorySetting(const Handle& self, Text name, py::handle value, bool visible, bool readOnly,
                                const py::object& validator, const std::optional<std::string>& runtimeDefault,
                                bool sync, const std::optional<std::string>& type) {
    const core::detail::FactorySettingProperties properties(visible, readOnly, valueOf(value, type),
                                                            validatorVariant(validator),
                                                            defaultVariant(runtimeDefault), false, false, {});
    return toHandle(withoutGil([&] { return self.node->createFactorySetting(name, sync, properties); }));
}

py::object createSetting(Text name, py::handle value, bool visible, bool readOnly,
                         const py::object& validator, bool sync, const std::optional<std::string>& type) {
    const core::SettingsProperties properties{
        visible, stateOf(readOnly), valueOf(value, type), validatorVariant(validator), {}};
    return toHandle(withoutGil([&] { return MSettings::createSetting(name, sync, properties); }));
}

py::object createSettingsNode(Text name, bool visible, bool readOnly, bool sync) {
    return toHandle(
        withoutGil([&] { return MSettings::createSettingsNode(name, sync, visible, stateOf(readOnly)); }));
}

} // namespace

core::RunTimeDefaultVariant defaultVariant(const std::optional<std::string>& function) {
    if (!function)
        return {};
    auto [package, name] = splitName(*function);
    return core::MRunTimeDefault(std::move(package), std::move(name));
}

core::ValidatorVariant validatorVariant(const py::object& validator) {
    if (validator.is_none())
        return {};
    if (py::isinstance<py::str>(validator)) {
        auto [package, name] = splitName(validator.cast<std::string>());
        return core::MValidator(std::move(package), std::move(name));
    }
    if (PyCallable_Check(validator.ptr()) != 0)
        return validatorOf(validator);
    throw py::type_error("a validator is a callable or a name \"package.function\"");
}

void defineDefinitions(py::module_& module, py::class_<Handle>& handle) {
    using namespace py::literals;
    handle
        .def("createFactorySetting", &createFactorySetting, "name"_a, "value"_a = py::none(), py::kw_only(),
             "visible"_a = true, "readOnly"_a = false, "validator"_a = py::none(),
             "runtimeDefault"_a = py::none(), "sync"_a = false, "type"_a = py::none(),
             "Adds a setting of a definition, on level \"factory\". runtimeDefault: \"package.function\".")
        .def(
            "setParent",
            [](const Handle& self, const Handle& parent) {
                withoutGil([&] { self.node->setParent(parent.node); });
            },
            "parent"_a,
            "Adds this node, which stands outside any tree, with all that is below it to a group.")
        .def(
            "setValidator",
            [](const Handle& self, const py::object& validator) {
                const core::ValidatorVariant function = validatorVariant(validator);
                withoutGil([&] { self.node->setValidator(function); });
            },
            "validator"_a.none(true), "Replaces the validation function of this setting.")
        .def(
            "validate", [](const Handle& self) { withoutGil([&] { MSettings::validate(self.node); }); },
            "Checks the value of this setting once more.");
    module.def("createSetting", &createSetting, "name"_a, "value"_a = py::none(), py::kw_only(),
               "visible"_a = true, "readOnly"_a = false, "validator"_a = py::none(), "sync"_a = false,
               "type"_a = py::none(), "A setting outside any tree; setParent adds it.");
    module.def("createSettingsNode", &createSettingsNode, "name"_a, py::kw_only(), "visible"_a = true,
               "readOnly"_a = false, "sync"_a = false, "A group outside any tree; setParent adds it.");
}

} // namespace settings::python
