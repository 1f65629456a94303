#include "settingscore/spf/RemoteGroup.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/events/EventDelivery.hpp"
#include "settingscore/events/EventTypes.hpp"
#include "settingscore/events/SettingsValueChangeEvent.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/root/DeclaredGroup.hpp"
#include "settingscore/spf/CallLog.hpp"
#include "settingscore/spf/SettingsRemoteImpl.hpp"
#include "settingscore/spf/SharingWork.hpp"
#include "settingscore/spf/SpfLog.hpp"

#include <boost/make_shared.hpp>

#include <algorithm>

namespace settings::spf {

using core::detail::NodePtr;
using core::detail::SettingsAccess;
using core::exception::RemoteCallFailed;
using varnek::spf::ProviderFailure;
using varnek::spf::RemoteError;

namespace {

/// Fewer nodes are not looked through for those that nobody holds.
constexpr std::size_t fewNodes = 4096;

/// Those of this process's nodes have another first half.
std::uint64_t nextSerial() {
    static std::atomic<std::uint64_t> last{0};
    return ++last;
}

} // namespace

RemoteGroup::RemoteGroup(std::string name, std::shared_ptr<varnek::spf::Invokable> invokable,
                         const NodePtr& root)
    : name_(std::move(name)), invokable_(std::move(invokable)), root_(root), mostNodes_(fewNodes) {}

std::shared_ptr<RemoteGroup>
RemoteGroup::make(std::string name, std::shared_ptr<varnek::spf::Invokable> invokable, const NodePtr& root) {
    return std::shared_ptr<RemoteGroup>(new RemoteGroup(std::move(name), std::move(invokable), root));
}

RemoteGroup::RemoteNode RemoteGroup::makeTopLevelNode() {
    const auto node =
        boost::make_shared<SettingsRemoteImpl>(shared_from_this(), nullptr, name_, nextSerial());
    topLevelNode_ = node;
    return node;
}

RemoteGroup::RemoteNode RemoteGroup::childOf(const RemoteNode& parent, const std::string& name) {
    Path path = parent->path();
    path.push_back(name);
    requireShort(path);
    const std::lock_guard lock(mutex_);
    letGoOfSome();
    Known& known = nodes_[{parent->serial(), name}];
    RemoteNode node = known.node.lock();
    if (node != nullptr)
        return node;
    if (known.serial == 0)
        known.serial = nextSerial();
    node = boost::make_shared<SettingsRemoteImpl>(shared_from_this(), parent, name, known.serial);
    known.node = node;
    return node;
}

/// Others may name ever new nodes. A node that is held holds those above it.
void RemoteGroup::letGoOfSome() {
    if (nodes_.size() < mostNodes_)
        return;
    std::erase_if(nodes_,
                  [](const auto& known) { return !known.second.isKept && known.second.node.expired(); });
    mostNodes_ = std::max(fewNodes, 2 * nodes_.size());
}

/// Those above it are parts of its place.
void RemoteGroup::keepIdentity(const SettingsRemoteImpl& node) {
    const std::lock_guard lock(mutex_);
    for (const SettingsRemoteImpl* at = &node; at->above() != nullptr; at = at->above())
        if (const auto known = nodes_.find({at->above()->serial(), at->getName()}); known != nodes_.end())
            known->second.isKept = true;
}

RemoteGroup::RemoteNode RemoteGroup::nodeAt(const Path& path) {
    RemoteNode node = topLevelNode();
    for (const std::string& name : path)
        node = node == nullptr ? node : childOf(node, name);
    return node;
}

void RemoteGroup::forgetTold(const SettingsRemoteImpl& parent, const std::string& child) {
    std::vector<RemoteNode> gone; // let go without the lock
    const std::lock_guard lock(mutex_);
    std::vector<Place> below{{parent.serial(), child}};
    while (!below.empty()) {
        const auto known = nodes_.find(below.back());
        below.pop_back();
        if (known == nodes_.end())
            continue;
        const std::uint64_t serial = known->second.serial;
        if (auto node = known->second.node.lock()) {
            node->forgetTold();
            gone.push_back(std::move(node));
        } else {
            nodes_.erase(known);
        }
        for (auto place = nodes_.lower_bound({serial, {}});
             place != nodes_.end() && place->first.first == serial; ++place)
            below.push_back(place->first);
    }
}

// ---- calls ----

namespace {

/// As far as it is there: nothing is loaded, no alias followed and no other process asked, which might fail
/// in the same way.
NodePtr nodeHere(core::detail::SettingsNodeImpl& root, const Path& names) {
    NodePtr node = root.getChild(names.front(), false);
    if (const auto* remote = dynamic_cast<const SettingsRemoteImpl*>(node.get()))
        return remote->group().nodeAt({names.begin() + 1, names.end()});
    const auto* declared = dynamic_cast<const core::detail::DeclaredGroup*>(node.get());
    if (names.size() > 1 && declared != nullptr && !declared->isLoaded())
        return {};
    for (auto name = names.begin() + 1; node != nullptr && name != names.end(); ++name) {
        const auto children = node->getChildren();
        const auto found = std::find_if(children.begin(), children.end(),
                                        [&](const NodePtr& child) { return child->getName() == *name; });
        node = found == children.end() ? NodePtr() : *found;
    }
    return node;
}

} // namespace

/// The handles in a failure of one call.
class RemoteGroup::FailureHandles : public HandleCoding {
  public:
    FailureHandles(RemoteGroup& group, const Path& asked) : group_(group), asked_(asked) {}

    /// Failures of this process do not cross from here.
    Value toValue(const core::exception::ObjectHandle&) const override { return {}; }

    boost::shared_ptr<core::Settings> toHandle(const Value& value) const override {
        if (value.isNothing())
            return {};
        if (value == rootHandle())
            return SettingsAccess::wrap(group_.root());
        if (const Path names = foreignNames(value); !names.empty())
            return SettingsAccess::wrap(foreignNode(names));
        return SettingsAccess::wrap(group_.nodeAt(toPath(value)));
    }

  private:
    /// That of this process; where it has none, the node that was asked stands for it.
    NodePtr foreignNode(const Path& names) const {
        const NodePtr root = group_.root();
        const NodePtr node = root == nullptr ? root : nodeHere(*root, names);
        return node == nullptr ? group_.nodeAt(asked_) : node;
    }

    RemoteGroup& group_;
    const Path& asked_;
};

namespace {

[[noreturn]] void raise(RemoteCallFailed::Fault fault, const char* method, const std::string& node,
                        const char* cause) {
    VARNEK_LOG(spfLog, info) << "remote call " << method << " of " << node << " failed: " << cause;
    throw RemoteCallFailed(fault, node, method, cause);
}

} // namespace

Value RemoteGroup::ask(const char* method, const std::string& node, Value::List arguments) {
    const Path asked = toPath(at(arguments, 0));
    Value::List logged;
    if (isLoggingCalls())
        logged = arguments;
    try {
        Value result = invokable_->invoke(method, std::move(arguments)).get();
        logCall("", method, result, logged);
        return result;
    } catch (const ProviderFailure& failure) {
        logFailedCall("", method, failure, logged);
        raiseAsItsType(failure, FailureHandles(*this, asked));
        raise(RemoteCallFailed::Fault::provider, method, node, failure.what());
    } catch (const RemoteError& error) {
        logFailedCall("", method, error, logged);
        fail(method, node, error);
    }
}

void RemoteGroup::fail(const char* method, const std::string& node, const RemoteError& error) {
    raise(static_cast<RemoteCallFailed::Fault>(error.kind()), method, node, error.what());
}

// ---- announcements ----

/// A thread is at work on an announcement. The last one ends the listening that was stopped meanwhile: who
/// has stopped it must not wait for listeners, which may take any time.
class RemoteGroup::Announced {
  public:
    explicit Announced(RemoteGroup& group) : group_(group) {
        const std::lock_guard lock(group_.listening_);
        isHeard = !group_.stop_.stop_requested();
        ++group_.announced_;
    }
    Announced(const Announced&) = delete;
    Announced& operator=(const Announced&) = delete;
    ~Announced() {
        varnek::spf::Subscription ended; // without the lock
        const std::lock_guard lock(group_.listening_);
        if (--group_.announced_ == 0 && group_.stop_.stop_requested())
            ended = std::move(group_.announcements_);
    }

    bool isHeard = false;

  private:
    RemoteGroup& group_;
};

void RemoteGroup::stopListening() {
    stop_.request_stop();
    varnek::spf::Subscription ended;
    const std::lock_guard lock(listening_);
    if (announced_ == 0)
        ended = std::move(announcements_);
}

void RemoteGroup::listen() {
    auto announcements =
        invokable_->listen(valueChangeTopic, [weak = weak_from_this()](const Value::List& announcement) {
            if (const auto self = weak.lock())
                self->valueChanged(announcement);
        });
    const std::lock_guard lock(listening_);
    announcements_ = std::move(announcements);
}

/// Waits for the listeners: what they have not heard of counts as not taken, so that the publisher stops when
/// it is too much.
void RemoteGroup::valueChanged(const Value::List& announcement) {
    const SharingWork work;
    const Announced announced(*this);
    if (!announced.isHeard)
        return;
    using namespace core::detail;
    const NodePtr root = this->root();
    const auto tree = root == nullptr ? nullptr : root->treeContext();
    if (tree == nullptr || !isAttached())
        return;
    EventDelivery::Place place = EventDelivery::reserve(tree->events);
    const RemoteNode node = place ? nodeAt(toPath(at(announcement, 0))) : RemoteNode();
    if (node == nullptr)
        return;
    place.complete([&] {
        const NodeIdentity id{0, node->serial()}; // which is not kept for that
        return boost::make_shared<core::SettingsValueChangeEvent>(
            node->getThisObject(),
            std::vector{eventType(valueChangeEventName, id), eventType(settingsEventName, id)},
            tree->rootIndex, at(announcement, 1).asArray());
    });
    place.tellAndWait(stop_.get_token());
}

} // namespace settings::spf
