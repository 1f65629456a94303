#include "settingscore/MSettings.hpp"

#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/level/TreeFolders.hpp"
#include "settingscore/settings/node/AliasDestination.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/settingsImpl.hpp"
#include "settingscore/validation/FunctionValidatorCall.hpp"
#include "varnek/files/PathText.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace settings::core {

using detail::FactorySettingProperties;
using detail::NodePtr;
using detail::NodeSpec;
using detail::SettingsAccess;
using detail::SettingsImpl;

MSettings::MSettings(NodePtr node) : Settings(std::move(node)) {}
MSettings::MSettings(const Settings& handle) : Settings(handle) {}
MSettings::~MSettings() = default;

boost::shared_ptr<MSettings> MSettings::of(const boost::shared_ptr<Settings>& handle) {
    return handle == nullptr ? nullptr : boost::shared_ptr<MSettings>(new MSettings(*handle));
}

// ---- names ----

namespace {

bool isLetter(char16_t unit) {
    return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z');
}

bool mayFollow(char16_t unit) {
    return isLetter(unit) || (unit >= u'0' && unit <= u'9') || unit == u'_';
}

} // namespace

void MSettings::validateSettingOrGroupName(std::string_view name) {
    if (name.empty())
        throw std::out_of_range("invalid string position");
    const auto text = varnek::files::utf16FromUtf8(name);
    if (!text || !isLetter(text->front()) || !std::all_of(text->begin(), text->end(), mayFollow))
        throw exception::InvalidSettingOrGroupName(std::string(name));
}

// ---- making and adding nodes ----

boost::shared_ptr<MSettings> MSettings::createSetting(const std::string& name, bool sync,
                                                      const SettingsProperties& properties) {
    validateSettingOrGroupName(name);
    FactorySettingProperties definition(properties.visible, false, {}, properties.validator, {}, false, false,
                                        properties.multiCheckValueValidators);
    definition.setReadOnlyState(properties.readOnlyState);
    const auto node = SettingsImpl::makeSetting(NodeSpec::from(name, definition, LevelIndex::user));
    node->setSyncWithVCOSTree(sync);
    node->setInitialValue(properties.value, LevelIndex::user);
    return of(node->getThisObject());
}

boost::shared_ptr<MSettings> MSettings::createSettingsNode(const std::string& name, bool sync, bool visible,
                                                           ReadOnlyState readOnly) {
    validateSettingOrGroupName(name);
    NodeSpec spec;
    spec.name = name;
    spec.origin = LevelIndex::user;
    spec.visible = visible;
    spec.readOnly = readOnly;
    const auto node = SettingsImpl::makeGroup(std::move(spec));
    node->setSyncWithVCOSTree(sync);
    return of(node->getThisObject());
}

namespace {

/// Null for a node of another process.
boost::shared_ptr<SettingsImpl> localNode(const NodePtr& node) {
    return boost::dynamic_pointer_cast<SettingsImpl>(node->unwrap());
}

} // namespace

void MSettings::setParent(const boost::shared_ptr<Settings>& parent) {
    if (parent == nullptr)
        throw std::invalid_argument("an empty handle as parent");
    const auto group = localNode(SettingsAccess::node(*parent));
    const auto child = localNode(getImpl());
    if (group == nullptr || child == nullptr)
        throw exception::ErrorAddingChildNodeOrKey(parent, getName());
    group->attach(child);
}

boost::shared_ptr<MSettings> MSettings::createFactorySetting(const std::string& name, bool sync,
                                                             const FactorySettingProperties& properties) {
    validateSettingOrGroupName(name);
    if (isRoot())
        throw exception::CannotAddKeyToRoot(name);
    return of(getImpl()->createFactorySetting(name, properties, sync)->getThisObject());
}

// ---- this node ----

namespace {

void requireSetting(const detail::SettingsNodeImpl& node) {
    if (node.isLeafNode())
        return;
    const NodePtr parent = node.getParent();
    throw exception::NotAKeyName((parent == nullptr ? node : *parent).getThisObjectImpl(), node.getName());
}

} // namespace

void MSettings::setValidator(const ValidatorVariant& validator) {
    const NodePtr node = detail::behindAlias(getImpl());
    requireSetting(*node);
    detail::requireFunction(validator);
    node->setValidator(validator);
    // An added setting stands in its file with its definition.
    if (node->originLevel() != LevelIndex::factory && node->isConnectedToTheSettingsTree())
        node->saveThisSubTree(node->originLevel());
}

void MSettings::validate(const boost::shared_ptr<const Settings>& setting) {
    if (setting == nullptr)
        throw std::invalid_argument("an empty handle to validate");
    const NodePtr node = detail::behindAlias(SettingsAccess::mutableNode(*setting));
    requireSetting(*node);
    node->validate();
}

bool MSettings::isTopLevelNode() const {
    const NodePtr parent = getImpl()->getParent();
    return parent != nullptr && parent->isRoot();
}

bool MSettings::needsSyncWithVCOSTree() const {
    return getImpl()->needsSyncWithVCOSTree();
}

void MSettings::setSyncWithVCOSTree(bool sync) {
    getImpl()->setSyncWithVCOSTree(sync);
}

void MSettings::registerFactoryFile(const std::u16string& file, const std::u16string& folder,
                                    const std::vector<detail::UpgraderRecord>& upgraders, bool force,
                                    std::string_view name) {
    getImpl()->registerFactoryFile(file, folder, upgraders, force, name);
}

void MSettings::writeFactoryFile(const std::u16string& file,
                                 const std::vector<detail::UpgraderRecord>& upgraders) {
    getImpl()->writeFactoryFile(file, upgraders);
}

// ---- folders of a tree ----

std::u16string MSettings::getFactoryDir(const RootIndex& tree) {
    return detail::levelFolder(tree, LevelIndex::factory);
}

std::u16string MSettings::getInstallationDir(const RootIndex& tree) {
    return detail::levelFolder(tree, LevelIndex::installation);
}

std::u16string MSettings::getUserDir(const RootIndex& tree) {
    return detail::levelFolder(tree, LevelIndex::user);
}

std::u16string MSettings::getWorkgroupDir(const RootIndex& tree) {
    return detail::workgroupFolder(tree);
}

} // namespace settings::core
