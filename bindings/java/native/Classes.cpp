#include "Classes.hpp"

namespace vksettings::java {

namespace {

Classes loaded{};

jclass findClass(JNIEnv& env, const char* name) {
    jclass const local = checked(env, env.FindClass(name));
    auto* const kept = static_cast<jclass>(checked(env, env.NewGlobalRef(local)));
    env.DeleteLocalRef(local);
    return kept;
}

/// The members of one class.
class Members {
  public:
    Members(JNIEnv& env, jclass type) : env_(env), type_(type) {}

    jfieldID field(const char* name, const char* signature) const {
        return checked(env_, env_.GetFieldID(type_, name, signature));
    }
    jmethodID constructor(const char* signature) const {
        return checked(env_, env_.GetMethodID(type_, "<init>", signature));
    }
    jmethodID staticMethod(const char* name, const char* signature) const {
        return checked(env_, env_.GetStaticMethodID(type_, name, signature));
    }

  private:
    JNIEnv& env_;
    jclass type_;
};

} // namespace

void loadClasses(JNIEnv& env) {
    Classes found{};
    found.string = findClass(env, "java/lang/String");

    found.value = findClass(env, "vksettings/Value");
    const Members value(env, found.value);
    found.newValue = value.constructor("(I[ILjava/lang/Object;Z)V");
    found.valueType = value.field("type", "I");
    found.valueDimensions = value.field("dimensions", "[I");
    found.valueData = value.field("data", "Ljava/lang/Object;");
    found.valueIsVector = value.field("isVector", "Z");

    found.upcalls = findClass(env, "vksettings/Upcalls");
    const Members upcalls(env, found.upcalls);
    found.wrap = upcalls.staticMethod("wrap", "(J)Lvksettings/Settings;");
    found.deliver = upcalls.staticMethod("deliver", "(Lvksettings/Listener;ILvksettings/Settings;"
                                                    "Lvksettings/Settings;Lvksettings/Value;Z)V");
    found.validate = upcalls.staticMethod(
        "validate", "(Ljava/lang/String;Ljava/lang/String;Lvksettings/Settings;Ljava/lang/String;"
                    "Lvksettings/Value;)Lvksettings/CallFailure;");
    found.runTimeDefault =
        upcalls.staticMethod("runTimeDefault", "(Ljava/lang/String;Ljava/lang/String;)Ljava/lang/Object;");
    found.failure = upcalls.staticMethod(
        "failure", "(ILjava/lang/String;Ljava/lang/String;Ljava/lang/String;[Ljava/lang/String;I"
                   "Ljava/lang/Throwable;)Ljava/lang/Throwable;");

    found.callFailure = findClass(env, "vksettings/CallFailure");
    const Members failure(env, found.callFailure);
    found.failureThrown = failure.field("thrown", "Ljava/lang/Throwable;");
    found.failureReason = failure.field("reason", "Ljava/lang/String;");
    found.failureIsOfFunction = failure.field("isOfFunction", "Z");

    found.settings = findClass(env, "vksettings/Settings");
    found.settingsCell = Members(env, found.settings).field("cell", "J");
    found.subscriptionConnection =
        Members(env, findClass(env, "vksettings/Subscription")).field("connection", "J");
    loaded = found;
}

const Classes& classes() noexcept {
    return loaded;
}

} // namespace vksettings::java
