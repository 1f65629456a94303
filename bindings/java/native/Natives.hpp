/// The native methods of vksettings.Natives, by subject, and what is registered with the settings library.
#pragma once

#include <jni.h>

#include <span>

namespace vksettings::java {

/// An entry for JNI, which takes texts that it does not change as `char*`.
template <class Function>
JNINativeMethod nativeMethod(const char* name, const char* signature, Function* function) {
    return {const_cast<char*>(name), const_cast<char*>(signature), reinterpret_cast<void*>(function)};
}

/// Reading, setting and browsing.
std::span<const JNINativeMethod> settingsMethods();
/// Listeners, and following the personal files.
std::span<const JNINativeMethod> eventMethods();

/// From now on validation functions and run-time defaults of the language "JAVA" are static methods of this
/// machine.
void registerFunctions();

} // namespace vksettings::java
