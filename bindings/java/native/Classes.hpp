/// The Java classes and members that native code uses, found once when the library is loaded.
#pragma once

#include "Machine.hpp"

namespace vksettings::java {

/// Immutable once loaded. Classes are global references for the life of the process, so that the library,
/// which others in this process call, is never unloaded.
struct Classes {
    jclass string;

    jclass value; ///< vksettings.Value, the form in which arrays cross
    jmethodID newValue;
    jfieldID valueType, valueDimensions, valueData, valueIsVector;

    jclass upcalls; ///< vksettings.Upcalls, all that native code calls
    jmethodID wrap, deliver, validate, runTimeDefault, failure;

    jclass callFailure; ///< vksettings.CallFailure
    jfieldID failureThrown, failureReason, failureIsOfFunction;

    jclass settings;
    jfieldID settingsCell, subscriptionConnection;
};

/// PendingException when a class or member is not there. Called once, before everything else.
void loadClasses(JNIEnv& env);

const Classes& classes() noexcept;

} // namespace vksettings::java
