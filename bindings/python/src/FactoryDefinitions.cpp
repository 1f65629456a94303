#include "FactoryDefinitions.hpp"

#include "Constraints.hpp"
#include "Definitions.hpp"
#include "Engine.hpp"
#include "Errors.hpp"
#include "Gil.hpp"
#include "Log.hpp"
#include "PythonReference.hpp"
#include "Values.hpp"

#include "settingscore/root/FactorySettingsDefinition.hpp"

#include <boost/make_shared.hpp>
#include <pybind11/stl.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

namespace py = pybind11;

namespace settings::python {

using core::FactorySettingsCode;
using varnek::settings::FactoryGroup;
using MadeGroup = boost::optional<FactoryGroup>;
using Properties = FactoryGroup::Properties;

namespace {

using Text = const std::string&;
using OptionalText = std::optional<std::string>;

constexpr const char* fileExtension = ".py";

varnek::json::Object attributes(const OptionalText& title, const OptionalText& description) {
    varnek::json::Object object;
    if (title)
        object.set("title", *title);
    if (description)
        object.set("description", *description);
    return object;
}

FactoryGroup emptyGroup(Text name, bool isVisible) {
    return FactoryGroup(name, Properties(isVisible, false, {}, {}, {}, false, true, {}), {},
                        FactoryGroup::Use::process);
}

py::object pythonPath(const std::filesystem::path& file) {
    return py::reinterpret_steal<py::object>(PyUnicode_DecodeFSDefault(file.c_str()));
}

py::object definitionsModule() {
    return py::module_::import("vksettings.definitions");
}

/// Has `fill`, which calls the code of `file`, put the definitions into a new group, with the interpreter
/// lock. False from there: no group.
template <class Fill>
MadeGroup made(Text name, bool isVisible, const std::filesystem::path& file, Fill fill) {
    FactoryGroup group = emptyGroup(name, isVisible);
    try {
        const py::object result = fill(group);
        if (result.ptr() == Py_False)
            return boost::none;
    } catch (py::error_already_set& failure) {
        logFailure("definitions", failure);
        const py::object text =
            callPython(definitionsModule().attr("message"), failure.value(),
                       failure.trace() ? py::object(failure.trace()) : py::none(), pythonPath(file));
        keepCause(failure);
        throw std::runtime_error(text.cast<std::string>());
    }
    return group;
}

/// On the engine's thread, unless that is at work: its work may wait for the group that this thread is
/// loading.
MadeGroup onEngine(const std::function<MadeGroup()>& make) {
    MadeGroup group;
    const auto job = [&, waiter = std::this_thread::get_id()] {
        const core::DefinitionsForAnotherThread forOther(waiter);
        const GilLock gil;
        group = make();
    };
    if (!Engine::instance().runUnlessBusy(job))
        job();
    return group;
}

MadeGroup runFile(const FactorySettingsCode& code) {
    return onEngine([&] {
        return made(code.toolboxGroupName, code.isVisible, code.file, [&](const FactoryGroup& group) {
            return callPython(definitionsModule().attr("run_file"), pythonPath(code.file), code.className,
                              group);
        });
    });
}

/// A callable of the program.
class CallableDefinition : public core::VARNEKFactorySettingsDefinition {
  public:
    CallableDefinition(Text name, bool isVisible, const py::object& callable, const std::string& file)
        : VARNEKFactorySettingsDefinition(name, isVisible, file), callable_(callable) {}

    MadeGroup createFactorySettings() const override {
        return onEngine([this] {
            return made(getToolboxGroupName(), isVisible(), getFile(),
                        [this](const FactoryGroup& group) { return callPython(callable_.get(), group); });
        });
    }

  private:
    const PythonReference callable_;
};

void addFactorySettings(Text name, const py::function& callable, bool visible, std::int32_t index) {
    const std::string file = py::str(definitionsModule().attr("file_of")(callable));
    const auto definition = boost::make_shared<const CallableDefinition>(name, visible, callable, file);
    const core::RootIndex tree =
        index == 0 ? core::RootIndex(core::DefaultRootIndex()) : core::RootIndex(index, true, false);
    withoutGil([&] { core::addFactorySettingsDefinition(tree, definition); });
}

FactoryGroup addGroup(FactoryGroup& self, Text name, bool visible, bool readOnly, const OptionalText& title,
                      const OptionalText& description) {
    return withoutGil([&] {
        return self.addGroup(name, Properties(visible, readOnly, {}, {}, {}, false, false, {}),
                             attributes(title, description));
    });
}

void addSetting(FactoryGroup& self, Text name, py::handle value, const OptionalText& type, bool visible,
                bool readOnly, const OptionalText& title, const OptionalText& description,
                const py::object& validator, const OptionalText& runtimeDefault, const OptionalText& alias,
                py::handle minimum, py::handle maximum, bool integer, const py::object& choices) {
    const ShapedValue shaped =
        toValue(value, {type ? std::optional(elementType(*type)) : std::nullopt, std::nullopt});
    Properties properties(visible, readOnly, shaped.array, validatorVariant(validator),
                          defaultVariant(runtimeDefault), false, false,
                          constraints(shaped, {minimum, maximum, integer, choices}));
    if (alias)
        properties.setAliasName(std::string(*alias));
    withoutGil([&] {
        self.addSetting(name, properties, attributes(title, description),
                        shaped.array.isVoid() ? boost::optional<bool>() : shaped.isVector);
    });
}

} // namespace

void registerDefinitionRunner() {
    core::setFactorySettingsRunner(fileExtension, &runFile);
}

void unregisterDefinitionRunner() {
    core::setFactorySettingsRunner(fileExtension, {});
}

void defineFactoryDefinitions(py::module_& module) {
    using namespace py::literals;
    py::class_<FactoryGroup>(module, "FactoryGroup", "A group of definitions that is being filled.")
        .def_property_readonly("name", &FactoryGroup::getName)
        .def_property_readonly("fullName", &FactoryGroup::getFullName)
        .def("addGroup", &addGroup, "name"_a, py::kw_only(), "visible"_a = true, "readOnly"_a = false,
             "title"_a = py::none(), "description"_a = py::none(), "Adds a group and returns it.")
        .def("addSetting", &addSetting, "name"_a, "value"_a = py::none(), py::kw_only(),
             "type"_a = py::none(), "visible"_a = true, "readOnly"_a = false, "title"_a = py::none(),
             "description"_a = py::none(), "validator"_a = py::none(), "runtimeDefault"_a = py::none(),
             "alias"_a = py::none(), "minimum"_a = py::none(), "maximum"_a = py::none(), "integer"_a = false,
             "choices"_a = py::none(),
             "Adds a setting. validator: a callable or \"module.function\"; runtimeDefault: "
             "\"module.function\".");
    module.def(
        "addFactorySettings", &addFactorySettings, "name"_a, "function"_a, py::kw_only(), "visible"_a = true,
        "index"_a = 0,
        "Declares a top-level group whose definitions function(group) makes when somebody needs them.");
}

} // namespace settings::python
