// What a node's definition says, and the operations that a tree without start-up refuses.

#include "settingscore/Settings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/settingsImpl.hpp"

#include <boost/thread/locks.hpp>

namespace settings::core::detail {

using varnek::concurrency::ReadSection;

namespace {

/// Readers see a whole definition; writers of all nodes share this lock, since definitions hardly ever
/// change.
auto& definitionMutex = *new boost::shared_mutex; // rank "definition"; never destroyed

} // namespace

FactorySettingProperties SettingsImpl::definition() const {
    const ReadSection section;
    const NodeDefinition* kept = definition_.read();
    static const NodeDefinition& none = *new NodeDefinition; // saves may outlast the statics
    const NodeDefinition& from = kept == nullptr ? none : *kept;
    FactorySettingProperties properties(isVisible(), readOnlyState() == ReadOnlyState::readOnly,
                                        values_.on(LevelIndex::factory).first, from.validator,
                                        from.factoryValueFcn, from.hasAdditionalFile, from.isToolboxGroup,
                                        from.multiCheckValueValidators);
    properties.setReadOnlyState(readOnlyState());
    properties.setAliasName(std::string(from.aliasName));
    properties.setErrorHandler(from.errorHandler);
    return properties;
}

varnek::json::Object SettingsImpl::attributes() const {
    const ReadSection section;
    const NodeDefinition* kept = definition_.read();
    return kept == nullptr ? varnek::json::Object() : kept->attributes;
}

std::string SettingsImpl::factoryFile() const {
    const ReadSection section;
    const NodeDefinition* kept = definition_.read();
    return kept == nullptr ? std::string() : kept->factoryFile;
}

void SettingsImpl::setFactoryFile(std::string path) {
    updateDefinition([&](NodeDefinition& definition) { definition.factoryFile = std::move(path); });
}

void SettingsImpl::updateDefinition(const std::function<void(NodeDefinition&)>& change) {
    boost::unique_lock<boost::shared_mutex> lock(definitionMutex);
    std::unique_ptr<NodeDefinition> next;
    {
        const ReadSection section;
        const NodeDefinition* kept = definition_.read();
        next = kept == nullptr ? std::make_unique<NodeDefinition>() : std::make_unique<NodeDefinition>(*kept);
    }
    change(*next);
    isAlias_.store(!next->aliasName.empty(), std::memory_order_relaxed);
    if (next->isEmpty())
        next.reset();
    definition_.publish(std::move(next));
    lock.unlock();
    varnek::concurrency::reclaimIfDue();
}

void SettingsImpl::setAttributes(varnek::json::Object attributes) {
    updateDefinition([&](NodeDefinition& definition) { definition.attributes = std::move(attributes); });
}

void SettingsImpl::setValidator(const ValidatorVariant& validator) {
    updateDefinition([&](NodeDefinition& definition) { definition.validator = validator; });
}

void SettingsImpl::validate() const {
    if (const ShapedArray value = values_.effective(); !value.first.isVoid())
        checkStorable(value);
}

void SettingsImpl::reloadFactoryFile(std::string_view name) {
    throw exception::CantReloadFactoryFile(std::string(name));
}

void SettingsImpl::registerFactoryFile(const std::u16string&, const std::u16string&,
                                       const std::vector<UpgraderRecord>&, bool, std::string_view) {
    throw VARNEK::settings::core::SettingsLibraryNotInitialized("registerFactoryFile");
}

void SettingsImpl::writeFactoryFile(const std::u16string&, const std::vector<UpgraderRecord>&) {
    throw VARNEK::settings::core::SettingsLibraryNotInitialized("writeFactoryFile");
}

void SettingsImpl::loaderAdded(std::string_view) {}

} // namespace settings::core::detail
