// The children of a group: looking them up, adding and removing them.

#include "settingscore/Settings.hpp"
#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/events/EventTypes.hpp"
#include "settingscore/events/SettingsAddNodeEvent.hpp"
#include "settingscore/events/SettingsRemoveNodeEvent.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/FullNamePath.hpp"
#include "settingscore/settings/node/LevelCheck.hpp"
#include "settingscore/settings/node/NodeLog.hpp"
#include "settingscore/settings/node/NodeNames.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/settingsImpl.hpp"
#include "settingscore/validation/FunctionValidatorCall.hpp"

#include <boost/make_shared.hpp>
#include <boost/thread/locks.hpp>

#include <algorithm>
#include <unordered_set>

namespace settings::core::detail {

// ---- look-up ----

NodePtr SettingsImpl::getChild(std::string_view name, bool) {
    if (group_ == nullptr)
        return {};
    const NodePtr child = group_->children.find(name);
    return child == nullptr ? child : followAlias(child);
}

ConstNodePtr SettingsImpl::getChild(std::string_view name, bool load) const {
    return const_cast<SettingsImpl*>(this)->getChild(name, load);
}

std::vector<NodePtr> SettingsImpl::getChildren() {
    return group_ == nullptr ? std::vector<NodePtr>() : group_->children.inOrder();
}

std::vector<ConstNodePtr> SettingsImpl::getChildren() const {
    if (group_ == nullptr)
        return {};
    const auto children = group_->children.inOrder();
    return {children.begin(), children.end()};
}

std::string SettingsImpl::aliasName() const {
    const DefinitionHandle definition = isAlias() ? keptDefinition() : nullptr;
    return definition == nullptr ? std::string() : definition->aliasName;
}

namespace {

/// The node at the top of the tree that `node` stands in.
NodePtr topOf(NodePtr node) {
    for (NodePtr parent = node->getParent(); parent != nullptr; parent = node->getParent())
        node = parent;
    return node;
}

/// The node of that full name; in a tree without a root the first name is that of the top itself.
NodePtr destinationBelow(const NodePtr& top, std::string_view fullName) {
    if (!top->isRoot() && nextName(fullName) != top->getName())
        return {};
    return fullName.empty() ? NodePtr() : walkWithoutAliases(top, fullName);
}

} // namespace

/// One step: an alias of an alias is not followed further. A destination that is not there leaves the setting
/// to stand for itself.
NodePtr SettingsImpl::followAlias(const NodePtr& child) const {
    const std::string path = child->aliasName();
    if (path.empty())
        return child;
    const std::string& name = child->getName();
    const NodePtr top = topOf(boost::const_pointer_cast<SettingsImpl>(shared_from_this()));
    if (NodePtr known = group_->aliases.find(name); known != nullptr && topOf(known) == top)
        return known;
    const NodePtr destination = destinationBelow(top, path);
    if (destination == nullptr || destination == child) {
        if (group_->aliases.noteMissing(name))
            VARNEK_LOG(nodeLog, warning) << "try to map " << child->getFullName(false, ".") << " to " << path
                                         << " failed. Dest node does not exist.";
        return child;
    }
    VARNEK_LOG(nodeLog, info) << "Alias from:" << child->getFullName(false, ".") << "to:" << path;
    group_->aliases.remember(name, destination);
    return destination;
}

// ---- adding ----

void SettingsImpl::checkStructureMayChange(const boost::shared_ptr<const Settings>& child,
                                           bool adding) const {
    // A standalone read-only group accepts children: that is how import and merge input are built.
    if (isReadOnly() && (!adding || isConnectedToTheSettingsTree()))
        throw exception::CannotAddRemoveNodeUnderReadOnlyParent(getThisObjectImpl(), child);
}

namespace {

void requireName(std::string_view name, std::string_view parentFullName, bool isTopLevel) {
    if (!isAcceptableName(name, parentFullName, isTopLevel))
        throw exception::InvalidSettingOrGroupName(std::string(name));
}

} // namespace

void SettingsImpl::checkNewName(std::string_view name) const {
    requireName(name, getFullName(false, "."), isRoot());
}

NodePtr SettingsImpl::clashing(std::string_view name) const {
    return group_->children.find(name);
}

void SettingsImpl::refuseClash(const NodePtr& existing) const {
    throw exception::SameNameChildAlreadyExisted(getThisObjectImpl(), existing->getName());
}

void SettingsImpl::refuseInsertion(const std::string& name) const {
    throw exception::ErrorAddingChildNodeOrKey(getThisObjectImpl(), name);
}

void SettingsImpl::requireValidator() const {
    if (const DefinitionHandle definition = keptDefinition())
        requireFunction(definition->validator);
}

void SettingsImpl::requireGroup() const {
    if (group_ != nullptr)
        return requireContent();
    const auto parent = parentGroup();
    throw exception::NotANodeName(parent == nullptr ? getThisObjectImpl() : parent->getThisObjectImpl(),
                                  name_);
}

/// The parent is set first: whoever finds the child in the table finds it in its group.
EventDelivery::Place SettingsImpl::insertChild(const NodePtr& child, const TreeContext* tree) {
    EventDelivery::Place place; // given up, if need be, without the lock
    boost::upgrade_lock<boost::shared_mutex> lock(group_->mutex);
    if (clashing(child->getName()) != nullptr) // somebody else was quicker
        refuseInsertion(child->getName());
    const boost::upgrade_to_unique_lock<boost::shared_mutex> unique(lock);
    child->setParent(shared_from_this());
    try {
        place = reserveEvent(tree);
        group_->children.insert(child);
    } catch (...) {
        child->setParent({});
        throw;
    }
    place.complete([&] { return addEvent(child); });
    return place;
}

void SettingsImpl::putInitialValue(const varnek::data::Array& value, LevelIndex level) {
    if (value.isVoid())
        return;
    const ShapedArray shaped(value, settingscore::boostany::isVectorShape(value));
    checkStorable(shaped);
    loadValue(level, shaped);
}

void SettingsImpl::setInitialValue(const varnek::data::Array& value, LevelIndex level) {
    requireValidator();
    if (value.isVoid() || level != LevelIndex::user)
        return putInitialValue(value, level);
    loadValue(level, accepted({value, settingscore::boostany::isVectorShape(value)}, parentGroup()));
}

NodePtr SettingsImpl::add(NodeSpec spec, bool isGroup, const varnek::data::Array& initial, LevelIndex level) {
    requireGroup();
    checkNewName(spec.name);
    const auto child = makeChild(std::move(spec), isGroup);
    checkStructureMayChange(child->getThisObjectImpl(), true);
    if (const NodePtr existing = clashing(child->getName()))
        refuseClash(existing);
    boost::shared_ptr<const TreeContext> tree;
    EventDelivery::Place place;
    try {
        child->setParent(shared_from_this()); // the validation function may ask for it
        if (!isGroup)
            child->setInitialValue(initial, level);
        tree = treeContext();
        place = insertChild(child, tree.get());
    } catch (...) {
        disown(child);
        throw;
    }
    announceAdded(child, tree.get(), std::move(place), Saving::yes);
    return child;
}

void SettingsImpl::announceAdded(const NodePtr& child, const TreeContext* tree, EventDelivery::Place place,
                                 Saving saving) {
    varnek::concurrency::reclaimIfDue();
    if (tree == nullptr || !tree->connected)
        return;
    LateEvents events;
    events.add(std::move(place));
    if (saving == Saving::yes) {
        const SavedFirst first(events);
        const LevelIndex origin = child->originLevel();
        requestSaveOf(*child, origin);
        for (const LevelIndex level : {LevelIndex::user, LevelIndex::installation})
            if (level != origin && child->hasAnythingToPersist(level))
                requestSaveOf(*child, level);
    }
    events.tell(); // what is kept may have to be waited for, and comes with events of its own
    const NodePtr topLevel = child->getTopLevelNodeForSave();
    if (tree->saves != nullptr && topLevel != nullptr) // unless somebody has removed it already
        tree->saves->adoptKeptValues(topLevel);
}

NodePtr SettingsImpl::addSetting(std::string_view name, const FactorySettingProperties& definition,
                                 std::string_view level) {
    const LevelIndex at = checkLevel(level);
    return add(NodeSpec::from(name, definition, at), false, definition.getFactoryValue(), at);
}

NodePtr SettingsImpl::addGroup(std::string_view name, const FactorySettingProperties& definition,
                               std::string_view level) {
    const LevelIndex at = checkLevel(level);
    return add(NodeSpec::from(name, definition, at), true, {}, at);
}

EventHandle SettingsImpl::addEvent(const NodePtr& child) {
    return boost::make_shared<SettingsAddNodeEvent>(child->getThisObject(), getThisObject(),
                                                    publishedTypes(addNodeEventName), getRootIndex(),
                                                    child->needsSyncWithVCOSTree());
}

// ---- removing ----

namespace {

/// The names from `top` (without it) to the child `name` of `group`.
std::vector<std::string> namesBelow(const NodePtr& top, NodePtr group, const std::string& name) {
    std::vector<std::string> names{name};
    for (; group != nullptr && group != top; group = group->getParent())
        names.insert(names.begin(), group->getName());
    return names;
}

} // namespace

bool SettingsImpl::mayBeRemoved(const SettingsNodeImpl& child) const {
    return child.originLevel() != LevelIndex::factory;
}

namespace {

/// What a level that cannot be modified keeps would be back at the next start.
void checkLevelsOf(const SettingsNodeImpl& child, const RootIndex& tree) {
    for (const LevelIndex level : {LevelIndex::user, LevelIndex::installation}) {
        if (!child.hasAnythingToPersist(level))
            continue;
        auto modifiable = modifiableLevelNames(tree);
        if (std::find(modifiable.begin(), modifiable.end(), levelName(level)) == modifiable.end())
            throw exception::AttemptedRemovalOfFactoryGroupOrSetting(
                child.getThisObjectImpl(), std::string(levelName(level)), std::move(modifiable));
    }
}

} // namespace

void SettingsImpl::removeNode(std::string_view name) {
    requireGroup();
    const NodePtr child = group_->children.find(name);
    if (child == nullptr)
        throw exception::NoSuchNode(getThisObjectImpl(), std::string(name));
    checkStructureMayChange(child->getThisObject(), false);
    if (!mayBeRemoved(*child))
        throw exception::AttemptedRemovalOfFactoryGroupOrSetting(child->getThisObject(),
                                                                 std::string(levelName(LevelIndex::factory)),
                                                                 modifiableLevelNames(getRootIndex()));
    const auto tree = treeContext();
    const bool connected = tree != nullptr && tree->connected;
    if (connected)
        checkLevelsOf(*child, getRootIndex());
    const NodePtr topLevel = connected ? child->getTopLevelNodeForSave() : NodePtr();
    const auto leaving =
        child == topLevel && tree->saves != nullptr ? tree->saves->removalOf(child) : std::shared_ptr<void>();
    EventDelivery::Place place;
    if (!detach(child, tree.get(), place))
        throw exception::NoSuchNode(getThisObjectImpl(), std::string(name));
    varnek::concurrency::reclaimIfDue();
    if (!connected)
        return;
    const bool hasOwnFile =
        child == topLevel && tree->saves != nullptr && child->originLevel() != LevelIndex::session;
    LateEvents events;
    events.add(std::move(place));
    {
        const SavedFirst saving(events);
        for (const LevelIndex level : {LevelIndex::user, LevelIndex::installation}) {
            if (hasOwnFile)
                tree->saves->requestDelete(child, shared_from_this(), level);
            else if (child != topLevel && child->hasAnythingToPersist(level))
                requestSaveOf(*this, level);
        }
    }
    if (child != topLevel && topLevel != nullptr && tree->saves != nullptr) {
        events.release(); // the rest may have to be waited for
        const SavedFirst saving(events);
        tree->saves->forgetKeptValues(topLevel, namesBelow(topLevel, shared_from_this(), child->getName()));
    }
    events.tell();
}

EventHandle SettingsImpl::removeEvent(const NodePtr& child) {
    return boost::make_shared<SettingsRemoveNodeEvent>(child->getThisObject(), getThisObject(),
                                                       publishedTypes(removeNodeEventName), getRootIndex());
}

bool SettingsImpl::detach(const NodePtr& child, const TreeContext* tree, EventDelivery::Place& place,
                          Origin origin) {
    boost::upgrade_lock<boost::shared_mutex> lock(group_->mutex);
    if (group_->children.find(child->getName()) != child) // somebody else was quicker
        return false;
    const boost::upgrade_to_unique_lock<boost::shared_mutex> unique(lock);
    place = reserveEvent(tree, origin);
    group_->children.remove(child->getName());
    child->setParent({});
    group_->aliases.forget(child->getName());
    place.complete([&] { return removeEvent(child); });
    return true;
}

void SettingsImpl::dropChild(const NodePtr& child, LateEvents& events) {
    EventDelivery::Place place;
    if (detach(child, treeContext().get(), place, Origin::file))
        events.add(std::move(place));
    varnek::concurrency::reclaimIfDue();
}

// ---- nodes that loaders build ----

void SettingsImpl::adoptChildren(std::vector<NodePtr> children) {
    requireGroup();
    adopt(children, nullptr);
}

void SettingsImpl::adoptWithEvents(const std::vector<NodePtr>& children, LateEvents& events) {
    requireGroup();
    std::vector<EventDelivery::Place> places;
    adopt(children, &places);
    for (EventDelivery::Place& place : places)
        events.add(std::move(place));
}

void SettingsImpl::adopt(const std::vector<NodePtr>& children, std::vector<EventDelivery::Place>* places) {
    const std::string fullName = getFullName(false, ".");
    for (const NodePtr& child : children)
        requireName(child->getName(), fullName, isRoot());
    const auto tree = treeContext();
    {
        const boost::unique_lock<boost::shared_mutex> lock(group_->mutex);
        checkAdoptable(children);
        for (std::size_t i = 0; places != nullptr && i < children.size(); ++i)
            places->push_back(reserveEvent(tree.get(), Origin::file));
        try {
            const NodePtr self = shared_from_this();
            for (const NodePtr& child : children)
                child->setParent(self);
            group_->children.insertAll(children);
        } catch (...) {
            for (const NodePtr& child : children)
                child->setParent({});
            throw;
        }
        for (std::size_t i = 0; places != nullptr && i < children.size(); ++i)
            (*places)[i].complete([&] { return addEvent(children[i]); });
    }
    varnek::concurrency::reclaimIfDue();
}

void SettingsImpl::checkAdoptable(const std::vector<NodePtr>& children) const {
    if (!group_->children.isEmpty())
        for (const NodePtr& child : children)
            if (const NodePtr existing = clashing(child->getName()))
                refuseClash(existing);
    const auto notBefore = [](const NodePtr& a, const NodePtr& b) { return !(a->getName() < b->getName()); };
    if (std::adjacent_find(children.begin(), children.end(), notBefore) == children.end())
        return; // as they come from files
    std::unordered_set<std::string_view> names;
    for (const NodePtr& child : children)
        if (!names.insert(child->getName()).second)
            refuseClash(child);
}

NodePtr SettingsImpl::createFactorySetting(std::string_view name, const FactorySettingProperties& definition,
                                           bool needsSync) {
    requireGroup();
    checkNewName(name);
    for (;;) {
        if (const NodePtr existing = clashing(name)) {
            const auto again = boost::dynamic_pointer_cast<SettingsImpl>(existing);
            if (again == nullptr || !again->isLeafNode() || again->originLevel() != LevelIndex::factory)
                refuseClash(existing);
            again->defineAgain(definition);
            return existing;
        }
        const auto child = makeChild(NodeSpec::from(name, definition, LevelIndex::factory), false);
        child->setSyncWithVCOSTree(needsSync);
        child->requireValidator();
        const varnek::data::Array& value = definition.getFactoryValue();
        if (!value.isVoid()) {
            const ShapedArray shaped(value, settingscore::boostany::isVectorShape(value));
            child->checkStorable(shaped);
            child->loadValue(LevelIndex::factory, shaped);
        }
        const auto tree = treeContext();
        EventDelivery::Place place;
        try {
            place = insertChild(child, tree.get());
        } catch (const exception::ErrorAddingChildNodeOrKey&) { // somebody else was quicker
            continue;
        }
        announceAdded(child, tree.get(), std::move(place), Saving::no);
        return child;
    }
}

} // namespace settings::core::detail
