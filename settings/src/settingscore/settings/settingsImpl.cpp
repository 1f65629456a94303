#include "settingscore/settings/settingsImpl.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/LevelCheck.hpp"
#include "settingscore/settings/node/NodeLog.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"

#include <boost/make_shared.hpp>

#include <unistd.h>

#include <chrono>

namespace settings::core::detail {

using varnek::concurrency::ReadSection;

namespace {

std::atomic<std::uint64_t> lastSerial{0};

/// Tells the nodes of this process from those of another one.
std::uint64_t processTag() {
    static const std::uint64_t tag = [] {
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now).count();
        return static_cast<std::uint64_t>(::getpid()) << 32 ^ static_cast<std::uint64_t>(seconds);
    }();
    return tag;
}

} // namespace

SettingsNodeImpl::~SettingsNodeImpl() = default;

NodeSpec NodeSpec::from(std::string_view name, const FactorySettingProperties& properties,
                        LevelIndex origin) {
    NodeSpec spec;
    spec.name = name;
    spec.origin = origin;
    spec.readOnly = properties.readOnlyState();
    spec.visible = properties.getVisible();
    spec.definition = NodeDefinition::from(properties);
    return spec;
}

SettingsImpl::SettingsImpl(NodeSpec spec, bool isGroup)
    : name_(std::move(spec.name)), group_(isGroup ? new GroupState : nullptr), serial_(++lastSerial),
      origin_(spec.origin), readOnly_(spec.readOnly), visible_(spec.visible) {
    if (isGroup && spec.version)
        group_->version = std::uint64_t{*spec.version} + 1;
    takeDefinition(std::move(spec.definition));
    if (spec.value.first.isVoid())
        return;
    recordDataType(spec.value);
    values_.store(spec.valueLevel, std::move(spec.value));
}

void SettingsImpl::finish(const boost::shared_ptr<SettingsImpl>& node) {
    if (node->group_ != nullptr)
        node->group_->self = node;
}

boost::shared_ptr<SettingsImpl> SettingsImpl::makeGroup(NodeSpec spec) {
    boost::shared_ptr<SettingsImpl> node(new SettingsImpl(std::move(spec), true));
    finish(node);
    return node;
}

boost::shared_ptr<SettingsImpl> SettingsImpl::makeSetting(NodeSpec spec) {
    struct Constructible : SettingsImpl { // make_shared saves an allocation per setting
        explicit Constructible(NodeSpec s) : SettingsImpl(std::move(s), false) {}
    };
    return boost::make_shared<Constructible>(std::move(spec));
}

boost::shared_ptr<SettingsImpl> SettingsImpl::makeChild(NodeSpec spec, bool isGroup) const {
    return isGroup ? makeGroup(std::move(spec)) : makeSetting(std::move(spec));
}

SettingsImpl::~SettingsImpl() {
    if (group_ == nullptr)
        return;
    {
        const ReadSection section;
        if (const ChildIndex* index = group_->children.read())
            for (const NodePtr& child : index->inOrder())
                if (auto* const own = dynamic_cast<SettingsImpl*>(child.get())) {
                    const GroupState* expected = group_; // it may stand in another group by now
                    own->parent_.compare_exchange_strong(expected, nullptr);
                }
    }
    varnek::concurrency::retire(group_,
                                [](const void* state) { delete static_cast<const GroupState*>(state); });
    varnek::concurrency::reclaim();
}

boost::shared_ptr<SettingsImpl> SettingsImpl::parentGroup() const {
    const ReadSection section;
    const GroupState* parent = parent_.load(std::memory_order_seq_cst);
    return parent == nullptr ? nullptr : parent->self.lock();
}

NodePtr SettingsImpl::getParent() const {
    return parentGroup();
}

void SettingsImpl::setParent(const NodePtr& parent) {
    const auto* group = dynamic_cast<const SettingsImpl*>(parent.get());
    parent_.store(group == nullptr ? nullptr : group->group_, std::memory_order_seq_cst);
}

std::string SettingsImpl::getFullName(bool includeRoot, std::string_view separator) const {
    if (isRoot())
        return includeRoot ? name_ : std::string();
    const auto parent = parentGroup();
    if (parent == nullptr)
        return name_;
    std::string full = parent->getFullName(includeRoot, separator);
    if (!full.empty())
        full += separator;
    return full += name_;
}

NodeIdentity SettingsImpl::identity() const {
    return {processTag(), serial_};
}

bool SettingsImpl::isReadOnly() const {
    const ReadOnlyState own = readOnlyState();
    if (own != ReadOnlyState::inherited)
        return own == ReadOnlyState::readOnly;
    if (isLeafNode())
        return false;
    const auto parent = parentGroup();
    return parent != nullptr && parent->isReadOnly();
}

boost::optional<std::uint32_t> SettingsImpl::getVersionNumber() const {
    const std::uint64_t version = group_ == nullptr ? 0 : group_->version.load(std::memory_order_relaxed);
    return version == 0 ? boost::optional<std::uint32_t>() : static_cast<std::uint32_t>(version - 1);
}

boost::shared_ptr<const TreeContext> SettingsImpl::treeContext() const {
    const auto parent = parentGroup();
    return parent == nullptr ? nullptr : parent->treeContext();
}

bool SettingsImpl::isConnectedToTheSettingsTree() const {
    const auto tree = treeContext();
    return tree != nullptr && tree->connected;
}

RootIndex SettingsImpl::getRootIndex() const {
    const auto tree = treeContext();
    return tree == nullptr ? RootIndex(InvalidRootIndex()) : tree->rootIndex;
}

boost::shared_ptr<Settings> SettingsImpl::getThisObject() {
    return SettingsAccess::wrap(shared_from_this());
}

boost::shared_ptr<const Settings> SettingsImpl::getThisObjectImpl() const {
    return SettingsAccess::wrap(boost::const_pointer_cast<SettingsImpl>(shared_from_this()));
}

LevelIndex SettingsImpl::checkLevel(std::string_view level) const {
    const bool hasFolder = level == levelName(LevelIndex::installation); // one of its own in each tree
    return checkModifiableLevel(
        level, [this] { return getThisObjectImpl(); },
        hasFolder ? getRootIndex() : RootIndex(InvalidRootIndex()));
}

NodePtr SettingsImpl::getTopLevelNodeForSave() {
    NodePtr node = shared_from_this();
    for (NodePtr parent = node->getParent(); parent != nullptr; parent = node->getParent()) {
        if (parent->isRoot())
            return node;
        node = parent;
    }
    return {};
}

void SettingsImpl::saveThisSubTree(LevelIndex level) {
    const auto tree = treeContext();
    const NodePtr topLevel = getTopLevelNodeForSave();
    const bool isWritable = tree != nullptr && tree->saves != nullptr && topLevel != nullptr;
    if (tree == nullptr || !tree->connected || !isWritable) {
        VARNEK_LOG(nodeLog, info) << "saveThisSubTree:  Can't write subtree.  isConnected: "
                                  << (tree != nullptr && tree->connected) << "isWritable: " << isWritable;
        return;
    }
    tree->saves->requestSave(topLevel, level);
}

void SettingsImpl::requestSaveOf(SettingsNodeImpl& node, LevelIndex level) noexcept {
    try {
        node.saveThisSubTree(level);
    } catch (const std::exception& failure) {
        VARNEK_LOG(nodeLog, error) << "Exception caught: " << failure.what();
    }
}

void SettingsImpl::loadUserSettingsOncePerPrefdir() {
    const auto tree = treeContext();
    const NodePtr topLevel = getTopLevelNodeForSave();
    if (tree != nullptr && tree->saves != nullptr && topLevel != nullptr)
        tree->saves->loadUserSettings(topLevel);
}

} // namespace settings::core::detail
