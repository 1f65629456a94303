#include "Machine.hpp"

#include <pthread.h>

#include <atomic>
#include <cstring>
#include <system_error>

namespace vksettings::java {

namespace {

std::atomic<JavaVM*> machineOfProcess = nullptr;
constexpr char writerName[] = "PrefdirWriter";
pthread_key_t attachedThreads; // its value is the machine that a thread was attached to here

// Runs after the thread's thread_local objects are gone, which may still release references.
void detachThread(void* machine) {
    static_cast<JavaVM*>(machine)->DetachCurrentThread();
}

JNIEnv* currentEnvironment(JavaVM& machine) noexcept {
    void* env = nullptr;
    return machine.GetEnv(&env, JNI_VERSION_10) == JNI_OK ? static_cast<JNIEnv*>(env) : nullptr;
}

JNIEnv& attachThread(JavaVM& machine) {
    char name[16] = "settings";
    if (isWriterThread())
        std::strcpy(name, writerName); // lives as long as the machine
    JavaVMAttachArgs arguments{JNI_VERSION_10, name, nullptr};
    void* env = nullptr;
    if (machine.AttachCurrentThreadAsDaemon(&env, &arguments) != JNI_OK)
        throw MachineGone();
    if (pthread_setspecific(attachedThreads, &machine) != 0) {
        machine.DetachCurrentThread();
        throw MachineGone();
    }
    return *static_cast<JNIEnv*>(env);
}

} // namespace

bool isWriterThread() noexcept {
    char name[16];
    return pthread_getname_np(pthread_self(), name, sizeof name) == 0 && std::strcmp(name, writerName) == 0;
}

void setMachine(JavaVM& machine) {
    if (const int error = pthread_key_create(&attachedThreads, detachThread))
        throw std::system_error(error, std::generic_category());
    machineOfProcess = &machine;
}

JNIEnv& environment() {
    JavaVM* const machine = machineOfProcess;
    if (machine == nullptr)
        throw MachineGone();
    JNIEnv* const env = currentEnvironment(*machine);
    return env != nullptr ? *env : attachThread(*machine);
}

jthrowable takeException(JNIEnv& env) noexcept {
    jthrowable const thrown = env.ExceptionOccurred();
    env.ExceptionClear();
    return thrown;
}

GlobalRef::GlobalRef(JNIEnv& env, jobject object)
    : object_(object == nullptr ? nullptr : env.NewGlobalRef(object)) {
    if (object != nullptr && object_ == nullptr) {
        check(env);
        throw std::bad_alloc();
    }
}

GlobalRef::~GlobalRef() {
    if (object_ == nullptr)
        return;
    try {
        environment().DeleteGlobalRef(object_); // allowed while an exception is pending
    } catch (const MachineGone&) {
    }
}

} // namespace vksettings::java
