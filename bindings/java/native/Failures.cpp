#include "Failures.hpp"

#include "Cell.hpp"
#include "Classes.hpp"
#include "Text.hpp"
#include "Values.hpp"

#include "opc/PackageError.hpp"
#include "settingscore/FactoryFileLocation.hpp"
#include "settingscore/Settings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/PathText.hpp"

#include <boost/any.hpp>
#include <boost/core/demangle.hpp>
#include <boost/numeric/conversion/cast.hpp>

#include <new>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace vksettings::java {

namespace {

namespace ex = settings::core::exception;
namespace messages = VARNEK::settings::core;
namespace any = settingscore::boostany;

/// The class of the Java exception; vksettings.Upcalls.failure knows the same numbers.
enum class Kind : jint {
    other = 0,
    notFound = 1,
    validation = 2,
    readOnly = 3,
    noValue = 4,
    conversion = 5,
    function = 6,
    file = 7,
    notReady = 8,
    illegalArgument = 9,
    illegalState = 10,
    outOfMemory = 11,
};

template <class... Classes>
bool isAny(const std::exception& failure) {
    return ((dynamic_cast<const Classes*>(&failure) != nullptr) || ...);
}

bool isOfFile(const std::exception& failure) {
    return isAny<ex::ErrorReadingSettingsData, ex::ErrorSaveSettingsDueToFileIOError,
                 ex::ErrorWriteToTempSettingsFile, ex::FileCannotBeOpened, ex::FileDoesNotExist,
                 ex::PackageCannotBeOpened, ex::SettingsFileNotWritten, settings::core::MalformedLocationFile,
                 opc::PackageError, varnek::files::FileError, std::system_error>(failure);
}

Kind kindOf(const std::exception& failure) {
    if (isAny<ex::ValidationException, settings::core::SettingsException>(
            failure)) // a plug-in refuses by the second
        return Kind::validation;
    if (isAny<ex::NoSuchKey, ex::NoSuchNode, ex::InvalidNodePath, ex::NotAKeyName, ex::NotANodeName,
              ex::UnSupportedLevel>(failure))
        return Kind::notFound;
    if (isAny<ex::CantModifyValuesOnReadOnlyLevel, ex::CannotChangeValueForReadOnlySetting,
              ex::CannotAddRemoveNodeUnderReadOnlyParent, ex::AttemptedRemovalOfFactoryGroupOrSetting,
              ex::NoFileWritePermission>(failure))
        return Kind::readOnly;
    if (isAny<ex::AttemptToGetValueFromVoid, ex::ValueNotDefinedForGivenLevel>(failure))
        return Kind::noValue;
    if (isAny<messages::DataTypeNotMatch, messages::UnconvertibleType, any::UnsupportedAnyType,
              any::detail::EmptyVectorCastToScalar, any::detail::TypeNotMatch, boost::bad_any_cast,
              boost::numeric::bad_numeric_cast, NoJavaForm>(failure))
        return Kind::conversion;
    if (isAny<ex::detail::FunctionFailure, ex::ErrorLoadingLibrary, ex::InvalidValidator,
              ex::MultipleRuntimeFuncError, messages::CFunctionNotFound>(failure))
        return Kind::function;
    if (isAny<messages::JVMNotReadyForProcessingJavaFunction,
              messages::ExecEngineNotReadyForProcessingMFunction,
              messages::VARNEKFuncMustBeInvokedByExecEngine, messages::SettingsLibraryNotInitialized>(
            failure))
        return Kind::notReady;
    if (isOfFile(failure))
        return Kind::file;
    if (isAny<IllegalState>(failure))
        return Kind::illegalState;
    if (isAny<std::logic_error>(failure))
        return Kind::illegalArgument;
    return isAny<std::bad_alloc>(failure) ? Kind::outOfMemory : Kind::other;
}

/// What identifies the failure, whatever the language of its text: the message identifier, or the class's own
/// name.
std::string identifierOf(const std::exception& failure) {
    if (const auto* const message = dynamic_cast<const varnek::catalogue::CatalogueException*>(&failure))
        return message->identifier();
    if (const auto* const own = dynamic_cast<const settings::core::SettingsException*>(&failure))
        return own->msgId();
    const std::type_info& type = isAny<RefusedByJava>(failure) ? typeid(ex::ExceptionFromValidationFunction)
                                 : isAny<JavaValidatorNotCalled>(failure)
                                     ? typeid(ex::ValidationFunctionInvokingError)
                                     : typeid(failure);
    const std::string name = boost::core::demangle(type.name());
    const std::size_t scope = name.rfind("::");
    return scope == std::string::npos ? name : name.substr(scope + 2);
}

ex::ObjectHandle objectOf(const std::exception& failure) {
    if (const auto* const refusal = dynamic_cast<const ex::ValidationException*>(&failure))
        return refusal->getCausingObject();
    if (const auto* const about = dynamic_cast<const ex::detail::ObjectFailure*>(&failure))
        return about->getObjectInvovled();
    if (const auto* const causing = dynamic_cast<const ex::detail::CausingObjectFailure*>(&failure))
        return causing->getCausingObject();
    return nullptr;
}

/// The full name; empty without an object. One that was refused when it was to be added stands in no group
/// any more.
std::string objectName(const std::exception& failure) {
    const ex::ObjectHandle object = objectOf(failure);
    if (object == nullptr)
        return {};
    const auto* const refusal = dynamic_cast<const ex::ValidationException*>(&failure);
    const ex::ObjectHandle group = refusal == nullptr ? nullptr : refusal->getCausingObjectParent();
    const bool isAlone = group != nullptr && !object->isRoot() && object->getParent() == nullptr;
    return (isAlone ? group->getFullName() + "." : std::string()) + object->getFullName();
}

/// What the fixed text leaves out: names of facts and the facts, by turns.
class Details {
  public:
    explicit Details(const std::exception& failure) : failure_(failure) {
        on<ex::ValueIsNotInRange>([this](const auto& f) {
            add("value", f.getValueToSetStr());
            add("minimum", f.getMinValueStr());
            add("maximum", f.getMaxValueStr());
        });
        on<ex::ValueIsNotOneOfTheChoicesAndNotInRange>([this](const auto& f) {
            add("value", f.getValueToSetStr());
            add("choices", f.getChoicesStr());
        });
        on<ex::DataArraySizeOutOfRange>([this](const auto& f) {
            add("size", f.getActualArraySizeStr());
            add("minimum", f.getMinArraySizeStr());
            add("maximum", f.getMaxArraySizeStr());
        });
        const auto addCall = [this](const auto& f) {
            add("function", f.getPackageName() + "." + f.getFunctionName());
            add("cause", f.getCause());
        };
        on<ex::ExceptionFromValidationFunction>(addCall);
        on<ex::detail::FunctionCallFailure>(addCall);
        on<ex::ErrorLoadingLibrary>([this](const auto& f) {
            add("library", f.getLibName());
            add("cause", f.getSystemMessage());
        });
        on<ex::detail::NamedObjectFailure>([this](const auto& f) { add("name", f.getInputName()); });
        on<ex::InvalidNodePath>([this](const auto& f) { add("name", f.getInvalidName()); });
        on<ex::UnSupportedLevel>([this](const auto& f) { add("level", f.getInputLevel()); });
        on<ex::CantModifyValuesOnReadOnlyLevel>(
            [this](const auto& f) { add("level", f.getLevelToModify()); });
        on<ex::ValueNotDefinedForGivenLevel>([this](const auto& f) { add("level", f.getLevel()); });
        on<settings::core::SettingsException>([this](const auto& f) { add("key", f.exceptionKey()); });
    }

    const std::vector<std::u16string>& texts() const { return texts_; }

  private:
    template <class Failure, class Add>
    void on(Add add) {
        if (const auto* const found = dynamic_cast<const Failure*>(&failure_))
            add(*found);
    }
    void add(std::string_view name, std::u16string_view fact) {
        texts_.emplace_back(name.begin(), name.end());
        texts_.emplace_back(fact);
    }
    void add(std::string_view name, std::string_view fact) { add(name, varnek::files::messageUtf16(fact)); }

    const std::exception& failure_;
    std::vector<std::u16string> texts_;
};

jint codeOf(const std::exception& failure) {
    const auto* const refusal = dynamic_cast<const ex::ValidationException*>(&failure);
    return refusal == nullptr ? -1 : static_cast<jint>(refusal->getErrorCode());
}

void raise(JNIEnv& env, Kind kind, std::string_view identifier, std::string_view text,
           const std::string& object = {}, const std::vector<std::u16string>& details = {}, jint code = -1,
           jthrowable cause = nullptr) {
    const LocalFrame frame(env);
    auto* const failure = static_cast<jthrowable>(env.CallStaticObjectMethod(
        classes().upcalls, classes().failure, static_cast<jint>(kind), javaName(env, identifier),
        javaName(env, text), javaName(env, object), javaTexts(env, details), code, cause));
    check(env);
    env.Throw(failure);
}

void raise(JNIEnv& env, const std::exception& failure) {
    const auto* const ofJava = dynamic_cast<const FromJava*>(&failure);
    raise(env, kindOf(failure), identifierOf(failure), failure.what(), objectName(failure),
          Details(failure).texts(), codeOf(failure), ofJava == nullptr ? nullptr : ofJava->thrown());
}

void raiseOutOfMemory(JNIEnv& env) noexcept {
    if (env.ExceptionCheck() == JNI_TRUE)
        return;
    if (jclass const error = env.FindClass("java/lang/OutOfMemoryError"))
        env.ThrowNew(error, "the settings library has no memory");
}

} // namespace

void raiseInJava(JNIEnv& env) noexcept {
    try {
        try {
            throw;
        } catch (const PendingException&) {
        } catch (const std::exception& failure) {
            raise(env, failure);
        } catch (...) {
            raise(env, Kind::other, "Unknown", "an exception of an unknown class");
        }
    } catch (...) { // no memory for the exception; one may be pending already
        raiseOutOfMemory(env);
    }
}

} // namespace vksettings::java
