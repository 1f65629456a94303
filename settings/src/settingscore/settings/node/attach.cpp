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

EventDelivery::Place SettingsImpl::insertClaimed(const NodePtr& child, const TreeContext* tree) {
    EventDelivery::Place place; // given up, if need be, without the lock
    const boost::unique_lock<boost::shared_mutex> lock(group_->mutex);
    try {
        if (clashing(child->getName()) != nullptr) // somebody else was quicker
            refuseInsertion(child->getName());
        place = reserveEvent(tree);
        group_->children.insert(child);
    } catch (...) {
        child->setParent({});
        throw;
    }
    place.complete([&] { return addEvent(child); });
    return place;
}

void SettingsImpl::checkSubtree(const boost::shared_ptr<SettingsImpl>& parent,
                                const std::string& parentName) const {
    if (!isAcceptableName(name_, parentName, parent->isRoot()))
        throw exception::InvalidSettingOrGroupName(name_);
    if (isLeafNode()) {
        requireValidator();
        if (ShapedArray value = values_.on(LevelIndex::user); !value.first.isVoid())
            accepted(std::move(value), parent);
        return;
    }
    const std::string fullName = parentName.empty() ? name_ : parentName + '.' + name_;
    const auto self = boost::const_pointer_cast<SettingsImpl>(shared_from_this());
    for (const NodePtr& child : group_->children.inOrder())
        if (const auto own = boost::dynamic_pointer_cast<SettingsImpl>(child))
            own->checkSubtree(self, fullName);
}

void SettingsImpl::attach(const boost::shared_ptr<SettingsImpl>& child) {
    requireGroup();
    if (child->isRoot() || child->parentGroup() != nullptr)
        throw exception::ErrorAddingChildNodeOrKey(getThisObjectImpl(), child->getName());
    checkLevel(levelName(child->originLevel()));
    if (isRoot() && child->isLeafNode())
        throw exception::CannotAddKeyToRoot(child->getName());
    checkStructureMayChange(child->getThisObjectImpl(), true);
    if (const NodePtr existing = clashing(child->getName()))
        refuseClash(existing);
    child->checkSubtree(shared_from_this(), getFullName(false, "."));
    claim(child);
    const auto tree = treeContext();
    EventDelivery::Place place = insertClaimed(child, tree.get());
    if (!announceAdded(child, tree.get(), place))
        return;
    const LevelIndex origin = child->originLevel();
    child->saveThisSubTree(origin);
    for (const LevelIndex level : {LevelIndex::user, LevelIndex::installation})
        if (level != origin && child->hasAnythingToPersist(level))
            child->saveThisSubTree(level);
}

} // namespace settings::core::detail
