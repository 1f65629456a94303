#include "settingscore/settings/file/TreeLoader.hpp"

#include "settingscore/exception/TreeFailures.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "json/ArrayConversion.hpp"
#include "json/Writer.hpp"

namespace settings::core::detail {

namespace {

std::string shownValue(const ShapedArray& value, bool isSecret) {
    if (isSecret)
        return "(encrypted)";
    return value.first.isVoid() ? "(none)" : varnek::json::write(varnek::json::toTyped(value.first));
}

template <class Record>
NodeSpec specOf(Record& record, const LoadRules& rules) {
    NodeSpec spec;
    spec.name = std::move(record.name);
    spec.origin = record.isUserDefined ? rules.level : LevelIndex::factory;
    spec.readOnly = record.readOnly;
    spec.visible = record.visible;
    spec.definition = std::move(record.definition);
    if constexpr (requires { record.version; })
        if (record.version)
            spec.version = *record.version;
    return spec;
}

void logSetting(const std::string& name, const ShapedArray& value, const LoadRules& rules) {
    VARNEK_LOG(fileLog, debug) << "Create setting from file: " << name
                               << " for level: " << levelName(rules.level)
                               << " with value: " << shownValue(value, rules.isSecret);
}

NodePtr makeSetting(SettingRecord&& record, const LoadRules& rules) {
    logSetting(record.name, record.value, rules);
    NodeSpec spec = specOf(record, rules);
    spec.value = std::move(record.value);
    spec.valueLevel = rules.level;
    return rules.makeNode(std::move(spec), false);
}

/// Loads the records of one group into its node.
class GroupLoader {
  public:
    GroupLoader(const NodePtr& group, const LoadRules& rules)
        : group_(group), rules_(rules), children_(group->getChildren()) {}

    GroupRecord load(GroupRecord&& record) {
        GroupRecord rest;
        for (SettingRecord& setting : record.settings)
            loadSetting(std::move(setting), rest);
        for (GroupRecord& child : record.groups)
            loadGroup(std::move(child), rest);
        adoptMade();
        rest.name = std::move(record.name);
        rest.readOnly = record.readOnly;
        rest.visible = record.visible;
        rest.isUserDefined = record.isUserDefined;
        rest.definition = std::move(record.definition);
        return rest;
    }

  private:
    /// Nodes that were added to the live tree meanwhile stay, and take the values.
    void adoptMade() {
        for (int attempt = 0; !made_.empty(); ++attempt)
            try {
                adopt(group_, made_);
                return;
            } catch (const exception::SameNameChildAlreadyExisted&) {
                const auto yields = [this](const NodePtr& made) {
                    return yieldTo(childCalled(made->getName(), group_->getChildren()), made);
                };
                if (std::erase_if(made_, yields) == 0 && attempt >= 100) // none: the twin is gone again
                    throw;
            }
    }

    void adopt(const NodePtr& group, const std::vector<NodePtr>& nodes) const {
        const auto local = boost::dynamic_pointer_cast<SettingsImpl>(group->unwrap());
        if (rules_.events != nullptr && local != nullptr)
            local->adoptWithEvents(nodes, *rules_.events);
        else
            group->adoptChildren(nodes);
    }

    bool putValue(const NodePtr& setting, ShapedArray value) const {
        const auto local = boost::dynamic_pointer_cast<SettingsImpl>(setting->unwrap());
        return rules_.events != nullptr && local != nullptr
                   ? local->replaceValue(rules_.level, {}, value, *rules_.events)
                   : setting->loadValue(rules_.level, std::move(value));
    }

    /// Gives what `made` holds to the node that was there first; false when there is none.
    bool yieldTo(const NodePtr& first, const NodePtr& made) const {
        if (first == nullptr)
            return false;
        if (first->isLeafNode() && made->isLeafNode())
            if (ShapedArray value = made->valueOn(rules_.level); !value.first.isVoid())
                putValue(first, std::move(value));
        if (!first->isLeafNode() && !made->isLeafNode())
            for (const NodePtr& child : made->getChildren())
                if (!yieldTo(childCalled(child->getName(), first->getChildren()), child))
                    adopt(first, {child});
        return true;
    }

    void loadSetting(SettingRecord&& record, GroupRecord& rest) {
        const NodePtr known = childCalled(record.name, children_);
        if (known == nullptr && record.isUserDefined)
            made_.push_back(makeSetting(std::move(record), rules_));
        else if (known == nullptr || !known->isLeafNode())
            rest.settings.push_back(std::move(record));
        else if (!record.value.first.isVoid() && putValue(known, record.value))
            logSetting(record.name, record.value, rules_);
    }

    void loadGroup(GroupRecord&& record, GroupRecord& rest) {
        NodePtr group = childCalled(record.name, children_);
        if (group == nullptr && record.isUserDefined) {
            GroupRecord shell{record.name, record.readOnly, record.visible, true,
                              std::move(record.definition)};
            group = rules_.makeNode(specOf(shell, rules_), true);
            made_.push_back(group);
        }
        // What is in a group of this session is never written, so that the file's values stay outside.
        if (group == nullptr || group->isLeafNode() || group->originLevel() == LevelIndex::session) {
            if (record.isUserDefined || !record.isEmpty())
                rest.groups.push_back(std::move(record));
            return;
        }
        GroupRecord below = GroupLoader(group, rules_).load(std::move(record));
        below.isUserDefined =
            false; // it has its place: when it is removed, what is left does not bring it back
        if (!below.isEmpty())
            rest.groups.push_back(std::move(below));
    }

    const NodePtr group_;
    const LoadRules& rules_;
    std::vector<NodePtr> children_; // sorted by name
    std::vector<NodePtr> made_;
};

} // namespace

boost::shared_ptr<SettingsImpl> makePlainNode(NodeSpec spec, bool isGroup) {
    return isGroup ? SettingsImpl::makeGroup(std::move(spec)) : SettingsImpl::makeSetting(std::move(spec));
}

boost::shared_ptr<SettingsImpl> buildTree(GroupRecord&& record, const LoadRules& rules) {
    std::vector<NodePtr> children;
    children.reserve(record.settings.size() + record.groups.size());
    for (SettingRecord& setting : record.settings)
        children.push_back(makeSetting(std::move(setting), rules));
    for (GroupRecord& child : record.groups)
        children.push_back(buildTree(std::move(child), rules));
    auto group = rules.makeNode(specOf(record, rules), true);
    if (!children.empty())
        group->adoptChildren(std::move(children));
    return group;
}

GroupRecord loadIntoTree(GroupRecord&& record, const NodePtr& group, const LoadRules& rules) {
    return GroupLoader(group, rules).load(std::move(record));
}

} // namespace settings::core::detail
