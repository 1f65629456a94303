#include "Log.hpp"

#include "Gil.hpp"

#include "varnek/log/Channel.hpp"

namespace py = pybind11;

namespace settings::python {

namespace {

varnek::log::Channel pythonLog("settings::bindings::python");

std::string joined(const py::object& lines) {
    return py::str("").attr("join")(lines).cast<std::string>();
}

std::string withoutLineEnd(std::string text) {
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text;
}

} // namespace

std::string tracebackText(const py::error_already_set& failure) {
    try {
        const py::object trace = failure.trace() ? py::object(failure.trace()) : py::none();
        const py::object format = py::module_::import("traceback").attr("format_exception");
        return withoutLineEnd(joined(callPython(format, failure.type(), failure.value(), trace)));
    } catch (py::error_already_set& broken) { // an exception that cannot be shown
        return broken.what();
    }
}

std::string failureText(const py::error_already_set& failure) {
    try {
        if (failure.matches(PyExc_ValueError) ||
            failure.matches(py::module_::import("vksettings").attr("SettingsError"))) {
            const py::handle str(reinterpret_cast<PyObject*>(&PyUnicode_Type));
            auto text = callPython(str, failure.value()).cast<std::string>();
            if (!text.empty())
                return text;
        }
        const py::object format = py::module_::import("traceback").attr("format_exception_only");
        return withoutLineEnd(joined(callPython(format, failure.type(), failure.value())));
    } catch (py::error_already_set& broken) {
        return broken.what();
    }
}

void logFailure(const char* what, const py::error_already_set& failure) {
    VARNEK_LOG(pythonLog, warning) << what << ": " << tracebackText(failure);
}

void reportUnraisable(const char* what, py::error_already_set& failure, py::handle origin) {
    logFailure(what, failure);
    const bool isInterruption = failure.matches(PyExc_KeyboardInterrupt);
    failure.restore();
    orSleep([origin] { PyErr_WriteUnraisable(origin.ptr()); });
    if (isInterruption)
        repeatInterruption();
}

void repeatInterruption() {
    const py::module_ threading = py::module_::import("threading");
    if (callPython(threading.attr("current_thread")).is(callPython(threading.attr("main_thread"))))
        PyErr_SetInterrupt();
}

} // namespace settings::python
