#include "Values.hpp"

#include "Classes.hpp"
#include "Text.hpp"

#include <algorithm>
#include <limits>

namespace vksettings::java {

namespace {

using varnek::data::Array;
using varnek::data::Dimensions;
using varnek::data::TypeCode;

/// A Java array of numbers: the type of its elements, and the functions that make, read and write it.
template <class E, class A, A (JNIEnv::*makeArray)(jsize), void (JNIEnv::*readArray)(A, jsize, jsize, E*),
          void (JNIEnv::*writeArray)(A, jsize, jsize, const E*)>
struct Elements {
    using Element = E;
    using JavaArray = A;
    static constexpr auto make = makeArray;
    static constexpr auto read = readArray;
    static constexpr auto write = writeArray;
};

using Booleans = Elements<jboolean, jbooleanArray, &JNIEnv::NewBooleanArray, &JNIEnv::GetBooleanArrayRegion,
                          &JNIEnv::SetBooleanArrayRegion>;
using Chars = Elements<jchar, jcharArray, &JNIEnv::NewCharArray, &JNIEnv::GetCharArrayRegion,
                       &JNIEnv::SetCharArrayRegion>;
using Bytes = Elements<jbyte, jbyteArray, &JNIEnv::NewByteArray, &JNIEnv::GetByteArrayRegion,
                       &JNIEnv::SetByteArrayRegion>;
using Shorts = Elements<jshort, jshortArray, &JNIEnv::NewShortArray, &JNIEnv::GetShortArrayRegion,
                        &JNIEnv::SetShortArrayRegion>;
using Ints =
    Elements<jint, jintArray, &JNIEnv::NewIntArray, &JNIEnv::GetIntArrayRegion, &JNIEnv::SetIntArrayRegion>;
using Longs = Elements<jlong, jlongArray, &JNIEnv::NewLongArray, &JNIEnv::GetLongArrayRegion,
                       &JNIEnv::SetLongArrayRegion>;
using Floats = Elements<jfloat, jfloatArray, &JNIEnv::NewFloatArray, &JNIEnv::GetFloatArrayRegion,
                        &JNIEnv::SetFloatArrayRegion>;
using Doubles = Elements<jdouble, jdoubleArray, &JNIEnv::NewDoubleArray, &JNIEnv::GetDoubleArrayRegion,
                         &JNIEnv::SetDoubleArrayRegion>;

template <class T>
struct JavaElements;
template <>
struct JavaElements<bool> : Booleans {};
template <>
struct JavaElements<char16_t> : Chars {};
template <>
struct JavaElements<std::int8_t> : Bytes {};
template <>
struct JavaElements<std::uint8_t> : Bytes {};
template <>
struct JavaElements<std::int16_t> : Shorts {};
template <>
struct JavaElements<std::uint16_t> : Shorts {};
template <>
struct JavaElements<std::int32_t> : Ints {};
template <>
struct JavaElements<std::uint32_t> : Ints {};
template <>
struct JavaElements<std::int64_t> : Longs {};
template <>
struct JavaElements<std::uint64_t> : Longs {};
template <>
struct JavaElements<float> : Floats {};
template <>
struct JavaElements<double> : Doubles {};

jsize javaSize(std::size_t count) {
    if (count > static_cast<std::size_t>(std::numeric_limits<jsize>::max()))
        throw NoJavaForm("the value has more elements than a Java array");
    return static_cast<jsize>(count);
}

template <class T>
jobject javaElements(JNIEnv& env, const Array& array, std::type_identity<T>) {
    using Java = JavaElements<T>;
    static_assert(sizeof(T) == sizeof(typename Java::Element));
    const std::span<const T> elements = array.elements<T>();
    const jsize count = javaSize(elements.size());
    auto const result = checked(env, (env.*Java::make)(count));
    (env.*Java::write)(result, 0, count, reinterpret_cast<const typename Java::Element*>(elements.data()));
    check(env);
    return result;
}

jobject javaElements(JNIEnv& env, const Array& array, std::type_identity<std::u16string>) {
    return javaTexts(env, array.texts());
}

bool isText(const Array& array) {
    return array.type() == TypeCode::character &&
           (array.numberOfElements() == 0 || (array.dimensions().size() == 2 && array.dimensions()[0] == 1));
}

jobject javaCell(JNIEnv& env, const Array& array) {
    const auto elements = array.elements<Array>();
    if (!std::all_of(elements.begin(), elements.end(), isText))
        throw NoJavaForm("the value is a cell of more than plain texts");
    return javaTexts(env, array.texts());
}

jintArray javaDimensions(JNIEnv& env, const Array& array) {
    std::vector<jint> extents;
    for (const std::size_t extent : array.dimensions())
        extents.push_back(javaSize(extent));
    jintArray const result = checked(env, env.NewIntArray(javaSize(extents.size())));
    env.SetIntArrayRegion(result, 0, static_cast<jsize>(extents.size()), extents.data());
    check(env);
    return result;
}

template <class T>
std::vector<T> elementsOf(JNIEnv& env, jobject data, std::type_identity<T>) {
    using Java = JavaElements<T>;
    auto const array = static_cast<typename Java::JavaArray>(data);
    const jsize count = env.GetArrayLength(array);
    std::vector<T> elements(static_cast<std::size_t>(count));
    (env.*Java::read)(array, 0, count, reinterpret_cast<typename Java::Element*>(elements.data()));
    check(env);
    return elements;
}

std::vector<bool> elementsOf(JNIEnv& env, jobject data, std::type_identity<bool>) {
    auto const array = static_cast<jbooleanArray>(data);
    const jsize count = env.GetArrayLength(array);
    std::vector<jboolean> bytes(static_cast<std::size_t>(count));
    env.GetBooleanArrayRegion(array, 0, count, bytes.data());
    check(env);
    return {bytes.begin(), bytes.end()};
}

std::vector<std::u16string> elementsOf(JNIEnv& env, jobject data, std::type_identity<std::u16string>) {
    auto const array = static_cast<jobjectArray>(data);
    std::vector<std::u16string> texts(static_cast<std::size_t>(env.GetArrayLength(array)));
    for (std::size_t i = 0; i < texts.size(); ++i) {
        auto const text = static_cast<jstring>(env.GetObjectArrayElement(array, static_cast<jsize>(i)));
        texts[i] = textOf(env, text);
        env.DeleteLocalRef(text);
    }
    return texts;
}

Array cellOf(JNIEnv& env, Dimensions dimensions, jobject data) {
    std::vector<Array> elements;
    for (const std::u16string& text : elementsOf(env, data, std::type_identity<std::u16string>()))
        elements.push_back(Array::text(text));
    return Array::make<Array>(std::move(dimensions), std::move(elements));
}

Dimensions dimensionsOf(JNIEnv& env, jobject value) {
    auto const extents = static_cast<jintArray>(env.GetObjectField(value, classes().valueDimensions));
    const std::vector<std::int32_t> all = elementsOf(env, extents, std::type_identity<std::int32_t>());
    env.DeleteLocalRef(extents);
    return {all.begin(), all.end()};
}

} // namespace

jobject javaValue(JNIEnv& env, const Array& array, bool isVector) {
    if (array.isVoid())
        return nullptr;
    if (!settingscore::boostany::isSupportedArray(array))
        throw NoJavaForm("the value is of a type that no setting may have");
    jobject const data =
        array.type() == TypeCode::cell
            ? javaCell(env, array)
            : withElementType(array.type(), [&](auto type) { return javaElements(env, array, type); });
    jintArray const dimensions = javaDimensions(env, array);
    jobject const result =
        checked(env, env.NewObject(classes().value, classes().newValue, static_cast<jint>(array.type()),
                                   dimensions, data, static_cast<jboolean>(isVector)));
    env.DeleteLocalRef(dimensions);
    env.DeleteLocalRef(data);
    return result;
}

settingscore::boostany::ShapedArray valueOf(JNIEnv& env, jobject value) {
    if (value == nullptr)
        return {Array(), false};
    const auto type = static_cast<TypeCode>(env.GetIntField(value, classes().valueType));
    const bool isVector = env.GetBooleanField(value, classes().valueIsVector) == JNI_TRUE;
    Dimensions dimensions = dimensionsOf(env, value);
    jobject const data = env.GetObjectField(value, classes().valueData);
    const auto make = [&]<class T>(std::type_identity<T> element) {
        return Array::make<T>(std::move(dimensions), elementsOf(env, data, element));
    };
    Array array =
        type == TypeCode::cell ? cellOf(env, std::move(dimensions), data) : withElementType(type, make);
    env.DeleteLocalRef(data);
    return {std::move(array), isVector};
}

} // namespace vksettings::java
