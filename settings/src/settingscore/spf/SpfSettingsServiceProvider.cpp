#include "settingscore/spf/SpfSettingsServiceProvider.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/exception/RemoteFailures.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/spf/CallLog.hpp"
#include "settingscore/spf/SharingWork.hpp"

#include <algorithm>
#include <map>
#include <string_view>
#include <utility>

namespace settings::spf {

using core::detail::ConstNodePtr;
using core::detail::NodePtr;
using core::detail::SettingsAccess;
using varnek::spf::RemoteError;
using varnek::spf::RemoteErrorKind;

SpfSettingsServiceProvider::SpfSettingsServiceProvider(std::string name, FindGroup findGroup)
    : name_(std::move(name)), findGroup_(std::move(findGroup)) {}

SpfSettingsServiceProvider::Operation SpfSettingsServiceProvider::operationOf(const std::string& method) {
    using Self = SpfSettingsServiceProvider;
    static const auto& operations = *new std::map<std::string, Operation>{
        {method::callGetChild, &Self::callGetChild},
        {method::getChildrenNames, &Self::getChildrenNames},
        {method::getChildrenNamesConst, &Self::getChildrenNamesConst},
        {method::getParentFullName, &Self::getParentFullName},
        {method::getSettingMDArray, &Self::getSettingMDArray},
        {method::unset, &Self::unset},
        {method::removeNode, &Self::removeNode},
        {method::setSyncWithVCOSTree, &Self::setSyncWithVCOSTree},
        {method::needsSyncWithVCOSTree, &Self::needsSyncWithVCOSTree},
        {method::loadUserSettingsOncePerPrefdir, &Self::loadUserSettingsOncePerPrefdir},
        {method::isRoot, &Self::isRoot},
        {method::isReadOnly, &Self::isReadOnly},
        {method::isVisible, &Self::isVisible},
        {method::isLeafNode, &Self::isLeafNode},
    };
    const auto found = operations.find(method);
    if (found == operations.end())
        throw RemoteError(RemoteErrorKind::unknownMethod, "there is no operation \"" + method + "\"");
    return found->second;
}

Value SpfSettingsServiceProvider::invoke(const std::string& method, const Value::List& arguments) {
    const SharingWork work;
    try {
        const Operation operation = operationOf(method);
        const NodePtr node = nodeAt(toPath(at(arguments, 0)));
        Value result = (this->*operation)(node, Arguments(arguments.begin() + 1, arguments.end()));
        logCall("served ", method, result, arguments);
        return result;
    } catch (const RemoteError& error) { // it crosses as it is
        logFailedCall("served ", method, error, arguments);
        throw;
    } catch (const std::exception& failure) {
        logFailedCall("served ", method, failure, arguments);
        raiseForCaller(failure, *this);
        throw;
    }
}

// ---- nodes and paths ----

SpfSettingsServiceProvider::NodePtr SpfSettingsServiceProvider::nodeAt(const Path& path) const {
    NodePtr node = findGroup_();
    std::string fullName = name_;
    for (const std::string& name : path) {
        node = node == nullptr ? node : node->getChild(name, true);
        fullName += '.' + name;
    }
    if (node == nullptr)
        throw core::exception::ParentSettingsGroupNotFound(fullName);
    return node;
}

std::optional<Path> SpfSettingsServiceProvider::pathOf(const core::Settings& handle) const {
    const NodePtr group = findGroup_();
    Path path;
    for (NodePtr node = SettingsAccess::mutableNode(handle); node != nullptr; node = node->getParent()) {
        if (node->unwrap() == group) {
            std::reverse(path.begin(), path.end());
            return path;
        }
        path.push_back(node->getName());
    }
    return std::nullopt;
}

namespace {

/// From the top-level group down.
Path namesOf(const core::Settings& handle) {
    Path names;
    const NodePtr start = SettingsAccess::mutableNode(handle);
    for (NodePtr node = start, above; node != nullptr; node = above) {
        above = node->getParent();
        if (above != nullptr || node == start) // the root has no name that others know
            names.push_back(node->getName());
    }
    std::reverse(names.begin(), names.end());
    return names;
}

} // namespace

Value SpfSettingsServiceProvider::toValue(const core::exception::ObjectHandle& handle) const {
    if (handle == nullptr)
        return {};
    if (handle->isRoot())
        return rootHandle();
    const auto path = pathOf(*handle);
    return path ? spf::toValue(*path) : foreignHandle(namesOf(*handle));
}

/// No failure comes from the caller.
boost::shared_ptr<core::Settings> SpfSettingsServiceProvider::toHandle(const Value&) const {
    return {};
}

// ---- the operations ----

Value SpfSettingsServiceProvider::callGetChild(const NodePtr& node, const Arguments& arguments) {
    const std::string& name = at(arguments, 0).asText();
    const NodePtr child = node->getChild(name, true);
    if (child == nullptr)
        return {};
    Value::List reply{flagsOf(*child)};
    if (child->getName() != name || child->getParent() != node) // what an alias stands for
        if (const auto path = pathOf(*child->getThisObject()))
            reply.push_back(spf::toValue(*path));
    return reply;
}

namespace {

template <class Node>
Value namesAndFlags(const std::vector<Node>& children) {
    Value::List reply;
    reply.reserve(2 * children.size());
    for (const Node& child : children) {
        reply.push_back(child->getName());
        reply.push_back(flagsOf(*child));
    }
    return reply;
}

} // namespace

Value SpfSettingsServiceProvider::getChildrenNames(const NodePtr& node, const Arguments&) {
    return namesAndFlags(node->getChildren());
}

Value SpfSettingsServiceProvider::getChildrenNamesConst(const NodePtr& node, const Arguments&) {
    return namesAndFlags(std::as_const(*node).getChildren());
}

Value SpfSettingsServiceProvider::getParentFullName(const NodePtr& node, const Arguments&) {
    const NodePtr parent = node->getParent();
    return parent == nullptr ? std::string() : parent->getFullName(false, ".");
}

Value SpfSettingsServiceProvider::getSettingMDArray(const NodePtr& node, const Arguments& arguments) {
    return node->get(at(arguments, 0).asText(), at(arguments, 1).asText());
}

Value SpfSettingsServiceProvider::unset(const NodePtr& node, const Arguments& arguments) {
    node->unset(at(arguments, 0).asText(), at(arguments, 1).asText());
    return {};
}

Value SpfSettingsServiceProvider::removeNode(const NodePtr& node, const Arguments& arguments) {
    node->removeNode(at(arguments, 0).asText());
    return {};
}

Value SpfSettingsServiceProvider::setSyncWithVCOSTree(const NodePtr& node, const Arguments& arguments) {
    node->setSyncWithVCOSTree(at(arguments, 0).asBool());
    return {};
}

Value SpfSettingsServiceProvider::needsSyncWithVCOSTree(const NodePtr& node, const Arguments&) {
    return node->needsSyncWithVCOSTree();
}

Value SpfSettingsServiceProvider::loadUserSettingsOncePerPrefdir(const NodePtr& node, const Arguments&) {
    node->loadUserSettingsOncePerPrefdir();
    return {};
}

Value SpfSettingsServiceProvider::isRoot(const NodePtr& node, const Arguments&) {
    return node->isRoot();
}

Value SpfSettingsServiceProvider::isReadOnly(const NodePtr& node, const Arguments&) {
    return node->isReadOnly();
}

Value SpfSettingsServiceProvider::isVisible(const NodePtr& node, const Arguments&) {
    return node->isVisible();
}

Value SpfSettingsServiceProvider::isLeafNode(const NodePtr& node, const Arguments&) {
    return node->isLeafNode();
}

} // namespace settings::spf
