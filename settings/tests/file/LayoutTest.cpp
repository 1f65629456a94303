// What stands in the JSON of a file, and what is left out at which level.

#include "support/FileTree.hpp"

#include "opc/model/Package.hpp"
#include "opc/qfservices/FileSystemManager.hpp"
#include "settingscore/settings/file/SettingsFileWriter.hpp"
#include "settingscore/settings/file/TreeSnapshot.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "json/Writer.hpp"

#include <gtest/gtest.h>

namespace {

using namespace settings::test;
using namespace settings::core::detail;
using settings::core::ReadOnlyState;
using Names = std::vector<std::string>;

/// A factory group "g" with the setting "s" that carries functions, below it the group "child".
boost::shared_ptr<SettingsImpl> definedGroup() {
    NodeSpec spec;
    spec.name = "g";
    spec.readOnly = ReadOnlyState::writable;
    spec.definition = std::make_unique<NodeDefinition>();
    spec.definition->validator = settings::core::CValidator::fromDefinition("lib", "f");
    auto group = SettingsImpl::makeGroup(std::move(spec));
    NodeSpec setting;
    setting.name = "s";
    setting.definition = std::make_unique<NodeDefinition>();
    setting.definition->validator = settings::core::MValidator("p", "v");
    setting.definition->factoryValueFcn = settings::core::MRunTimeDefault("p", "d");
    setting.definition->attributes = {{"title", "T"}};
    auto node = SettingsImpl::makeSetting(std::move(setting));
    node->loadValue(LevelIndex::user, {Array::scalar(true), false});
    NodeSpec child;
    child.name = "child";
    group->adoptChildren({node, SettingsImpl::makeGroup(std::move(child))});
    return group;
}

TEST(Layout, FactoryFileSaysEverything) {
    const TempFolder folder;
    FileLogLines log;
    SettingsFileWriter::writeFactoryFile(definedGroup(), folder / "g", {});
    EXPECT_EQ((Names{"Start:Write factory file: " + (folder / "g").string(),
                     "Finish:Write factory file: " + (folder / "g").string()}),
              log.take("Write factory file: "));
    const auto package = opc::model::Package::open(folder / "g");
    const opc::qfservices::FileSystemManager parts(package);
    for (const char16_t* part : {u"/schema.json", u"/settingstree/settings.json", u"/upgraders.json"})
        EXPECT_EQ(opc::qfservices::getTextContentType(), parts.getContentType(part));
    EXPECT_EQ((Names{"/schema.json", "/settingstree/child/settings.json", "/settingstree/settings.json",
                     "/upgraders.json"}),
              partsOf(folder / "g"));
    EXPECT_EQ("[]", partText(folder / "g", "/upgraders.json"));
    EXPECT_EQ(
        R"({"functionName":"f","groupName":"g","hasAdditionalFile":false,"language":"C","packageName":"lib",)"
        R"("path":"g","readonly":false,"settings":[{"attributes":{"title":"T"},"functionName":"v",)"
        R"("hasValue":false,"isUserDefined":false,"isVector":false,"language":"VARNEK","name":"s",)"
        R"("packageName":"p","runtimeDefaultFcn":"d","validationFcn":"v",)"
        R"("value":{"qfdata":[],"qftype":"double"},"visible":true}],"validationFcn":"f","visible":true})",
        partText(folder / "g", topPart));
}

TEST(Layout, PersonalFileHoldsValuesOnly) {
    const TempFolder folder;
    VersionRecord version{1, 2, {"move", {"g.a"}, {"g.b"}}, "R2025a"};
    version.upgraderIndex = 18446744073709551615U;
    SettingsFileWriter::write(definedGroup(), LevelIndex::user, folder / "g", version);
    EXPECT_EQ((Names{"/schema.json", "/settingstree/child/settings.json", "/settingstree/settings.json",
                     "/version.json"}),
              partsOf(folder / "g"));
    EXPECT_EQ(
        R"({"groupName":"g","language":"C","path":"g","readonly":false,"settings":[{"hasValue":true,)"
        R"("isUserDefined":false,"isVector":false,"name":"s","value":{"qfdata":true,"qftype":"logical"}}]})",
        partText(folder / "g", topPart));
    EXPECT_EQ(R"({"groupName":"child","language":"","path":"g.child","settings":[]})",
              partText(folder / "g", "/settingstree/child/settings.json"));
    EXPECT_EQ(R"({"ChangeIndex":2,"ReleaseVersion":"R2025a","SettingsFileChange":{"Inputs":["g.a"],)"
              R"("Operation":"move","Outputs":["g.b"]},"UpgraderIndex":18446744073709551615})",
              partText(folder / "g", "/version.json"));
    SettingsFileWriter::write(definedGroup(), LevelIndex::user, folder / "g", {});
    EXPECT_EQ(3U, partsOf(folder / "g").size());
}

TEST(Layout, UserDefinedNodesCarryTheirDefinitionButNoFunctions) {
    const TempFolder folder;
    const FileTree tree(folder.path());
    const Handle group = tree.group("g");
    tree.load(group);
    const Handle added = group->addGroup("mine", false, true, "user");
    EXPECT_EQ((Names{"g"}), Names{group->getName()});
    const Handle open = group->addGroup("open", true, false, "user", settings::core::MValidator("p", "f"));
    open->addSetting("s", Array::scalar(2.0), false, true, "user",
                     settings::core::MValidator("varnek.settings", "mustBeNumericScalar"));
    open->addSetting("bare", {}, true, false, "user");
    EXPECT_EQ(R"({"attributes":{"isUserDefined":true},"groupName":"mine","language":"","path":"g.mine",)"
              R"("readonly":true,"settings":[],"visible":false})",
              partText(tree.file("g"), "/settingstree/mine/settings.json"));
    EXPECT_EQ(
        R"({"attributes":{"isUserDefined":true},"groupName":"open","language":"VARNEK","path":"g.open",)"
        R"("settings":[{"hasValue":false,"isUserDefined":true,"isVector":false,"name":"bare",)"
        R"("value":{"qfdata":[],"qftype":"double"},"visible":true},{"hasValue":true,"isUserDefined":true,)"
        R"("isVector":false,"name":"s","readonly":true,"value":{"qfdata":2,"qftype":"double"},)"
        R"("visible":false}],"visible":true})",
        partText(tree.file("g"), "/settingstree/open/settings.json"));
}

TEST(Layout, GroupsOfThisSessionNeverReachAFile) {
    const TempFolder folder;
    const FileTree tree(folder.path());
    const Handle group = tree.group("g");
    TestTree::setting(group, "kept");
    tree.load(group);
    const Handle passing = group->addGroup("passing", true, false, "session");
    const Handle below = passing->addGroup("below", true, false, "user");
    below->addSetting("s", Array::scalar(1.0), true, false, "user");
    EXPECT_FALSE(std::filesystem::exists(tree.file("g")));
    EXPECT_EQ(SaveOutcome::nothingToSave, tree.status("g").saved);
    group->set("kept", 1.0, "user");
    EXPECT_EQ((Names{"/schema.json", "/settingstree/settings.json"}), partsOf(tree.file("g")));

    tree.root->addGroup("top", true, false, "session")
        ->addSetting("s", Array::scalar(1.0), true, false, "user");
    EXPECT_EQ(Names{"g.vksettings"}, namesIn(folder / "user"));
}

/// Groups without values are shells in the file of a process's tree, and left out of a tree that is a file.
TEST(Layout, OnlyTreesOfOneFileSkipEmptyGroups) {
    for (const bool fileTree : {false, true}) {
        TreeContext context;
        context.fileTree = fileTree;
        const auto root = SettingsImplRoot::make(std::move(context));
        const auto group = definedGroup();
        root->adoptChildren({group});
        EXPECT_EQ(fileTree ? 0U : 1U, snapshotOf(group, LevelIndex::user).groups.size());
        EXPECT_EQ(1U, snapshotOf(group, LevelIndex::factory).groups.size());
    }
}

TEST(Layout, ALevelsFileHoldsThatLevelOnly) {
    const TempFolder folder;
    const FileTree tree(folder.path());
    const Handle group = tree.group("g");
    TestTree::setting(group, "a", Array::scalar(0.0));
    TestTree::setting(group, "b", Array::scalar(0.0));
    tree.load(group);
    group->set("a", 1.0, "user");
    group->set("b", 2.0, "installation");
    group->set("b", 3.0, "session");
    const auto values = [&](LevelIndex level) {
        return varnek::json::write(partJson(tree.file("g", level), topPart).at("settings"));
    };
    EXPECT_EQ(R"([{"hasValue":true,"isUserDefined":false,"isVector":false,"name":"a",)"
              R"("value":{"qfdata":1,"qftype":"double"}}])",
              values(LevelIndex::user));
    EXPECT_EQ(R"([{"hasValue":true,"isUserDefined":false,"isVector":false,"name":"b",)"
              R"("value":{"qfdata":2,"qftype":"double"}}])",
              values(LevelIndex::installation));
}

} // namespace
