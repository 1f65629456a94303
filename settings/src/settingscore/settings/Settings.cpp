#include "settingscore/Settings.hpp"

#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/boostany/SupportedTypes.hpp"
#include "settingscore/events/EventTypes.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/FullNamePath.hpp"
#include "settingscore/settings/node/LevelCheck.hpp"
#include "settingscore/settings/node/NodeLog.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"

#include <stdexcept>

namespace settings::core {

using detail::NodePtr;
using detail::ShapedArray;
using varnek::data::Array;

const std::string& Settings::settingsExtension = *new std::string(".vksettings");

Settings::Settings(NodePtr node) : impl_(std::move(node)) {}
Settings::Settings(const Settings& other) = default;
Settings& Settings::operator=(const Settings& other) = default;
Settings::~Settings() = default;

void Settings::assign(const Settings& other) {
    impl_ = other.impl_;
}

void Settings::constructor(const NodePtr& node) {
    impl_ = node;
}

boost::shared_ptr<const detail::SettingsNodeImpl> Settings::getImpl() const {
    return impl_;
}

NodePtr Settings::getImpl() {
    return impl_;
}

boost::shared_ptr<Settings> Settings::wrapImpl(const NodePtr& node) {
    return node == nullptr ? nullptr : boost::shared_ptr<Settings>(new Settings(node));
}

// ---- values ----

Array Settings::get(std::string_view name, std::string_view level) const {
    return impl_->get(name, level);
}

boost::any Settings::getAny(std::string_view name, std::string_view level) const {
    const ShapedArray value = impl_->getAny(name, level);
    return settingscore::boostany::toAny(value.first, value.second);
}

void Settings::set(std::string_view name, const Array& value, std::string_view level) {
    setValue(name, value, settingscore::boostany::isVectorShape(value), level);
}

void Settings::setValue(std::string_view name, const Array& value, bool isVector, std::string_view level) {
    impl_->setValue(name, value, isVector, level);
}

void Settings::requireChild(std::string_view name) const {
    if (impl_->isLeafNode()) {
        const NodePtr parent = impl_->getParent();
        throw exception::NotANodeName(wrapImpl(parent == nullptr ? impl_ : parent), impl_->getName());
    }
    if (impl_->getChild(name, true) == nullptr)
        throw exception::NoSuchKey(wrapImpl(impl_), std::string(name));
}

void Settings::setAny(std::string_view name, const boost::any& value, std::string_view level) {
    requireChild(name);
    const auto [array, isVector] = settingscore::boostany::toArray(value);
    setValue(name, array, isVector, level);
}

void Settings::unset(std::string_view name, std::string_view level) {
    impl_->unset(name, level);
}

bool Settings::isSet(std::string_view name, std::string_view level) const {
    return impl_->isSet(name, level);
}

boost::optional<std::uint64_t> Settings::getDataTypeIndex(std::string_view name) const {
    return impl_->getDataTypeIndex(name);
}

Settings::Failures
Settings::setTogether(const std::vector<std::pair<boost::shared_ptr<Settings>, Array>>& values,
                      std::string_view level, bool collect) {
    Pairs pairs;
    pairs.reserve(values.size());
    for (const auto& [setting, value] : values)
        pairs.emplace_back(setting, Value(value, settingscore::boostany::isVectorShape(value)));
    return multipleSetImpl(pairs, level, collect);
}

std::vector<std::pair<NodePtr, ShapedArray>> Settings::nodesOf(const Pairs& values) {
    std::vector<std::pair<NodePtr, ShapedArray>> nodes;
    nodes.reserve(values.size());
    for (const auto& [setting, value] : values) {
        if (setting == nullptr)
            throw std::invalid_argument("an empty handle in a batch of settings");
        nodes.emplace_back(setting->impl_, value);
    }
    return nodes;
}

Settings::Failures Settings::multipleSetImpl(const Pairs& values, std::string_view level, bool collect) {
    if (values.empty()) {
        detail::checkModifiableLevel(level, [] { return boost::shared_ptr<const Settings>(); });
        return {};
    }
    const auto nodes = nodesOf(values);
    return nodes.front().first->multipleSet(nodes, level, collect);
}

Settings::Failures Settings::multipleValidateImpl(const Pairs& values, bool collect) {
    if (values.empty())
        return {};
    const auto nodes = nodesOf(values);
    return nodes.front().first->multipleValidate(nodes, collect);
}

// ---- the tree ----

boost::shared_ptr<Settings> Settings::getChild(std::string_view name) const {
    return wrapImpl(impl_->getChild(name, true));
}

std::vector<boost::shared_ptr<Settings>> Settings::getChildren() const {
    std::vector<boost::shared_ptr<Settings>> handles;
    for (const NodePtr& child : impl_->getChildren())
        handles.push_back(wrapImpl(child));
    return handles;
}

boost::shared_ptr<Settings> Settings::getParent() const {
    return wrapImpl(impl_->getParent());
}

boost::shared_ptr<Settings> Settings::getSettingsByFullName(std::string_view fullName) const {
    VARNEK_LOG(detail::nodeLog, debug) << "getSettingsByFullName: " << fullName;
    const NodePtr found = fullName.empty() ? NodePtr() : detail::walk(impl_, fullName);
    if (found == nullptr)
        throw exception::InvalidNodePath(wrapImpl(impl_), std::string(fullName));
    return wrapImpl(found);
}

namespace {

detail::FactorySettingProperties runTimeDefinition(const Array& value, bool visible, bool readOnly,
                                                   const ValidatorVariant& validator) {
    return {visible, readOnly, value, validator, {}, false, false, {}};
}

} // namespace

boost::shared_ptr<Settings> Settings::addGroup(std::string_view name, bool visible, bool readOnly,
                                               std::string_view level, const ValidatorVariant& validator) {
    return wrapImpl(impl_->addGroup(name, runTimeDefinition({}, visible, readOnly, validator), level));
}

boost::shared_ptr<Settings> Settings::addSetting(std::string_view name, const Array& value, bool visible,
                                                 bool readOnly, std::string_view level,
                                                 const ValidatorVariant& validator) {
    return wrapImpl(impl_->addSetting(name, runTimeDefinition(value, visible, readOnly, validator), level));
}

void Settings::removeNode(std::string_view name) {
    impl_->removeNode(name);
}

void Settings::mergeDescendants(const boost::shared_ptr<const Settings>& other, std::string_view level) {
    if (other == nullptr)
        throw std::invalid_argument("nothing to merge");
    impl_->mergeDescendants(other->impl_, level);
}

std::string Settings::getName() const {
    return impl_->getName();
}

std::string Settings::getFullName() const {
    return impl_->getFullName(false, ".");
}

bool Settings::isRoot() const {
    return impl_->isRoot();
}

bool Settings::isLeafNode() const {
    return impl_->isLeafNode();
}

bool Settings::isReadOnly() const {
    return impl_->isReadOnly();
}

bool Settings::isVisible() const {
    return impl_->isVisible();
}

bool Settings::isConnectedToTheSettingsTree() const {
    return impl_->isConnectedToTheSettingsTree();
}

RootIndex Settings::getRootIndex() const {
    return impl_->getRootIndex();
}

boost::optional<std::uint32_t> Settings::getVersionNumber() const {
    return impl_->getVersionNumber();
}

void Settings::reloadFactoryFile(std::string_view name) {
    impl_->reloadFactoryFile(name);
}

std::string Settings::getOriginLevel() const {
    return std::string(levelName(impl_->originLevel()));
}

std::string Settings::getAliasName() const {
    return impl_->aliasName();
}

boost::shared_ptr<const Settings> Settings::getThisObjectImpl() const {
    return impl_->getThisObjectImpl();
}

boost::shared_ptr<Settings> Settings::getParentImpl() const {
    return wrapImpl(impl_->getParent());
}

void Settings::loadUserSettingsOncePerPrefdir() {
    impl_->loadUserSettingsOncePerPrefdir();
}

bool Settings::needsSyncWithVCOSTree() const {
    return impl_->needsSyncWithVCOSTree();
}

void Settings::setSyncWithVCOSTree(bool sync) {
    impl_->setSyncWithVCOSTree(sync);
}

// ---- static operations ----

bool Settings::equal(const Settings& a, const Settings& b) {
    return a.impl_ == b.impl_ ||
           (a.impl_ != nullptr && b.impl_ != nullptr && a.impl_->unwrap() == b.impl_->unwrap());
}

bool Settings::equal(const boost::shared_ptr<const Settings>& a, const boost::shared_ptr<const Settings>& b) {
    return a == nullptr || b == nullptr ? a == b : equal(*a, *b);
}

bool Settings::equal(const boost::shared_ptr<Settings>& a, const boost::shared_ptr<Settings>& b) {
    return a == nullptr || b == nullptr ? a == b : equal(*a, *b);
}

bool Settings::isValidSettingValueType(const Array& value) {
    return settingscore::boostany::isSupportedArray(value);
}

} // namespace settings::core
