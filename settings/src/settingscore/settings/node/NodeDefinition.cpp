#include "settingscore/settings/node/NodeDefinition.hpp"

namespace settings::core::detail {

bool NodeDefinition::isEmpty() const {
    return validator.which() == 0 && factoryValueFcn.which() == 0 && multiCheckValueValidators.empty() &&
           aliasName.empty() && errorHandler.empty() && !hasAdditionalFile && !isToolboxGroup &&
           attributes.empty() && factoryFile.empty();
}

void NodeDefinition::buildChecks() {
    checks.clear();
    checks.reserve(multiCheckValueValidators.size());
    for (const auto& config : multiCheckValueValidators)
        checks.emplace_back(config);
}

std::unique_ptr<NodeDefinition> NodeDefinition::from(const FactorySettingProperties& properties) {
    auto definition = std::make_unique<NodeDefinition>();
    definition->validator = properties.getValidator();
    definition->factoryValueFcn = properties.getFactoryValueFcn();
    definition->multiCheckValueValidators = properties.getMultiCheckValueValidators();
    definition->aliasName = properties.getAliasName();
    definition->errorHandler = properties.getErrorHandler();
    definition->hasAdditionalFile = properties.getHasAdditionalFile();
    definition->isToolboxGroup = properties.getIsToolboxGroup();
    if (definition->isEmpty())
        definition.reset();
    return definition;
}

} // namespace settings::core::detail
