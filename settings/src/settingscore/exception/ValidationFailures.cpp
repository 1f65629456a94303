#include "settingscore/exception/ValidationFailures.hpp"

#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/exception/MessageText.hpp"

#include <utility>

namespace settings::core::exception {

namespace {

// what() and getErrorMsg() both say these. Users know them: they stay as they are, the trailing blank
// included.
constexpr char sizeText[] = "The array size is out of range ";
constexpr char unsupportedText[] = "The type of the value passed in is not on the supported list.";
constexpr char voidText[] = "The value passed in is void";
constexpr char choicesText[] =
    "The value passed in is not one of the predefined choices and/or it is not in the predefined range.";
constexpr char rangeText[] = "The value passed in is not in the predefined range";
constexpr char typeText[] =
    "The type of the value passed in does not match the type in the setting definition.";
constexpr char functionText[] = "Exception thrown by the validation function.";
constexpr char scalarText[] = "The value must be scalar.";
constexpr char stringText[] = "The value must be string or convertible to string.";
constexpr char logicalText[] = "The value must be logical or convertible to logical.";
constexpr char numericText[] = "The value must be numeric.";
constexpr char integerText[] = "The value must be integer.";

std::u16string decimal(std::uint64_t number) {
    return detail::utf16(std::to_string(number));
}

varnek::data::Array arrayOf(const boost::any& value) {
    try {
        return settingscore::boostany::toArray(value).first;
    } catch (const settingscore::boostany::UnsupportedAnyType&) {
        return {}; // the failure to be reported is another one
    }
}

} // namespace

using detail::utf16;
using Code = ValidationErrorCode;

ValidationException::ValidationException(ObjectHandle causingObject, ObjectHandle causingObjectParent,
                                         ValidationErrorCode errorCode, std::u16string errorMsg)
    : causingObject_(std::move(causingObject)), causingObjectParent_(std::move(causingObjectParent)),
      errorCode_(errorCode), errorMsg_(std::move(errorMsg)) {}
ValidationException::~ValidationException() = default;

DataArraySizeOutOfRange::DataArraySizeOutOfRange(ObjectHandle object, ObjectHandle parent,
                                                 std::uint64_t minimum, std::uint64_t maximum,
                                                 std::uint64_t actual)
    : Cloneable(std::move(object), std::move(parent), Code::dataArraySizeOutOfRange, utf16(sizeText)),
      actual_(actual), minimum_(minimum), maximum_(maximum), actualText_(decimal(actual)),
      minimumText_(decimal(minimum)), maximumText_(decimal(maximum)) {}
const char* DataArraySizeOutOfRange::what() const noexcept {
    return sizeText;
}

UnsupportedType::UnsupportedType(ObjectHandle object, std::string typeName)
    : Cloneable(std::move(object), ObjectHandle(), Code::unsupportedType, utf16(unsupportedText)),
      typeName_(std::move(typeName)) {}
const char* UnsupportedType::what() const noexcept {
    return unsupportedText;
}

DefaultValidationFailedOnVoidType::DefaultValidationFailedOnVoidType(ObjectHandle object)
    : Cloneable(std::move(object), ObjectHandle(), Code::defaultValidationFailedOnVoidType, utf16(voidText)) {
}
const char* DefaultValidationFailedOnVoidType::what() const noexcept {
    return voidText;
}

ValueIsNotOneOfTheChoicesAndNotInRange::ValueIsNotOneOfTheChoicesAndNotInRange(
    ObjectHandle object, ObjectHandle parent, std::u16string value, std::u16string choices,
    std::u16string minimum, std::u16string maximum)
    : Cloneable(std::move(object), std::move(parent), Code::valueIsNotOneOfTheChoicesAndNotInRange,
                utf16(choicesText)),
      value_(std::move(value)), choices_(std::move(choices)), minimum_(std::move(minimum)),
      maximum_(std::move(maximum)) {}
const char* ValueIsNotOneOfTheChoicesAndNotInRange::what() const noexcept {
    return choicesText;
}

ValueIsNotInRange::ValueIsNotInRange(ObjectHandle object, ObjectHandle parent, std::u16string value,
                                     std::u16string minimum, std::u16string maximum)
    : Cloneable(std::move(object), std::move(parent), Code::valueIsNotInRange, utf16(rangeText)),
      value_(std::move(value)), minimum_(std::move(minimum)), maximum_(std::move(maximum)) {}
const char* ValueIsNotInRange::what() const noexcept {
    return rangeText;
}

DataTypeNotMatch::DataTypeNotMatch(ObjectHandle object, std::string expectedTypeName,
                                   std::string actualTypeName)
    : Cloneable(std::move(object), ObjectHandle(), Code::dataTypeNotMatch, utf16(typeText)),
      expectedTypeName_(std::move(expectedTypeName)), actualTypeName_(std::move(actualTypeName)) {}
const char* DataTypeNotMatch::what() const noexcept {
    return typeText;
}

ExceptionFromValidationFunction::ExceptionFromValidationFunction(
    ObjectHandle object, ObjectHandle parent, std::string packageName, std::string functionName,
    std::string keyName, varnek::data::Array value, std::u16string cause)
    : Cloneable(std::move(object), std::move(parent), Code::exceptionFromValidationFunction,
                utf16(functionText)),
      packageName_(std::move(packageName)), functionName_(std::move(functionName)),
      keyName_(std::move(keyName)), value_(std::move(value)), cause_(std::move(cause)) {}
ExceptionFromValidationFunction ExceptionFromValidationFunction::createFromAny(
    ObjectHandle object, ObjectHandle parent, std::string packageName, std::string functionName,
    std::string keyName, const boost::any& value, std::u16string cause) {
    return {std::move(object),  std::move(parent), std::move(packageName), std::move(functionName),
            std::move(keyName), arrayOf(value),    std::move(cause)};
}
const char* ExceptionFromValidationFunction::what() const noexcept {
    return functionText;
}

ValueMustBeScalar::ValueMustBeScalar(ObjectHandle object, ObjectHandle parent)
    : Cloneable(std::move(object), std::move(parent), Code::valueMustBeScalar, utf16(scalarText)) {}
const char* ValueMustBeScalar::what() const noexcept {
    return scalarText;
}

ValueMustBeString::ValueMustBeString(ObjectHandle object, ObjectHandle parent)
    : Cloneable(std::move(object), std::move(parent), Code::valueMustBeString, utf16(stringText)) {}
const char* ValueMustBeString::what() const noexcept {
    return stringText;
}

ValueMustBeLogical::ValueMustBeLogical(ObjectHandle object, ObjectHandle parent)
    : Cloneable(std::move(object), std::move(parent), Code::valueMustBeLogical, utf16(logicalText)) {}
const char* ValueMustBeLogical::what() const noexcept {
    return logicalText;
}

ValueMustBeNumeric::ValueMustBeNumeric(ObjectHandle object, ObjectHandle parent)
    : Cloneable(std::move(object), std::move(parent), Code::valueMustBeNumeric, utf16(numericText)) {}
const char* ValueMustBeNumeric::what() const noexcept {
    return numericText;
}

ValueMustBeInteger::ValueMustBeInteger(ObjectHandle object, ObjectHandle parent)
    : Cloneable(std::move(object), std::move(parent), Code::valueMustBeInteger, utf16(integerText)) {}
const char* ValueMustBeInteger::what() const noexcept {
    return integerText;
}

} // namespace settings::core::exception
