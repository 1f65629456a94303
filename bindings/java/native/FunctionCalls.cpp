#include "Classes.hpp"
#include "Failures.hpp"
#include "Handles.hpp"
#include "Natives.hpp"
#include "Text.hpp"
#include "Values.hpp"

#include "settingscore/validation/FunctionValidators.hpp"
#include "settingscore/validation/RunTimeDefaults.hpp"

#include <typeinfo>

namespace vksettings::java {

namespace {

using settings::core::Settings;
using varnek::data::Array;
using varnek::data::TypeCode;

/// What vksettings.CallFailure says.
struct CallFailure {
    std::shared_ptr<const GlobalRef> thrown;
    std::u16string reason;
    bool isOfFunction = false; ///< an exception that the function itself has thrown
};

CallFailure callFailureOf(JNIEnv& env, jobject failure) {
    CallFailure result;
    result.thrown =
        std::make_shared<const GlobalRef>(env, env.GetObjectField(failure, classes().failureThrown));
    result.reason = textOf(env, static_cast<jstring>(env.GetObjectField(failure, classes().failureReason)));
    result.isOfFunction = env.GetBooleanField(failure, classes().failureIsOfFunction) == JNI_TRUE;
    return result;
}

/// Calls Java with a frame of its own; a Java exception that is left over (there was no memory for the call)
/// becomes a failure of `Failure`, whose arguments are package, function and reason.
template <class Failure, class Body>
auto called(const std::string& package, const std::string& function, Body body) {
    JNIEnv& env = environment();
    try {
        const LocalFrame frame(env);
        return body(env);
    } catch (const PendingException&) {
        jthrowable const thrown = takeException(env);
        auto kept = std::make_shared<const GlobalRef>(env, thrown);
        env.DeleteLocalRef(thrown);
        throw Failure(std::move(kept), package, function, u"Java could not make the call");
    }
}

void validate(const std::string& package, const std::string& function,
              const boost::shared_ptr<const Settings>& setting, const std::string& key,
              const boost::any& value) {
    const settingscore::boostany::ShapedArray shaped = settingscore::boostany::toArray(value);
    called<JavaValidatorNotCalled>(package, function, [&](JNIEnv& env) {
        jobject const failure = env.CallStaticObjectMethod(
            classes().upcalls, classes().validate, javaName(env, package), javaName(env, function),
            javaSettings(env, setting), javaName(env, key), javaValue(env, shaped.first, shaped.second));
        check(env);
        if (failure == nullptr)
            return;
        const CallFailure call = callFailureOf(env, failure);
        if (!call.isOfFunction)
            throw JavaValidatorNotCalled(call.thrown, package, function, call.reason);
        throw RefusedByJava(call.thrown, setting, setting == nullptr ? nullptr : setting->getParent(),
                            package, function, key, shaped.first, call.reason);
    });
}

/// Whether a generic value can hold the array: one value, one text, or a row of them.
bool fitsGenericValue(const Array& array) {
    const auto dimensions = array.dimensions();
    return array.type() != TypeCode::cell && dimensions.size() == 2 &&
           (dimensions[0] == 1 || array.numberOfElements() == 0);
}

boost::any runTimeDefault(const std::string& package, const std::string& function) {
    return called<JavaDefaultNotCalled>(package, function, [&](JNIEnv& env) {
        jobject const result = env.CallStaticObjectMethod(classes().upcalls, classes().runTimeDefault,
                                                          javaName(env, package), javaName(env, function));
        check(env);
        if (env.IsInstanceOf(result, classes().callFailure) == JNI_TRUE) {
            const CallFailure call = callFailureOf(env, result);
            throw JavaDefaultNotCalled(call.thrown, package, function, call.reason);
        }
        const auto [array, isVector] = valueOf(env, result);
        if (!fitsGenericValue(array))
            throw settings::core::exception::RuntimeFuncErrorConvertingVxArrayToAny(package, function,
                                                                                    typeid(Array));
        return settingscore::boostany::toAny(array, isVector);
    });
}

} // namespace

void registerFunctions() {
    settings::core::JValidator::setJValProxy(validate);
    settings::core::JRunTimeDefault::setJRuntimeDefaultProxy(runTimeDefault);
}

} // namespace vksettings::java
