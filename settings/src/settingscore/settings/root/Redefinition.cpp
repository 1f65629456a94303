#include "settingscore/settings/root/Redefinition.hpp"

#include "settingscore/exception/TreeFailures.hpp"
#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/root/RootLog.hpp"

namespace settings::core::detail {

namespace {

bool isOfOneKind(const NodePtr& now, const NodePtr& fresh) {
    return now->isLeafNode() == fresh->isLeafNode() && now->originLevel() == LevelIndex::factory;
}

Redefinition::Group own(const NodePtr& node) {
    return boost::dynamic_pointer_cast<SettingsImpl>(node);
}

} // namespace

Redefinition::Redefinition(Group group, Group fresh, LevelFileKeeper& files)
    : group_(std::move(group)), fresh_(std::move(fresh)), files_(files) {}

void Redefinition::run(LateEvents& events) {
    std::vector<std::pair<LevelIndex, GroupRecord>> unsaved;
    for (const LevelIndex level : levelsOfFiles)
        unsaved.emplace_back(level, files_.unsavedValues(group_, level));
    replace(group_, fresh_, events);
    for (auto& [level, values] : unsaved) {
        files_.reloadLevel(group_, level, events);
        files_.takeUp(group_, level, std::move(values), events);
    }
}

void Redefinition::replace(const Group& now, const Group& fresh, LateEvents& events) const {
    now->redefine(*fresh, &events);
    if (now->isLeafNode())
        return;
    const std::vector<NodePtr> current = now->getChildren();
    const std::vector<NodePtr> wanted = fresh->getChildren();
    for (const NodePtr& child : current) {
        const NodePtr next = childCalled(child->getName(), wanted);
        const bool stays =
            next == nullptr ? child->originLevel() != LevelIndex::factory : isOfOneKind(child, next);
        if (!stays)
            now->dropChild(child, events);
    }
    std::vector<NodePtr> added;
    for (const NodePtr& next : wanted) {
        const NodePtr there = childCalled(next->getName(), current);
        if (there != nullptr && isOfOneKind(there, next))
            replace(own(there), own(next), events);
        else
            added.push_back(next);
    }
    for (const NodePtr& child : added)
        try {
            now->adoptWithEvents({child}, events);
        } catch (const std::exception& failure) { // somebody has just added a node of that name
            VARNEK_LOG(rootLog, error) << "Exception caught: " << failure.what();
        }
}

} // namespace settings::core::detail
