#include "settingscore/settings/file/TreeSnapshot.hpp"

namespace settings::core::detail {

namespace {

std::unique_ptr<NodeDefinition> definitionOf(const SettingsNodeImpl& node) {
    auto definition = NodeDefinition::from(node.definition());
    varnek::json::Object attributes = node.attributes();
    if (!attributes.empty() && definition == nullptr)
        definition = std::make_unique<NodeDefinition>();
    if (definition != nullptr)
        definition->attributes = std::move(attributes);
    return definition;
}

/// Outside any tree, what was added to a group of definitions is one of them.
bool isAddedApart(const SettingsNodeImpl& node, LevelIndex level) {
    const LevelIndex origin = node.originLevel();
    return level == LevelIndex::factory && origin != LevelIndex::factory && origin != LevelIndex::session &&
           !node.isConnectedToTheSettingsTree();
}

/// Whether the file of that level is the one that defines the node.
bool isDefinedAt(const SettingsNodeImpl& node, LevelIndex level) {
    return node.originLevel() == level || isAddedApart(node, level);
}

class Snapshot {
  public:
    Snapshot(LevelIndex level, bool skipsEmptyGroups) : level_(level), skipsEmptyGroups_(skipsEmptyGroups) {}

    GroupRecord take(const NodePtr& group) const {
        GroupRecord record = shellOf(group, level_);
        for (const NodePtr& child : group->getChildren()) {
            if (!child->isLeafNode()) {
                if (!isSkipped(*child))
                    record.groups.push_back(take(child));
            } else if (auto setting = snapshotOfSetting(child, level_)) {
                record.settings.push_back(std::move(*setting));
            }
        }
        return record;
    }

  private:
    bool isSkipped(const SettingsNodeImpl& group) const {
        return group.originLevel() == LevelIndex::session ||
               (skipsEmptyGroups_ && !group.hasAnythingToPersist(level_) && !isDefinedAt(group, level_));
    }

    LevelIndex level_;
    bool skipsEmptyGroups_;
};

} // namespace

GroupRecord shellOf(const NodePtr& group, LevelIndex level) {
    GroupRecord record;
    record.name = group->getName();
    record.readOnly = group->readOnlyState();
    record.visible = group->isVisible();
    record.isUserDefined = level != LevelIndex::factory && isDefinedAt(*group, level);
    if (const auto version = group->getVersionNumber(); version && level == LevelIndex::factory)
        record.version = *version;
    record.definition =
        definitionOf(*group); // also a file of values names the language of the group's function
    return record;
}

std::optional<SettingRecord> snapshotOfSetting(const NodePtr& setting, LevelIndex level) {
    SettingRecord record;
    record.value = setting->valueOn(isAddedApart(*setting, level) ? setting->originLevel() : level);
    const bool isDefined = isDefinedAt(*setting, level);
    if (!isDefined && record.value.first.isVoid())
        return std::nullopt;
    record.name = setting->getName();
    if (!isDefined)
        return record;
    record.isUserDefined = level != LevelIndex::factory;
    record.readOnly = setting->readOnlyState();
    record.visible = setting->isVisible();
    record.definition = definitionOf(*setting);
    return record;
}

GroupRecord snapshotOf(const NodePtr& group, LevelIndex level) {
    const auto tree = group->treeContext();
    return Snapshot(level, tree != nullptr && tree->fileTree).take(group);
}

} // namespace settings::core::detail
