// Adding nodes that were made outside any tree.

#include "settingscore/Settings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/NodeNames.hpp"
#include "settingscore/settings/settingsImpl.hpp"

#include <boost/thread/locks.hpp>

namespace settings::core::detail {

/// The writers of a setting without group hold this lock: none of them is at work while the node gets one.
/// It also keeps two nodes from becoming each other's parent.
void SettingsImpl::claim(const boost::shared_ptr<SettingsImpl>& child) {
    const boost::unique_lock<boost::shared_mutex> lock(orphanMutex());
    bool isFree = !child->isRoot() && child->parent_.load(std::memory_order_seq_cst) == nullptr;
    for (auto above = shared_from_this(); isFree && above != nullptr; above = above->parentGroup())
        isFree = above != child;
    if (!isFree)
        throw exception::ErrorAddingChildNodeOrKey(getThisObjectImpl(), child->getName());
    child->setParent(shared_from_this());
}

/// Under the lock of whoever writes a setting of this group.
void SettingsImpl::disown(const NodePtr& child) {
    const boost::unique_lock<boost::shared_mutex> lock(group_->mutex);
    child->setParent({});
}

EventDelivery::Place SettingsImpl::insertClaimed(const NodePtr& child, const TreeContext* tree) {
    EventDelivery::Place place; // given up, if need be, without the lock
    const boost::unique_lock<boost::shared_mutex> lock(group_->mutex);
    if (clashing(child->getName()) != nullptr) // somebody else was quicker
        refuseInsertion(child->getName());
    place = reserveEvent(tree);
    group_->children.insert(child);
    place.complete([&] { return addEvent(child); });
    return place;
}

void SettingsImpl::checkSubtree(const std::string& parentName, bool isTopLevel) const {
    if (!isAcceptableName(name_, parentName, isTopLevel))
        throw exception::InvalidSettingOrGroupName(name_);
    if (isLeafNode())
        return requireValidator();
    const std::string fullName = parentName.empty() ? name_ : parentName + '.' + name_;
    for (const NodePtr& child : group_->children.inOrder())
        if (const auto own = boost::dynamic_pointer_cast<SettingsImpl>(child))
            own->checkSubtree(fullName, false);
}

void SettingsImpl::acceptValues(LevelIndex level, std::vector<AcceptedValue>& values) {
    if (!isLeafNode()) {
        for (const NodePtr& child : group_->children.inOrder())
            if (const auto own = boost::dynamic_pointer_cast<SettingsImpl>(child))
                own->acceptValues(level, values);
        return;
    }
    ShapedArray before = values_.on(level);
    if (before.first.isVoid())
        return;
    ShapedArray now = accepted(before, parentGroup());
    values.push_back({shared_from_this(), std::move(before), std::move(now)});
}

void SettingsImpl::exchange(LevelIndex level, const ShapedArray& before, const ShapedArray& now) {
    if (!store(level, now, nullptr, &before).stored)
        return;
    std::uint8_t type = dataTypeOf(before);
    dataTypeIndex_.compare_exchange_strong(type, dataTypeOf(now), std::memory_order_relaxed);
}

void SettingsImpl::attach(const boost::shared_ptr<SettingsImpl>& child, LevelIndex checked) {
    requireGroup();
    if (child->isRoot() || child->parentGroup() != nullptr)
        throw exception::ErrorAddingChildNodeOrKey(getThisObjectImpl(), child->getName());
    checkLevel(levelName(child->originLevel()));
    if (isRoot() && child->isLeafNode())
        throw exception::CannotAddKeyToRoot(child->getName());
    checkStructureMayChange(child->getThisObjectImpl(), true);
    if (const NodePtr existing = clashing(child->getName()))
        refuseClash(existing);
    child->checkSubtree(getFullName(false, "."), isRoot());
    claim(child);
    boost::shared_ptr<const TreeContext> tree;
    EventDelivery::Place place;
    std::vector<AcceptedValue> values;
    try {
        child->acceptValues(checked, values); // functions see the settings where they are to stand
        for (const AcceptedValue& value : values)
            value.setting->exchange(checked, value.before, value.now);
        tree = treeContext();
        place = insertClaimed(child, tree.get());
    } catch (...) {
        disown(child);
        for (const AcceptedValue& value : values)
            value.setting->exchange(checked, value.now, value.before);
        throw;
    }
    announceAdded(child, tree.get(), std::move(place), Saving::yes);
}

} // namespace settings::core::detail
