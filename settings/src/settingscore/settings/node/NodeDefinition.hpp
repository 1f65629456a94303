/// What a definition says about a node beyond its name, flags and factory value. Most settings have nothing
/// here, so the node keeps a pointer that is usually null.
#pragma once

#include "settingscore/validation/FactorySettingProperties.hpp"
#include "json/Value.hpp"

#include <memory>
#include <string>
#include <vector>

namespace settings::core::detail {

/// Immutable once given to a node.
struct NodeDefinition {
    ValidatorVariant validator;
    RunTimeDefaultVariant factoryValueFcn;
    std::vector<SettingValueValidator::ConfigData> multiCheckValueValidators;
    std::string aliasName;
    FactorySettingProperties::ErrorHandler errorHandler;
    bool hasAdditionalFile = false;
    bool isToolboxGroup = false;
    varnek::json::Object attributes;
    std::string factoryFile; // of a top-level group
    /// The checks of multiCheckValueValidators, built when a node takes the definition.
    std::vector<SettingValueValidator> checks;

    /// Whether there is anything to keep.
    bool isEmpty() const;
    /// Whether a value has to pass more than the test of its type.
    bool hasValidators() const { return !checks.empty() || validator.which() != 0; }

    void buildChecks();

    /// The part of `properties` that a node keeps here; null when there is none.
    static std::unique_ptr<NodeDefinition> from(const FactorySettingProperties& properties);
};

} // namespace settings::core::detail
