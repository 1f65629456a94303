#include "Text.hpp"

#include "Classes.hpp"

#include "varnek/files/PathText.hpp"

#include <limits>

namespace vksettings::java {

std::u16string textOf(JNIEnv& env, jstring text) {
    if (text == nullptr)
        throw std::invalid_argument("a text is null");
    static_assert(sizeof(jchar) == sizeof(char16_t));
    std::u16string units(static_cast<std::size_t>(env.GetStringLength(text)), u'\0');
    env.GetStringRegion(text, 0, static_cast<jsize>(units.size()), reinterpret_cast<jchar*>(units.data()));
    check(env);
    return units;
}

std::string nameOf(JNIEnv& env, jstring name) {
    const std::u16string units = textOf(env, name);
    if (auto strict = varnek::files::utf8FromUtf16(units))
        return *std::move(strict);
    std::string bytes = varnek::files::messageUtf8(units);
    if (varnek::files::messageUtf16(bytes) != units)
        throw std::invalid_argument("a name is not well-formed UTF-16");
    return bytes;
}

jstring javaText(JNIEnv& env, std::u16string_view text) {
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<jsize>::max()))
        throw std::length_error("the text is too long for Java");
    return checked(
        env, env.NewString(reinterpret_cast<const jchar*>(text.data()), static_cast<jsize>(text.size())));
}

jobjectArray javaTexts(JNIEnv& env, const std::vector<std::u16string>& texts) {
    if (texts.size() > static_cast<std::size_t>(std::numeric_limits<jsize>::max()))
        throw std::length_error("more texts than a Java array holds");
    const auto count = static_cast<jsize>(texts.size());
    jobjectArray const result = checked(env, env.NewObjectArray(count, classes().string, nullptr));
    for (jsize i = 0; i < count; ++i) {
        jstring const text = javaText(env, texts[static_cast<std::size_t>(i)]);
        env.SetObjectArrayElement(result, i, text);
        env.DeleteLocalRef(text);
    }
    return result;
}

jstring javaName(JNIEnv& env, std::string_view name) {
    return javaText(env, varnek::files::messageUtf16(name));
}

} // namespace vksettings::java
