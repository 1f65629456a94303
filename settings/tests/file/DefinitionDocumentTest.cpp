#include "settingscore/factoryfile/DefinitionDocument.hpp"

#include "settingscore/factoryfile/InvalidDefinition.hpp"
#include "support/TempFolder.hpp"
#include "json/ArrayConversion.hpp"
#include "json/Parser.hpp"
#include "json/Writer.hpp"

#include <boost/variant/get.hpp>
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace settings::core;
using namespace settings::core::detail;
using settings::test::bytesOf;
using varnek::data::Array;
using varnek::settings::InvalidDefinition;

std::vector<std::string> faultsOf(std::string_view text) {
    try {
        readDefinitionDocument(text, "a.json");
        return {};
    } catch (const InvalidDefinition& error) {
        std::vector<std::string> lines;
        for (const auto& fault : error.getFaults())
            lines.push_back(fault.path + ": " + fault.rule);
        return lines;
    }
}

// The same table is held against docs/definition-document.schema.json by definition_schema_test.py.
TEST(DefinitionDocument, EveryFaultIsReportedWithItsPlace) {
    const auto table =
        varnek::json::parse(bytesOf(std::filesystem::path(GOLDEN_FOLDER) / "definition_documents.json"));
    for (const auto& row : table.asArray()) {
        std::vector<std::string> expected;
        for (const auto& line : row.asObject().at("faults").asArray())
            expected.emplace_back(line.asString());
        const std::string text = varnek::json::write(row.asObject().at("document"));
        EXPECT_EQ(faultsOf(text), expected) << text;
    }
    EXPECT_GT(table.asArray().size(), 50U);
}

TEST(DefinitionDocument, ATextThatIsNoJsonHasOneFaultWithLineAndColumn) {
    const struct {
        std::string text;
        const char* fault;
    } table[] = {
        {"", "$: the text ends too early (line 1, column 1)"},
        {"{\n  \"groupName\": \"g\u00e9\",,\n}", "$.groupName: syntax error (line 2, column 21)"},
        {"{\"groupName\": \"g\", \"groupName\": \"h\"}",
         "$.groupName: a key stands twice in one object (line 1, column 36)"},
        {"{\"groupName\": \"g\"} {}", "$: something follows the value (line 1, column 20)"},
        {"{\"groupName\": \"\xE9\"}", "$: the text is not UTF-8 (line 1, column 16)"},
        {"\xEF\xBB\xBF{\"groupName\": \"g\"}",
         "$: starts with a byte-order mark: save it as UTF-8 without one"},
    };
    for (const auto& row : table) {
        const auto faults = faultsOf(row.text);
        ASSERT_EQ(faults.size(), 1U) << row.text;
        EXPECT_EQ(faults[0], row.fault) << row.text;
    }
}

TEST(DefinitionDocument, IntegersBeyond64BitsAreRefusedWhereADoubleIsAnother) {
    const auto faults = [](const std::string& members) {
        return faultsOf("{\"groupName\": \"g\", \"settings\": [{\"name\": \"s\", " + members + "}]}");
    };
    const std::string rule =
        ": is not exact as a double: 99999999999999999999 would become 100000000000000000000";
    EXPECT_EQ(faults("\"value\": 99999999999999999999"),
              std::vector<std::string>{"$.settings[0].value" + rule});
    EXPECT_EQ(faults(R"("value": [[1, 2], [3, 99999999999999999999]])"),
              std::vector<std::string>{"$.settings[0].value[1][1]" + rule});
    EXPECT_EQ(faults(R"("settingValueValidator": {"MinValue": -1, "MaxValue": 99999999999999999999})"),
              std::vector<std::string>{"$.settings[0].settingValueValidator.MaxValue" + rule});
    EXPECT_EQ(faults(R"("attributes": {"a b": 99999999999999999999})"),
              std::vector<std::string>{"$.settings[0].attributes[\"a b\"]" + rule});
    for (const char* sound : {"\"value\": 100000000000000000000", "\"value\": 1e20", "\"value\": 0.1",
                              "\"value\": -36893488147419103232", "\"value\": \"99999999999999999999\"",
                              "\"value\": {\"qftype\": \"double\", \"qfdata\": 99999999999999999999}",
                              "\"attributes\": {\"99999999999999999999\": \"\\\\\\\"\"}"})
        EXPECT_EQ(faults(sound), std::vector<std::string>{}) << sound;
}

TEST(DefinitionDocument, NamesThatNoFileCanHaveAreRefused) {
    const std::string longName(4096, 'n');
    EXPECT_EQ(faultsOf("{\"groupName\": \"" + longName.substr(0, 300) + "\"}"),
              std::vector<std::string>{"$.groupName: is too long for the names of files"});
    EXPECT_EQ(faultsOf(R"({"groupName": "g", "groups": [{"groupName": ")" + longName + "\"}]}"),
              std::vector<std::string>{"$.groups[0].groupName: is too long for the names of files"});
    EXPECT_EQ(faultsOf(R"({"groupName": "g", "settings": [{"name": "\ud83d"}]})"),
              std::vector<std::string>{"$.settings[0].name: must be a text of whole characters"});
    EXPECT_TRUE(faultsOf("{\"groupName\": \"" + longName.substr(0, 200) + "\"}").empty());
}

TEST(DefinitionDocument, MessagesNameTheFile) {
    try {
        readDefinitionDocument(R"({"groupName": "g", "visible": 1, "settings": [{}]})", "editor.json");
        FAIL();
    } catch (const exception::SettingsException& error) {
        EXPECT_STREQ(error.what(), "editor.json: $.visible: must be true or false\n"
                                   "editor.json: $.settings[0].name: is missing");
        EXPECT_EQ(dynamic_cast<const InvalidDefinition&>(*error.clone()).getMessages().size(), 2U);
    }
}

const SettingRecord& settingNamed(const GroupRecord& group, const std::string& name) {
    for (const SettingRecord& setting : group.settings)
        if (setting.name == name)
            return setting;
    throw std::out_of_range(name);
}

TEST(DefinitionDocument, MembersBecomeDefinitions) {
    const auto content = readDefinitionDocument(R"({
        "groupName": "top", "readonly": false, "hasAdditionalFile": true,
        "attributes": {"title": "Top", "x": {"y": 1}},
        "settings": [
            {"name": "z", "value": [7], "readonly": true},
            {"name": "plain", "value": 3},
            {"name": "text", "value": "a\ud83d\ude00", "visible": false},
            {"name": "one", "value": {"qfdata": 5, "qftype": "uint64"}, "isVector": true},
            {"name": "single", "value": {"qfdata": [true], "qftype": "logical"}},
            {"name": "matrix", "value": {"qfdata": [[1, 2, 3], [4, 5, 6]], "qftype": "int16"}},
            {"name": "none", "attributes": {"aliasName": "other.x", "title": "T"}},
            {"name": "both", "language": "VARNEK", "packageName": "p", "validationFcn": "check",
             "runtimeDefaultFcn": "C:lib:make"},
            {"name": "alone", "language": "JAVA", "packageName": "q", "functionName": "f"}
        ],
        "groups": [{"groupName": "b"}, {"groupName": "a", "visible": false}],
        "upgraders": [{"VersionLabel": "R1", "VersionChanges": [
            {"Operation": "move", "Inputs": ["top.a"], "Outputs": ["top.b"]},
            {"Operation": "remove", "Inputs": ["top.c"], "Outputs": []}]}]
    })",
                                                "top.json");
    const GroupRecord& top = content.tree;
    EXPECT_EQ(top.readOnly, ReadOnlyState::writable);
    EXPECT_TRUE(top.visible);
    EXPECT_TRUE(top.definition->hasAdditionalFile);
    EXPECT_EQ(varnek::json::write(top.definition->attributes), R"({"title":"Top","x":{"y":1}})");
    ASSERT_EQ(top.groups.size(), 2U);
    EXPECT_EQ(top.groups[0].name, "a") << "sorted";
    EXPECT_FALSE(top.groups[0].visible);
    EXPECT_EQ(top.groups[1].readOnly, ReadOnlyState::inherited);
    EXPECT_EQ(top.groups[1].definition, nullptr);

    const struct {
        const char* name;
        Array value;
        bool isVector;
        ReadOnlyState readOnly;
        bool visible;
    } table[] = {
        {"z", Array::row<double>({7}), true, ReadOnlyState::readOnly, true},
        {"plain", Array::scalar(3.0), false, ReadOnlyState::inherited, true},
        {"text", Array::text(u"a\U0001F600"), false, ReadOnlyState::inherited, false},
        {"one", Array::scalar(std::uint64_t{5}), true, ReadOnlyState::inherited, true},
        {"single", Array::scalar(true), true, ReadOnlyState::inherited, true},
        {"matrix", Array::make<std::int16_t>({2, 3}, {1, 4, 2, 5, 3, 6}), true, ReadOnlyState::inherited,
         true},
        {"none", Array(), false, ReadOnlyState::inherited, true},
    };
    for (const auto& row : table) {
        const SettingRecord& setting = settingNamed(top, row.name);
        EXPECT_TRUE(setting.value.first == row.value) << row.name;
        EXPECT_EQ(setting.value.second, row.isVector) << row.name;
        EXPECT_EQ(setting.readOnly, row.readOnly) << row.name;
        EXPECT_EQ(setting.visible, row.visible) << row.name;
    }
    const NodeDefinition& none = *settingNamed(top, "none").definition;
    EXPECT_EQ(none.aliasName, "other.x");
    EXPECT_EQ(varnek::json::write(none.attributes), R"({"title":"T"})");
    const NodeDefinition& both = *settingNamed(top, "both").definition;
    EXPECT_TRUE(boost::get<MValidator>(both.validator) == MValidator("p", "check"));
    EXPECT_TRUE(boost::get<CRunTimeDefault>(both.factoryValueFcn).getPackageName() == "lib");
    EXPECT_TRUE(boost::get<JValidator>(settingNamed(top, "alone").definition->validator) ==
                JValidator("q", "f"));

    const std::vector<UpgraderRecord> upgraders = {
        {u"R1", {{"move", {"top.a"}, {"top.b"}}, {"remove", {"top.c"}, {}}}}};
    EXPECT_TRUE(content.upgraders == upgraders);
}

TEST(DefinitionDocument, TheDocumentInTheManualIsSound) {
    const std::string page =
        bytesOf(std::filesystem::path(EXAMPLES_FOLDER).parent_path() / "docs/definition-document.md");
    const std::string fence = "```json\n";
    const auto start = page.find(fence) + fence.size();
    const std::string document = page.substr(start, page.find("```", start) - start);
    EXPECT_EQ(readDefinitionDocument(document, "manual").tree.groups.at(0).settings.size(), 2U) << document;
}

// ---- the example application

struct Census {
    std::size_t settings = 0, readOnly = 0, hiddenGroups = 0, aliases = 0, depth = 0, functions = 0;
    std::set<varnek::data::TypeCode> scalars, vectors, matrices;
    std::set<int> validators; // which of the nine
    bool beyondAscii = false, surrogates = false, several = false;

    void count(const GroupRecord& group, std::size_t level = 1) {
        depth = std::max(depth, level);
        hiddenGroups += !group.visible;
        for (const SettingRecord& setting : group.settings)
            count(setting);
        for (const GroupRecord& child : group.groups)
            count(child, level + 1);
    }

    void count(const SettingRecord& setting) {
        ++settings;
        readOnly += setting.readOnly == ReadOnlyState::readOnly;
        const Array& value = setting.value.first;
        if (!value.isVoid())
            (setting.value.second ? value.isRowOrColumn() ? vectors : matrices : scalars)
                .insert(value.type());
        if (value.type() == varnek::data::TypeCode::character ||
            value.type() == varnek::data::TypeCode::string)
            for (const std::u16string& text : value.texts())
                for (const char16_t unit : text) {
                    beyondAscii = beyondAscii || unit > 0x7F;
                    surrogates = surrogates || (unit & 0xF800) == 0xD800;
                }
        if (setting.definition == nullptr)
            return;
        aliases += !setting.definition->aliasName.empty();
        functions +=
            setting.definition->validator.which() != 0 || setting.definition->factoryValueFcn.which() != 0;
        several = several || setting.definition->multiCheckValueValidators.size() > 1;
        for (const auto& validator : setting.definition->multiCheckValueValidators)
            validators.insert(validator.which());
    }
};

TEST(DefinitionDocument, TheExampleApplicationShowsEverything) {
    using varnek::data::TypeCode;
    Census census;
    std::set<std::string> topLevel;
    bool upgraders = false;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::path(EXAMPLES_FOLDER) / "definitions")) {
        const auto content = readDefinitionDocument(bytesOf(entry.path()), entry.path().string());
        EXPECT_EQ(entry.path().filename(), content.tree.name + ".json");
        topLevel.insert(content.tree.name);
        census.count(content.tree);
        upgraders = upgraders || !content.upgraders.empty();
        if (content.tree.name != "editor")
            continue;
        const SettingRecord& size = settingNamed(content.tree.groups.back(), "size");
        EXPECT_TRUE(size.value.first == Array::scalar(std::int32_t{12}));
    }
    EXPECT_GE(topLevel.size(), 4U);
    EXPECT_GE(census.depth, 3U);
    const std::set<TypeCode> numbers = {TypeCode::logical, TypeCode::float64, TypeCode::float32,
                                        TypeCode::int8,    TypeCode::uint8,   TypeCode::int16,
                                        TypeCode::uint16,  TypeCode::int32,   TypeCode::uint32,
                                        TypeCode::int64,   TypeCode::uint64};
    std::set<TypeCode> scalars = numbers, vectors = numbers;
    scalars.insert({TypeCode::character, TypeCode::string});
    vectors.insert({TypeCode::string, TypeCode::cell});
    EXPECT_EQ(census.scalars, scalars);
    EXPECT_EQ(census.vectors, vectors);
    EXPECT_TRUE(census.matrices.contains(TypeCode::float64));
    EXPECT_TRUE(census.matrices.contains(TypeCode::character));
    EXPECT_EQ(census.validators.size(), 9U);
    EXPECT_TRUE(census.several);
    EXPECT_TRUE(census.surrogates);
    EXPECT_GT(census.readOnly, 0U);
    EXPECT_GT(census.hiddenGroups, 0U);
    EXPECT_GT(census.aliases, 0U);
    EXPECT_GE(census.functions, 3U);
    EXPECT_TRUE(upgraders);
}

} // namespace
