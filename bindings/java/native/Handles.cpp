#include "Handles.hpp"

#include "Classes.hpp"

#include <boost/pointer_cast.hpp>

#include <memory>

namespace vksettings::java {

SettingsHandle handleOf(JNIEnv& env, jobject settings) {
    if (settings == nullptr)
        throw std::invalid_argument("a Settings object is null");
    return SettingsCell::at(env.GetLongField(settings, classes().settingsCell)).get();
}

jobject javaSettings(JNIEnv& env, SettingsHandle handle) {
    if (handle == nullptr)
        return nullptr;
    auto cell = std::make_unique<SettingsCell>(std::move(handle));
    jobject const object = env.CallStaticObjectMethod(classes().upcalls, classes().wrap, cell->address());
    if (env.ExceptionCheck() == JNI_TRUE)
        throw PendingException();
    static_cast<void>(cell.release()); // the Java object's cleaner frees it
    return object;
}

jobject javaSettings(JNIEnv& env, const boost::shared_ptr<const settings::core::Settings>& handle) {
    // Every handle is made as one that may change its node; events and validators only hand it on as
    // constant.
    return javaSettings(env, boost::const_pointer_cast<settings::core::Settings>(handle));
}

} // namespace vksettings::java
