// Everything there is to know about one setting, put together from its node and the files of its product.

#include "settingscore/SettingExplanation.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/file/FunctionMembers.hpp"
#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/file/SettingsFileKeys.hpp"
#include "settingscore/settings/node/AliasDestination.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/settingsImpl.hpp"
#include "settingscore/validation/InWords.hpp"

namespace settings::core {

namespace {

using namespace detail;

std::string attribute(const varnek::json::Object& attributes, std::string_view key) {
    const varnek::json::Value* value = attributes.find(key);
    return value != nullptr && value->isString() ? std::string(value->asString()) : std::string();
}

/// "VARNEK package.function", from the members that a file would have.
std::string functionText(const FunctionMembers& functions, std::string_view member) {
    varnek::json::Object members;
    writeFunctionMembers(functions, members);
    const std::string language = attribute(members, keys::language);
    const std::string package = attribute(members, keys::packageName);
    return language + " " + (package.empty() ? "" : package + ".") + attribute(members, member);
}

void explainDefinition(const SettingsNodeImpl& node, SettingExplanation& e) {
    const FactorySettingProperties definition = node.definition();
    for (const auto& validator : definition.getMultiCheckValueValidators())
        e.validators.push_back(inWords(validator));
    if (definition.getValidator().which() != 0)
        e.validationFunction = functionText({definition.getValidator(), {}}, keys::validationFcn);
    if (definition.getFactoryValueFcn().which() != 0)
        e.runTimeDefault = functionText({{}, definition.getFactoryValueFcn()}, keys::runtimeDefaultFcn);
}

/// What is said already stays.
void addTexts(const SettingsNodeImpl& node, SettingExplanation& e) {
    const varnek::json::Object attributes = node.attributes();
    if (e.title.empty())
        e.title = attribute(attributes, keys::attributeTitle);
    if (e.description.empty())
        e.description = attribute(attributes, keys::attributeDescription);
}

std::string factoryFileOf(const NodePtr& product) {
    const auto* group = dynamic_cast<const SettingsImpl*>(product.get());
    return group == nullptr ? std::string() : group->factoryFile();
}

/// The run-time default, as readers of `asked` get it; void without one.
ShapedArray computedDefault(const SettingsNodeImpl& asked, const SettingsNodeImpl& node) {
    const NodePtr group = asked.getParent();
    if (group == nullptr || !node.isLeafNode() || node.definition().getFactoryValueFcn().which() == 0)
        return {};
    return group->getAny(asked.getName(), levelName(LevelIndex::factory));
}

void explainLevels(const SettingsNodeImpl& asked, SettingsNodeImpl& node, SettingExplanation& e) {
    const NodePtr product = node.getTopLevelNodeForSave();
    const auto tree = node.treeContext();
    const auto* files = product == nullptr || tree == nullptr
                            ? nullptr
                            : dynamic_cast<const LevelFileKeeper*>(tree->saves.get());
    bool found = false;
    for (const LevelIndex level : levelsInOrder) {
        LevelExplanation& at = e.levels[position(level)];
        at.level = levelName(level);
        std::tie(at.value, at.isVector) = node.valueOn(level);
        if (at.value.isVoid() && level == LevelIndex::factory)
            std::tie(at.value, at.isVector) = computedDefault(asked, node);
        at.wins = !found && !at.value.isVoid();
        found = found || at.wins;
        if (files == nullptr || level == LevelIndex::session)
            continue;
        at.file = level == LevelIndex::factory ? factoryFileOf(product)
                                               : files->fileOf(product->getName(), level).string();
        std::error_code ignored;
        at.fileExists = std::filesystem::exists(at.file, ignored);
    }
}

} // namespace

SettingExplanation explain(const Settings& setting) {
    const NodePtr node = SettingsAccess::mutableNode(setting);
    if (!node->isLeafNode())
        throw exception::NotAKeyName(node->getThisObject(), node->getName());
    SettingExplanation e;
    e.fullName = node->getFullName(false, ".");
    e.originLevel = levelName(node->originLevel());
    e.aliasOf = node->aliasName();
    e.visible = node->isVisible();
    addTexts(*node, e);
    const NodePtr read = behindAlias(node);
    e.readOnly = read->isReadOnly();
    addTexts(*read, e);
    explainDefinition(*read, e);
    explainLevels(*node, *read, e);
    return e;
}

} // namespace settings::core
