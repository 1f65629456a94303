/// What a factory definition fixes for one setting or group.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/validation/FunctionValidators.hpp"
#include "settingscore/validation/ReadOnlyState.hpp"
#include "settingscore/validation/RunTimeDefaults.hpp"
#include "settingscore/validation/SettingValueValidator.hpp"
#include "varnek/data/Array.hpp"

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

#include <string>
#include <vector>

namespace settings::core {

class MSettings;

namespace detail {

/// A value, cheap to move. A tree does not keep objects of this class: it takes them apart and makes one when
/// asked. Distinct objects may be used from any threads.
class SETTINGSCORE_EXPORT FactorySettingProperties {
  public:
    using MultiCheckValueValidators = std::vector<SettingValueValidator::ConfigData>;
    /// (full name of the setting, the value); called when every validator has refused the value, before the
    /// refusal is raised.
    using ErrorHandler = boost::function<void(const std::string& fullName, const varnek::data::Array& value)>;

    /// Visible, read-only inherited, without value, functions, validators and alias.
    FactorySettingProperties();
    /// `readOnly` false: as the parents say. A void array is no value.
    FactorySettingProperties(bool visible, bool readOnly, varnek::data::Array factoryValue,
                             ValidatorVariant validator, RunTimeDefaultVariant factoryValueFcn,
                             bool hasAdditionalFile, bool isToolboxGroup,
                             MultiCheckValueValidators multiCheckValueValidators);
    FactorySettingProperties(const FactorySettingProperties&);
    FactorySettingProperties(FactorySettingProperties&&) noexcept;
    FactorySettingProperties& operator=(const FactorySettingProperties&);
    FactorySettingProperties& operator=(FactorySettingProperties&&) noexcept;
    ~FactorySettingProperties();

    bool getVisible() const noexcept { return visible_; }
    /// True only when the definition itself says so; see readOnlyState() for what else it may say.
    bool isReadOnly() const noexcept { return readOnlyState_ == ReadOnlyState::readOnly; }
    ReadOnlyState readOnlyState() const noexcept { return readOnlyState_; }
    void setReadOnlyState(ReadOnlyState state) noexcept { readOnlyState_ = state; }
    const varnek::data::Array& getFactoryValue() const noexcept { return factoryValue_; }
    const ValidatorVariant& getValidator() const noexcept { return validator_; }
    const RunTimeDefaultVariant& getFactoryValueFcn() const noexcept { return factoryValueFcn_; }
    bool getHasAdditionalFile() const noexcept { return hasAdditionalFile_; }
    bool getIsToolboxGroup() const noexcept { return isToolboxGroup_; }
    const MultiCheckValueValidators& getMultiCheckValueValidators() const noexcept {
        return multiCheckValueValidators_;
    }

    /// The full name of the setting that this one stands for; empty for an ordinary setting.
    const std::string& getAliasName() const noexcept { return aliasName_; }
    void setAliasName(std::string&& fullName) noexcept;

    const ErrorHandler& getErrorHandler() const noexcept { return errorHandler_; }
    void setErrorHandler(ErrorHandler handler);

    /// The root of the tree that the definition belongs to; empty while it belongs to none. Whoever makes the
    /// definition sets it, for Settings::createAndSetValue; the library sets it nowhere.
    boost::shared_ptr<MSettings> getRoot() const noexcept { return root_; }
    void setRoot(boost::shared_ptr<MSettings> root) noexcept;

  private:
    bool visible_ = true;
    ReadOnlyState readOnlyState_ = ReadOnlyState::inherited;
    varnek::data::Array factoryValue_;
    ValidatorVariant validator_;
    RunTimeDefaultVariant factoryValueFcn_;
    bool hasAdditionalFile_ = false;
    bool isToolboxGroup_ = false;
    MultiCheckValueValidators multiCheckValueValidators_;
    std::string aliasName_;
    ErrorHandler errorHandler_;
    boost::shared_ptr<MSettings> root_;
};

} // namespace detail
} // namespace settings::core
