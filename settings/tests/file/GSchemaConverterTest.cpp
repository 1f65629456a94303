#include "settingscore/factoryfile/GSchemaConverter.hpp"

#include "settingscore/factoryfile/DefinitionDocument.hpp"
#include "settingscore/factoryfile/FactoryFileGenerator.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "support/TempFolder.hpp"
#include "support/TestTree.hpp"
#include "json/ArrayConversion.hpp"
#include "json/Parser.hpp"
#include "json/Writer.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

using settings::test::bytesOf;
using settings::test::failureOf;
using settings::test::TempFolder;
using varnek::data::Array;
using varnek::settings::ConvertedSchemas;
using varnek::settings::FactoryFileGenerator;
using varnek::settings::FactoryGroup;
using varnek::settings::GSchemaConverter;
using varnek::settings::InvalidDefinition;

ConvertedSchemas convert(const std::string& text) {
    GSchemaConverter converter;
    converter.addText(text, "test.gschema.xml");
    return converter.convert();
}

/// A list with one schema at /app/.
std::string withKeys(const std::string& keys) {
    return "<schemalist><enum id='app.Mode'><value nick='off' value='0'/><value nick='on' value='1'/></enum>"
           "<flags id='app.Flags'><value nick='bold' value='1'/><value nick='italic' value='2'/></flags>"
           "<enum id='app.Nothing'/><schema id='app' path='/app/'>" +
           keys + "</schema></schemalist>";
}
std::string withKey(const std::string& attributes, const std::string& content) {
    return withKeys("<key name='k' " + attributes + ">" + content + "</key>");
}

std::vector<std::string> linesOf(const ConvertedSchemas& result) {
    std::vector<std::string> lines;
    for (const auto& item : result.unmapped)
        lines.push_back(item.schema + (item.key.empty() ? "" : "." + item.key) + ": " + item.reason);
    return lines;
}

TEST(GSchemaConverter, MapsTypesRangesAndChoices) {
    const struct {
        const char* attributes;
        const char* content;
        const char* setting; // without its name
    } table[] = {
        {"type='b'", "<default>true</default>",
         R"("settingValueValidator":{"MustBeLogical":true,"isVector":false},"value":true)"},
        {"type='y'", "<default>0x10</default>",
         R"("settingValueValidator":{"MaxValue":255,"MinValue":0,"MustBeInteger":true,"MustBeNumeric":true,)"
         R"("isVector":false},"value":{"qfdata":16,"qftype":"uint8"})"},
        {"type='i'", "<default> 24 </default><range min='8'/>",
         R"("settingValueValidator":{"MaxValue":2147483647,"MinValue":8,"MustBeInteger":true,)"
         R"("MustBeNumeric":true,"isVector":false},"value":{"qfdata":24,"qftype":"int32"})"},
        {"type='t'", "<default>18446744073709551615</default><range max='18446744073709551615'/>",
         R"("settingValueValidator":{"MinValue":0,"MustBeInteger":true,"MustBeNumeric":true,"isVector":false},)"
         R"("value":{"qfdata":18446744073709551615,"qftype":"uint64"})"},
        {"type='x'", "<default>int64 -1</default>",
         R"("settingValueValidator":{"MustBeInteger":true,"MustBeNumeric":true,"isVector":false},)"
         R"("value":{"qfdata":-1,"qftype":"int64"})"},
        {"type='d'", "<default>1</default><range min='0.5' max='inf'/>",
         R"("settingValueValidator":{"MaxValue":{"qfdata":"Inf","qftype":"double"},"MinValue":0.5,)"
         R"("MustBeNumeric":true,"isVector":false},"value":1)"},
        {"type='s'", "<default>''</default><choices><choice value=''/><choice value='&#233;'/></choices>",
         "\"settingValueValidator\":{\"MustBeString\":true,\"ValidStringValues\":[\"\",\"\u00e9\"],"
         "\"isVector\":false},\"value\":\"\""},
        {"type='s'", "<default l10n='messages' context='c'>'a'</default>",
         R"("attributes":{"context":"c","l10n":"messages"},)"
         R"("settingValueValidator":{"MustBeString":true,"isVector":false},"value":"a")"},
        {"type='as'", "<default>@as []</default>",
         R"("isVector":true,"settingValueValidator":{"MustBeString":true,"isVector":true},)"
         R"("value":{"qfdata":[],"qftype":"string"})"},
        {"type='as'", "<default>['a']</default><choices><choice value='a'/></choices>",
         R"("isVector":true,"settingValueValidator":{"MustBeString":true,"ValidStringValues":["a"],)"
         R"("isVector":true},"value":["a"])"},
        {"type='ad'", "<default>[5]</default>",
         R"("isVector":true,"settingValueValidator":{"MustBeNumeric":true,"isVector":true},"value":5)"},
        {"type='ab'", "<default>[true, false]</default>",
         R"("isVector":true,"settingValueValidator":{"MustBeLogical":true,"isVector":true},"value":[true,false])"},
        {"enum='app.Mode'", "<default>'on'</default><aliases><alias value='yes' target='on'/></aliases>",
         R"("attributes":{"choiceAliases":{"yes":"on"},"enum":"app.Mode","enumValues":{"off":"0","on":"1"}},)"
         R"("settingValueValidator":{"MustBeString":true,"ValidStringValues":["off","on"],"isVector":false},)"
         R"("value":"on")"},
        {"flags='app.Flags'", "<default>['bold', 'italic']</default>",
         R"("attributes":{"enumValues":{"bold":"1","italic":"2"},"flags":"app.Flags"},"isVector":true,)"
         R"("settingValueValidator":{"MustBeString":true,"ValidStringValues":["bold","italic"],"isVector":true},)"
         R"("value":["bold","italic"])"},
        {"type='s'",
         "<default>'x'</default><summary> A\n  title </summary><description>One.\n \n  Two.</description>",
         R"("attributes":{"description":"One.\n\nTwo.","title":"A title"},)"
         R"("settingValueValidator":{"MustBeString":true,"isVector":false},"value":"x")"},
    };
    for (const auto& row : table) {
        const ConvertedSchemas result = convert(withKey(row.attributes, row.content));
        EXPECT_EQ(linesOf(result), std::vector<std::string>()) << row.content;
        ASSERT_EQ(result.documents.size(), 1U) << row.content;
        auto setting =
            varnek::json::parseObject(result.documents[0].text).at("settings").asArray()[0].asObject();
        EXPECT_TRUE(setting.erase("name"));
        EXPECT_EQ(varnek::json::write(setting), "{" + std::string(row.setting) + "}");
        EXPECT_NO_THROW(FactoryFileGenerator::fromText(result.documents[0].text, "t")) << row.content;
    }
}

TEST(GSchemaConverter, SaysWhyAKeyIsNotMapped) {
    const struct {
        const char* attributes;
        const char* content;
        const char* reason;
    } table[] = {
        {"type='a{sv}'", "<default>{}</default>", "a setting cannot hold a dictionary (type \"a{sv}\")"},
        {"type='(ii)'", "<default>(1, 2)</default>", "a setting cannot hold a tuple (type \"(ii)\")"},
        {"type='ms'", "<default>nothing</default>",
         "a setting cannot hold a value that may be absent (type \"ms\")"},
        {"type='av'", "<default>[]</default>", "a setting cannot hold a variant (type \"av\")"},
        {"type='aas'", "<default>[]</default>", "a setting cannot hold an array of arrays (type \"aas\")"},
        {"type='o'", "<default>'/'</default>",
         "a setting cannot hold an object path, signature or handle (type \"o\")"},
        {"type='z'", "<default>1</default>", "a setting cannot hold an unknown type (type \"z\")"},
        {"", "<default>1</default>",
         "it must have exactly one of the attributes \"type\", \"enum\" and \"flags\""},
        {"type='s' enum='app.Mode'", "<default>'on'</default>",
         "it must have exactly one of the attributes \"type\", \"enum\" and \"flags\""},
        {"enum='app.Missing'", "<default>'on'</default>",
         "the enumeration \"app.Missing\" is in none of the files"},
        {"enum='app.Nothing'", "<default>'on'</default>", "it allows no value at all"},
        {"type='i'", "", "it has no default"},
        {"type='i'", "<default>'a'</default>",
         "its default cannot be read: an integer is expected (at byte 0)"},
        {"type='i'", "<default>5</default><range min='a'/>",
         "its range cannot be read: an integer is expected (at byte 0)"},
        {"type='i'", "<default>5</default><range min='6' max='7'/>",
         "its default contradicts its type, range or choices: it must be from 6 to 7, 5 is not"},
        {"type='i'", "<default>5</default><range min='7' max='6'/>",
         "its validator.MinValue is greater than \"MaxValue\""},
        {"type='x'", "<default>0</default><range max='9007199254740993'/>",
         "a bound of its range is not exact as a double"},
        {"type='s'", "<default>'c'</default><choices><choice value='a'/></choices>",
         "its default contradicts its type, range or choices: it must be one of \"a\", \"c\" is not"},
        {"enum='app.Mode'", "<default>'On'</default>",
         "its default contradicts its type, range or choices: it must be one of \"off\", \"on\", \"On\" is "
         "not"},
        {"type='i'", "<default>1</default><choices><choice value='1'/></choices>",
         "it has choices, but is no text"},
        {"type='s'", "<default>''</default><range min='1'/>", "it has a range, but is no number"},
    };
    for (const auto& row : table) {
        const ConvertedSchemas result = convert(withKey(row.attributes, row.content));
        EXPECT_EQ(linesOf(result), std::vector<std::string>{"app.k: " + std::string(row.reason)});
        EXPECT_EQ(result.unmappedKeys(), 1U);
        EXPECT_EQ(result.mappedKeys, 0U);
        EXPECT_TRUE(result.documents.empty()) << row.reason;
    }
}

/// "group.key" of every setting in the documents, with its default.
std::map<std::string, std::string> settingsOf(const ConvertedSchemas& result) {
    std::map<std::string, std::string> settings;
    const auto collect = [&settings](const auto& self, const FactoryGroup& group) -> void {
        for (const std::string& name : group.getSettingNames()) {
            const Array value = group.getProperties(name).getFactoryValue();
            settings[group.getFullName() + "." + name] = varnek::json::write(*varnek::json::toPlain(value));
        }
        for (const FactoryGroup& child : group.getGroups())
            self(self, child);
    };
    for (const auto& document : result.documents)
        collect(collect, FactoryFileGenerator::fromText(document.text, document.groupName).getGroup());
    return settings;
}

const char* const key = "<key name='k' type='d'><default>1</default></key>";

TEST(GSchemaConverter, PathsChildrenAndInheritanceMakeTheTree) {
    const std::string k = key;
    const ConvertedSchemas result =
        convert("<schemalist gettext-domain='d'>"
                "<schema id='app' path='/org/app/'>" +
                k +
                "<child name='win' schema='app.window'/><child name='far' schema='app.far'/>"
                "<child name='lost' schema='app.lost'/></schema>"
                "<schema id='app.window'>" +
                k +
                "<child name='pane' schema='app.pane'/></schema>"
                "<schema id='app.pane'>" +
                k +
                "<child name='self' schema='app.pane'/></schema>"
                "<schema id='app.far' path='/far/away/' extends='app.base'><override name='b'>7</override>"
                "<override name='none'>7</override><key name='a' type='d'><default>2</default></key>"
                "<key name='b' type='d'><default>3</default></key></schema>"
                "<schema id='app.base'><key name='b' type='d'><default>4</default></key>"
                "<key name='c' type='d'><default>5</default></key></schema>"
                "<schema id='app.loop' path='/loop/' extends='app.loop'>" +
                k +
                "</schema>"
                "<schema id='app.orphan' path='/orphan/' extends='app.gone'>" +
                k +
                "</schema>"
                "<schema id='app.list' path='/list/' list-of='app.window'>" +
                k +
                "</schema>"
                "<schema id='app.clash' path='/org/'>" +
                k +
                "<key name='app' type='d'><default>1</default></key></schema>"
                "<schema id='app.same' path='/org/app/'>" +
                k +
                "</schema>"
                "<schema id='app.wrong' path='no/path'>" +
                k +
                "</schema>"
                "<schema id='app' path='/again/'>" +
                k +
                "</schema>"
                "<schema id='app.odd' path='/odd/'>" +
                k +
                "<note/></schema>"
                "</schemalist>");
    const std::map<std::string, std::string> expected = {
        {"org.app.k", "1"},  {"org.app.win.k", "1"}, {"org.app.win.pane.k", "1"},
        {"far.away.a", "2"}, {"far.away.b", "7"},    {"far.away.c", "5"},
        {"loop.k", "1"},     {"orphan.k", "1"},      {"list.k", "1"},
        {"org.k", "1"},      {"odd.k", "1"},
    };
    EXPECT_EQ(settingsOf(result), expected);
    EXPECT_EQ(result.mappedKeys, expected.size());
    const std::multiset<std::string> notes = {
        "app: its child \"far\" stands at a path of its own, \"/far/away/\"",
        "app: its child \"lost\" is of the schema \"app.lost\", which is in none of the files",
        "app.pane: it is a child of itself at \"/org/app/win/pane/self/\"",
        "app.far: it overrides \"none\", which it does not inherit",
        "app.far.b: its schema has a key of that name already",
        "app.loop: it extends itself, or too many others",
        "app.orphan: it extends \"app.gone\", which is in none of the files",
        "app.list: it is a list of \"app.window\", whose elements have no names of their own",
        "app.clash.app: a group of the same name stands in its place",
        "app.same.k: another schema has a key of that name at the same path",
        "app.wrong.k: the path \"no/path\" of its schema makes no groups",
        "app: the schema is defined twice; the first definition counts",
        "app.k: its schema is defined twice",
        "app.odd: the element \"note\" is unknown",
        "app.base.b: its schema has no path, and no schema with one has it as a child",
        "app.base.c: its schema has no path, and no schema with one has it as a child",
    };
    const auto lines = linesOf(result);
    EXPECT_EQ(std::multiset<std::string>(lines.begin(), lines.end()), notes);
}

TEST(GSchemaConverter, RelocatableSchemasDoNotMultiplyWithoutEnd) {
    // Each schema has the next one as a child twice: two to the power of twenty places.
    std::string text = "<schemalist>";
    for (int i = 0; i < 20; ++i) {
        const std::string next = std::to_string(i + 1);
        text.append("<schema id='s").append(std::to_string(i)).append(i == 0 ? "' path='/s/'>" : "'>");
        text.append(key).append("<child name='a' schema='s").append(next);
        text.append("'/><child name='b' schema='s").append(next).append("'/></schema>");
    }
    const ConvertedSchemas result = convert(text + "<schema id='s20'>" + key + "</schema></schemalist>");
    EXPECT_EQ(result.mappedKeys, 20'000U);
    EXPECT_LT(result.unmapped.size(), 50'000U);
}

TEST(GSchemaConverter, AFileThatIsNoSchemaListAddsNothing) {
    const struct {
        const char* text;
        const char* message;
    } table[] = {
        {"<schemalist>\n<schema id='a'>\n</schemalist>", "f.xml: line 3: Start-end tags mismatch"},
        {"<schemas/>", "f.xml: line 1: the root element is \"schemas\", not \"schemalist\""},
        {"<schemalist><key name='a'/></schemalist>",
         "f.xml: line 1: the element \"key\" has no place in a schema list"},
        {"<schemalist>\n<schema/></schemalist>",
         "f.xml: line 2: the element \"schema\" has no attribute \"id\""},
        {"<schemalist><schema id='a'>\n\n<key type='s'/></schema></schemalist>",
         "f.xml: line 3: the element \"key\" has no attribute \"name\""},
        {"<schemalist><enum id='e'><value value='1'/></enum></schemalist>",
         "f.xml: line 1: the element \"value\" has no attribute \"nick\""},
    };
    GSchemaConverter converter;
    for (const auto& row : table) {
        try {
            converter.addText(row.text, "f.xml");
            ADD_FAILURE() << row.text;
        } catch (const InvalidDefinition& error) {
            EXPECT_STREQ(error.what(), row.message);
        }
    }
    EXPECT_TRUE(converter.convert().unmapped.empty());
}

TEST(GSchemaConverter, EnumerationsOfTheFolderAreKnown) {
    const TempFolder folder;
    settings::test::writeBytes(folder / "app.enums.xml",
                               "<schemalist><enum id='E'><value nick='x' value='0'/></enum></schemalist>");
    settings::test::writeBytes(folder / "app.gschema.xml",
                               "<schemalist><schema id='app' path='/app/'><key name='k' enum='E'>"
                               "<default>'x'</default></key></schema></schemalist>");
    GSchemaConverter converter;
    converter.addFile(folder / "app.gschema.xml");
    converter.addFile(folder / "app.gschema.xml");
    converter.addFile(folder / "app.enums.xml");
    EXPECT_EQ(linesOf(converter.convert()), std::vector<std::string>());
    EXPECT_EQ(converter.convert().mappedKeys, 1U);

    settings::test::writeBytes(folder / "b.enums.xml", "<broken");
    settings::test::writeBytes(folder / "b.gschema.xml", "<schemalist/>");
    EXPECT_EQ(failureOf([&] { converter.addFile(folder / "b.gschema.xml"); }), "InvalidDefinition");
    EXPECT_EQ(failureOf([&] { converter.addFile(folder / "none.gschema.xml"); }), "FileError");
}

// ---- what is installed

const std::filesystem::path installed = "/usr/share/glib-2.0/schemas";

TEST(GSchemaConverter, EveryKeyOfTheInstalledSchemasIsMappedOrListed) {
    GSchemaConverter converter;
    std::size_t keys = 0;
    if (std::filesystem::is_directory(installed)) {
        for (const auto& entry : std::filesystem::directory_iterator(installed)) {
            if (!entry.path().string().ends_with(".gschema.xml"))
                continue;
            const std::string text = bytesOf(entry.path());
            for (auto at = text.find("<key "); at != std::string::npos; at = text.find("<key ", at + 1))
                ++keys;
            converter.addFile(entry.path());
        }
    }
    if (keys == 0)
        GTEST_SKIP() << "NOT TESTED: no schemas in " << installed << " (package gsettings-desktop-schemas)";
    const ConvertedSchemas result = converter.convert();
    EXPECT_EQ(result.mappedKeys + result.unmappedKeys(), keys);
    EXPECT_GT(result.mappedKeys, keys / 2);

    const TempFolder folder;
    std::map<std::string, FactoryGroup> groups;
    for (const auto& document : result.documents) {
        auto generator = FactoryFileGenerator::fromText(document.text, document.groupName);
        const auto file = folder / (document.groupName + ".vksettings");
        generator.write(file);
        EXPECT_EQ(settings::core::detail::readSettingsFile(file, settings::core::detail::FileUse::factory)
                      .tree.name,
                  document.groupName);
        groups.emplace(document.groupName, generator.getGroup());
    }
    ASSERT_TRUE(groups.contains("org"));
    const auto size =
        groups.at("org").getSettings()->getSettingsByFullName("gnome.desktop.interface.cursor-size");
    ASSERT_NE(size, nullptr);
    EXPECT_TRUE(size->getParent()->get("cursor-size").type() == varnek::data::TypeCode::int32);
}

} // namespace
