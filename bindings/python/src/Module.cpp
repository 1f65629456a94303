// The extension module vksettings._core. What users import is the package around it.

#include "Engine.hpp"
#include "Errors.hpp"
#include "Events.hpp"
#include "FactoryDefinitions.hpp"
#include "FrontEndCapsule.hpp"
#include "Gil.hpp"
#include "Handle.hpp"
#include "Log.hpp"
#include "PythonReference.hpp"
#include "Watch.hpp"

#include "settingscore/MSettings.hpp"
#include "settingscore/SettingsRoot.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/startup/init.hpp"
#include "varnek/files/PathText.hpp"
#include "varnek/host/LanguageEngine.hpp"

#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <chrono>
#include <exception>
#include <filesystem>
#include <future>
#include <memory>
#include <optional>
#include <thread>

namespace py = pybind11;

namespace settings::python {

using core::MSettings;
using core::RootIndex;

namespace {

RootIndex treeOf(std::int32_t index) {
    return index == 0 ? RootIndex(core::DefaultRootIndex()) : RootIndex(index, true, false);
}

/// Has the engine call `work` without arguments; False when it has stopped.
bool post(const py::function& work) {
    return Engine::instance().post([reference = PythonReference(work)] {
        const GilLock gil;
        try {
            callPython(reference.get());
        } catch (py::error_already_set& failure) {
            reportUnraisable("work on the engine's thread", failure, reference.get());
        }
    });
}

/// Ends what calls Python. Waits for running calls; a signal's handler may raise, and the wait is over.
void stop() {
    auto isDone = std::make_shared<std::promise<void>>();
    auto done = isDone->get_future();
    std::thread([isDone] { // which stays behind after an interruption
        try {
            endSubscriptions();
            Engine::instance().stop();
            isDone->set_value();
        } catch (...) {
            isDone->set_exception(std::current_exception());
        }
    })
        .detach();
    constexpr std::chrono::milliseconds betweenSignals{20};
    while (withoutGil([&] { return done.wait_for(betweenSignals); }) != std::future_status::ready)
        if (orSleep(&PyErr_CheckSignals) != 0)
            throw py::error_already_set();
    done.get();
}

boost::optional<std::u16string> folder(const std::optional<std::filesystem::path>& path) {
    return path ? boost::make_optional(varnek::files::utf16FromPath(*path)) : boost::none;
}

void defineTrees(py::module_& module) {
    using namespace py::literals;
    using Folder = std::optional<std::filesystem::path>;
    module.def(
        "root",
        [](std::int32_t index) {
            return toHandle(withoutGil([&] { return MSettings::getMSettingsRoot(treeOf(index)); }));
        },
        "index"_a = 0, "The root of a tree; that of the application is built on first use.");
    module.def(
        "createTree",
        [](std::int32_t index) {
            return withoutGil([&] { return MSettings::createEmptySettingsFor(treeOf(index)); });
        },
        "index"_a, "Makes a tree without groups. False when there is one of that index.");
    module.def(
        "reset", [] { return toHandle(withoutGil([] { return MSettings::reset(); })); },
        "Builds the application's tree anew from its files and returns its root.");
    module.def(
        "setFolders",
        [](const Folder& factory, const Folder& installation, const Folder& user, const Folder& workgroup,
           std::int32_t index) {
            withoutGil([&] {
                MSettings::setSettingsFileLocation(treeOf(index), folder(factory), folder(installation),
                                                   folder(user), folder(workgroup));
            });
        },
        py::kw_only(), "factory"_a = py::none(), "installation"_a = py::none(), "user"_a = py::none(),
        "workgroup"_a = py::none(), "index"_a = 0,
        "Sets folders of one tree in place of those of the process; before it is built.");
    module.def(
        "loadProblems",
        [](std::int32_t index) {
            py::list problems;
            for (const auto& problem :
                 withoutGil([&] { return core::detail::getLoadProblems(treeOf(index)); }))
                problems.append(py::make_tuple(problem.file, problem.message));
            return problems;
        },
        "index"_a = 0, "Files that could not be used for a tree, as (file, message).");
    module.def(
        "waitForSaves", [] { withoutGil(&core::waitForSettingsSaves); },
        "Waits until all that was changed has been written, or could not be; the end of the process does so "
        "too.");
}

void defineEngine(py::module_& module) {
    module.def("isEngineThread", &varnek::host::isLanguageEngineThread,
               "Whether this is the thread on which functions of the language run.");
    module.def("post", &post);
    module.def("stop", &stop);
    module.def("beforeFork", [] { Engine::instance().beforeFork(); });
    module.def("afterForkInParent", [] { Engine::instance().afterForkInParent(); });
    module.def("afterForkInChild", [] { Engine::instance().afterForkInChild(); });
    module.attr("frontEnd") = frontEndCapsule();
}

} // namespace
} // namespace settings::python

PYBIND11_MODULE(_core, module) {
    settings::core::init();
    namespace python = settings::python;
    python::registerErrors();
    python::defineEvents(module);
    python::defineHandle(module);
    python::defineTrees(module);
    python::defineFactoryDefinitions(module);
    python::defineWatch(module);
    python::defineEngine(module);
    python::Engine::instance().start();
}
