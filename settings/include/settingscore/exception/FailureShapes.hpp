/// The shapes that several failures share: what they store and the accessors to it. Not meant to be caught.
///
/// A failure takes the constructor of its shape, so its arguments stand here, once per shape.
#pragma once

#include "settingscore/exception/SettingsException.hpp"

#include <string>

namespace settings::core::exception::detail {

/// (object)
class SETTINGSCORE_EXPORT ObjectFailure : public SettingsException {
  public:
    explicit ObjectFailure(ObjectHandle object);
    ~ObjectFailure() override;
    ObjectHandle getObjectInvovled() const { return object_; }

  private:
    ObjectHandle object_;
};

/// (object, input name)
class SETTINGSCORE_EXPORT NamedObjectFailure : public ObjectFailure {
  public:
    NamedObjectFailure(ObjectHandle object, std::string inputName);
    ~NamedObjectFailure() override;
    std::string getInputName() const { return *inputName_; }

  private:
    SharedField<std::string> inputName_;
};

/// (causing object)
class SETTINGSCORE_EXPORT CausingObjectFailure : public SettingsException {
  public:
    explicit CausingObjectFailure(ObjectHandle causingObject);
    ~CausingObjectFailure() override;
    ObjectHandle getCausingObject() const { return causingObject_; }

  private:
    ObjectHandle causingObject_;
};

/// (package name, function name)
class SETTINGSCORE_EXPORT FunctionFailure : public SettingsException {
  public:
    FunctionFailure(std::string packageName, std::string functionName);
    ~FunctionFailure() override;
    std::string getPackageName() const { return *packageName_; }
    std::string getFunctionName() const { return *functionName_; }

  private:
    SharedField<std::string> packageName_;
    SharedField<std::string> functionName_;
};

/// (package name, function name, cause)
class SETTINGSCORE_EXPORT FunctionCallFailure : public FunctionFailure {
  public:
    FunctionCallFailure(std::string packageName, std::string functionName, std::u16string cause);
    ~FunctionCallFailure() override;
    /// Why the call failed, in the words of the called side; "Unknown" when it gave none.
    std::u16string getCause() const { return *cause_; }

  private:
    SharedField<std::u16string> cause_;
};

/// A failure whose text is built from its arguments when it is made.
class SETTINGSCORE_EXPORT BuiltTextFailure : public SettingsException {
  public:
    ~BuiltTextFailure() override;
    const char* what() const noexcept override;

  protected:
    explicit BuiltTextFailure(std::string text);

  private:
    SharedField<std::string> text_;
};

} // namespace settings::core::exception::detail
