// What a remote node asks the other process for, and what it knows itself.

#include "settingscore/spf/SettingsRemoteImpl.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/LevelCheck.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/spf/RemoteGroup.hpp"

#include <algorithm>

namespace settings::spf {

using core::detail::SettingsAccess;
using core::exception::RemoteCallFailed;
using std::chrono::steady_clock;

namespace {

constexpr unsigned valueBits = 8;
constexpr std::uint32_t allFlags = flag::leaf | flag::visible | flag::readOnly;

} // namespace

SettingsRemoteImpl::SettingsRemoteImpl(std::shared_ptr<RemoteGroup> group,
                                       boost::shared_ptr<SettingsRemoteImpl> parent, std::string name,
                                       std::uint64_t serial)
    : group_(std::move(group)), parent_(std::move(parent)), name_(std::move(name)), serial_(serial) {}
SettingsRemoteImpl::~SettingsRemoteImpl() = default;

core::detail::NodeIdentity SettingsRemoteImpl::identity() const {
    group_->keepIdentity(*this);
    return {0, serial_};
}

Path SettingsRemoteImpl::path() const {
    Path path;
    for (const SettingsRemoteImpl* node = this; node->parent_ != nullptr; node = node->parent_.get())
        path.push_back(node->name_);
    std::reverse(path.begin(), path.end());
    return path;
}

boost::shared_ptr<SettingsRemoteImpl> SettingsRemoteImpl::self() const {
    return boost::const_pointer_cast<SettingsRemoteImpl>(shared_from_this());
}

// ---- calls ----

namespace {

// What is taken of a reply.
constexpr auto nothing = [](const Value&) {};
constexpr auto truth = [](const Value& reply) { return reply.asBool(); };
constexpr auto text = [](const Value& reply) { return reply.asText(); };
constexpr auto array = [](const Value& reply) { return reply.asArray(); };

} // namespace

template <class Take>
auto SettingsRemoteImpl::call(const char* method, Value::List arguments, Take take) const {
    arguments.insert(arguments.begin(), toValue(path()));
    return group_->call(method, getFullName(false, "."), std::move(arguments), take);
}

template <class Refusal, class Take>
auto SettingsRemoteImpl::callIfServed(const char* method, Value::List arguments, Take take) const {
    try {
        return call(method, std::move(arguments), take);
    } catch (const RemoteCallFailed& failure) {
        if (failure.getFault() == RemoteCallFailed::Fault::unknownMethod)
            throw Refusal(name_);
        throw;
    }
}

void SettingsRemoteImpl::tell(std::int64_t flags) const noexcept {
    toldUntil_.store((steady_clock::now() + browseTime).time_since_epoch().count(),
                     std::memory_order_relaxed);
    told_.store(allFlags | (static_cast<std::uint32_t>(flags) & allFlags) << valueBits,
                std::memory_order_release);
}

void SettingsRemoteImpl::forgetTold() const noexcept {
    told_.store(0, std::memory_order_release);
}

bool SettingsRemoteImpl::ask(const char* method, std::uint32_t flag) const {
    const std::uint32_t told = told_.fetch_and(~flag, std::memory_order_acquire);
    if ((told & flag) != 0 && group_->isAttached() &&
        steady_clock::now().time_since_epoch().count() < toldUntil_.load(std::memory_order_relaxed))
        return (told >> valueBits & flag) != 0;
    return call(method, {}, truth);
}

bool SettingsRemoteImpl::isLeafNode() const {
    return ask(method::isLeafNode, flag::leaf);
}

bool SettingsRemoteImpl::isVisible() const {
    return ask(method::isVisible, flag::visible);
}

bool SettingsRemoteImpl::isReadOnly() const {
    return ask(method::isReadOnly, flag::readOnly);
}

bool SettingsRemoteImpl::isRoot() const {
    return call(method::isRoot, {}, truth);
}

ReadOnlyState SettingsRemoteImpl::readOnlyState() const {
    return isReadOnly() ? ReadOnlyState::readOnly : ReadOnlyState::writable;
}

std::string SettingsRemoteImpl::getParentFullName() const {
    return call(method::getParentFullName, {}, text);
}

// ---- children ----

NodePtr SettingsRemoteImpl::getChild(std::string_view name, bool) {
    return call(method::callGetChild, {name}, [&](const Value& reply) -> NodePtr {
        if (reply.isNothing()) {
            group_->forgetTold(*this, std::string(name));
            return {};
        }
        const Value::List& child = reply.asList();
        const std::int64_t flags = at(child, 0).asInteger();
        const auto node =
            child.size() > 1 ? group_->nodeAt(toPath(child[1])) : group_->childOf(self(), std::string(name));
        node->tell(flags);
        return node;
    });
}

ConstNodePtr SettingsRemoteImpl::getChild(std::string_view name, bool load) const {
    return self()->getChild(name, load);
}

std::vector<NodePtr> SettingsRemoteImpl::browse(const char* method) const {
    return call(method, {}, [this](const Value& reply) {
        const Value::List& told = reply.asList();
        std::vector<NodePtr> children;
        children.reserve(told.size() / 2);
        for (std::size_t i = 0; i < told.size(); i += 2) {
            const std::int64_t flags = at(told, i + 1).asInteger();
            const auto child = group_->childOf(self(), told[i].asText());
            child->tell(flags);
            children.push_back(child);
        }
        return children;
    });
}

std::vector<NodePtr> SettingsRemoteImpl::getChildren() {
    return browse(method::getChildrenNames);
}

std::vector<ConstNodePtr> SettingsRemoteImpl::getChildren() const {
    const auto children = browse(method::getChildrenNamesConst);
    return {children.begin(), children.end()};
}

NodePtr SettingsRemoteImpl::findSetting(std::string_view name) const {
    NodePtr child = self()->getChild(name, true);
    if (child == nullptr)
        throw core::exception::NoSuchKey(self()->getThisObject(), std::string(name));
    if (!child->isLeafNode())
        throw core::exception::NotAKeyName(self()->getThisObject(), std::string(name));
    return child;
}

void SettingsRemoteImpl::removeNode(std::string_view name) {
    call(method::removeNode, {name}, nothing);
    group_->forgetTold(*this, std::string(name));
}

// ---- values ----

varnek::data::Array SettingsRemoteImpl::get(std::string_view name, std::string_view level) const {
    return call(method::getSettingMDArray, {name, level}, array);
}

bool SettingsRemoteImpl::isSet(std::string_view name, std::string_view level) const {
    return !get(name, level).isVoid();
}

void SettingsRemoteImpl::unset(std::string_view name, std::string_view level) {
    call(method::unset, {name, level}, nothing);
}

/// Of the setting that an alias of this process leads to.
ShapedArray SettingsRemoteImpl::valueOn(LevelIndex level) const {
    if (parent_ == nullptr)
        return {};
    auto value = parent_->get(name_, levelName(level));
    const bool isVector = settingscore::boostany::isVectorShape(value);
    return {std::move(value), isVector};
}

// ---- what not every process serves ----

void SettingsRemoteImpl::loadUserSettingsOncePerPrefdir() {
    callIfServed<core::exception::LoadingUserSettingsRemotelyIsNotSupported>(
        method::loadUserSettingsOncePerPrefdir, {}, nothing);
}

bool SettingsRemoteImpl::needsSyncWithVCOSTree() const {
    return callIfServed<core::exception::RemoteNodesDoNotSynchronizeWithVCOSTree>(
        method::needsSyncWithVCOSTree, {}, truth);
}

void SettingsRemoteImpl::setSyncWithVCOSTree(bool sync) {
    callIfServed<core::exception::RemoteNodesDoNotSynchronizeWithVCOSTree>(method::setSyncWithVCOSTree,
                                                                           {sync}, nothing);
}

// ---- known here ----

NodePtr SettingsRemoteImpl::getParent() const {
    if (parent_ != nullptr)
        return parent_;
    return group_->isAttached() ? group_->root() : NodePtr();
}

std::string SettingsRemoteImpl::getFullName(bool includeRoot, std::string_view separator) const {
    const NodePtr parent = getParent();
    std::string full = parent == nullptr ? std::string() : parent->getFullName(includeRoot, separator);
    if (!full.empty())
        full += separator;
    return full += name_;
}

boost::shared_ptr<Settings> SettingsRemoteImpl::getThisObject() {
    return SettingsAccess::wrap(shared_from_this());
}

LevelIndex SettingsRemoteImpl::checkLevel(std::string_view level) const {
    const LevelIndex found = core::detail::requireLevel(level, [this] { return self()->getThisObject(); });
    if (found == LevelIndex::factory)
        throw core::exception::CantModifyValuesOnReadOnlyLevel(self()->getThisObject(), std::string(level));
    return found;
}

/// Called while the root puts the group in its place: no calls from here.
void SettingsRemoteImpl::setParent(const NodePtr& parent) {
    if (parent_ != nullptr || (parent != nullptr && parent != group_->root()))
        throw core::exception::SettingParentRemotelyNotSupported(name_);
    group_->setAttached(parent != nullptr);
}

} // namespace settings::spf
