// A host in C++ that starts the Java machine when a function of that language is needed for the first time.

#include "settingscore/Settings.hpp"
#include "settingscore/SettingsRoot.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/startup/init.hpp"
#include "settingscore/validation/FunctionValidators.hpp"

#include <gtest/gtest.h>

#include <jni.h>

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace settings::core;

JavaVM* machine = nullptr;

std::string option(const char* prefix, const char* variable) {
    const char* const value = std::getenv(variable);
    if (value == nullptr)
        throw std::runtime_error(variable);
    return std::string(prefix) + value;
}

/// Starts the machine, and the front end in it; the text is why that failed.
std::u16string startJava() {
    std::string library = option("-Dvksettings.library=", "VKSETTINGS_LIBRARY");
    std::string classes = option("-Djava.class.path=", "VKSETTINGS_CLASSPATH");
    std::string check = "-Xcheck:jni";
    JavaVMOption options[] = {{library.data(), nullptr}, {classes.data(), nullptr}, {check.data(), nullptr}};
    JavaVMInitArgs arguments{JNI_VERSION_10, 3, options, JNI_FALSE};
    void* pointer = nullptr;
    if (JNI_CreateJavaVM(&machine, &pointer, &arguments) != JNI_OK)
        return u"no machine";
    auto& env = *static_cast<JNIEnv*>(pointer);
    jclass const settings = env.FindClass("vksettings/Settings");
    if (settings == nullptr)
        return u"no classes";
    jmethodID const root = env.GetStaticMethodID(settings, "root", "()Lvksettings/Settings;");
    env.CallStaticObjectMethod(settings, root);
    return env.ExceptionCheck() == JNI_TRUE ? u"no library" : u"";
}

boost::shared_ptr<Settings> group() {
    settings::core::init();
    return detail::getSettingsRoot(DefaultRootIndex())->getSettingsByFullName("javatest");
}

/// What a method of vksettings.test.Host answers.
jint ask(const char* method) {
    JNIEnv* env = nullptr;
    machine->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_10);
    jclass const host = env->FindClass("vksettings/test/Host");
    const jint answer = env->CallStaticIntMethod(host, env->GetStaticMethodID(host, method, "()I"));
    return env->ExceptionCheck() == JNI_TRUE ? -1 : answer;
}

// One test, since a process has one machine.
TEST(JavaInAHost, BecomesReadyOnDemandAndIsCalledFromAnyThread) {
    EXPECT_THROW(group()->set("even", 4.0, "session"),
                 VARNEK::settings::core::JVMNotReadyForProcessingJavaFunction);
    JValidator::setJValInitializer([] { return std::u16string(u"not today"); });
    EXPECT_THROW(group()->set("even", 4.0, "session"),
                 VARNEK::settings::core::JVMNotReadyForProcessingJavaFunction);

    JValidator::setJValInitializer(startJava);
    group()->set("even", 4.0, "session");
    EXPECT_EQ(group()->get<double>("even"), 4.0);
    try {
        group()->set("even", 5.0, "session");
        FAIL();
    } catch (const exception::ExceptionFromValidationFunction& refusal) {
        EXPECT_EQ(refusal.getCause(), u"5.0 is odd – pick an even one");
        EXPECT_EQ(refusal.getPackageName(), "vksettings.test.Toolbox");
        EXPECT_EQ(refusal.getKeyName(), "even");
        EXPECT_EQ(refusal.getValue(), varnek::data::Array::scalar(5.0));
        EXPECT_EQ(refusal.getCausingObjectParent()->getFullName(), "javatest");
        const auto copy = refusal.clone();
        EXPECT_THROW(copy->rethrow(), exception::ExceptionFromValidationFunction);
    }
    EXPECT_THROW(group()->set("noClass", 4.0, "session"), exception::ValidationFunctionInvokingError);

    EXPECT_EQ(ask("listen"), 0);
    using varnek::data::Array;
    const Array twoRows =
        Array::make<char16_t>({2, 1}, {u'a', u'b'}); // no text, so its cell has no form in Java
    group()->set("free", Array::make<Array>({1, 1}, {twoRows}), "session");
    EXPECT_EQ(ask("formless"), 0); // there was no value before
    group()->set("free", 1.0, "session");
    EXPECT_EQ(ask("formless"), 1);
    group()->unset("free", "session");
    EXPECT_EQ(ask("formless"), 1);

    constexpr int count = 4;
    std::vector<std::thread> threads;
    for (int t = 0; t < count; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < 50; ++i) {
                group()->set("even", 100.0 * t + 2.0 * i, "session");
                EXPECT_THROW(group()->set("even", 1.0, "session"),
                             exception::ExceptionFromValidationFunction);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_GE(ask("attachedMost"), 1);
    EXPECT_EQ(ask("heard"), count * 50);
    EXPECT_EQ(ask("attachedThreads"), 0);
}

} // namespace
