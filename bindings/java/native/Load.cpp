// Called by the Java machine when vksettings.Natives loads this library. It is never unloaded, see
// Classes.hpp.

#include "Classes.hpp"
#include "Failures.hpp"
#include "Natives.hpp"

namespace {

using namespace vksettings::java;

void registerMethods(JNIEnv& env, std::span<const JNINativeMethod> methods) {
    const LocalFrame frame(env);
    jclass const natives = checked(env, env.FindClass("vksettings/Natives"));
    env.RegisterNatives(natives, methods.data(), static_cast<jint>(methods.size()));
    check(env);
}

} // namespace

extern "C" JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM* machine, void*) {
    void* env = nullptr;
    if (machine->GetEnv(&env, JNI_VERSION_10) != JNI_OK)
        return JNI_ERR;
    return guarded(*static_cast<JNIEnv*>(env), [&]() -> jint {
        setMachine(*machine);
        loadClasses(*static_cast<JNIEnv*>(env));
        registerMethods(*static_cast<JNIEnv*>(env), settingsMethods());
        registerMethods(*static_cast<JNIEnv*>(env), eventMethods());
        registerFunctions();
        return JNI_VERSION_10;
    });
}
