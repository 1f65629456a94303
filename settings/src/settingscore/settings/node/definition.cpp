// What a node's definition says, and the operations that a tree without start-up refuses.

#include "settingscore/Settings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/settingsImpl.hpp"
#include "settingscore/validation/RunTimeDefaultCall.hpp"

#include <boost/thread/locks.hpp>

namespace settings::core::detail {

using varnek::concurrency::ReadSection;

namespace {

/// Readers see a whole definition; writers of all nodes share this lock, since definitions hardly ever
/// change.
auto& definitionMutex = *new boost::shared_mutex; // rank "definition"; never destroyed

} // namespace

SettingsImpl::DefinitionHandle SettingsImpl::keptDefinition() const {
    const ReadSection section;
    const DefinitionHandle* kept = definition_.read();
    return kept == nullptr ? DefinitionHandle() : *kept;
}

void SettingsImpl::takeDefinition(std::unique_ptr<NodeDefinition> definition) {
    if (definition == nullptr || definition->isEmpty()) {
        definition_.publish(nullptr);
        indirectReads_.store(0, std::memory_order_relaxed);
        return;
    }
    definition->buildChecks();
    const int bits = (definition->aliasName.empty() ? 0 : IndirectRead::alias) |
                     (definition->factoryValueFcn.which() == 0 ? 0 : IndirectRead::runTimeDefault);
    definition_.publish(std::make_unique<const DefinitionHandle>(definition.release()));
    indirectReads_.store(static_cast<std::uint8_t>(bits), std::memory_order_relaxed);
}

FactorySettingProperties SettingsImpl::definition() const {
    static const DefinitionHandle& none =
        *new DefinitionHandle(new NodeDefinition); // saves may outlast statics
    const DefinitionHandle kept = keptDefinition();
    const NodeDefinition& from = kept == nullptr ? *none : *kept;
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
    const DefinitionHandle kept = keptDefinition();
    return kept == nullptr ? varnek::json::Object() : kept->attributes;
}

std::string SettingsImpl::factoryFile() const {
    const DefinitionHandle kept = keptDefinition();
    return kept == nullptr ? std::string() : kept->factoryFile;
}

void SettingsImpl::setFactoryFile(std::string path) {
    updateDefinition([&](NodeDefinition& definition) { definition.factoryFile = path; });
}

/// Changes a copy without the lock, since it may hold callables of the host; starts anew when another thread
/// was quicker.
void SettingsImpl::updateDefinition(const std::function<void(NodeDefinition&)>& change) {
    for (;;) {
        const DefinitionHandle before = keptDefinition();
        auto next = before == nullptr ? std::make_unique<NodeDefinition>()
                                      : std::make_unique<NodeDefinition>(*before);
        change(*next);
        const boost::unique_lock<boost::shared_mutex> lock(definitionMutex);
        if (keptDefinition() == before) {
            takeDefinition(std::move(next));
            break;
        }
    }
    varnek::concurrency::reclaimIfDue();
}

void SettingsImpl::setAttributes(varnek::json::Object attributes) {
    updateDefinition([&](NodeDefinition& definition) { definition.attributes = attributes; });
}

void SettingsImpl::setValidator(const ValidatorVariant& validator) {
    updateDefinition([&](NodeDefinition& definition) { definition.validator = validator; });
}

void SettingsImpl::defineAgain(const FactorySettingProperties& incoming) {
    const RunTimeDefaultVariant& function = incoming.getFactoryValueFcn();
    if (function.which() == 0)
        return;
    const auto self = getThisObjectImpl();
    updateDefinition([&](NodeDefinition& definition) {
        definition.factoryValueFcn = mergeRunTimeDefault(definition.factoryValueFcn, function, self);
    });
}

void SettingsImpl::redefine(const SettingsImpl& fresh, LateEvents* events) {
    {
        const DefinitionHandle definition = fresh.keptDefinition();
        const boost::unique_lock<boost::shared_mutex> lock(definitionMutex);
        definition_.publish(definition == nullptr ? nullptr
                                                  : std::make_unique<const DefinitionHandle>(definition));
        indirectReads_.store(fresh.indirectReads_.load(std::memory_order_relaxed), std::memory_order_relaxed);
    }
    if (const auto parent = parentGroup())
        parent->group_->aliases.forget(name_); // it may lead elsewhere now
    varnek::concurrency::reclaimIfDue();
    readOnly_.store(fresh.readOnlyState(), std::memory_order_relaxed);
    visible_.store(fresh.isVisible(), std::memory_order_relaxed);
    if (group_ != nullptr && fresh.group_ != nullptr)
        group_->version.store(fresh.group_->version.load(std::memory_order_relaxed),
                              std::memory_order_relaxed);
    if (group_ == nullptr && events != nullptr)
        replaceValue(LevelIndex::factory, valueOn(LevelIndex::factory), fresh.valueOn(LevelIndex::factory),
                     *events);
}

void SettingsImpl::validate() const {
    if (ShapedArray value = values_.effective(); !value.first.isVoid())
        accepted(std::move(value), parentGroup());
}

void SettingsImpl::reloadFactoryFile(std::string_view name) {
    throw exception::CantReloadFactoryFile(std::string(name));
}

void SettingsImpl::loaderAdded(std::string_view) {}

} // namespace settings::core::detail
