#include "settingscore/settings/node/SettingsImplProxy.hpp"

#include "settingscore/Settings.hpp"

#include <utility>

namespace settings::core::detail {

SettingsImplProxy::SettingsImplProxy(NodePtr target) : target_(std::move(target)) {}

std::string SettingsImplProxy::getFullName(bool includeRoot, std::string_view separator) const {
    return target_->getFullName(includeRoot, separator);
}

bool SettingsImplProxy::isSet(std::string_view name, std::string_view level) const {
    return target_->isSet(name, level);
}

void SettingsImplProxy::unset(std::string_view name, std::string_view level) {
    target_->unset(name, level);
}

boost::optional<std::uint64_t> SettingsImplProxy::getDataTypeIndex(std::string_view name) const {
    return target_->getDataTypeIndex(name);
}

ConstNodePtr SettingsImplProxy::getChild(std::string_view name, bool load) const {
    return std::as_const(*target_).getChild(name, load);
}

NodePtr SettingsImplProxy::getChild(std::string_view name, bool load) {
    return target_->getChild(name, load);
}

std::vector<ConstNodePtr> SettingsImplProxy::getChildren() const {
    return std::as_const(*target_).getChildren();
}

std::vector<NodePtr> SettingsImplProxy::getChildren() {
    return target_->getChildren();
}

NodePtr SettingsImplProxy::getParent() const {
    return target_->getParent();
}

bool SettingsImplProxy::isLeafNode() const {
    return target_->isLeafNode();
}

bool SettingsImplProxy::isVisible() const {
    return target_->isVisible();
}

bool SettingsImplProxy::isReadOnly() const {
    return target_->isReadOnly();
}

bool SettingsImplProxy::isRoot() const {
    return target_->isRoot();
}

boost::optional<std::uint32_t> SettingsImplProxy::getVersionNumber() const {
    return target_->getVersionNumber();
}

void SettingsImplProxy::mergeDescendants(const ConstNodePtr& other, std::string_view level) {
    target_->mergeDescendants(other, level);
}

RootIndex SettingsImplProxy::getRootIndex() const {
    return target_->getRootIndex();
}

NodePtr SettingsImplProxy::addSetting(std::string_view name, const FactorySettingProperties& definition,
                                      std::string_view level) {
    return target_->addSetting(name, definition, level);
}

NodePtr SettingsImplProxy::addGroup(std::string_view name, const FactorySettingProperties& definition,
                                    std::string_view level) {
    return target_->addGroup(name, definition, level);
}

bool SettingsImplProxy::isConnectedToTheSettingsTree() const {
    return target_->isConnectedToTheSettingsTree();
}

ShapedArray SettingsImplProxy::getAny(std::string_view name, std::string_view level) const {
    return target_->getAny(name, level);
}

varnek::data::Array SettingsImplProxy::get(std::string_view name, std::string_view level) const {
    return target_->get(name, level);
}

boost::shared_ptr<Settings> SettingsImplProxy::getThisObject() {
    return target_->getThisObject();
}

void SettingsImplProxy::setValue(std::string_view name, const varnek::data::Array& value, bool isVector,
                                 std::string_view level) {
    target_->setValue(name, value, isVector, level);
}

std::vector<Failure> SettingsImplProxy::multipleSet(std::span<const NodeValue> values, std::string_view level,
                                                    bool collect) {
    return target_->multipleSet(values, level, collect);
}

std::vector<Failure> SettingsImplProxy::multipleValidate(std::span<const NodeValue> values,
                                                         bool collect) const {
    return target_->multipleValidate(values, collect);
}

void SettingsImplProxy::removeNode(std::string_view name) {
    target_->removeNode(name);
}

void SettingsImplProxy::loadUserSettingsOncePerPrefdir() {
    target_->loadUserSettingsOncePerPrefdir();
}

bool SettingsImplProxy::needsSyncWithVCOSTree() const {
    return target_->needsSyncWithVCOSTree();
}

void SettingsImplProxy::setSyncWithVCOSTree(bool sync) {
    target_->setSyncWithVCOSTree(sync);
}

void SettingsImplProxy::reloadFactoryFile(std::string_view name) {
    target_->reloadFactoryFile(name);
}

NodePtr SettingsImplProxy::findSetting(std::string_view name) const {
    return target_->findSetting(name);
}

LevelIndex SettingsImplProxy::checkLevel(std::string_view level) const {
    return target_->checkLevel(level);
}

void SettingsImplProxy::saveThisSubTree(LevelIndex level) {
    target_->saveThisSubTree(level);
}

NodePtr SettingsImplProxy::getTopLevelNodeForSave() {
    return target_->getTopLevelNodeForSave();
}

const std::string& SettingsImplProxy::getName() const {
    return target_->getName();
}

NodeIdentity SettingsImplProxy::identity() const {
    return target_->identity();
}

boost::shared_ptr<const TreeContext> SettingsImplProxy::treeContext() const {
    return target_->treeContext();
}

LevelIndex SettingsImplProxy::originLevel() const {
    return target_->originLevel();
}

ReadOnlyState SettingsImplProxy::readOnlyState() const {
    return target_->readOnlyState();
}

bool SettingsImplProxy::hasAnythingToPersist(LevelIndex level) const {
    return target_->hasAnythingToPersist(level);
}

ShapedArray SettingsImplProxy::valueOn(LevelIndex level) const {
    return target_->valueOn(level);
}

bool SettingsImplProxy::loadValue(LevelIndex level, ShapedArray value) {
    return target_->loadValue(level, std::move(value));
}

void SettingsImplProxy::unloadLevel(LevelIndex level) {
    target_->unloadLevel(level);
}

FactorySettingProperties SettingsImplProxy::definition() const {
    return target_->definition();
}

varnek::json::Object SettingsImplProxy::attributes() const {
    return target_->attributes();
}

void SettingsImplProxy::setAttributes(varnek::json::Object attributes) {
    target_->setAttributes(std::move(attributes));
}

void SettingsImplProxy::setValidator(const ValidatorVariant& validator) {
    target_->setValidator(validator);
}

void SettingsImplProxy::validate() const {
    target_->validate();
}

NodePtr SettingsImplProxy::createFactorySetting(std::string_view name,
                                                const FactorySettingProperties& definition, bool needsSync) {
    return target_->createFactorySetting(name, definition, needsSync);
}

void SettingsImplProxy::adoptChildren(std::vector<NodePtr> children) {
    target_->adoptChildren(std::move(children));
}

void SettingsImplProxy::setParent(const NodePtr& parent) {
    target_->setParent(parent);
}

const LevelValues* SettingsImplProxy::peekValues(std::string_view name) const noexcept {
    return target_->peekValues(name);
}

const SettingsNodeImpl* SettingsImplProxy::peekChild(std::string_view name) const noexcept {
    return target_->peekChild(name);
}

std::string SettingsImplProxy::aliasName() const {
    return target_->aliasName();
}

void SettingsImplProxy::registerFactoryFile(const std::u16string& file, const std::u16string& folder,
                                            const std::vector<UpgraderRecord>& upgraders, bool force,
                                            std::string_view name) {
    target_->registerFactoryFile(file, folder, upgraders, force, name);
}

void SettingsImplProxy::writeFactoryFile(const std::u16string& file,
                                         const std::vector<UpgraderRecord>& upgraders) {
    target_->writeFactoryFile(file, upgraders);
}

void SettingsImplProxy::loaderAdded(std::string_view name) {
    target_->loaderAdded(name);
}

boost::shared_ptr<const Settings> SettingsImplProxy::getThisObjectImpl() const {
    return target_->getThisObjectImpl();
}

NodePtr SettingsImplProxy::unwrap() {
    return target_->unwrap();
}

void SettingsImplProxy::checkStructureMayChange(const boost::shared_ptr<const Settings>& child,
                                                bool adding) const {
    target_->checkStructureMayChange(child, adding);
}

const LevelValues* SettingsImplProxy::values() const noexcept {
    return target_->values();
}

} // namespace settings::core::detail
