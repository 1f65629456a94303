#include "FunctionCalls.hpp"

#include "Delivery.hpp"
#include "Errors.hpp"
#include "Gil.hpp"
#include "Handle.hpp"
#include "Log.hpp"
#include "PythonReference.hpp"
#include "Values.hpp"

#include "settingscore/MSettings.hpp"
#include "settingscore/exception/SettingsException.hpp"
#include "settingscore/validation/FunctionValidators.hpp"
#include "settingscore/validation/RunTimeDefaults.hpp"
#include "settingscore/validation/VARNEKFunctionInvoker.hpp"
#include "varnek/files/PathText.hpp"

#include <stdexcept>
#include <string>

namespace py = pybind11;

namespace settings::python {

using core::MRunTimeDefault;
using core::MSettings;
using core::MValidator;
using core::Settings;
using core::VARNEKFunctionInvoker;
using varnek::data::Array;

namespace {

/// Finds the function; std::runtime_error with the reason when there is none.
py::object functionOf(const std::string& package, const std::string& function) {
    try {
        py::object found = callPython(py::module_::import("importlib").attr("import_module"), package);
        found = py::module_::import("operator").attr("attrgetter")(function)(found);
        if (PyCallable_Check(found.ptr()) == 0)
            throw std::runtime_error(package + "." + function + " is no function");
        return found;
    } catch (py::error_already_set& failure) {
        logFailure("finding a function", failure);
        throw std::runtime_error(failureText(failure));
    }
}

/// Calls into Python, and turns what is raised there into the error of the application that a function may
/// raise.
template <class Call>
auto calling(const char* what, Call call) {
    try {
        return call();
    } catch (py::error_already_set& failure) {
        logFailure(what, failure);
        const std::string name = py::str(failure.type().attr("__name__"));
        const std::string text = failureText(failure);
        keepCause(failure);
        if (failure.matches(PyExc_KeyboardInterrupt))
            repeatInterruption();
        throw core::SettingsException("python:" + name, text, name);
    }
}

void validate(const std::string& package, const std::string& function,
              const boost::shared_ptr<const Settings>& setting, const std::string& keyName, Array& value) {
    const GilLock gil;
    const py::object found = functionOf(package, function);
    calling("a validation function", [&] {
        const py::object result = callPython(found, toHandle(setting), keyName, toPython(value));
        if (result.is_none())
            return;
        if (PyBool_Check(result.ptr()) != 0 && value.type() != varnek::data::TypeCode::logical)
            throw py::type_error(
                "a validation function returned a bool; it raises an exception to refuse a value, "
                "and returns None or the value to store");
        value = toValue(result, {std::nullopt, value.type()}).array;
    });
}

void computeDefault(const std::string& package, const std::string& function, Array& result) {
    const GilLock gil;
    const py::object found = functionOf(package, function);
    calling("a run-time default", [&] { result = toValue(callPython(found)).array; });
}

/// Lets the modules of toolboxes be found, which stand beside their definitions.
void loadConfiguration() {
    const std::u16string factory = MSettings::getFactoryDir(core::DefaultRootIndex());
    if (factory.empty())
        return;
    const std::string folder = (varnek::files::pathFromUtf16(factory) / "python").string();
    const GilLock gil;
    try {
        const auto name = py::reinterpret_steal<py::object>(PyUnicode_DecodeFSDefault(folder.c_str()));
        const py::object path = py::module_::import("sys").attr("path");
        if (name && !path.contains(name))
            path.attr("append")(name);
    } catch (py::error_already_set& failure) {
        throw std::runtime_error(failureText(failure));
    }
}

} // namespace

core::CPPValidator validatorOf(const py::object& callable) {
    const auto text = [&](const char* attribute) {
        return std::string(py::str(py::getattr(callable, attribute, py::str(""))));
    };
    const auto check = [function =
                            PythonReference(callable)](const boost::shared_ptr<const Settings>& setting,
                                                       const std::string& name, const Array& value) {
        const Delivery delivery;
        const GilLock gil;
        calling("a validator", [&] {
            if (!callPython(function.get(), toHandle(setting), name, toPython(value)).is_none())
                throw py::type_error(
                    "a callable that validates cannot put another value in place; it returns None");
        });
    };
    return {check, text("__module__"), text("__qualname__")};
}

void registerFunctionCalls() {
    MValidator::setVARNEKValFuncInvokingProxyName(&validate);
    MRunTimeDefault::setMRunTimeProxyFname(&computeDefault);
    VARNEKFunctionInvoker::setLoadConfigProxy(&loadConfiguration);
}

void unregisterFunctionCalls() {
    MValidator::setVARNEKValFuncInvokingProxyName({});
    MRunTimeDefault::setMRunTimeProxyFname({});
    VARNEKFunctionInvoker::setLoadConfigProxy({});
}

} // namespace settings::python
