/// Data arrays between Java and this library.
///
/// They cross as vksettings.Value: the number of the element type, the dimensions, the elements column by
/// column in an array of the Java type of the same width (unsigned numbers as the bits of the signed ones,
/// texts and cells as strings), and the vector flag.
#pragma once

#include "Machine.hpp"

#include "settingscore/boostany/ArrayConversion.hpp"
#include "varnek/data/Array.hpp"

#include <type_traits>

namespace vksettings::java {

/// The value is of a type or size that Java has no form for.
class NoJavaForm : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A local reference; null for the void array. NoJavaForm.
jobject javaValue(JNIEnv& env, const varnek::data::Array& array, bool isVector);

/// The void array for null. std::invalid_argument for elements that do not fit type and dimensions.
settingscore::boostany::ShapedArray valueOf(JNIEnv& env, jobject value);

/// Calls `use` with the element type of that code as a std::type_identity, for all types that a setting may
/// have but cells; std::invalid_argument for others.
template <class Use>
auto withElementType(varnek::data::TypeCode type, Use use) {
    using varnek::data::TypeCode;
    switch (type) {
    case TypeCode::logical:
        return use(std::type_identity<bool>());
    case TypeCode::character:
        return use(std::type_identity<char16_t>());
    case TypeCode::string:
        return use(std::type_identity<std::u16string>());
    case TypeCode::float64:
        return use(std::type_identity<double>());
    case TypeCode::float32:
        return use(std::type_identity<float>());
    case TypeCode::int8:
        return use(std::type_identity<std::int8_t>());
    case TypeCode::uint8:
        return use(std::type_identity<std::uint8_t>());
    case TypeCode::int16:
        return use(std::type_identity<std::int16_t>());
    case TypeCode::uint16:
        return use(std::type_identity<std::uint16_t>());
    case TypeCode::int32:
        return use(std::type_identity<std::int32_t>());
    case TypeCode::uint32:
        return use(std::type_identity<std::uint32_t>());
    case TypeCode::int64:
        return use(std::type_identity<std::int64_t>());
    case TypeCode::uint64:
        return use(std::type_identity<std::uint64_t>());
    default:
        throw std::invalid_argument("no setting has elements of this type");
    }
}

} // namespace vksettings::java
