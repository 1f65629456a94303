#include "settingscore/factoryfile/FactoryFileGenerator.hpp"

#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/file/ValidatorJson.hpp"
#include "support/FileTree.hpp"
#include "support/TempFolder.hpp"
#include "support/TestTree.hpp"
#include "varnek/files/FileError.hpp"
#include "json/ArrayConversion.hpp"
#include "json/Writer.hpp"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace settings::core;
using settings::core::detail::GroupRecord;
using settings::core::detail::SettingRecord;
using settings::test::bytesOf;
using settings::test::failureOf;
using settings::test::TempFolder;
using varnek::data::Array;
using varnek::settings::FactoryChange;
using varnek::settings::FactoryFileGenerator;
using varnek::settings::FactoryGroup;
using varnek::settings::InvalidDefinition;
using Properties = FactoryGroup::Properties;

/// A definition with a value and nothing else.
Properties holding(Array value, std::vector<SettingValueValidator::ConfigData> validators = {}) {
    return {true, false, std::move(value), {}, {}, false, false, std::move(validators)};
}

SettingValueValidator::ConfigData points() {
    NumericMetaData<MustBeScalar> data;
    data.mustBeInteger();
    data.setMinValue(6);
    data.setMaxValue(72);
    return data;
}

/// The whole content as text, for comparing.
std::string textOf(const GroupRecord& group) {
    const auto definitionText = [](const std::unique_ptr<detail::NodeDefinition>& definition) {
        if (definition == nullptr)
            return std::string("-");
        return varnek::json::write(definition->attributes) + definition->aliasName +
               varnek::json::write(detail::writeValidators(definition->multiCheckValueValidators)) +
               std::to_string(definition->validator.which()) +
               std::to_string(definition->factoryValueFcn.which());
    };
    const auto flags = [](const auto& record) {
        return record.name + " " + std::to_string(static_cast<int>(record.readOnly)) +
               std::to_string(record.visible);
    };
    std::string text = "group " + flags(group) + " " + definitionText(group.definition) + "\n";
    for (const SettingRecord& setting : group.settings)
        text += flags(setting) + " " + varnek::json::write(varnek::json::toTyped(setting.value.first)) + " " +
                std::to_string(setting.value.second) + " " + definitionText(setting.definition) + "\n";
    for (const GroupRecord& child : group.groups)
        text += textOf(child);
    return text + "end\n";
}

std::string textOf(const std::filesystem::path& file) {
    return textOf(detail::readSettingsFile(file, detail::FileUse::factory).tree);
}

TEST(FactoryFileGenerator, DocumentAndCodeGiveTheSameFile) {
    const TempFolder folder;
    auto fromText = FactoryFileGenerator::fromText(R"({
        "groupName": "editor", "attributes": {"title": "Editor"},
        "settings": [{"name": "fontSize", "attributes": {"aliasName": "editor.font.size", "since": 3}}],
        "groups": [{"groupName": "font", "visible": false, "readonly": true, "settings": [
            {"name": "size", "value": {"qfdata": 12, "qftype": "int32"}, "readonly": false,
             "settingValueValidator": {"MustBeInteger": true, "isVector": false, "MinValue": 6, "MaxValue": 72}},
            {"name": "one", "value": [2.5]}]}],
        "upgraders": [{"VersionLabel": "R2024b", "VersionChanges": [
            {"Operation": "move", "Inputs": ["editor.fontSize"], "Outputs": ["editor.font.size"]},
            {"Operation": "remove", "Inputs": ["editor.margin"]}]}]
    })",
                                                   "editor.json");
    fromText.write(folder / "text.vksettings");

    varnek::json::Object title;
    title.set("title", "Editor");
    varnek::json::Object alias;
    alias.set("aliasName", "editor.font.size");
    alias.set("since", 3);
    FactoryGroup editor("editor", {}, title);
    editor.addSetting("fontSize", {}, alias);
    Properties hidden(false, true, {}, {}, {}, false, false, {});
    FactoryGroup font = editor.addGroup("font", hidden);
    Properties size = holding(Array::scalar(std::int32_t{12}), {points()});
    size.setReadOnlyState(ReadOnlyState::writable);
    font.addSetting("size", size);
    font.addSetting("one", holding(Array::scalar(2.5)), {}, true);
    FactoryFileGenerator fromCode(editor);
    fromCode.addUpgrader({u"R2024b",
                          {{FactoryChange::Operation::move, "editor.fontSize", "editor.font.size"},
                           {FactoryChange::Operation::remove, "editor.margin", ""}}});
    fromCode.write(folder / "code.vksettings");

    EXPECT_EQ(bytesOf(folder / "text.vksettings"), bytesOf(folder / "code.vksettings"));
    EXPECT_TRUE(fromText.getUpgraders() == fromCode.getUpgraders());

    // Members that are present say something, absent ones leave it to the parents.
    const auto group =
        settings::test::partJson(folder / "text.vksettings", "/settingstree/font/settings.json");
    EXPECT_EQ(group.at("readonly"), varnek::json::Value(true));
    EXPECT_EQ(group.at("visible"), varnek::json::Value(false));
    EXPECT_EQ(settings::test::settingIn(group, "size").at("readonly"), varnek::json::Value(false));
    EXPECT_FALSE(settings::test::settingIn(group, "one").contains("readonly"));
    EXPECT_EQ(settings::test::settingIn(group, "one").at("isVector"), varnek::json::Value(true));
    EXPECT_EQ(
        settings::test::partText(folder / "text.vksettings", "/upgraders.json"),
        R"([{"VersionChanges":[{"Inputs":["editor.fontSize"],"Operation":"move","Outputs":["editor.font.size"]},)"
        R"({"Inputs":["editor.margin"],"Operation":"remove","Outputs":[]}],)"
        R"("VersionLabel":{"qfdata":"R2024b","qftype":"char"}}])");
}

TEST(FactoryFileGenerator, EveryExampleSurvivesTheWayThroughItsFile) {
    const TempFolder folder;
    std::size_t count = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::path(EXAMPLES_FOLDER) / "definitions")) {
        const auto file = folder / (entry.path().stem().string() + ".vksettings");
        const auto generator = FactoryFileGenerator::fromDocument(entry.path());
        generator.write(file);
        const std::string before = bytesOf(file);
        struct stat first {
        }, second{};
        ASSERT_EQ(::stat(file.c_str(), &first), 0);
        FactoryFileGenerator::fromDocument(entry.path()).write(file);
        ASSERT_EQ(::stat(file.c_str(), &second), 0);
        EXPECT_EQ(first.st_ino, second.st_ino) << "an identical file is left alone: " << file;
        EXPECT_EQ(bytesOf(file), before);
        EXPECT_EQ(first.st_mode & 0777U, 0644U);
        const auto content = detail::readSettingsFile(file, detail::FileUse::factory);
        EXPECT_EQ(content.upgraders.size(), generator.getUpgraders().size());
        EXPECT_EQ(content.tree.name, generator.getGroup().getName());
        ++count;
    }
    EXPECT_GE(count, 4U);
}

TEST(FactoryFileGenerator, AWrongDocumentWritesNothing) {
    const TempFolder folder;
    const auto document = folder / "wrong.json";
    settings::test::writeBytes(document,
                               R"({"groupName": "g", "settings": [{"name": "s", "value": null}, {}]})");
    try {
        FactoryFileGenerator::fromDocument(document).write(folder / "g.vksettings");
        FAIL();
    } catch (const InvalidDefinition& error) {
        EXPECT_EQ(error.getFile(), document.string());
        EXPECT_EQ(error.getMessages().size(), 2U);
    }
    EXPECT_EQ(settings::test::namesIn(folder.path()), std::vector<std::string>{"wrong.json"});
    EXPECT_THROW(FactoryFileGenerator::fromDocument(folder / "missing.json"), varnek::files::FileError);
}

TEST(FactoryFileGenerator, WritesOnlyToAbsolutePaths) {
    const TempFolder folder;
    const FactoryFileGenerator generator{FactoryGroup("g")};
    try {
        generator.write("g.vksettings");
        FAIL();
    } catch (const exception::SettingsFileNotWritten& error) {
        EXPECT_STREQ(error.what(), "Failed to write settings file; Error: the path is relative");
    }
    EXPECT_FALSE(std::filesystem::exists("g.vksettings"));
    EXPECT_EQ(failureOf([&] { generator.write(folder / "no/such/folder.vksettings"); }),
              "SettingsFileNotWritten");

    settings::test::FileLogLines log;
    generator.write(folder / "g.vksettings");
    const std::string path = (folder / "g.vksettings").string();
    EXPECT_EQ(log.take("Write factory file").size(), 2U);
    EXPECT_TRUE(std::filesystem::exists(path));
}

TEST(FactoryFileGenerator, TakesSoundUpgradersOfTopLevelGroupsOnly) {
    FactoryGroup top("top");
    FactoryFileGenerator generator(top);
    using Operation = FactoryChange::Operation;
    for (const auto& upgrader :
         std::vector<varnek::settings::FactoryUpgrader>{{u"", {}},
                                                        {u"R1", {{Operation::move, "top.a", ""}}},
                                                        {u"R1", {{Operation::move, "", "top.b"}}},
                                                        {u"R1", {{Operation::remove, "top.a", "top.b"}}},
                                                        {u"R1", {{Operation::remove, "", ""}}}})
        EXPECT_THROW(generator.addUpgrader(upgrader), InvalidDefinition);
    EXPECT_TRUE(generator.getUpgraders().empty());
    EXPECT_THROW(FactoryFileGenerator(top.addGroup("below")), std::invalid_argument);
}

TEST(FactoryGroup, GivesBackWhatWasPutIn) {
    FactoryGroup top("top");
    FactoryGroup b = top.addGroup("b");
    FactoryGroup a = b.addGroup("a");
    varnek::json::Object attributes;
    attributes.set("title", "T");
    attributes.set("aliasName", "other.x");
    a.addSetting("s", holding(Array::text(u"x")), attributes);
    EXPECT_EQ(a.getFullName(), "top.b.a");
    EXPECT_EQ(top.getGroups().at(0).getGroups().at(0).getSettingNames(), std::vector<std::string>{"s"});
    EXPECT_TRUE(a.getProperties("s").getFactoryValue() == Array::text(u"x"));
    EXPECT_EQ(a.getProperties("s").getAliasName(), "other.x");
    EXPECT_EQ(varnek::json::write(a.getAttributes("s")), R"({"title":"T"})");
    EXPECT_EQ(top.getSettings()->getSettingsByFullName("b.a")->getName(), "a");
    EXPECT_EQ(failureOf([&] { a.getProperties("t"); }), "NoSuchKey");
    EXPECT_EQ(failureOf([&] { b.getAttributes("a"); }), "NotAKeyName");
}

TEST(FactoryGroup, RefusesWhatNoFactoryFileCanHold) {
    FactoryGroup group("group");
    group.addSetting("taken");
    varnek::json::Object reserved;
    reserved.set("isUserDefined", true);
    varnek::json::Object wrongTitle;
    wrongTitle.set("title", 5);
    varnek::json::Object alias;
    alias.set("aliasName", "a.b");
    NumericMetaData<AnyShape> empty;
    empty.setMinValue(2);
    empty.setMaxValue(1);
    const Properties callable(true, false, {}, CPPValidator([](auto&&...) {}, "p", "f"), {}, false, false,
                              {});
    const Array complex = Array::scalar(std::complex<double>(1, 1));
    const struct {
        const char* failure;
        std::function<void()> operation;
    } table[] = {
        {"InvalidSettingOrGroupName", [&] { group.addSetting(""); }},
        {"InvalidSettingOrGroupName", [&] { group.addGroup(""); }},
        {"InvalidSettingOrGroupName", [&] { group.addSetting("\xE9"); }},
        {"InvalidSettingOrGroupName", [&] { group.addGroup(std::string(5000, 'x')); }},
        {"InvalidSettingOrGroupName", [] { FactoryGroup top(std::string(255, 'x')); }},
        {"SameNameChildAlreadyExisted", [&] { group.addSetting("taken"); }},
        {"SameNameChildAlreadyExisted", [&] { group.addGroup("taken"); }},
        {"UnsupportedType", [&] { group.addSetting("x", holding(complex)); }},
        {"InvalidDefinition", [&] { group.addSetting("x", holding(Array::scalar(5.0), {points()})); }},
        {"InvalidDefinition", [&] { group.addSetting("x", holding({}, {empty})); }},
        {"InvalidDefinition", [&] { group.addSetting("x", {}, reserved); }},
        {"InvalidDefinition", [&] { group.addGroup("x", {}, wrongTitle); }},
        {"InvalidDefinition", [&] { group.addGroup("x", {}, alias); }},
        {"InvalidDefinition", [&] { group.addSetting("x", callable); }},
        {"InvalidDefinition", [&] { FactoryGroup top("x", callable); }},
    };
    for (const auto& row : table)
        EXPECT_EQ(failureOf(row.operation), row.failure);
    EXPECT_EQ(group.getSettingNames(), std::vector<std::string>{"taken"});
    EXPECT_TRUE(group.getGroups().empty());
}

// ---- random documents

template <class T>
Array randomArray(std::size_t rows, std::size_t columns) {
    if constexpr (std::is_same_v<T, std::u16string>)
        return Array::make<T>({rows, columns}, *rc::gen::container<std::vector<T>>(
                                                   rows * columns, rc::gen::arbitrary<std::u16string>()));
    else
        return Array::make<T>({rows, columns},
                              *rc::gen::container<std::vector<T>>(rows * columns, rc::gen::arbitrary<T>()));
}

Array randomValue() {
    const std::size_t rows = *rc::gen::inRange<std::size_t>(1, 4);
    const std::size_t columns = *rc::gen::inRange<std::size_t>(1, 4);
    switch (*rc::gen::inRange(0, 14)) {
    case 0:
        return {};
    case 1:
        return Array::text(*rc::gen::arbitrary<std::u16string>());
    case 2:
        return randomArray<std::u16string>(rows, columns);
    case 3:
        return randomArray<bool>(rows, columns);
    case 4:
        return randomArray<double>(rows, columns);
    case 5:
        return randomArray<float>(rows, columns);
    case 6:
        return randomArray<std::int8_t>(rows, columns);
    case 7:
        return randomArray<std::uint8_t>(rows, columns);
    case 8:
        return randomArray<std::int16_t>(rows, columns);
    case 9:
        return randomArray<std::uint16_t>(rows, columns);
    case 10:
        return randomArray<std::int32_t>(rows, columns);
    case 11:
        return randomArray<std::uint32_t>(rows, columns);
    case 12:
        return randomArray<std::int64_t>(rows, columns);
    default:
        return randomArray<std::uint64_t>(rows, columns);
    }
}

/// A name of whole characters that is new among `taken`.
std::string randomName(std::set<std::string>& taken) {
    std::string name;
    do {
        name.clear();
        for (int i = *rc::gen::inRange(1, 6); i > 0; --i)
            name += *rc::gen::element<std::string>("a", "Z", "7", "_", "-", "~", ".", "%", "/", " ", "\\",
                                                   "\"", "\u00e9", "\u65e5", "\U0001F600");
    } while (!taken.insert(name).second);
    return name;
}

void setFlags(varnek::json::Object& json, ReadOnlyState& readOnly, bool& visible) {
    visible = *rc::gen::arbitrary<bool>();
    readOnly = *rc::gen::element(ReadOnlyState::inherited, ReadOnlyState::writable, ReadOnlyState::readOnly);
    if (!visible || *rc::gen::arbitrary<bool>())
        json.set("visible", visible);
    if (readOnly != ReadOnlyState::inherited)
        json.set("readonly", readOnly == ReadOnlyState::readOnly);
}

/// A random group as a document, and what reading it has to give.
std::pair<varnek::json::Object, GroupRecord> randomGroup(const std::string& name, int depth) {
    GroupRecord record{name};
    varnek::json::Object json;
    json.set("groupName", name);
    setFlags(json, record.readOnly, record.visible);
    std::set<std::string> taken;
    varnek::json::Array settings, groups;
    for (int i = *rc::gen::inRange(0, 5); i > 0; --i) {
        SettingRecord setting{randomName(taken), {}};
        varnek::json::Object object;
        object.set("name", setting.name);
        setFlags(object, setting.readOnly, setting.visible);
        setting.value.first = randomValue();
        if (!setting.value.first.isVoid()) {
            setting.value.second = settingscore::boostany::isVectorShape(setting.value.first);
            if (!setting.value.second && *rc::gen::arbitrary<bool>())
                object.set("isVector", setting.value.second = true);
            object.set("value", varnek::json::toTyped(setting.value.first));
        }
        settings.push_back(std::move(object));
        record.settings.push_back(std::move(setting));
    }
    for (int i = depth > 0 ? *rc::gen::inRange(0, 3) : 0; i > 0; --i) {
        auto [object, child] = randomGroup(randomName(taken), depth - 1);
        groups.push_back(std::move(object));
        record.groups.push_back(std::move(child));
    }
    json.set("settings", std::move(settings));
    json.set("groups", std::move(groups));
    const auto byName = [](const auto& a, const auto& b) { return a.name < b.name; };
    std::sort(record.settings.begin(), record.settings.end(), byName);
    std::sort(record.groups.begin(), record.groups.end(), byName);
    return {std::move(json), std::move(record)};
}

RC_GTEST_PROP(FactoryFileGenerator, RandomDocumentsReadBackFromTheirFiles, ()) {
    const TempFolder folder;
    std::set<std::string> none;
    const auto [json, record] = randomGroup(randomName(none), 3);
    const auto file = folder / "g.vksettings";
    FactoryFileGenerator::fromText(varnek::json::write(json), "random").write(file);
    RC_ASSERT(textOf(file) == textOf(record));
}

} // namespace
