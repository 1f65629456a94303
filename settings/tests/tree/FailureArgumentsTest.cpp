// What the failures of the tree say they are about: which node, which name, which level, in which role.

#include "support/TestTree.hpp"

#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"

#include <gtest/gtest.h>

#include <optional>

namespace {

using namespace settings::test;
using namespace settings::core::exception;
using settings::core::ReadOnlyState;
using settings::core::Settings;
using Lines = std::vector<std::string>;

/// The failure of exactly that class.
template <class Failure, class Operation>
Failure caught(Operation operation) {
    std::optional<Failure> failure;
    try {
        operation();
    } catch (const Failure& raised) {
        failure.emplace(raised);
    }
    if (!failure)
        throw std::logic_error("the operation did not fail as expected");
    return *failure;
}

struct FailureArguments : testing::Test {
    static std::string nameOf(const boost::shared_ptr<const Settings>& object) {
        return object == nullptr ? "(none)" : object->getFullName();
    }

    TestTree tree;
    Handle editor = tree.group("editor");
    Handle width = TestTree::setting(editor, "width", Array::scalar(80.0));
    Handle font = TestTree::childGroup(editor, "font");
    Handle locked = TestTree::childGroup(editor, "locked", ReadOnlyState::readOnly);
    Handle inside = TestTree::setting(locked, "inside");
};

TEST_F(FailureArguments, OfLookUps) {
    const auto key = caught<NoSuchKey>([&] { editor->get("nothing"); });
    EXPECT_EQ("editor", nameOf(key.getObjectInvovled()));
    EXPECT_EQ("nothing", key.getInputName());
    const auto ofSet = caught<NoSuchKey>([&] { editor->setAny("nothing", boost::any(1.0), "user"); });
    EXPECT_EQ("editor", nameOf(ofSet.getObjectInvovled()));
    EXPECT_EQ("nothing", ofSet.getInputName());
    const auto group = caught<NotAKeyName>([&] { editor->get("font"); });
    EXPECT_EQ("editor", nameOf(group.getObjectInvovled()));
    EXPECT_EQ("font", group.getInputName());
    const auto ofBatch = caught<NotAKeyName>([&] { editor->set("font", 1.0, "user"); });
    EXPECT_EQ("editor", nameOf(ofBatch.getObjectInvovled()));
    EXPECT_EQ("font", ofBatch.getInputName());
    const auto path = caught<InvalidNodePath>([&] { editor->getSettingsByFullName("font.none"); });
    EXPECT_EQ("editor", nameOf(path.getObjectInvovled()));
    EXPECT_EQ("font.none", path.getInvalidName());
    const auto node = caught<NoSuchNode>([&] { font->removeNode("nothing"); });
    EXPECT_EQ("editor.font", nameOf(node.getObjectInvovled()));
    EXPECT_EQ("nothing", node.getInputName());
}

TEST_F(FailureArguments, OfLevels) {
    const auto unknown = caught<UnSupportedLevel>([&] { editor->set("width", 1.0, "nowhere"); });
    EXPECT_EQ("nowhere", unknown.getInputLevel());
    EXPECT_EQ((Lines{"session", "user", "installation", "factory"}), unknown.getSupportedLevelList());
    const auto fixed = caught<CantModifyValuesOnReadOnlyLevel>([&] { editor->set("width", 1.0, "factory"); });
    EXPECT_EQ("factory", fixed.getLevelToModify());
    const auto unset = caught<ValueNotDefinedForGivenLevel>([&] { editor->unset("width", "user"); });
    EXPECT_EQ("editor.width", nameOf(unset.getObjectInvovled()));
    EXPECT_EQ("user", unset.getLevel());
    const auto readOnly = caught<CannotChangeValueForReadOnlySetting>([&] {
        TestTree::setting(editor, "fixed", {}, ReadOnlyState::readOnly);
        editor->set("fixed", 1.0, "user");
    });
    EXPECT_EQ("editor.fixed", nameOf(readOnly.getCausingObject()));
}

TEST_F(FailureArguments, OfAdditionsAndRemovals) {
    const auto underReadOnly = caught<CannotAddRemoveNodeUnderReadOnlyParent>(
        [&] { locked->addSetting("more", Array::scalar(1.0), true, false, "user"); });
    EXPECT_EQ("editor.locked", nameOf(underReadOnly.getParentObject()));
    EXPECT_EQ("more", nameOf(underReadOnly.getChildObject()));
    const auto removal =
        caught<CannotAddRemoveNodeUnderReadOnlyParent>([&] { locked->removeNode("inside"); });
    EXPECT_EQ("editor.locked", nameOf(removal.getParentObject()));
    EXPECT_EQ("editor.locked.inside", nameOf(removal.getChildObject()));
    const auto twin =
        caught<SameNameChildAlreadyExisted>([&] { editor->addGroup("width", true, false, "user"); });
    EXPECT_EQ("editor", nameOf(twin.getObjectInvovled()));
    EXPECT_EQ("width", twin.getInputName());
    EXPECT_EQ(u"editor", caught<ErrorAddingTopLevelNode>([&] {
                             tree.root->addGroup("EDITOR", true, false, "user");
                         }).getExistingProductName());
    EXPECT_TRUE(
        caught<CanNotAddKeyToRootException>([&] { tree.root->addSetting("s", {}, true, false, "user"); })
            .getCausingObject()
            ->isRoot());
    EXPECT_EQ("", caught<InvalidSettingOrGroupName>([&] {
                      editor->addGroup("", true, false, "user");
                  }).getInputNodeName());
    const auto factory =
        caught<AttemptedRemovalOfFactoryGroupOrSetting>([&] { editor->removeNode("width"); });
    EXPECT_EQ("editor.width", nameOf(factory.getObjectInvovled()));
    EXPECT_EQ("factory", factory.getLevelNeedToBeUpdated());
    EXPECT_EQ((Lines{"session", "user", "installation"}), factory.getLevelsHasWritenPermissionOn());
}

TEST_F(FailureArguments, OfNodesThatFilesAndDefinitionsDeclare) {
    const auto root = settings::core::detail::SettingsAccess::node(*tree.root);
    const auto product = caught<ProductNodeAlreadyExisted>([&] {
        root->adoptChildren({settings::core::detail::SettingsAccess::node(*standaloneGroup("Editor"))});
    });
    EXPECT_EQ(u"Editor", product.getInputName());
    EXPECT_EQ(u"editor", product.getExistingName());
    EXPECT_EQ("s", caught<CannotAddKeyToRoot>([&] { root->createFactorySetting("s", {}); }).getInputName());
    // Of several nodes none is taken over when one is refused.
    const Handle fresh = standaloneGroup("fresh");
    const auto nodes = [](const Handle& a, const Handle& b) {
        return std::vector{settings::core::detail::SettingsAccess::node(*a),
                           settings::core::detail::SettingsAccess::node(*b)};
    };
    const auto inEditor = settings::core::detail::SettingsAccess::node(*editor);
    for (const Handle& other : {standaloneGroup("width"), standaloneGroup("fresh")})
        EXPECT_EQ("SameNameChildAlreadyExisted",
                  failureOf([&] { inEditor->adoptChildren(nodes(fresh, other)); }));
    EXPECT_EQ(nullptr, fresh->getParent());
    EXPECT_EQ(nullptr, editor->getChild("fresh"));
    EXPECT_TRUE(Settings::equal(width, editor->getChild("width")));
}

TEST_F(FailureArguments, OfMerges) {
    const auto circle =
        caught<ErrorMergingWithCircularReference>([&] { font->mergeDescendants(editor, "user"); });
    EXPECT_EQ("editor.font", nameOf(circle.getObjectInvovled()));
    EXPECT_EQ("editor", nameOf(circle.getCausingObject()));
    const Handle other = standaloneGroup("editor");
    const Handle alone = standaloneGroup("alone");
    const auto standalone =
        caught<CanOnlyMergeTreeNodeWithStandaloneNode>([&] { alone->mergeDescendants(other, "user"); });
    EXPECT_EQ("alone", nameOf(standalone.getObjectInvovled()));
    EXPECT_EQ("editor", nameOf(standalone.getOtherObject()));
    TestTree::setting(other, "font");
    const auto kinds =
        caught<ErrorMergingNodesWithDiffAttr>([&] { editor->mergeDescendants(other, "user"); });
    EXPECT_FALSE(kinds.getSrcObject()->isConnectedToTheSettingsTree());
    EXPECT_EQ("editor.font", nameOf(kinds.getSrcObject()));
    EXPECT_TRUE(Settings::equal(font, boost::const_pointer_cast<Settings>(kinds.getDesObject())));
    EXPECT_EQ(u"isLeafNode", kinds.getAttributeName());
    EXPECT_TRUE(caught<CannotMergeWithSettingsRoot>([&] { tree.root->mergeDescendants(other, "user"); })
                    .getObjectInvovled()
                    ->isRoot());
}

} // namespace
