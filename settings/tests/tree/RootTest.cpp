// The roots, the nodes of a free-standing file, and what the tree tells the log.

#include "support/TestTree.hpp"

#include "settingscore/SettingsRoot.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/node/SettingsImplForFileManager.hpp"
#include "settingscore/settings/root/RootStates.hpp"
#include "support/LogLines.hpp"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <thread>

namespace {

using namespace settings::test;
using settings::core::DefaultRootIndex;
using settings::core::InvalidRootIndex;
using settings::core::LevelIndex;
using settings::core::RootIndex;
using settings::core::Settings;
using Lines = std::vector<std::string>;

TEST(Roots, TheDefaultTreeIsBuiltOnceForAllThreads) {
    std::vector<Handle> found(4);
    std::vector<std::thread> threads;
    for (Handle& handle : found)
        threads.emplace_back([&] { handle = settings::core::detail::getSettingsRoot(DefaultRootIndex()); });
    for (std::thread& thread : threads)
        thread.join();
    for (const Handle& handle : found)
        EXPECT_TRUE(Settings::equal(found.front(), handle));
    EXPECT_TRUE(found.front()->isRoot());
    EXPECT_TRUE(found.front()->isConnectedToTheSettingsTree());
    EXPECT_EQ(RootIndex(DefaultRootIndex()), found.front()->getRootIndex());
    EXPECT_TRUE(settings::core::detail::getLoadProblems(DefaultRootIndex()).empty());
}

TEST(Roots, OtherTreesAreThereOnlyWhenSomebodyMadeThem) {
    using settings::core::detail::getSettingsRoot;
    for (const RootIndex& index :
         {RootIndex(InvalidRootIndex()), RootIndex(7, true, true), RootIndex(0, false, true)})
        EXPECT_THROW(getSettingsRoot(index), VARNEK::settings::core::SettingsLibraryNotInitialized)
            << index.index();
    auto& states = settings::core::detail::RootStates::instance();
    const TestTree tree;
    auto state = boost::make_shared<settings::core::detail::SettingsRootStateMgr>();
    state->root = tree.rootNode;
    EXPECT_TRUE(states.insert(7, state));
    EXPECT_FALSE(states.insert(7, state));
    EXPECT_TRUE(Settings::equal(tree.root, getSettingsRoot(RootIndex(7, true, false))));
    EXPECT_TRUE(states.erase(7));
    EXPECT_FALSE(states.erase(7));
}

TEST(Roots, TheStandaloneTreeStandsApart) {
    const Handle root = settings::standalone::getSettingsRoot();
    EXPECT_TRUE(Settings::equal(root, settings::standalone::getSettingsRoot()));
    EXPECT_TRUE(root->isRoot());
    EXPECT_FALSE(root->isConnectedToTheSettingsTree());
    EXPECT_EQ(RootIndex(0, true, true), root->getRootIndex());
    const RecordedEvents events;
    const Handle group = root->addGroup("apart", true, false, "user");
    group->addSetting("s", Array::scalar(1.0), true, false, "user");
    EXPECT_EQ(1.0, root->getByFullName<double>("apart.s"));
    root->removeNode("apart");
    EXPECT_EQ("CantReloadFactoryFile", failureOf([&] { root->reloadFactoryFile("apart"); }));
}

TEST(FileNodes, OnlyTheLevelOfTheFileCanBeModified) {
    using namespace settings::core::detail;
    for (const LevelIndex own : settings::core::levelsInOrder) {
        NodeSpec spec;
        spec.name = "product";
        const auto node = SettingsImplForFileManager::makeGroup(std::move(spec), own);
        const Handle group = node->getThisObject();
        const std::string ownName(levelName(own));
        const Handle child = group->addGroup("child", true, false, ownName);
        child->addSetting("s", Array::scalar(1.0), true, false, ownName);
        child->set("s", 2.0, ownName);
        EXPECT_EQ(2.0, child->get<double>("s"));
        for (const LevelIndex other : settings::core::levelsInOrder) {
            if (other == own)
                continue;
            EXPECT_EQ("CantModifyValuesOnReadOnlyLevel",
                      failureOf([&] { child->set("s", 3.0, levelName(other)); }));
        }
        EXPECT_EQ("UnSupportedLevel", failureOf([&] { child->set("s", 3.0, "nowhere"); }));
    }
}

TEST(TreeLog, SaysWhatIsChangedAndWhatIsNotFound) {
    const TestTree tree;
    const Handle editor = tree.group("editor");
    TestTree::setting(editor, "width", Array::scalar(80.0));
    editor->set("width", 1.0, "session");
    LogLines log("settings::core::settingsImpl");
    editor->set("width", 2.0, "user"); // shadowed: nobody sees another value
    editor->set("width", 3.0, "session");
    EXPECT_EQ("NoSuchKey", failureOf([&] { editor->get("nothing"); }));
    tree.root->getSettingsByFullName("editor.width");
    EXPECT_EQ((Lines{"Modify setting: editor.width at session level.",
                     "Setting full name = editor key=nothing", "getSettingsByFullName: editor.width"}),
              log.lines);
}

} // namespace
