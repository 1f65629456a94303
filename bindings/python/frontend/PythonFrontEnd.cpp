// Brings Python into a program of another language: starts an interpreter and the engine of the module
// vksettings.

#include "../src/FrontEndCapsule.hpp"
#include "../src/Gil.hpp"

#include "settingscore/plugin/FrontEnd.hpp"
#include "settingscore/plugin/SettingsPlugin.hpp"
#include "varnek/host/Executable.hpp"

#include <dlfcn.h>

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

SETTINGS_PLUGIN_LIBRARY

namespace py = pybind11;

namespace settings::python {

namespace {

/// Modules in C that Python loads do not name the library of the interpreter; they find it only when its
/// symbols are visible to all.
void showInterpreterToModules() {
    Dl_info library{};
    if (::dladdr(reinterpret_cast<const void*>(&Py_InitializeFromConfig), &library) == 0 ||
        ::dlopen(library.dli_fname, RTLD_LAZY | RTLD_GLOBAL | RTLD_NOLOAD) == nullptr)
        throw std::runtime_error("the library of Python cannot be shown to its modules");
}

void check(const PyStatus& status) {
    if (PyStatus_Exception(status) != 0)
        throw std::runtime_error(status.err_msg == nullptr ? "Python cannot be started" : status.err_msg);
}

/// Signals stay with the program, and nothing is imported from the current folder.
class Configuration {
  public:
    Configuration() {
        PyConfig_InitPythonConfig(&config_);
        config_.install_signal_handlers = 0;
        config_.parse_argv = 0;
    }
    Configuration(const Configuration&) = delete;
    Configuration& operator=(const Configuration&) = delete;
    ~Configuration() { PyConfig_Clear(&config_); }

    void start() {
        check(PyConfig_SetBytesString(&config_, &config_.program_name, PYTHON_PROGRAM));
        check(Py_InitializeFromConfig(&config_));
    }

  private:
    PyConfig config_{};
};

std::filesystem::path packageFolder() {
    const auto plugin = varnek::host::modulePathOf(reinterpret_cast<const void*>(&packageFolder));
    return (plugin.parent_path() / PACKAGE_FROM_PLUGIN).lexically_normal();
}

/// With the interpreter lock.
const FrontEndFunctions& importModule() {
    try {
        const py::object path = py::module_::import("sys").attr("path");
        path.attr("insert")(0, packageFolder().string());
        const py::capsule capsule = py::module_::import("vksettings").attr("_core").attr("frontEnd");
        return *capsule.get_pointer<const FrontEndFunctions>();
    } catch (const py::error_already_set& failure) {
        throw std::runtime_error(failure.what());
    }
}

class PythonFrontEnd : public plugin::FrontEnd {
  public:
    PythonFrontEnd() {
        if (Py_IsInitialized() != 0) { // the program has Python already, and ends it itself
            const GilLock gil;
            functions_ = &importModule();
            return;
        }
        showInterpreterToModules();
        Configuration().start();
        try {
            functions_ = &importModule();
        } catch (...) {
            Py_FinalizeEx();
            throw;
        }
        ended_ = PyEval_SaveThread();
    }
    PythonFrontEnd(const PythonFrontEnd&) = delete;
    PythonFrontEnd& operator=(const PythonFrontEnd&) = delete;
    /// Python's own exit functions stop the engine.
    ~PythonFrontEnd() override {
        if (ended_ == nullptr)
            return;
        PyEval_RestoreThread(ended_);
        Py_FinalizeEx();
    }

    void run(const std::function<void()>& job) override { functions_->run(job); }

  private:
    const FrontEndFunctions* functions_ = nullptr;
    PyThreadState* ended_ = nullptr; // of the thread that started the interpreter; null: not ours
};

} // namespace
} // namespace settings::python

SETTINGS_PLUGIN_FUNCTION void settingsFrontEnd(std::unique_ptr<settings::plugin::FrontEnd>& frontEnd) {
    frontEnd = std::make_unique<settings::python::PythonFrontEnd>();
}
