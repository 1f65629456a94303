#include "settingscore/validation/FactorySettingProperties.hpp"

#include <utility>

namespace settings::core::detail {

FactorySettingProperties::FactorySettingProperties() = default;

FactorySettingProperties::FactorySettingProperties(bool visible, bool readOnly,
                                                   varnek::data::Array factoryValue,
                                                   ValidatorVariant validator,
                                                   RunTimeDefaultVariant factoryValueFcn,
                                                   bool hasAdditionalFile, bool isToolboxGroup,
                                                   MultiCheckValueValidators multiCheckValueValidators)
    : visible_(visible), readOnlyState_(readOnly ? ReadOnlyState::readOnly : ReadOnlyState::inherited),
      factoryValue_(std::move(factoryValue)), validator_(std::move(validator)),
      factoryValueFcn_(std::move(factoryValueFcn)), hasAdditionalFile_(hasAdditionalFile),
      isToolboxGroup_(isToolboxGroup), multiCheckValueValidators_(std::move(multiCheckValueValidators)) {}

FactorySettingProperties::FactorySettingProperties(const FactorySettingProperties&) = default;
FactorySettingProperties::FactorySettingProperties(FactorySettingProperties&&) noexcept = default;
FactorySettingProperties& FactorySettingProperties::operator=(const FactorySettingProperties&) = default;
FactorySettingProperties& FactorySettingProperties::operator=(FactorySettingProperties&&) noexcept = default;
FactorySettingProperties::~FactorySettingProperties() = default;

void FactorySettingProperties::setAliasName(std::string&& fullName) noexcept {
    aliasName_ = std::move(fullName);
}

void FactorySettingProperties::setErrorHandler(ErrorHandler handler) {
    errorHandler_ = std::move(handler);
}

void FactorySettingProperties::setRoot(boost::shared_ptr<MSettings> root) noexcept {
    root_ = std::move(root);
}

} // namespace settings::core::detail
