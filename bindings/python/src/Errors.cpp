#include "Errors.hpp"

#include "Gil.hpp"
#include "Log.hpp"
#include "Texts.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/exception/Exceptions.hpp"

#include <boost/core/demangle.hpp>

#include <stdexcept>
#include <string>
#include <tuple>
#include <typeinfo>
#include <utility>

namespace py = pybind11;

namespace settings::python {

namespace ex = core::exception;
using varnek::exception::Exception;

namespace {

/// Of the last Python function that failed on this thread.
struct KeptCause {
    std::string text;
    PyObject* exception =
        nullptr; // owned; not let go at the end of the thread, which may be after the interpreter's
};
thread_local KeptCause keptCause;

template <class... Failures>
bool isOneOf(const Exception& failure) {
    return ((dynamic_cast<const Failures*>(&failure) != nullptr) || ...);
}

/// The Python class; the first that fits.
const char* className(const Exception& failure) {
    if (isOneOf<ex::NoSuchKey, ex::NoSuchNode, ex::InvalidNodePath, ex::NotAKeyName, ex::NotANodeName,
                ex::ValueNotDefinedForGivenLevel, ex::AttemptToGetValueFromVoid, ex::UnSupportedLevel>(
            failure))
        return "NotFoundError";
    if (isOneOf<ex::CantModifyValuesOnReadOnlyLevel, ex::CannotChangeValueForReadOnlySetting,
                ex::CannotAddRemoveNodeUnderReadOnlyParent, ex::AttemptedRemovalOfFactoryGroupOrSetting>(
            failure))
        return "ReadOnlyError";
    if (isOneOf<ex::ValidationException, core::SettingsException>(failure))
        return "ValidationError";
    if (isOneOf<ex::detail::FunctionFailure, ex::InvalidValidator, ex::MultipleRuntimeFuncError,
                ex::ErrorLoadingLibrary, VARNEK::settings::core::CFunctionNotFound,
                VARNEK::settings::core::JVMNotReadyForProcessingJavaFunction,
                VARNEK::settings::core::VARNEKFuncMustBeInvokedByExecEngine,
                VARNEK::settings::core::ExecEngineNotReadyForProcessingMFunction>(failure))
        return "FunctionError";
    if (isOneOf<ex::ErrorReadingSettingsData, ex::ErrorSaveSettingsDueToFileIOError,
                ex::ErrorWriteToTempSettingsFile, ex::NoFileWritePermission, ex::FileCannotBeOpened,
                ex::FileDoesNotExist, ex::PackageCannotBeOpened, ex::SettingsFileNotWritten,
                ex::ErrorExportOrImportSettingsUsingRelativePath>(failure))
        return "FileError";
    return "SettingsError";
}

/// What an exception knows besides its text.
struct Facts {
    std::string id;
    ex::ObjectHandle object;
    ex::ObjectHandle group; // that a new setting was to stand in
    py::dict details;
    std::string cause; // of a function's failure, as the function said it
};

void addDetails(const Exception& failure, Facts& facts) {
    const auto add = [&](const char* name, const auto& text) { facts.details[name] = pythonText(text); };
    if (const auto* range = dynamic_cast<const ex::ValueIsNotInRange*>(&failure)) {
        add("value", range->getValueToSetStr());
        add("minimum", range->getMinValueStr());
        add("maximum", range->getMaxValueStr());
    } else if (const auto* choice =
                   dynamic_cast<const ex::ValueIsNotOneOfTheChoicesAndNotInRange*>(&failure)) {
        add("value", choice->getValueToSetStr());
        add("choices", choice->getChoicesStr());
    } else if (const auto* size = dynamic_cast<const ex::DataArraySizeOutOfRange*>(&failure)) {
        add("size", size->getActualArraySizeStr());
        add("minimum", size->getMinArraySizeStr());
        add("maximum", size->getMaxArraySizeStr());
    } else if (const auto* refused = dynamic_cast<const ex::ExceptionFromValidationFunction*>(&failure)) {
        add("function", refused->getPackageName() + "." + refused->getFunctionName());
        add("cause", refused->getCause());
    } else if (const auto* call = dynamic_cast<const ex::detail::FunctionCallFailure*>(&failure)) {
        add("function", call->getPackageName() + "." + call->getFunctionName());
        add("cause", call->getCause());
    } else if (const auto* library = dynamic_cast<const ex::ErrorLoadingLibrary*>(&failure)) {
        add("library", library->getLibName());
        add("cause", library->getSystemMessage());
    } else if (const auto* name = dynamic_cast<const ex::detail::NamedObjectFailure*>(&failure)) {
        add("name", name->getInputName());
    } else if (const auto* path = dynamic_cast<const ex::InvalidNodePath*>(&failure)) {
        add("name", path->getInvalidName());
    } else if (const auto* invalid = dynamic_cast<const ex::InvalidSettingOrGroupName*>(&failure)) {
        add("name", invalid->getInputNodeName());
    } else if (const auto* level = dynamic_cast<const ex::UnSupportedLevel*>(&failure)) {
        add("level", level->getInputLevel());
    } else if (const auto* readOnly = dynamic_cast<const ex::CantModifyValuesOnReadOnlyLevel*>(&failure)) {
        add("level", readOnly->getLevelToModify());
    } else if (const auto* unset = dynamic_cast<const ex::ValueNotDefinedForGivenLevel*>(&failure)) {
        add("level", unset->getLevel());
    }
}

Facts factsOf(const Exception& failure) {
    Facts facts;
    if (const auto* message = dynamic_cast<const varnek::catalogue::CatalogueException*>(&failure)) {
        facts.id = message->identifier();
    } else if (const auto* own = dynamic_cast<const core::SettingsException*>(&failure)) {
        facts.id = own->msgId();
        facts.cause = own->what();
    } else {
        const std::string name = boost::core::demangle(typeid(failure).name());
        facts.id = name.substr(name.rfind(':') + 1);
    }
    if (const auto* value = dynamic_cast<const ex::ValidationException*>(&failure))
        std::tie(facts.object, facts.group) =
            std::pair(value->getCausingObject(), value->getCausingObjectParent());
    else if (const auto* object = dynamic_cast<const ex::detail::ObjectFailure*>(&failure))
        facts.object = object->getObjectInvovled();
    else if (const auto* causing = dynamic_cast<const ex::detail::CausingObjectFailure*>(&failure))
        facts.object = causing->getCausingObject();
    addDetails(failure, facts);
    if (facts.details.contains("cause"))
        facts.cause = facts.details["cause"].cast<std::string>();
    return facts;
}

/// One that was refused when it was to be added stands in no group any more.
std::string fullNameOf(const core::Settings& object, const ex::ObjectHandle& group) {
    const bool isAlone = group != nullptr && !object.isRoot() && object.getParent() == nullptr;
    return (isAlone ? group->getFullName() + "." : std::string()) + object.getFullName();
}

void raise(const Exception& failure) {
    Facts facts = factsOf(failure);
    py::object setting = py::none();
    if (facts.object != nullptr)
        setting = pythonText(withoutGil([&] { return fullNameOf(*facts.object, facts.group); }));
    const py::object type = py::module_::import("vksettings.errors").attr(className(failure));
    const py::object raised = callPython(type, pythonText(std::string_view(failure.what())),
                                         pythonText(std::string_view(facts.id)), setting, facts.details);
    if (keptCause.exception != nullptr && !facts.cause.empty() && facts.cause == keptCause.text)
        raised.attr("__cause__") =
            py::reinterpret_steal<py::object>(std::exchange(keptCause.exception, nullptr));
    PyErr_SetObject(type.ptr(), raised.ptr());
}

void raiseUnknown() {
    const py::object type = py::module_::import("vksettings.errors").attr("FunctionError");
    PyErr_SetObject(type.ptr(), callPython(type, "a function ends with an unknown failure", "Unknown").ptr());
}

} // namespace

void registerErrors() {
    py::register_exception_translator([](std::exception_ptr failure) {
        const auto raised = [](auto raise) {
            try {
                raise();
            } catch (py::error_already_set& broken) {
                broken.restore();
            }
        };
        try {
            std::rethrow_exception(std::move(failure));
        } catch (const Exception& known) {
            raised([&] { raise(known); });
        } catch (const std::out_of_range& empty) { // a name without a first character
            PyErr_SetString(PyExc_ValueError, empty.what());
        } catch (const std::exception&) {
            throw;      // others know it
        } catch (...) { // what a function of a plug-in may throw
            raised([] { raiseUnknown(); });
        }
    });
}

void keepCause(const py::error_already_set& failure) {
    Py_XDECREF(keptCause.exception);
    keptCause.text = failureText(failure);
    keptCause.exception = failure.value() ? failure.value().inc_ref().ptr() : nullptr;
    if (keptCause.exception != nullptr && failure.trace())
        PyException_SetTraceback(keptCause.exception, failure.trace().ptr());
}

} // namespace settings::python
