#include "Classes.hpp"
#include "Failures.hpp"
#include "Handles.hpp"
#include "Natives.hpp"
#include "Text.hpp"
#include "Values.hpp"

#include "settingscore/SettingsRoot.hpp"
#include "settingscore/exception/TreeFailures.hpp"
#include "settingscore/startup/init.hpp"

#include <vector>

namespace vksettings::java {

namespace {

using settings::core::Settings;
using settingscore::boostany::ShapedArray;
using varnek::data::Array;
using varnek::data::TypeCode;

// ---- handles ----

jobject JNICALL root(JNIEnv* env, jclass) {
    return guarded(*env, [&] {
        settings::core::init();
        return javaSettings(*env,
                            settings::core::detail::getSettingsRoot(settings::core::DefaultRootIndex()));
    });
}

jobjectArray JNICALL loadProblems(JNIEnv* env, jclass) {
    return guarded(*env, [&] {
        const auto problems = settings::core::detail::getLoadProblems(settings::core::DefaultRootIndex());
        auto* const texts = checked(
            *env, env->NewObjectArray(static_cast<jsize>(problems.size()), classes().string, nullptr));
        for (std::size_t i = 0; i < problems.size(); ++i) {
            jstring const text = javaName(*env, problems[i].file + ": " + problems[i].message);
            env->SetObjectArrayElement(texts, static_cast<jsize>(i), text);
            env->DeleteLocalRef(text);
        }
        return texts;
    });
}

void JNICALL close(JNIEnv* env, jclass, jobject self) {
    guarded(*env, [&] { SettingsCell::at(env->GetLongField(self, classes().settingsCell)).close(); });
}

void JNICALL freeCell(JNIEnv* env, jclass, jlong cell) {
    guarded(*env, [&] { delete &SettingsCell::at(cell); });
}

jboolean JNICALL isSame(JNIEnv* env, jclass, jobject self, jobject other) {
    return guarded(*env,
                   [&] { return jboolean(Settings::equal(handleOf(*env, self), handleOf(*env, other))); });
}

// ---- values ----

/// The value with its vector flag. A computed value of one element or text is computed once.
ShapedArray shapedValue(const Settings& group, const std::string& name, const std::string& level) {
    for (;;) {
        ShapedArray flat = settingscore::boostany::toArray(group.getAny(name, level));
        if (!flat.second || (flat.first.numberOfElements() == 1 && flat.first.type() != TypeCode::string))
            return flat;
        // Several elements have a shape, and texts may be characters, strings or a cell.
        Array array = group.get(name, level);
        const bool isOneNumber = array.numberOfElements() == 1 && array.type() != TypeCode::string &&
                                 array.type() != TypeCode::character && array.type() != TypeCode::cell;
        if (!isOneNumber) // else it has changed in between
            return {std::move(array), true};
    }
}

jobject JNICALL get(JNIEnv* env, jclass, jobject self, jstring name, jstring level) {
    return guarded(*env, [&] {
        const ShapedArray value = shapedValue(*handleOf(*env, self), nameOf(*env, name), nameOf(*env, level));
        return javaValue(*env, value.first, value.second);
    });
}

jobject JNICALL getArray(JNIEnv* env, jclass, jobject self, jstring name, jstring level) {
    return guarded(*env, [&] {
        const Array array = handleOf(*env, self)->get(nameOf(*env, name), nameOf(*env, level));
        if (array.isVoid())
            throw settings::core::exception::AttemptToGetValueFromVoid();
        return javaValue(*env, array, settingscore::boostany::isVectorShape(array));
    });
}

jobject JNICALL getAs(JNIEnv* env, jclass, jobject self, jstring name, jstring level, jint type,
                      jboolean asVector) {
    return guarded(*env, [&] {
        const SettingsHandle group = handleOf(*env, self);
        const auto typed = [&]<class Element>(std::type_identity<Element>) -> boost::any {
            // Characters make texts.
            using T = std::conditional_t<std::is_same_v<Element, char16_t>, std::u16string, Element>;
            if (asVector == JNI_TRUE)
                return group->get<std::vector<T>>(nameOf(*env, name), nameOf(*env, level));
            return group->get<T>(nameOf(*env, name), nameOf(*env, level));
        };
        const boost::any value = withElementType(static_cast<TypeCode>(type), typed);
        const ShapedArray array = settingscore::boostany::toArray(value);
        return javaValue(*env, array.first, array.second);
    });
}

void JNICALL set(JNIEnv* env, jclass, jobject self, jstring name, jobject value, jstring level) {
    guarded(*env, [&] {
        const SettingsHandle group = handleOf(*env, self);
        const auto [array, isVector] = valueOf(*env, value);
        if (isVector && array.numberOfElements() == 1)
            group->setAny(nameOf(*env, name), settingscore::boostany::toAny(array, true),
                          nameOf(*env, level));
        else
            group->set(nameOf(*env, name), array, nameOf(*env, level));
    });
}

void JNICALL unset(JNIEnv* env, jclass, jobject self, jstring name, jstring level) {
    guarded(*env, [&] { handleOf(*env, self)->unset(nameOf(*env, name), nameOf(*env, level)); });
}

jboolean JNICALL isSet(JNIEnv* env, jclass, jobject self, jstring name, jstring level) {
    return guarded(
        *env, [&] { return jboolean(handleOf(*env, self)->isSet(nameOf(*env, name), nameOf(*env, level))); });
}

// ---- the tree ----

jobject JNICALL child(JNIEnv* env, jclass, jobject self, jstring name) {
    return guarded(*env,
                   [&] { return javaSettings(*env, handleOf(*env, self)->getChild(nameOf(*env, name))); });
}

jobject JNICALL find(JNIEnv* env, jclass, jobject self, jstring fullName) {
    return guarded(*env, [&] {
        return javaSettings(*env, handleOf(*env, self)->getSettingsByFullName(nameOf(*env, fullName)));
    });
}

jobject JNICALL parent(JNIEnv* env, jclass, jobject self) {
    return guarded(*env, [&] { return javaSettings(*env, handleOf(*env, self)->getParent()); });
}

/// An array of what `make` gives for each child, in their order.
template <class Make>
jobjectArray ofChildren(JNIEnv& env, jobject self, jclass type, Make make) {
    const auto children = handleOf(env, self)->getChildren();
    auto* const result = checked(env, env.NewObjectArray(static_cast<jsize>(children.size()), type, nullptr));
    for (std::size_t i = 0; i < children.size(); ++i) {
        jobject const element = make(children[i]);
        env.SetObjectArrayElement(result, static_cast<jsize>(i), element);
        env.DeleteLocalRef(element);
    }
    return result;
}

jobjectArray JNICALL children(JNIEnv* env, jclass, jobject self) {
    return guarded(*env, [&] {
        return ofChildren(*env, self, classes().settings,
                          [&](const SettingsHandle& node) { return javaSettings(*env, node); });
    });
}

jobjectArray JNICALL names(JNIEnv* env, jclass, jobject self) {
    return guarded(*env, [&] {
        return ofChildren(*env, self, classes().string,
                          [&](const SettingsHandle& node) { return javaName(*env, node->getName()); });
    });
}

jobject JNICALL addGroup(JNIEnv* env, jclass, jobject self, jstring name, jstring level) {
    return guarded(*env, [&] {
        return javaSettings(
            *env, handleOf(*env, self)->addGroup(nameOf(*env, name), true, false, nameOf(*env, level)));
    });
}

jobject JNICALL addSetting(JNIEnv* env, jclass, jobject self, jstring name, jobject value, jstring level) {
    return guarded(*env, [&] {
        return javaSettings(*env, handleOf(*env, self)
                                      ->addSetting(nameOf(*env, name), valueOf(*env, value).first, true,
                                                   false, nameOf(*env, level)));
    });
}

void JNICALL removeNode(JNIEnv* env, jclass, jobject self, jstring name) {
    guarded(*env, [&] { handleOf(*env, self)->removeNode(nameOf(*env, name)); });
}

// ---- about a node ----

jstring JNICALL name(JNIEnv* env, jclass, jobject self) {
    return guarded(*env, [&] { return javaName(*env, handleOf(*env, self)->getName()); });
}

jstring JNICALL fullName(JNIEnv* env, jclass, jobject self) {
    return guarded(*env, [&] { return javaName(*env, handleOf(*env, self)->getFullName()); });
}

template <bool (Settings::*question)() const>
jboolean JNICALL answer(JNIEnv* env, jclass, jobject self) {
    return guarded(*env, [&] { return jboolean((*handleOf(*env, self).*question)()); });
}

} // namespace

std::span<const JNINativeMethod> settingsMethods() {
#define SETTINGS "Lvksettings/Settings;"
#define STRING "Ljava/lang/String;"
#define VALUE "Lvksettings/Value;"
    static const JNINativeMethod methods[] = {
        nativeMethod("root", "()" SETTINGS, root),
        nativeMethod("loadProblems", "()[" STRING, loadProblems),
        nativeMethod("close", "(" SETTINGS ")V", close),
        nativeMethod("free", "(J)V", freeCell),
        nativeMethod("isSame", "(" SETTINGS SETTINGS ")Z", isSame),
        nativeMethod("get", "(" SETTINGS STRING STRING ")" VALUE, get),
        nativeMethod("getArray", "(" SETTINGS STRING STRING ")" VALUE, getArray),
        nativeMethod("getAs", "(" SETTINGS STRING STRING "IZ)" VALUE, getAs),
        nativeMethod("set", "(" SETTINGS STRING VALUE STRING ")V", set),
        nativeMethod("unset", "(" SETTINGS STRING STRING ")V", unset),
        nativeMethod("isSet", "(" SETTINGS STRING STRING ")Z", isSet),
        nativeMethod("child", "(" SETTINGS STRING ")" SETTINGS, child),
        nativeMethod("find", "(" SETTINGS STRING ")" SETTINGS, find),
        nativeMethod("parent", "(" SETTINGS ")" SETTINGS, parent),
        nativeMethod("children", "(" SETTINGS ")[" SETTINGS, children),
        nativeMethod("names", "(" SETTINGS ")[" STRING, names),
        nativeMethod("addGroup", "(" SETTINGS STRING STRING ")" SETTINGS, addGroup),
        nativeMethod("addSetting", "(" SETTINGS STRING VALUE STRING ")" SETTINGS, addSetting),
        nativeMethod("removeNode", "(" SETTINGS STRING ")V", removeNode),
        nativeMethod("name", "(" SETTINGS ")" STRING, name),
        nativeMethod("fullName", "(" SETTINGS ")" STRING, fullName),
        nativeMethod("isSetting", "(" SETTINGS ")Z", answer<&Settings::isLeafNode>),
        nativeMethod("isReadOnly", "(" SETTINGS ")Z", answer<&Settings::isReadOnly>),
        nativeMethod("isVisible", "(" SETTINGS ")Z", answer<&Settings::isVisible>),
        nativeMethod("isInTree", "(" SETTINGS ")Z", answer<&Settings::isConnectedToTheSettingsTree>),
    };
#undef SETTINGS
#undef STRING
#undef VALUE
    return methods;
}

} // namespace vksettings::java
