#include "settingscore/settings/root/Redefinition.hpp"

#include "settingscore/exception/TreeFailures.hpp"
#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/root/RootLog.hpp"

#include <stdexcept>

namespace settings::core::detail {

namespace {

bool isOfOneKind(const NodePtr& now, const NodePtr& fresh) {
    return now->isLeafNode() == fresh->isLeafNode() && now->originLevel() == LevelIndex::factory;
}

Redefinition::Group own(const NodePtr& node) {
    return boost::dynamic_pointer_cast<SettingsImpl>(node);
}

/// What `from` holds, which was added and has left the tree, goes to the node in its place, which is outside
/// it: values, and what was added below. What finds no place there is left to the files.
void handOver(const Redefinition::Group& from, const Redefinition::Group& to, LateEvents& events) {
    if (from->isLeafNode() != to->isLeafNode())
        return;
    if (from->isLeafNode()) {
        for (const LevelIndex level : levelsInOrder)
            if (ShapedArray value = from->valueOn(level);
                level != LevelIndex::factory && !value.first.isVoid())
                to->loadValue(level, std::move(value));
        return;
    }
    const std::vector<NodePtr> there = to->getChildren();
    for (const NodePtr& child : from->getChildren())
        if (const NodePtr next = childCalled(child->getName(), there)) {
            handOver(own(child), own(next), events);
        } else {
            from->dropChild(child, events);
            try {
                to->adoptChildren({child});
            } catch (const std::exception& failure) { // another name there differs by case only
                VARNEK_LOG(rootLog, error) << "Exception caught: " << failure.what();
            }
        }
}

} // namespace

Redefinition::Redefinition(Group group, Group fresh, LevelFileKeeper& files)
    : group_(std::move(group)), fresh_(std::move(fresh)), files_(files) {}

void Redefinition::run(const std::function<void()>& aboutToReplace, LateEvents& events) {
    if (!files_.inTurns(group_, [&] { runInTurns(aboutToReplace, events); }))
        throw std::logic_error("the definitions of a group cannot be replaced while its files are saved");
}

void Redefinition::runInTurns(const std::function<void()>& aboutToReplace, LateEvents& events) const {
    std::vector<std::pair<LevelIndex, GroupRecord>> unsaved;
    for (const LevelIndex level : levelsOfFiles)
        unsaved.emplace_back(level, files_.unsavedValues(group_, level));
    aboutToReplace();
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
        if (stays)
            continue;
        now->dropChild(child, events);
        if (next != nullptr && child->originLevel() != LevelIndex::factory)
            handOver(own(child), own(next), events);
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
