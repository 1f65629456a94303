// What changes between releases make of the values of one file, and what is told of it.

#include "settingscore/settings/upgrade/UpgradeRun.hpp"
#include "settingscore/settings/upgrade/LogFileAccess.hpp"
#include "settingscore/settings/upgrade/NameDependencyModel.hpp"
#include "settingscore/settings/upgrade/ResultsJson.hpp"
#include "settingscore/upgrade/SettingsRenames.hpp"
#include "settingscore/upgrade/Upgrader.hpp"
#include "support/TempFolder.hpp"
#include "support/TestTree.hpp"
#include "json/Writer.hpp"

#include <gtest/gtest.h>

namespace {

using namespace settings::core;
using namespace settings::core::detail;
using namespace settings::test;
using Changes = std::vector<ChangeRecord>;

ChangeRecord move(const std::string& from, const std::string& to) {
    return {"move", {from}, {to}};
}
ChangeRecord removal(const std::string& path) {
    return {"remove", {path}, {}};
}

/// "font.size font.name view" with the values 1, 2, 3; "mine/" is an empty group that a user added.
GroupRecord treeOf(const std::string& names) {
    GroupRecord top;
    top.name = "g";
    std::istringstream words(names);
    double value = 0;
    for (std::string word; words >> word;) {
        GroupRecord* group = &top;
        for (std::size_t dot = 0; (dot = word.find_first_of("./")) != std::string::npos;) {
            const std::string name = word.substr(0, dot);
            const bool isOwn = word[dot] == '/';
            word.erase(0, dot + 1);
            auto found = std::find_if(group->groups.begin(), group->groups.end(),
                                      [&](const GroupRecord& below) { return below.name == name; });
            if (found == group->groups.end()) {
                GroupRecord made;
                made.name = name;
                made.isUserDefined = isOwn;
                group->groups.push_back(std::move(made));
                found = std::prev(group->groups.end());
            }
            group = &*found;
        }
        if (word.empty())
            continue;
        SettingRecord setting;
        setting.name = word;
        setting.value = {Array::scalar(++value), false};
        group->settings.push_back(std::move(setting));
    }
    GroupRecord sorted;
    sorted.name = top.name;
    sorted.addMissing(std::move(top));
    return sorted;
}

void list(const GroupRecord& group, const std::string& prefix, std::string& text) {
    for (const SettingRecord& setting : group.settings)
        text += " " + prefix + setting.name + "=" +
                std::to_string(static_cast<int>(setting.value.first.element<double>()));
    for (const GroupRecord& below : group.groups) {
        if (below.settings.empty() && below.groups.empty())
            text += " " + prefix + below.name + "/";
        list(below, prefix + below.name + ".", text);
    }
}
std::string listed(const GroupRecord& tree) {
    std::string text;
    list(tree, "", text);
    return text.empty() ? "(nothing)" : text.substr(1);
}

std::string shown(const std::vector<ReleaseCompatibilityException>& exceptions) {
    std::string text;
    for (const auto& exception : exceptions)
        text += " [" + exception.exceptionId.substr(exception.exceptionId.rfind(':') + 1) + "]";
    return text;
}

/// The groups "g" and "h" are there; nothing goes over to "h".
class OnlyHere : public OtherGroups {
  public:
    bool knows(const std::string& group) const override { return group == "g" || group == "h"; }
    std::optional<PersonalNode> open(PersonalTree&, const std::string&) override {
        throw UpgradeInterrupted("not now");
    }
};

struct Outcome {
    SettingsFileContent content;
    UpgradeReport report;
};

Outcome upgraded(GroupRecord tree, std::vector<UpgraderRecord> upgraders,
                 const std::optional<VersionRecord>& record = {}) {
    Outcome outcome;
    outcome.content.tree = std::move(tree);
    outcome.content.version = record;
    OnlyHere others;
    outcome.report = runUpgrade(
        outcome.content, std::make_shared<const std::vector<UpgraderRecord>>(std::move(upgraders)), others);
    return outcome;
}

std::string textOf(const ChangeRecord& change) {
    std::string text = change.operation;
    for (const std::string& input : change.inputs)
        text += " " + input;
    for (const std::string& output : change.outputs)
        text += " -> " + output;
    return text;
}

/// One line per change and its result, then what is left.
std::string story(const std::string& names, const Changes& changes) {
    const Outcome outcome = upgraded(treeOf(names), {{u"R2025a", changes}});
    std::string text = listed(treeOf(names)) + "\n";
    for (const VersionResults& version : outcome.report.results.results)
        for (std::size_t i = 0; i < version.versionChanges.size(); ++i) {
            const OperationResult& result = version.versionChanges[i];
            text += "  " + textOf(changes[i]) + ": " + std::string(nameOf(result.status)) +
                    shown(result.preValidationExceptions) + shown(result.exceptionLog) + "\n";
        }
    for (const auto& exception : outcome.report.results.preValidationExceptions)
        text += "  interrupted: " + exception.exceptionLog + "\n";
    const auto& record = *outcome.content.version;
    return text + "  = " + listed(outcome.content.tree) + "  (" + std::to_string(record.upgraderIndex) +
           ", " + std::to_string(record.changeIndex) + ")" +
           (outcome.report.hasChangedValues ? "" : " unchanged") + "\n";
}

/// Every operation on every kind of place. A difference shows as text.
TEST(UpgradeRun, EveryOperationOnEveryKindOfPlace) {
    const std::string all = "size font.name font.size mine/";
    std::string text;
    const auto tell = [&](const std::string& names, const Changes& changes) {
        text += story(names, changes);
    };
    text += "move a setting\n";
    tell(all, {move("g.size", "g.width")});
    tell(all, {move("g.size", "g.view.panel.size")});
    tell(all, {move("g.font.size", "g.fontSize"), move("g.font.name", "g.fontName")});
    tell(all, {move("g.size", "g.font.size")});
    tell(all, {move("g.size", "g.font")});
    tell(all, {move("g.size", "g.mine")});
    tell(all, {move("g.size", "g.size")});
    tell(all, {move("g.size", "g.font.name.size")});
    tell(all, {move("g.size", "g.size.main"), move("g.size.main", "g.size")});
    tell(all, {move("g.size", "g.mine.size")});
    text += "move a group\n";
    tell(all, {move("g.font", "g.text")});
    tell(all, {move("g.font", "g.font.old")});
    tell(all, {move("g.font", "g.mine.font"), move("g.mine", "g.yours")});
    tell(all, {move("g.font", "g.size")});
    tell(all, {move("g", "g.all")});
    tell("font.font", {move("g.font.font", "g.font")});
    text += "move what is not there, or not here\n";
    tell(all, {move("g.weight", "g.width"), move("g.font.size.x", "g.y"), move("g.size", "g.width")});
    tell("", {move("g", "g.all")});
    tell(all, {move("h.size", "g.width"), move("size", "g.width"), move("g.size", "width")});
    tell(all, {move("g.size", "g..x"), move("g.size", "g."), move("g.", "g.x"), move("g.size", "g"),
               move("g.size", "h..x")});
    text += "remove\n";
    tell(all, {removal("g.size")});
    tell(all, {removal("g.font")});
    tell(all, {removal("g.font.size"), removal("g.font.name"), removal("g.font")});
    tell(all, {removal("g.mine")});
    tell(all, {removal("g")});
    tell(all, {removal("g.weight"), removal("g.font.weight")});
    tell(all, {removal("g.size.x"), removal("h.size"), removal("g..size"), removal("")});
    text += "neither\n";
    tell(all, {{"rename", {"g.size"}, {"g.width"}}, {"", {}, {}}, {"Move", {"g.size"}, {"g.width"}}});
    tell(all, {{"move", {"g.size"}, {}}, {"move", {"g.size", "g.font"}, {"g.a"}}, {"remove", {}, {}}});
    text += "to another group, when that cannot be had\n";
    tell(all, {move("g.size", "g.width"), move("g.font", "h.font"), removal("g.width")});
    EXPECT_EQ(golden("upgrade_operations.txt"), text);
}

TEST(UpgradeRun, TheValuesOfAnEncryptedFileStayInIt) {
    SettingsFileContent content;
    content.tree = treeOf("a b");
    content.isEncrypted = true;
    OnlyHere others;
    const Changes changes = {move("g.a", "h.a"), move("g.b", "g.c")};
    const auto report = runUpgrade(
        content, std::make_shared<const std::vector<UpgraderRecord>>(1, UpgraderRecord{u"R2025a", changes}),
        others);
    EXPECT_EQ("a=1 c=2", listed(content.tree));
    EXPECT_EQ(ResultStatus::failed, report.results.results.at(0).versionChanges.at(0).status);
}

TEST(UpgradeRun, ANameWithDotsIsFoundWhereThereIsOne) {
    GroupRecord tree = treeOf("size");
    tree.settings.front().name = "a.b";
    const Outcome outcome = upgraded(std::move(tree), {{u"R2025a", {move("g.a.b", "g.c")}}});
    EXPECT_EQ("c=1", listed(outcome.content.tree));
}

TEST(UpgradeRun, TakesTheReleasesInOrderFromWhereTheFileIs) {
    const std::vector<UpgraderRecord> upgraders = {{u"R2024a", {move("g.a", "g.b"), move("g.b", "g.c")}},
                                                   {u"R2024b", {}},
                                                   {u"R2025a", {move("g.c", "g.d"), removal("g.x")}}};
    const struct {
        std::uint64_t upgrader, change;
        const char* before;
        const char* after;
        std::size_t results;
    } cases[] = {
        {0, 0, "a x", "d=1", 3},     {0, 1, "b x", "d=1", 3},       {0, 2, "c x", "d=1", 3},
        {1, 0, "c a", "a=2 d=1", 2}, {2, 0, "c x a", "a=3 d=1", 1}, {2, 1, "c x a", "a=3 c=1", 1},
        {3, 0, "a x", "a=1 x=2", 0},
    };
    for (const auto& c : cases) {
        const VersionRecord record{c.upgrader, c.change, {}, "R2023b"};
        const Outcome outcome = upgraded(treeOf(c.before), upgraders, record);
        SCOPED_TRACE(std::to_string(c.upgrader) + ", " + std::to_string(c.change));
        EXPECT_EQ(c.after, listed(outcome.content.tree));
        EXPECT_EQ(c.results, outcome.report.results.results.size());
        const VersionRecord reached =
            outcome.report.hasRun ? VersionRecord{3, 0, removal("g.x"), "R2025a"} : record;
        EXPECT_EQ(reached, outcome.content.version);
        EXPECT_EQ(c.results > 0, outcome.report.hasRun);
    }
}

TEST(UpgradeRun, StopsBeforeWhatCannotBeDoneNowAndGoesOnThere) {
    const std::vector<UpgraderRecord> upgraders = {
        {u"R2024a", {move("g.a", "g.b")}}, {u"R2025a", {removal("g.x"), move("g.b", "h.b"), removal("g.c")}}};
    Outcome outcome = upgraded(treeOf("a x c"), upgraders);
    EXPECT_EQ("b=1 c=3", listed(outcome.content.tree));
    EXPECT_EQ((VersionRecord{1, 1, removal("g.x"), "R2024a"}), outcome.content.version);
    ASSERT_EQ(1U, outcome.report.results.preValidationExceptions.size());
    EXPECT_EQ("not now", outcome.report.results.preValidationExceptions[0].exceptionLog);
    EXPECT_TRUE(outcome.report.hasRun);
    const auto record = outcome.content.version;
    const Outcome again = upgraded(std::move(outcome.content.tree), upgraders, record);
    EXPECT_EQ(record, again.content.version);
    EXPECT_FALSE(again.report.hasRun);
    EXPECT_TRUE(again.report.results.results.empty());
}

TEST(UpgradeRun, WhatDoesNotFitIsRecordedByItsId) {
    OnlyHere others;
    const auto idOf = [&](const FactoryChanges& changes, std::uint64_t upgrader, std::uint64_t change) {
        SettingsFileContent content;
        content.tree = treeOf("a");
        const VersionRecord record{upgrader, change, removal("g.y"), "R2030b"};
        content.version = record;
        const auto report = runUpgrade(content, changes, others);
        EXPECT_EQ(record, content.version);
        EXPECT_EQ("a=1", listed(content.tree));
        EXPECT_FALSE(report.hasRun);
        const auto& exceptions = report.results.preValidationExceptions;
        return exceptions.size() == 1 ? exceptions[0].exceptionId : std::to_string(exceptions.size());
    };
    const auto declared = [](std::vector<UpgraderRecord> upgraders) {
        return std::make_shared<const std::vector<UpgraderRecord>>(std::move(upgraders));
    };
    const std::string config = "VARNEK:settings:config:";
    EXPECT_EQ(config + "FactoryTreeDoesNotExist", idOf(nullptr, 1, 0));
    EXPECT_EQ(config + "FactoryTreeChangesAreEmpty", idOf(declared({}), 1, 0));
    const auto one = declared({{u"R2025a", {removal("g.x")}}});
    EXPECT_EQ(config + "InvalidPersonalSettingsVersion", idOf(one, 2, 0));
    EXPECT_EQ(config + "InvalidPersonalSettingsVersion", idOf(one, 1, 1));
    EXPECT_EQ(config + "InvalidPersonalSettingsVersion", idOf(one, 0, 2));
    EXPECT_EQ("0", idOf(one, 1, 0));
}

TEST(UpgradeRun, LabelsAreOrderedByYearAndLetter) {
    const auto label = [](const char16_t* text) { return VersionLabel(text); };
    EXPECT_LT(label(u"R2024b"), label(u"R2025a"));
    EXPECT_LT(label(u"R2025a"), label(u"R2025b"));
    for (const char16_t* text : {u"", u"2025a", u"R2025c", u"r2025a", u"R2025a "}) {
        EXPECT_FALSE(label(text).isReadable());
        EXPECT_LT(label(text), label(u"R0000a"));
        EXPECT_TRUE(std::is_eq(label(text) <=> label(u"?")));
    }
}

TEST(SettingsFileChange, IsAValueOfItsKind) {
    const SettingsFileChange change("move", {"g.a"}, {"g.b"});
    EXPECT_EQ(ReleaseCompatOps::move, change.getOperation());
    EXPECT_EQ(change, SettingsFileChange(ReleaseCompatOps::move, {"g.a"}, {"g.b"}));
    EXPECT_EQ(change.getOperationObject(), ReleaseCompatOperation::of(ReleaseCompatOps::move));
    SettingsFileChange other = change;
    EXPECT_EQ(change, other);
    for (const auto& different :
         {SettingsFileChange("remove", {"g.a"}, {"g.b"}), SettingsFileChange("move", {"g.b"}, {"g.b"}),
          SettingsFileChange("move", {"g.a"}, {}), SettingsFileChange("", {}, {})})
        EXPECT_NE(change, different);
    const SettingsFileChange unknown("rename", {}, {});
    EXPECT_EQ(ReleaseCompatOps::invalid, unknown.getOperation());
    EXPECT_EQ("rename", unknown.getOperationName());
    EXPECT_NE(unknown, SettingsFileChange("alter", {}, {}));
}

ReleaseCompatibilityResults someResults() {
    ReleaseCompatibilityResults results;
    results.versionLabel = "R2025a";
    results.preValidationExceptions = {{"VARNEK:settings:config:X", "größe"}};
    OperationResult done{"move", {"g.a"}, {"g.b"}, ResultStatus::succeeded, {}, {}, {}};
    done.upgradeFcnResults = {ResultStatus::succeeded, ResultStatus::succeeded};
    OperationResult failed{"remove", {"g.c"}, {}, ResultStatus::failed, {{"", "a"}}, {{"I", "b"}}, {}};
    failed.upgradeFcnResults = {ResultStatus::failed};
    results.results = {{"R2024b", {}}, {"R2025a", {done, failed}}};
    return results;
}

TEST(Results, AreObjectsOfTheirClasses) {
    const Array object = asArray(someResults());
    EXPECT_EQ(u"varnek.settings.ReleaseCompatibilityResults", object.field("ClassName").text());
    EXPECT_EQ(u"UserSettingsUpgrade", object.field("ResultType").text());
    const Array& versions = object.field("Results");
    ASSERT_EQ(2U, versions.numberOfElements());
    EXPECT_EQ(u"varnek.settings.VersionResults", versions.field("ClassName", 1).text());
    EXPECT_EQ(0U, versions.field("VersionChanges", 0).numberOfElements());
    const Array& changes = versions.field("VersionChanges", 1);
    ASSERT_EQ(2U, changes.numberOfElements());
    EXPECT_EQ(u"varnek.settings.OperationResult", changes.field("ClassName", 1).text());
    EXPECT_EQ(u"Failed", changes.field("Status", 1).text());
    EXPECT_EQ(std::vector<std::u16string>{u"g.b"}, changes.field("Outputs", 0).texts());
    const Array& exceptions = changes.field("ExceptionLog", 1);
    EXPECT_EQ(u"varnek.settings.ReleaseCompatibilityException", exceptions.field("ClassName").text());
    EXPECT_EQ(u"I", exceptions.field("ExceptionID").text());
    EXPECT_EQ(someResults(), readResults(writeResults(someResults())));
    EXPECT_EQ(ReleaseCompatibilityResults(), readResults(varnek::json::Value("no results")));
}

TEST(Results, AreLoggedOnceEachAndNotForever) {
    const TempFolder folder;
    const VersionLabel target(u"R2025a");
    ReleaseCompatibilityResults results = someResults();
    const auto logged = [&](const std::string& group) {
        return readResultsLog(resultsLogOf(folder.path(), userSettingsUpgrade))[group];
    };
    logReleaseCompatResults(folder.path(), "g", results, target);
    logReleaseCompatResults(folder.path(), "g", results, target);
    logReleaseCompatResults(folder.path(), "h\xff", results, target);
    logReleaseCompatResults(folder.path(), "i", {}, target);
    EXPECT_EQ(std::vector{results}, logged("g"));
    EXPECT_EQ(std::vector{results}, logged("h\xff"));
    EXPECT_EQ(0U, logged("i").size());
    EXPECT_EQ(std::vector<std::string>{"UserSettingsUpgrade.json"}, namesIn(folder.path()));
    for (int i = 0; i < 30; ++i) {
        results.versionLabel = std::to_string(i);
        logReleaseCompatResults(folder.path(), "g", results, target);
    }
    EXPECT_EQ(20U, logged("g").size());
    EXPECT_EQ("29", logged("g").back().versionLabel);
    writeBytes(folder / "UserSettingsUpgrade.json", "no json");
    logReleaseCompatResults(folder.path(), "g", results, target);
    EXPECT_EQ(std::vector{results}, logged("g"));
}

TEST(NameDependencyModel, TellsWhatStandsUnderAnOldName) {
    GroupRecord tree = treeOf("old now.name");
    OnlyHere others;
    const PersonalTree personal(tree, others, false);
    const NameDependencyModel model(
        {{"g.old", "g.new"}, {"g.before", "g.now"}, {"g.neither", "g.nor"}, {"h.old", "g.now"}});
    const auto results = model.check(personal, "R2025a");
    EXPECT_EQ("NameDependencyModelResults", results.resultType);
    ASSERT_EQ(1U, results.results.size());
    const auto& changes = results.results[0].versionChanges;
    ASSERT_EQ(2U, changes.size());
    EXPECT_EQ(std::vector<std::string>{"g.old"}, changes[0].inputs);
    EXPECT_EQ(ResultStatus::failed, changes[0].status);
    EXPECT_EQ(std::vector<std::string>{"g.now"}, changes[1].outputs);
    EXPECT_EQ(ResultStatus::succeeded, changes[1].status);
    EXPECT_TRUE(NameDependencyModel({}).check(personal, "R2025a").isEmpty());
}

} // namespace
