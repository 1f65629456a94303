/// A tree whose saves go through a writer thread of the test's own, which begins when somebody waits.
#pragma once

#include "support/FileTree.hpp"

#include "settingscore/settings/file/PrefdirFileWriterQueue.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace settings::test {

struct WriterTree : testing::Test {
    WriterTree() { current = &queue; }
    ~WriterTree() override { current = nullptr; }

    static core::detail::PrefdirFileWriterQueue* writer() { return current; }

    /// A group with the settings "s" and "t", read from its files.
    static Handle group(const FileTree& tree, const std::string& name) {
        const Handle group = tree.group(name);
        TestTree::setting(group, "s");
        TestTree::setting(group, "t");
        tree.load(group);
        return group;
    }
    Handle group(const std::string& name) const { return group(tree, name); }
    /// What a process that starts now reads; -1 where there is nothing.
    double onDisk(const std::string& name, const std::string& setting = "s") const {
        const FileTree other(folder.path());
        other.keeper->loadAddedGroups(core::detail::SettingsAccess::node(*other.root), LevelIndex::user);
        const bool isAdded =
            core::detail::SettingsAccess::node(*other.root)->getChild(name, false) != nullptr;
        const Handle read = isAdded ? other.root->getChild(name) : group(other, name);
        return read->isSet(setting, "user") ? read->get<double>(setting, "user") : -1.0;
    }

    /// Of the trees that are made with writer().
    static inline core::detail::PrefdirFileWriterQueue* current = nullptr;

    TempFolder folder;
    core::detail::PrefdirFileWriterQueue queue{std::chrono::hours(24)};
    FileTree tree{folder.path(), writer};
};

} // namespace settings::test
