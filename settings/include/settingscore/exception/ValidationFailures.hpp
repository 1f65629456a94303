/// Why a value was refused. Validators reject by throwing one of these.
#pragma once

#include "settingscore/exception/SettingsException.hpp"
#include "varnek/data/Array.hpp"

#include <boost/any/fwd.hpp>

#include <cstdint>
#include <string>

namespace settings::core::exception {

/// Kind of a refusal. Reported to users: never renumber. 4 is not in use; 1 stands for two kinds.
enum class ValidationErrorCode : std::int32_t {
    dataArraySizeOutOfRange = 0,
    unsupportedType = 1,
    defaultValidationFailedOnVoidType = 1,
    valueIsNotOneOfTheChoicesAndNotInRange = 2,
    valueIsNotInRange = 3,
    dataTypeNotMatch = 5,
    exceptionFromValidationFunction = 6,
    valueMustBeScalar = 7,
    valueMustBeString = 8,
    valueMustBeLogical = 9,
    valueMustBeNumeric = 10,
    valueMustBeInteger = 11,
};

/// Base of every refusal.
class SETTINGSCORE_EXPORT ValidationException : public SettingsException {
  public:
    ~ValidationException() override;

    /// The setting whose value was refused. A new one that was not added for that reason stands in no group
    /// any more, and tells its own name only.
    ObjectHandle getCausingObject() const { return causingObject_; }
    /// The group of that setting; empty for classes that are made without it.
    ObjectHandle getCausingObjectParent() const { return causingObjectParent_; }
    ValidationErrorCode getErrorCode() const { return errorCode_; }
    /// The text of what().
    std::u16string getErrorMsg() const { return *errorMsg_; }

  protected:
    ValidationException(ObjectHandle causingObject, ObjectHandle causingObjectParent,
                        ValidationErrorCode errorCode, std::u16string errorMsg);

  private:
    ObjectHandle causingObject_;
    ObjectHandle causingObjectParent_;
    ValidationErrorCode errorCode_;
    SharedField<std::u16string> errorMsg_;
};

/// The number of elements is outside the range.
class SETTINGSCORE_EXPORT DataArraySizeOutOfRange
    : public Cloneable<DataArraySizeOutOfRange, ValidationException> {
  public:
    DataArraySizeOutOfRange(ObjectHandle object, ObjectHandle parent, std::uint64_t minimum,
                            std::uint64_t maximum, std::uint64_t actual);
    const char* what() const noexcept override;
    std::uint64_t getActualArraySize() const { return actual_; }
    std::uint64_t getMinArraySize() const { return minimum_; }
    std::uint64_t getMaxArraySize() const { return maximum_; }
    // The same numbers in decimal.
    std::u16string getActualArraySizeStr() const { return *actualText_; }
    std::u16string getMinArraySizeStr() const { return *minimumText_; }
    std::u16string getMaxArraySizeStr() const { return *maximumText_; }

  private:
    std::uint64_t actual_;
    std::uint64_t minimum_;
    std::uint64_t maximum_;
    SharedField<std::u16string> actualText_;
    SharedField<std::u16string> minimumText_;
    SharedField<std::u16string> maximumText_;
};

/// No setting can hold a value of that type.
class SETTINGSCORE_EXPORT UnsupportedType : public Cloneable<UnsupportedType, ValidationException> {
  public:
    UnsupportedType(ObjectHandle object, std::string typeName);
    const char* what() const noexcept override;
    std::string getTypeName() const { return *typeName_; }

  private:
    SharedField<std::string> typeName_;
};

/// The value is void.
class SETTINGSCORE_EXPORT DefaultValidationFailedOnVoidType
    : public Cloneable<DefaultValidationFailedOnVoidType, ValidationException> {
  public:
    explicit DefaultValidationFailedOnVoidType(ObjectHandle object);
    const char* what() const noexcept override;
};

/// The value is none of the choices, or outside the range, or both. Values, choices and bounds as texts.
class SETTINGSCORE_EXPORT ValueIsNotOneOfTheChoicesAndNotInRange
    : public Cloneable<ValueIsNotOneOfTheChoicesAndNotInRange, ValidationException> {
  public:
    ValueIsNotOneOfTheChoicesAndNotInRange(ObjectHandle object, ObjectHandle parent, std::u16string value,
                                           std::u16string choices, std::u16string minimum,
                                           std::u16string maximum);
    const char* what() const noexcept override;
    std::u16string getValueToSetStr() const { return *value_; }
    std::u16string getChoicesStr() const { return *choices_; }
    std::u16string getMinValueStr() const { return *minimum_; }
    std::u16string getMaxValueStr() const { return *maximum_; }

  private:
    SharedField<std::u16string> value_;
    SharedField<std::u16string> choices_;
    SharedField<std::u16string> minimum_;
    SharedField<std::u16string> maximum_;
};

/// The value is outside the range. Value and bounds as texts.
class SETTINGSCORE_EXPORT ValueIsNotInRange : public Cloneable<ValueIsNotInRange, ValidationException> {
  public:
    ValueIsNotInRange(ObjectHandle object, ObjectHandle parent, std::u16string value, std::u16string minimum,
                      std::u16string maximum);
    const char* what() const noexcept override;
    std::u16string getValueToSetStr() const { return *value_; }
    std::u16string getMinValueStr() const { return *minimum_; }
    std::u16string getMaxValueStr() const { return *maximum_; }

  private:
    SharedField<std::u16string> value_;
    SharedField<std::u16string> minimum_;
    SharedField<std::u16string> maximum_;
};

/// The value has another type than the definition says.
class SETTINGSCORE_EXPORT DataTypeNotMatch : public Cloneable<DataTypeNotMatch, ValidationException> {
  public:
    DataTypeNotMatch(ObjectHandle object, std::string expectedTypeName, std::string actualTypeName);
    const char* what() const noexcept override;
    std::string getExpectedTypeName() const { return *expectedTypeName_; }
    std::string getActualTypeName() const { return *actualTypeName_; }

  private:
    SharedField<std::string> expectedTypeName_;
    SharedField<std::string> actualTypeName_;
};

/// A validation function raised an error of its own.
class SETTINGSCORE_EXPORT ExceptionFromValidationFunction
    : public Cloneable<ExceptionFromValidationFunction, ValidationException> {
  public:
    /// `cause`: the message of that error, empty when it had none.
    ExceptionFromValidationFunction(ObjectHandle object, ObjectHandle parent, std::string packageName,
                                    std::string functionName, std::string keyName, varnek::data::Array value,
                                    std::u16string cause = {});
    /// From a generic value; one that no array can hold leaves getValue() void.
    static ExceptionFromValidationFunction createFromAny(ObjectHandle object, ObjectHandle parent,
                                                         std::string packageName, std::string functionName,
                                                         std::string keyName, const boost::any& value,
                                                         std::u16string cause = {});
    const char* what() const noexcept override;
    std::string getPackageName() const { return *packageName_; }
    std::string getFunctionName() const { return *functionName_; }
    std::string getKeyName() const { return *keyName_; }
    /// The refused value.
    varnek::data::Array getValue() const { return value_; }
    std::u16string getCause() const { return *cause_; }

  private:
    SharedField<std::string> packageName_;
    SharedField<std::string> functionName_;
    SharedField<std::string> keyName_;
    varnek::data::Array value_;
    SharedField<std::u16string> cause_;
};

/// The value has not exactly one element.
class SETTINGSCORE_EXPORT ValueMustBeScalar : public Cloneable<ValueMustBeScalar, ValidationException> {
  public:
    ValueMustBeScalar(ObjectHandle object, ObjectHandle parent);
    const char* what() const noexcept override;
};

class SETTINGSCORE_EXPORT ValueMustBeString : public Cloneable<ValueMustBeString, ValidationException> {
  public:
    ValueMustBeString(ObjectHandle object, ObjectHandle parent);
    const char* what() const noexcept override;
};

class SETTINGSCORE_EXPORT ValueMustBeLogical : public Cloneable<ValueMustBeLogical, ValidationException> {
  public:
    ValueMustBeLogical(ObjectHandle object, ObjectHandle parent);
    const char* what() const noexcept override;
};

class SETTINGSCORE_EXPORT ValueMustBeNumeric : public Cloneable<ValueMustBeNumeric, ValidationException> {
  public:
    ValueMustBeNumeric(ObjectHandle object, ObjectHandle parent);
    const char* what() const noexcept override;
};

class SETTINGSCORE_EXPORT ValueMustBeInteger : public Cloneable<ValueMustBeInteger, ValidationException> {
  public:
    ValueMustBeInteger(ObjectHandle object, ObjectHandle parent);
    const char* what() const noexcept override;
};

} // namespace settings::core::exception
