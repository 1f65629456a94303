// Merging a standalone tree into the settings tree.

#include "settingscore/Settings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/NodeLog.hpp"
#include "settingscore/settings/settingsImpl.hpp"

namespace settings::core::detail {

namespace {

NodePtr real(const ConstNodePtr& node) {
    return boost::const_pointer_cast<SettingsNodeImpl>(node)->unwrap();
}

bool isAncestor(const NodePtr& ancestor, NodePtr node) {
    while (node != nullptr && node->unwrap() != ancestor)
        node = node->getParent();
    return node != nullptr;
}

/// Walks both trees side by side: collects what is to be stored and finds nodes that do not match.
class MergePlan {
  public:
    explicit MergePlan(LevelIndex level) : level_(level) {}

    void visitGroup(const NodePtr& destination, const ConstNodePtr& source) {
        const std::vector<NodePtr> children = destination->getChildren();
        for (const ConstNodePtr& from : source->getChildren()) {
            const NodePtr to = childCalled(from->getName(), children); // the store path follows an alias
            if (to == nullptr)
                reportMissing(*from);
            else
                visit(to, from);
        }
    }

    const std::vector<NodeValue>& values() const { return values_; }

    void visit(const NodePtr& to, const ConstNodePtr& from) {
        if (to->isLeafNode() != from->isLeafNode())
            throw exception::ErrorMergingNodesWithDiffAttr(from->getThisObjectImpl(), to->getThisObjectImpl(),
                                                           u"isLeafNode");
        if (!to->isLeafNode())
            visitGroup(to, from);
        else if (ShapedArray value = from->valueOn(level_); !value.first.isVoid())
            values_.emplace_back(to, std::move(value));
    }

  private:
    void reportMissing(const SettingsNodeImpl& from) const {
        if (from.hasAnythingToPersist(level_))
            VARNEK_LOG(nodeLog, warning)
                << "merge skips " << from.getFullName(false, ".") << ": there is no such setting in the tree";
    }

    LevelIndex level_;
    std::vector<NodeValue> values_;
};

} // namespace

void SettingsImpl::mergeDescendants(const ConstNodePtr& other, std::string_view level) {
    const LevelIndex at = checkLevel(level);
    if (isRoot())
        throw exception::CannotMergeWithSettingsRoot(getThisObjectImpl());
    const NodePtr self = shared_from_this();
    if (isAncestor(self, real(other)) || isAncestor(real(other), self))
        throw exception::ErrorMergingWithCircularReference(getThisObjectImpl(), other->getThisObjectImpl());
    if (other->isConnectedToTheSettingsTree() || !isConnectedToTheSettingsTree())
        throw exception::CanOnlyMergeTreeNodeWithStandaloneNode(getThisObjectImpl(),
                                                                other->getThisObjectImpl());
    MergePlan plan(at);
    plan.visit(shared_from_this(), other);
    multipleSet(plan.values(), level, false);
}

} // namespace settings::core::detail
