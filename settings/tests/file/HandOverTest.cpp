// What is asked of the files of a tree when another one has taken its place.

#include "settingscore/SettingsSaving.hpp"
#include "support/AtLine.hpp"
#include "support/WriterTree.hpp"

namespace {

using namespace settings::core;
using namespace settings::test;

struct HandOver : WriterTree {};

/// Of threads that were on their way when the tree was replaced.
TEST_F(HandOver, LateRequestsChangeNothing) {
    const Handle old = group("g");
    tree.root->addGroup("own", true, false, "user")->addSetting("s", Array::scalar(4.0), true, false, "user");
    queue.waitForAll();
    old->set("s", 1.0, "user");
    FileTree next(folder.path(), writer);
    next.keeper->inheritFrom(*tree.keeper);
    const Handle now = group(next, "g");
    EXPECT_EQ(1.0, now->get<double>("s"));
    queue.waitForAll();
    EXPECT_EQ(1.0, onDisk("g")); // it was asked for before
    now->set("s", 2.0, "user");
    queue.waitForAll();
    old->set("s", 3.0, "user");
    tree.root->removeNode("own");
    queue.waitForAll();
    EXPECT_EQ(2.0, onDisk("g"));
    EXPECT_EQ(4.0, onDisk("own"));
    EXPECT_EQ(SaveOutcome::saved, tree.keeper->awaitSave("g", LevelIndex::user).saved);
}

/// What the old tree has left out while saving was off is not in the new one, which is not to lose by it.
TEST_F(HandOver, WhatWasSkippedIsNotSavedLate) {
    const Handle old = group("g"), other = group("h");
    settings::core::turnOffSettingsSaving();
    old->set("s", 5.0, "user");
    queue.waitForAll();
    settings::core::turnOnSettingsSaving();
    FileTree next(folder.path(), writer);
    {
        // Between the request of the old tree and what it does about others.
        const AtLine request("settings::core::settingsFile", "Request file update", [&] {
            next.keeper->inheritFrom(*tree.keeper);
            group(next, "g")->set("s", 7.0, "user");
            queue.waitForAll();
        });
        other->set("s", 1.0, "user");
    }
    queue.waitForAll();
    EXPECT_EQ(7.0, onDisk("g"));
    EXPECT_EQ(1.0, onDisk("h"));
}

} // namespace
