/// The Java machine, as native code sees it: the environment of a thread, references, pending exceptions.
///
/// A thread of this process that calls Java is attached as a daemon thread on its first call and detached
/// when it ends. Nothing here is called with a Java exception pending, except takeException.
#pragma once

#include <jni.h>

#include <stdexcept>
#include <utility>

namespace vksettings::java {

/// Whether this thread is the library's own that writes the files.
bool isWriterThread() noexcept;

/// A Java exception is pending on this thread. Thrown to get back to the caller in Java, which receives it.
struct PendingException {};

/// The machine takes no more calls.
class MachineGone : public std::runtime_error {
  public:
    MachineGone() : std::runtime_error("the Java machine takes no calls from this thread") {}
};

/// Set once, when the library is loaded.
void setMachine(JavaVM& machine);

/// The environment of this thread, attached when it is not. MachineGone.
JNIEnv& environment();

/// PendingException when one is.
inline void check(JNIEnv& env) {
    if (env.ExceptionCheck() == JNI_TRUE)
        throw PendingException();
}
/// The result of a JNI function that gives null when it fails.
template <class Reference>
Reference checked(JNIEnv& env, Reference reference) {
    if (reference == nullptr) {
        check(env);
        throw std::runtime_error("a call of the Java machine failed without a reason");
    }
    return reference;
}

/// The pending exception, which is pending no longer; null without one. A local reference.
jthrowable takeException(JNIEnv& env) noexcept;

/// Local references made while it lives are dropped with it.
class LocalFrame {
  public:
    explicit LocalFrame(JNIEnv& env, jint capacity = 16) : env_(env) {
        if (env.PushLocalFrame(capacity) != 0)
            throw PendingException();
    }
    LocalFrame(const LocalFrame&) = delete;
    LocalFrame& operator=(const LocalFrame&) = delete;
    ~LocalFrame() { env_.PopLocalFrame(nullptr); }

  private:
    JNIEnv& env_;
};

/// Keeps a Java object alive; may be dropped on any thread. Dropped after the machine has ended, it does
/// nothing.
class GlobalRef {
  public:
    /// PendingException when there is no memory. A null object gives a null reference.
    GlobalRef(JNIEnv& env, jobject object);
    GlobalRef(const GlobalRef&) = delete;
    GlobalRef& operator=(const GlobalRef&) = delete;
    ~GlobalRef();

    jobject get() const noexcept { return object_; }

  private:
    jobject object_;
};

} // namespace vksettings::java
