/// Processes that share the personal file of one group, "g".
#pragma once

#include "support/FileTree.hpp"

#include "settingscore/settings/node/SettingsAccess.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace settings::test {

struct OneGroupsFile : testing::Test {
    /// Another start of the program, whose group has these settings, each 0 by definition.
    FileTree start(const std::vector<std::string>& settings) const {
        FileTree tree(folder.path());
        const Handle group = tree.group("g");
        for (const std::string& name : settings)
            TestTree::setting(group, name, Array::scalar(0.0));
        tree.load(group);
        return tree;
    }
    static Handle group(const FileTree& tree) { return tree.root->getChild("g"); }
    /// Reads the file again, as after a change by another process.
    static void load(const FileTree& tree) {
        tree.keeper->loadLevel(core::detail::SettingsAccess::node(*group(tree)), LevelIndex::user);
    }

    TempFolder folder;
};

} // namespace settings::test
