/// From what a file says to nodes: a tree of its own, or values in a tree that is there already.
#pragma once

#include "settingscore/level/LevelIndex.hpp"
#include "settingscore/settings/file/SettingsFileContent.hpp"
#include "settingscore/settings/settingsImpl.hpp"

#include <functional>

namespace settings::core::detail {

/// Makes the nodes of a tree; the kind of node depends on what the tree is for.
using NodeFactory = std::function<boost::shared_ptr<SettingsImpl>(NodeSpec spec, bool isGroup)>;

/// Nodes of this process's trees.
boost::shared_ptr<SettingsImpl> makePlainNode(NodeSpec spec, bool isGroup);

/// How the values of one file come into a tree.
struct LoadRules {
    LevelIndex level = LevelIndex::factory;
    bool isSecret = false; // values are not shown in the log
    NodeFactory makeNode = makePlainNode;
    LateEvents* events = nullptr; // where what comes into a tree in use is announced
};

/// A tree with the definitions and values of the file. Nodes that a user added are of the file's level, all
/// others of level "factory". The tree belongs to nothing. Consumes `record`.
boost::shared_ptr<SettingsImpl> buildTree(GroupRecord&& record, const LoadRules& rules);

/// Puts the values of a file into the tree below `group`: no check, no save, and events where the rules ask
/// for them. Nodes that the tree has keep their definitions, and the values they hold on the level
/// already. Nodes that a user added are made anew. Returns what found no place, with the group itself as its
/// shell. Consumes `record`.
GroupRecord loadIntoTree(GroupRecord&& record, const NodePtr& group, const LoadRules& rules);

} // namespace settings::core::detail
