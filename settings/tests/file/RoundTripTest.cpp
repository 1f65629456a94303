// Values and definitions come back from files as they were, and equal trees make equal bytes.

#include "support/FileTree.hpp"

#include "opc/model/Package.hpp"
#include "opc/qfservices/CorePropertiesManager.hpp"
#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/file/SettingsFileWriter.hpp"
#include "settingscore/settings/file/TreeLoader.hpp"
#include "settingscore/settings/node/FullNamePath.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using namespace settings::test;
using namespace settings::core::detail;
using settings::core::ReadOnlyState;
using std::numeric_limits;
using std::vector;

template <class T>
void addIntegers(std::map<std::string, boost::any>& values, const std::string& name) {
    values[name + "Lowest"] = numeric_limits<T>::min();
    values[name + "Highest"] = numeric_limits<T>::max();
    values[name + "s"] = vector<T>{numeric_limits<T>::min(), 0, numeric_limits<T>::max()};
    values[name + "One"] = vector<T>{1};
}

/// Every supported type with the values that are easily lost.
std::map<std::string, boost::any> valuesOfEveryType() {
    std::map<std::string, boost::any> values;
    addIntegers<signed char>(values, "int8");
    addIntegers<unsigned char>(values, "uint8");
    addIntegers<short>(values, "int16");
    addIntegers<unsigned short>(values, "uint16");
    addIntegers<int>(values, "int32");
    addIntegers<unsigned int>(values, "uint32");
    addIntegers<std::int64_t>(values, "int64");
    addIntegers<std::uint64_t>(values, "uint64");
    values["bool"] = true;
    values["bools"] = vector<bool>{true, false, true};
    values["float"] = 0.1F;
    values["floats"] =
        vector<float>{numeric_limits<float>::denorm_min(), numeric_limits<float>::max(), -0.0F};
    values["double"] = 0.1;
    values["doubleInf"] = -numeric_limits<double>::infinity();
    values["doubles"] = vector<double>{5e-324, 1.7976931348623157e308, -0.0, 1.0 / 3};
    values["noDoubles"] = vector<double>{};
    values["noTexts"] = vector<std::u16string>{};
    values["text"] = std::u16string(u"Grüße, \u4e16\u754c \U0001F600 \"\\\n");
    values["textEmpty"] = std::u16string();
    values["textHalfPair"] = std::u16string{u'a', char16_t(0xD800), u'\0', u'b'};
    values["texts"] = vector<std::u16string>{u"", u"zwei", u"\u00df"};
    return values;
}

TEST(RoundTrip, EverySupportedTypeThroughTheHandle) {
    const TempFolder folder;
    const auto values = valuesOfEveryType();
    {
        const FileTree tree(folder.path());
        const Handle all = tree.group("all");
        for (const auto& [name, value] : values)
            TestTree::setting(all, name);
        tree.load(all);
        for (const auto& [name, value] : values)
            all->setAny(name, value, "user");
        ASSERT_EQ(SaveOutcome::saved, tree.status("all").saved) << tree.status("all").saveMessage;
    }
    const FileTree tree(folder.path());
    const Handle all = tree.group("all");
    for (const auto& [name, value] : values)
        TestTree::setting(all, name);
    tree.load(all);
    for (const auto& [name, value] : values) {
        ASSERT_TRUE(all->isSet(name, "user")) << name;
        EXPECT_TRUE(settingscore::boostany::isEqual(value, all->getAny(name, "user"))) << name;
    }
    EXPECT_EQ(values.size(), partJson(tree.file("all"), topPart).at("settings").asArray().size());
}

TEST(RoundTrip, ShapesAndClassesBeyondTheTypedFront) {
    const vector<std::pair<std::string, Array>> arrays = {
        {"matrix", Array::make<double>({2, 3}, {1, 2, 3, 4, 5, NAN})},
        {"cube", Array::make<std::int64_t>({2, 1, 2}, {1, numeric_limits<std::int64_t>::min(), 3, 4})},
        {"column", Array::make<bool>({3, 1}, {true, false, true})},
        {"empty", Array::make<double>({0, 0}, {})},
        {"emptyRow", Array::make<float>({1, 0}, {})},
        {"rows", Array::make<char16_t>({2, 3}, {u'a', u'd', u'b', u'e', u'c', u'f'})},
        {"stringMatrix", Array::make<std::u16string>({2, 2}, {u"a", u"b", u"c", u""})},
        {"cell", Array::make<Array>({1, 2}, {Array::text(u"x"), Array::text(u"")})},
    };
    const TempFolder folder;
    for (const bool writes : {true, false}) {
        const FileTree tree(folder.path());
        const Handle all = tree.group("all");
        for (const auto& [name, array] : arrays)
            TestTree::setting(all, name);
        tree.load(all);
        for (const auto& [name, array] : arrays) {
            if (writes)
                all->set(name, array, "user");
            EXPECT_EQ(array, all->get(name, "user")) << name;
        }
    }
}

/// A group with everything a definition can say.
boost::shared_ptr<SettingsImpl> richDefinition() {
    using namespace settings::core;
    NodeSpec top;
    top.name = "editor";
    top.visible = false;
    top.definition = std::make_unique<NodeDefinition>();
    top.definition->attributes = {
        {"title", "Editor"}, {"order", 3}, {"nested", varnek::json::Object{{"a", true}}}};
    top.definition->hasAdditionalFile = true;
    top.definition->validator = MValidator("pkg.check", "checkEditor");
    auto group = SettingsImpl::makeGroup(std::move(top));

    NodeSpec size;
    size.name = "size";
    size.readOnly = ReadOnlyState::writable;
    size.definition = std::make_unique<NodeDefinition>();
    NumericMetaData<MustBeVector> numbers;
    numbers.mustBeInteger();
    numbers.setMinValue(0.1);
    numbers.setMaxNumberOfElements(4);
    StringMetaData<AnyShape> words;
    words.mustBeMember({u"auto", u"größer"});
    size.definition->multiCheckValueValidators = {numbers, words, MustBeLogical<MustBeScalar>()};
    size.definition->validator = CValidator::fromDefinition("libcheck", "check_size");
    size.definition->factoryValueFcn = JRunTimeDefault("org.other", "size");
    size.definition->attributes = {{"description", "a size"}};
    auto sizeNode = SettingsImpl::makeSetting(std::move(size));
    sizeNode->loadValue(LevelIndex::factory, {Array::scalar(3.0), true});

    NodeSpec alias;
    alias.name = "alias";
    alias.readOnly = ReadOnlyState::readOnly;
    alias.definition = std::make_unique<NodeDefinition>();
    alias.definition->aliasName = "editor.size";
    NodeSpec plain;
    plain.name = "plain.with dot/ä";
    plain.readOnly = ReadOnlyState::readOnly;
    auto child = SettingsImpl::makeGroup(std::move(plain));
    NodeSpec deep;
    deep.name = "deep";
    deep.definition = std::make_unique<NodeDefinition>();
    deep.definition->validator = CValidator::fromDefinition("lib:100%", "JAVA:looks:qualified");
    deep.definition->factoryValueFcn = MRunTimeDefault("a%3Ab:c", "C:x");
    child->adoptChildren({SettingsImpl::makeSetting(std::move(deep))});
    group->adoptChildren({sizeNode, SettingsImpl::makeSetting(std::move(alias)), child});
    return group;
}

const vector<UpgraderRecord> upgraders = {
    {u"R2024b", {{"move", {"editor.a"}, {"editor.b"}}, {"remove", {"editor.c"}, {}}}}, {u"R2025a", {}}};

TEST(RoundTrip, DefinitionsThroughAFactoryFile) {
    const TempFolder folder;
    SettingsFileWriter::writeFactoryFile(richDefinition(), folder / "first.vksettings", upgraders);
    SettingsFileContent content = readSettingsFile(folder / "first.vksettings", FileUse::factory);
    EXPECT_EQ(upgraders, content.upgraders);
    EXPECT_FALSE(content.version);
    const auto group = buildTree(std::move(content.tree), {});

    EXPECT_EQ("editor", group->getName());
    EXPECT_FALSE(group->isVisible());
    EXPECT_EQ(richDefinition()->attributes(), group->attributes());
    EXPECT_TRUE(group->definition().getHasAdditionalFile());
    EXPECT_TRUE(settings::core::ValidatorVariant(settings::core::MValidator("pkg.check", "checkEditor")) ==
                group->definition().getValidator());

    const auto size = group->getChild("size", false);
    const FactorySettingProperties expected = richDefinition()->getChild("size", false)->definition();
    EXPECT_TRUE(expected.getMultiCheckValueValidators() == size->definition().getMultiCheckValueValidators());
    EXPECT_TRUE(expected.getValidator() == size->definition().getValidator());
    EXPECT_TRUE(expected.getFactoryValueFcn() == size->definition().getFactoryValueFcn());
    EXPECT_EQ(ReadOnlyState::writable, size->readOnlyState());
    EXPECT_EQ((ShapedArray{Array::scalar(3.0), true}), size->valueOn(LevelIndex::factory));

    const auto alias = walkWithoutAliases(group, "alias");
    EXPECT_EQ("editor.size", alias->aliasName());
    EXPECT_TRUE(alias->attributes().empty());
    const auto child = group->getChild("plain.with dot/ä", false);
    ASSERT_TRUE(child);
    EXPECT_TRUE(child->isReadOnly());
    ASSERT_EQ(1U, child->getChildren().size());
    const FactorySettingProperties deep =
        richDefinition()->getChild("plain.with dot/ä", false)->getChildren()[0]->definition();
    EXPECT_TRUE(deep.getValidator() == child->getChildren()[0]->definition().getValidator());
    EXPECT_TRUE(deep.getFactoryValueFcn() == child->getChildren()[0]->definition().getFactoryValueFcn());

    // What was read makes the same bytes.
    SettingsFileWriter::writeFactoryFile(group, folder / "second.vksettings", upgraders);
    EXPECT_EQ(bytesOf(folder / "first.vksettings"), bytesOf(folder / "second.vksettings"));
}

TEST(RoundTrip, TheRevisionGrowsOnlyWithTheContent) {
    const TempFolder folder;
    const auto file = folder / "editor.vksettings";
    const auto properties = [&] {
        return opc::qfservices::CorePropertiesManager(opc::model::Package::open(file)).getCoreProperties();
    };
    const auto group = richDefinition();
    SettingsFileWriter::writeFactoryFile(group, file, upgraders);
    EXPECT_EQ(1U, properties().revision);
    EXPECT_EQ("Settings Data", properties().title);
    EXPECT_EQ("application/vnd.quillfern.varnek.settings", properties().contentType);
    EXPECT_EQ("R2025a", properties().version);

    const std::string bytes = bytesOf(file);
    const auto written = std::filesystem::last_write_time(file);
    SettingsFileWriter::writeFactoryFile(group, file, upgraders);
    EXPECT_EQ(bytes, bytesOf(file));
    EXPECT_EQ(written, std::filesystem::last_write_time(file));
    SettingsFileWriter::writeFactoryFile(group, file, {});
    EXPECT_EQ(2U, properties().revision);
}

TEST(RoundTrip, FilesOpenWithStockTools) {
    const TempFolder folder;
    const auto file = folder / "editor.vksettings";
    SettingsFileWriter::writeFactoryFile(richDefinition(), file, upgraders);
    EXPECT_EQ(0, std::system(("unzip -tqq '" + file.string() + "'").c_str()));
    const std::string script = R"(
import json, sys, zipfile, xml.dom.minidom as dom
with zipfile.ZipFile(sys.argv[1]) as package:
    names = package.namelist()
    for name in names:
        text = package.read(name).decode("utf-8")
        if name.endswith((".xml", ".rels")):
            dom.parseString(text)
        elif name == "schema.json":
            assert text == "com.quillfern.varnek/settings/jsonschema/1-1-0", text
        else:
            json.loads(text)
assert "settingstree/settings.json" in names, names
assert "settingstree/plain%2Ewith%20dot%2F%C3%A4/settings.json" in names, names
assert "upgraders.json" in names and "[Content_Types].xml" in names, names
)";
    writeBytes(folder / "check.py", script);
    EXPECT_EQ(
        0, std::system(("python3 '" + (folder / "check.py").string() + "' '" + file.string() + "'").c_str()));
}

} // namespace
