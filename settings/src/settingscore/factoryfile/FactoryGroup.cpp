#include "settingscore/factoryfile/FactoryGroup.hpp"

#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/factoryfile/InvalidDefinition.hpp"
#include "settingscore/factoryfile/ValueCheck.hpp"
#include "settingscore/settings/file/SettingsFileKeys.hpp"
#include "settingscore/settings/file/TreeLoader.hpp"
#include "settingscore/settings/file/ValidatorJson.hpp"
#include "settingscore/settings/node/NodeNames.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/node/SettingsImplForFileManager.hpp"
#include "varnek/files/PathText.hpp"

#include <boost/variant/get.hpp>

namespace varnek::settings {

using namespace ::settings::core; // NOLINT: this namespace hides the library's own
using namespace ::settings::core::detail;
namespace failures = ::settings::core::exception;

namespace {

constexpr std::string_view level = "factory";

void checkName(std::string_view name, const std::string& parentName, bool isTop) {
    if (!varnek::files::isUtf8(name) || !isAcceptableName(name, parentName, isTop))
        throw failures::InvalidSettingOrGroupName(std::string(name));
}

class DefinitionCheck {
  public:
    DefinitionCheck(const FactoryGroup::Properties& properties, const json::Object& attributes,
                    bool isSetting, FactoryGroup::Use use)
        : properties_(properties), attributes_(attributes) {
        checkAttributes(isSetting);
        if (use == FactoryGroup::Use::file && boost::get<CPPValidator>(&properties.getValidator()) != nullptr)
            report(keys::validationFcn, "cannot be a callable of this process");
        if (isSetting)
            checkValidators();
    }

    void raise(const std::string& fullName) && {
        if (!faults_.empty())
            throw InvalidDefinition(fullName, std::move(faults_));
    }

  private:
    void report(std::string_view key, const std::string& rule) {
        faults_.push_back({"$." + std::string(key), rule});
    }

    void checkAttributes(bool isSetting) {
        const std::string path = std::string(keys::attributes) + ".";
        for (const auto key : {keys::attributeTitle, keys::attributeDescription, keys::aliasName})
            if (const json::Value* value = attributes_.find(key); value != nullptr && !value->isString())
                report(path + std::string(key), "must be a string");
        if (attributes_.contains(keys::isUserDefined))
            report(path + std::string(keys::isUserDefined), "is reserved for what users add");
        if (!isSetting && attributes_.contains(keys::aliasName))
            report(path + std::string(keys::aliasName), "is for settings: a group has no alias");
    }

    void checkValidators() {
        const auto& validators = properties_.getMultiCheckValueValidators();
        reportContradictions(validators, "$." + std::string(keys::settingValueValidator),
                             validators.size() != 1,
                             [this](const std::string& path, const std::string& rule) {
                                 faults_.push_back({path, rule});
                             });
        const auto& value = properties_.getFactoryValue();
        if (value.isVoid() || !settingscore::boostany::isSupportedArray(value))
            return;
        if (const auto refusal = refusalOf(validators, value))
            report(keys::value, *refusal);
    }

    const FactoryGroup::Properties& properties_;
    const json::Object& attributes_;
    std::vector<DefinitionFault> faults_;
};

boost::shared_ptr<SettingsImpl> makeNode(NodeSpec spec, bool isGroup) {
    return isGroup ? SettingsImplForFileManager::makeGroup(std::move(spec), LevelIndex::factory)
                   : SettingsImplForFileManager::makeSetting(std::move(spec), LevelIndex::factory);
}

} // namespace

FactoryGroup::FactoryGroup(std::string_view name, const Properties& properties,
                           const json::Object& attributes, Use use)
    : use_(use) {
    checkName(name, {}, true);
    DefinitionCheck(properties, attributes, false, use).raise(std::string(name));
    const NodePtr node = makeNode(NodeSpec::from(name, properties, LevelIndex::factory), true);
    node->setAttributes(attributes);
    handle_ = SettingsAccess::wrap(node);
}

FactoryGroup FactoryGroup::from(GroupRecord&& record) {
    const LoadRules rules{.level = LevelIndex::factory, .makeNode = makeNode};
    return FactoryGroup(SettingsAccess::wrap(buildTree(std::move(record), rules)), Use::file);
}

FactoryGroup FactoryGroup::addGroup(std::string_view name, const Properties& properties,
                                    const json::Object& attributes) {
    const std::string parent = getFullName();
    checkName(name, parent, false);
    DefinitionCheck(properties, attributes, false, use_).raise(parent + "." + std::string(name));
    const NodePtr node = SettingsAccess::node(*handle_)->addGroup(name, properties, level);
    node->setAttributes(attributes);
    return FactoryGroup(SettingsAccess::wrap(node), use_);
}

void FactoryGroup::addSetting(std::string_view name, const Properties& properties,
                              const json::Object& attributes, boost::optional<bool> isVector) {
    const std::string parent = getFullName();
    checkName(name, parent, false);
    DefinitionCheck(properties, attributes, true, use_).raise(parent + "." + std::string(name));
    Properties defined = properties;
    json::Object others = attributes;
    if (const json::Value* alias = attributes.find(keys::aliasName)) {
        defined.setAliasName(std::string(alias->asString()));
        others.erase(keys::aliasName);
    }
    const NodePtr node = SettingsAccess::node(*handle_)->addSetting(name, defined, level);
    if (isVector && !properties.getFactoryValue().isVoid()) {
        node->loadValue(LevelIndex::factory, {}); // with the shape of its own
        node->loadValue(LevelIndex::factory, {properties.getFactoryValue(), *isVector});
    }
    node->setAttributes(std::move(others));
}

std::string FactoryGroup::getName() const {
    return handle_->getName();
}

std::string FactoryGroup::getFullName() const {
    return handle_->getFullName();
}

std::vector<FactoryGroup> FactoryGroup::getGroups() const {
    std::vector<FactoryGroup> groups;
    for (const auto& child : handle_->getChildren())
        if (!child->isLeafNode())
            groups.push_back(FactoryGroup(child, use_));
    return groups;
}

std::vector<FactorySettingNode> FactoryGroup::getNodes() const {
    std::vector<FactorySettingNode> nodes;
    for (const auto& child : handle_->getChildren())
        nodes.push_back(FactorySettingNode(child));
    return nodes;
}

std::vector<std::string> FactoryGroup::getSettingNames() const {
    std::vector<std::string> names;
    for (const auto& child : handle_->getChildren())
        if (child->isLeafNode())
            names.push_back(child->getName());
    return names;
}

FactoryGroup::Properties FactoryGroup::getProperties() const {
    return SettingsAccess::node(*handle_)->definition();
}

json::Object FactoryGroup::getAttributes() const {
    return SettingsAccess::node(*handle_)->attributes();
}

namespace {

/// The setting itself, also where it is an alias.
NodePtr settingOf(Settings& group, std::string_view name) {
    const NodePtr node = SettingsAccess::node(group);
    for (const NodePtr& child : node->getChildren()) {
        if (child->getName() != name)
            continue;
        if (!child->isLeafNode())
            throw failures::NotAKeyName(node->getThisObject(), std::string(name));
        return child;
    }
    throw failures::NoSuchKey(node->getThisObject(), std::string(name));
}

} // namespace

FactoryGroup::Properties FactoryGroup::getProperties(std::string_view setting) const {
    return settingOf(*handle_, setting)->definition();
}

json::Object FactoryGroup::getAttributes(std::string_view setting) const {
    return settingOf(*handle_, setting)->attributes();
}

} // namespace varnek::settings
