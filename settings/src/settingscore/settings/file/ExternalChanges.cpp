#include "settingscore/settings/file/ExternalChanges.hpp"

#include "settingscore/settings/settingsImpl.hpp"

#include <algorithm>

namespace settings::core::detail {

namespace {

template <class Record>
const Record* find(const std::vector<Record>& sorted, std::string_view name) {
    const auto found =
        std::lower_bound(sorted.begin(), sorted.end(), name,
                         [](const Record& record, std::string_view n) { return record.name < n; });
    return found != sorted.end() && found->name == name ? &*found : nullptr;
}

/// A node that the user added in the file and has removed from the tree.
template <class Record>
bool wasRemovedHere(const Record* before, const Record& now) {
    return before != nullptr && before->isUserDefined && now.isUserDefined;
}

class Comparison {
  public:
    Comparison(LevelIndex level, LateEvents& events) : level_(level), events_(events) {}

    GroupRecord run(const GroupRecord& base, GroupRecord theirs, const NodePtr& group) const {
        const std::vector<NodePtr> children = group->getChildren();
        dropWhatIsGone(base, theirs, group, children);
        std::vector<SettingRecord> settings;
        for (SettingRecord& record : theirs.settings) {
            const SettingRecord* before = find(base.settings, record.name);
            const NodePtr node = childCalled(record.name, children);
            if (node != nullptr && node->isLeafNode())
                replace(node, before == nullptr ? ShapedArray() : before->value, record.value);
            else if (node != nullptr || !wasRemovedHere(before, record))
                settings.push_back(std::move(record));
        }
        const GroupRecord none;
        std::vector<GroupRecord> groups;
        for (GroupRecord& record : theirs.groups) {
            const GroupRecord* before = find(base.groups, record.name);
            const NodePtr node = childCalled(record.name, children);
            if (node != nullptr && !node->isLeafNode() && node->originLevel() != LevelIndex::session)
                groups.push_back(run(before == nullptr ? none : *before, std::move(record), node));
            else if (node != nullptr || !wasRemovedHere(before, record))
                groups.push_back(std::move(record));
        }
        theirs.settings = std::move(settings);
        theirs.groups = std::move(groups);
        return theirs;
    }

    void runRemoval(const GroupRecord& base, const NodePtr& group) const {
        const NodePtr parent = group->getParent();
        if (parent != nullptr && wasAddedByUser(base, *group) && isAsItWas(base, *group))
            drop(parent, group);
        else
            run(base, GroupRecord(), group);
    }

  private:
    void dropWhatIsGone(const GroupRecord& base, const GroupRecord& theirs, const NodePtr& group,
                        const std::vector<NodePtr>& children) const {
        for (const SettingRecord& before : base.settings) {
            const NodePtr node = childCalled(before.name, children);
            if (node == nullptr || !node->isLeafNode() || find(theirs.settings, before.name) != nullptr)
                continue;
            if (wasAddedByUser(before, *node) && isAsItWas(before, *node))
                drop(group, node);
            else
                replace(node, before.value, {});
        }
        for (const GroupRecord& before : base.groups) {
            const NodePtr node = childCalled(before.name, children);
            if (node == nullptr || node->isLeafNode() || node->originLevel() == LevelIndex::session ||
                find(theirs.groups, before.name) != nullptr)
                continue;
            if (wasAddedByUser(before, *node) && isAsItWas(before, *node))
                drop(group, node);
            else
                run(before, GroupRecord(), node);
        }
    }

    template <class Record>
    bool wasAddedByUser(const Record& before, const SettingsNodeImpl& node) const {
        return before.isUserDefined && node.originLevel() == level_;
    }

    bool isAsItWas(const SettingRecord& before, const SettingsNodeImpl& node) const {
        return node.isLeafNode() && node.valueOn(level_) == before.value;
    }
    bool isAsItWas(const GroupRecord& before, const SettingsNodeImpl& node) const {
        const auto children = node.getChildren();
        return !node.isLeafNode() &&
               std::all_of(children.begin(), children.end(), [&](const ConstNodePtr& child) {
                   const SettingRecord* setting = find(before.settings, child->getName());
                   const GroupRecord* group = find(before.groups, child->getName());
                   return !child->hasAnythingToPersist(level_) ||
                          (setting != nullptr && isAsItWas(*setting, *child)) ||
                          (group != nullptr && isAsItWas(*group, *child));
               });
    }

    void drop(const NodePtr& group, const NodePtr& node) const {
        if (const auto local = boost::dynamic_pointer_cast<SettingsImpl>(group->unwrap()))
            local->dropChild(node, events_);
    }

    void replace(const NodePtr& node, const ShapedArray& before, const ShapedArray& now) const {
        if (before != now)
            if (const auto setting = boost::dynamic_pointer_cast<SettingsImpl>(node->unwrap()))
                setting->replaceValue(level_, before, now, events_);
    }

    LevelIndex level_;
    LateEvents& events_;
};

} // namespace

GroupRecord takeOverChanges(const GroupRecord& base, GroupRecord theirs, const NodePtr& group,
                            LevelIndex level, LateEvents& events) {
    return Comparison(level, events).run(base, std::move(theirs), group);
}

void countAsDefined(GroupRecord& base, const NodePtr& group) {
    const auto children = group->getChildren();
    const auto isDefined = [&](const auto& record) {
        const NodePtr node = childCalled(record.name, children);
        return node != nullptr && node->originLevel() == LevelIndex::factory;
    };
    for (SettingRecord& setting : base.settings)
        setting.isUserDefined = setting.isUserDefined && !isDefined(setting);
    for (GroupRecord& below : base.groups) {
        below.isUserDefined = below.isUserDefined && !isDefined(below);
        if (const NodePtr node = childCalled(below.name, children); node != nullptr && !node->isLeafNode())
            countAsDefined(below, node);
    }
}

void removeKept(GroupRecord& base, const GroupRecord& kept) {
    for (const SettingRecord& setting : kept.settings)
        std::erase_if(base.settings, [&](const SettingRecord& of) { return of.name == setting.name; });
    for (const GroupRecord& group : kept.groups)
        for (GroupRecord& of : base.groups)
            if (of.name == group.name) {
                of.isUserDefined = of.isUserDefined && !group.isUserDefined;
                removeKept(of, group);
            }
}

void keepCommon(GroupRecord& base, const GroupRecord& theirs) {
    std::erase_if(base.settings,
                  [&](const SettingRecord& of) { return find(theirs.settings, of.name) == nullptr; });
    std::erase_if(base.groups, [&](GroupRecord& of) {
        const GroupRecord* const common = find(theirs.groups, of.name);
        if (common != nullptr)
            keepCommon(of, *common);
        return common == nullptr;
    });
}

namespace {

/// Whether two files say the same of a setting; null: nothing.
bool isSame(const SettingRecord* one, const SettingRecord* other) {
    return one == nullptr || other == nullptr ? one == other : one->value == other->value;
}

const GroupRecord& orNone(const GroupRecord* group) {
    static const GroupRecord none;
    return group == nullptr ? none : *group;
}

/// Takes out of `from` the settings in which `base` and `mine` differ, and groups that go with them.
void dropWhatHasChanged(GroupRecord& from, const GroupRecord& base, const GroupRecord& mine) {
    std::erase_if(from.settings, [&](const SettingRecord& of) {
        return !isSame(find(base.settings, of.name), find(mine.settings, of.name));
    });
    std::erase_if(from.groups, [&](GroupRecord& of) {
        const GroupRecord* const before = find(base.groups, of.name);
        const GroupRecord* const now = find(mine.groups, of.name);
        dropWhatHasChanged(of, orNone(before), orNone(now));
        return before != nullptr && now == nullptr && of.settings.empty() && of.groups.empty();
    });
}

} // namespace

GroupRecord withChanges(GroupRecord theirs, const GroupRecord& base, const GroupRecord& mine) {
    dropWhatHasChanged(theirs, base, mine);
    GroupRecord changed = mine.clone();
    changed.removeSame(base);
    theirs.addMissing(std::move(changed));
    return theirs;
}

void countAsKnown(GroupRecord& base, const GroupRecord& theirs, const GroupRecord& known) {
    std::erase_if(base.settings, [&](const SettingRecord& of) {
        return isSame(find(theirs.settings, of.name), find(known.settings, of.name));
    });
    GroupRecord common;
    for (const SettingRecord& of : theirs.settings)
        if (isSame(&of, find(known.settings, of.name)))
            common.settings.push_back(of.clone());
    for (const GroupRecord& of : theirs.groups)
        if (find(known.groups, of.name) != nullptr && find(base.groups, of.name) == nullptr) {
            GroupRecord& group = common.groups.emplace_back();
            group.name = of.name;
            group.isUserDefined = of.isUserDefined;
        }
    base.addMissing(std::move(common));
    std::erase_if(base.groups, [&](GroupRecord& of) {
        const GroupRecord* const now = find(theirs.groups, of.name);
        const GroupRecord* const before = find(known.groups, of.name);
        countAsKnown(of, orNone(now), orNone(before));
        return now == nullptr && before == nullptr;
    });
}

void takeOverRemoval(const GroupRecord& base, const NodePtr& group, LevelIndex level, LateEvents& events) {
    Comparison(level, events).runRemoval(base, group);
}

} // namespace settings::core::detail
