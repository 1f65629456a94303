// Files that are wrong: a clear refusal that names file and part, nothing kept from them, the file left as it
// is, everything else loaded.

#include "support/FileTree.hpp"

#include "opc/PackageError.hpp"
#include "opc/model/Package.hpp"
#include "opc/qfservices/FileSystemManager.hpp"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/file/SettingsFileWriter.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "json/Writer.hpp"

#include <gtest/gtest.h>

namespace {

using namespace settings::test;
using namespace settings::core::detail;
using settings::core::exception::ErrorReadingSettingsData;
using Code = ErrorReadingSettingsData::ErrorCode;

/// A tree with the groups "bad" (setting "s", child "font" with "size") and "good", each with a user value.
struct BadFiles : testing::Test {
    static void define(const FileTree& tree) {
        for (const char* name : {"bad", "good"}) {
            const Handle group = tree.group(name);
            TestTree::setting(group, "s", Array::scalar(0.0));
            TestTree::setting(TestTree::childGroup(group, "font"), "size", Array::scalar(0.0));
            tree.load(group);
        }
    }

    void SetUp() override {
        const FileTree tree(folder.path());
        define(tree);
        for (const char* name : {"bad", "good"}) {
            tree.root->getChild(name)->set("s", 1.0, "user");
            tree.root->getChild(name)->getChild("font")->set("size", 2.0, "user");
        }
        file = tree.file("bad");
    }

    /// Loads both groups. Nothing may have come from the bad file and all from the good one; the bad file
    /// must be as it was. Returns what is known of the bad file.
    LevelFileStatus load() {
        const std::string before = bytesOf(file);
        const FileTree tree(folder.path());
        define(tree);
        EXPECT_FALSE(tree.root->getChild("bad")->isSet("s", "user"));
        EXPECT_FALSE(tree.root->getChild("bad")->getChild("font")->isSet("size", "user"));
        EXPECT_EQ(1.0, tree.root->getChild("good")->get<double>("s", "user"));
        EXPECT_EQ(2.0, tree.root->getChild("good")->getChild("font")->get<double>("size", "user"));
        EXPECT_EQ(before, bytesOf(file));
        EXPECT_EQ(LoadOutcome::ok, tree.status("good").loaded);
        return tree.status("bad");
    }

    /// Reads the bytes as if they were the file.
    SettingsFileContent read(std::string_view bytes) const {
        auto package = opc::model::Package::openBytes(bytes, file);
        return readSettingsPackage(package, file, FileUse::level);
    }

    TempFolder folder;
    std::filesystem::path file;
};

/// The file without its last bytes, at every length: never half of it.
TEST_F(BadFiles, TruncatedAtEveryLength) {
    const std::string whole = bytesOf(file);
    FileLogLines log;
    for (std::size_t length = 0; length < whole.size(); ++length) {
        ASSERT_THROW(read(whole.substr(0, length)), opc::OpenError) << length;
    }
    writeBytes(file, whole.substr(0, whole.size() / 2));
    const LevelFileStatus status = load();
    EXPECT_EQ(LoadOutcome::damaged, status.loaded);
    EXPECT_NE(std::string::npos, status.loadMessage.find("Failed to open OPC Package \"" + file.string()));
    EXPECT_EQ(std::vector<std::string>{"Cannot read settings file: " + file.string() +
                                       " at level: userException caught: " + status.loadMessage},
              log.take("Cannot read settings file: "));
}

/// One flipped bit anywhere: a refusal, or exactly the values that were written.
TEST_F(BadFiles, BitFlips) {
    const std::string whole = bytesOf(file);
    const auto expected = varnek::json::write(partJson(file, topPart));
    std::size_t refused = 0;
    for (std::size_t bit = 0; bit < 8 * whole.size(); ++bit) {
        std::string flipped = whole;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
        try {
            const SettingsFileContent content = read(flipped);
            ASSERT_EQ(1U, content.tree.settings.size()) << bit;
            ASSERT_EQ(Array::scalar(1.0), content.tree.settings[0].value.first) << bit;
            ASSERT_EQ(Array::scalar(2.0), content.tree.groups.at(0).settings.at(0).value.first) << bit;
        } catch (const opc::OpenError&) {
            ++refused;
        } catch (const ErrorReadingSettingsData&) {
            ++refused;
        }
    }
    EXPECT_GT(refused, 7 * whole.size()); // what is left over: dates and the like, which say nothing
}

struct WrongPart {
    const char* name;
    const char* part;
    const char* text;
    Code code;
    const char* message; // a piece of it
};

const auto number = [](int code) { return static_cast<Code>(code); };
constexpr const char* fontPart = "/settingstree/font/settings.json";

const WrongPart wrongParts[] = {
    // no JSON: three failures that can be told apart, and the others
    {"start", topPart.c_str(), R"(["settings"])", number(-20), "object"},
    {"separator", topPart.c_str(), R"({"a":1 "b":2})", number(-21), ""},
    {"end", topPart.c_str(), R"({"a":1)", number(-22), ""},
    {"trailing", topPart.c_str(), R"({} {})", number(-23), ""},
    {"empty", topPart.c_str(), "", number(-22), ""},
    {"word", topPart.c_str(), R"({"visible":True})", Code::jsonSyntax, ""},
    {"twice", topPart.c_str(), R"({"visible":true,"visible":true})", Code::duplicateKey, "visible"},
    {"overflow", topPart.c_str(), R"({"x":1e999})", Code::numberRange, ""},
    {"encoding", topPart.c_str(), "{\"x\":\"\xff\"}", Code::encoding, ""},
    // JSON of the wrong form
    {"groupName", topPart.c_str(), R"({"groupName":1})", Code::type, "$.groupName: must be a string"},
    {"readonly", topPart.c_str(), R"({"readonly":"no"})", Code::type, "$.readonly: must be true or false"},
    {"visible", topPart.c_str(), R"({"visible":null})", Code::type, "$.visible"},
    {"attributes", topPart.c_str(), R"({"attributes":[]})", Code::type, "$.attributes: must be an object"},
    {"otherFolder", fontPart, R"({"groupName":"size"})", Code::name, "$.groupName: the folder is that of"},
    {"userDefined", topPart.c_str(), R"({"attributes":{"isUserDefined":1}})", Code::type,
     "$.attributes.isUserDefined"},
    {"settings", topPart.c_str(), R"({"settings":{}})", Code::type, "$.settings: must be an array"},
    {"setting", topPart.c_str(), R"({"settings":[1]})", Code::type, "$.settings[0]: must be an object"},
    {"settingName", topPart.c_str(), R"({"settings":[{}]})", Code::name, "$.settings[0].name"},
    {"settingNameEmpty", topPart.c_str(), R"({"settings":[{"name":""}]})", Code::name, "$.settings[0].name"},
    {"settingNameHalfPair", topPart.c_str(), R"({"settings":[{"name":"\ud800"}]})", Code::name, "name"},
    {"settingTwice", topPart.c_str(), R"({"settings":[{"name":"a"},{"name":"b"},{"name":"a"}]})",
     Code::structure, "\"a\" twice"},
    {"settingAndGroup", topPart.c_str(), R"({"settings":[{"name":"font"}]})", Code::structure, "\"font\""},
    {"otherGroup", topPart.c_str(), R"({"groupName":"good"})", Code::name, "\"good\""},
    {"hasValue", topPart.c_str(), R"({"settings":[{"name":"s","hasValue":1}]})", Code::type,
     "$.settings[0].hasValue"},
    {"noValue", topPart.c_str(), R"({"settings":[{"name":"s","hasValue":true}]})", Code::structure,
     "$.settings[0].value"},
    {"isVector", topPart.c_str(), R"({"settings":[{"name":"s","isVector":1,"value":1}]})", Code::type,
     "$.settings[0].isVector"},
    {"childSyntax", fontPart, "{", number(-22), fontPart},
    {"childOfSetting", "/settingstree/lost/deep/settings.json", "{}", Code::structure,
     "/settingstree/lost/deep/settings.json"},
    {"version", "/version.json", R"({"UpgraderIndex":-1})", Code::numberRange, "$.UpgraderIndex"},
    {"versionFraction", "/version.json", R"({"ChangeIndex":0.5})", Code::numberRange, "$.ChangeIndex"},
    {"versionChange", "/version.json", R"({"SettingsFileChange":{"Inputs":[1]}})", Code::type,
     "$.SettingsFileChange.Inputs[0]"},
    {"versionArray", "/version.json", "[]", number(-20), "/version.json"},
};

TEST_F(BadFiles, WrongParts) {
    const std::string good = bytesOf(file);
    for (const WrongPart& wrong : wrongParts) {
        SCOPED_TRACE(wrong.name);
        writeBytes(file, good);
        putPart(file, wrong.part, wrong.text);
        try {
            readSettingsFile(file, FileUse::level);
            EXPECT_STREQ("otherGroup", wrong.name); // wrong only in the place of that group
        } catch (const ErrorReadingSettingsData& failure) {
            EXPECT_EQ(wrong.code, failure.getErrorCode()) << failure.what();
            const std::string text = failure.what();
            for (const std::string& piece :
                 {file.string(), std::string(wrong.part), std::string(wrong.message)})
                EXPECT_NE(std::string::npos, text.find(piece)) << text << " lacks " << piece;
        }
        const LevelFileStatus status = load();
        EXPECT_EQ(LoadOutcome::damaged, status.loaded);
        EXPECT_NE(std::string::npos, status.loadMessage.find(wrong.message)) << status.loadMessage;
    }
}

struct WrongValue {
    const char* value;
    int code;
};

/// In the place of "value"; what the conversion itself refuses is its own tests' matter.
const WrongValue wrongValues[] = {
    {R"({"qfdata":1})", -11},
    {R"({"qftype":"double"})", -11},
    {R"({"qfdata":1,"qftype":"double","more":1})", -11},
    {R"({"qfdata":1,"qftype":"quaternion"})", -13},
    {R"({"qfdata":1,"qftype":1})", -11},
    {R"({"qfdata":128,"qftype":"int8"})", -9},
    {R"({"qfdata":-1,"qftype":"uint64"})", -9},
    {R"({"qfdata":18446744073709551616,"qftype":"uint64"})", -9},
    {R"({"qfdata":9223372036854775808,"qftype":"int64"})", -9},
    {R"({"qfdata":1.5,"qftype":"int32"})", -9},
    {R"({"qfdata":1e2,"qftype":"int32"})", -9},
    {R"({"qfdata":"a","qftype":"int32"})", -14},
    {R"({"qfdata":[1,true],"qftype":"double"})", -14},
    {R"({"qfdata":[[1,2],[3]],"qftype":"double"})", -15},
    {R"({"qfdata":{"imag":1,"real":2},"qftype":"double"})", -11}, // no setting holds complex numbers
    {R"({"qfdata":[],"qftype":"empty"})", -11},
    {R"([1,"a"])", -14},
    {R"(null)", -14},
};

TEST_F(BadFiles, WrongValues) {
    const std::string good = bytesOf(file);
    for (const WrongValue& wrong : wrongValues) {
        SCOPED_TRACE(wrong.value);
        writeBytes(file, good);
        putPart(file, fontPart,
                std::string(R"({"settings":[{"name":"a","value":1},{"name":"size","value":)") + wrong.value +
                    "}]}");
        try {
            readSettingsFile(file, FileUse::level);
            ADD_FAILURE() << "is accepted";
        } catch (const ErrorReadingSettingsData& failure) {
            EXPECT_EQ(wrong.code, static_cast<int>(failure.getErrorCode())) << failure.what();
            EXPECT_NE(std::string::npos, std::string(failure.what()).find("$.settings[1].value"))
                << failure.what();
        }
        EXPECT_EQ(LoadOutcome::damaged, load().loaded);
    }
}

TEST_F(BadFiles, AMissingTopGroup) {
    deletePart(file, topPart);
    const LevelFileStatus status = load();
    EXPECT_EQ(LoadOutcome::damaged, status.loaded);
    EXPECT_NE(std::string::npos,
              status.loadMessage.find("part \"/settingstree/settings.json\": the part is missing"));
}

TEST_F(BadFiles, TheSchemaPartIsNeverChecked) {
    putPart(file, "/schema.json", "something else");
    EXPECT_EQ(1U, readSettingsFile(file, FileUse::level).tree.settings.size());
    EXPECT_TRUE(readSettingsFile(file, FileUse::level).foreignParts.empty());
    deletePart(file, "/schema.json");
    EXPECT_EQ(1U, readSettingsFile(file, FileUse::level).tree.settings.size());
}

/// Wrong upgraders damage a factory file, and say nothing in any other.
TEST_F(BadFiles, UpgradersCountInFactoryFilesOnly) {
    for (const char* text :
         {"{}", R"([1])", R"([{"VersionLabel":{"qfdata":1,"qftype":"double"}}])", R"([{}])"}) {
        putPart(file, "/upgraders.json", text);
        EXPECT_THROW(readSettingsFile(file, FileUse::factory), ErrorReadingSettingsData) << text;
        EXPECT_TRUE(readSettingsFile(file, FileUse::level).upgraders.empty());
    }
}

TEST_F(BadFiles, FunctionsCountInFactoryFilesOnly) {
    FileLogLines log;
    putPart(file, topPart,
            R"({"groupName":"bad","language":"C","packageName":"evil","functionName":"f","settings":[)"
            R"({"name":"s","value":1,"language":"C","packageName":"evil","functionName":"run"},)"
            R"({"name":"t","value":1,"isUserDefined":true,"language":"C","packageName":"evil",)"
            R"("validationFcn":"run","runtimeDefaultFcn":"run"}]})");
    const FileTree tree(folder.path());
    define(tree);
    const Handle group = tree.root->getChild("bad");
    EXPECT_EQ(1.0, group->get<double>("s", "user"));
    for (const NodePtr& node : SettingsAccess::node(*group)->getChildren()) {
        EXPECT_EQ(0, node->definition().getValidator().which()) << node->getName();
        EXPECT_EQ(0, node->definition().getFactoryValueFcn().which()) << node->getName();
    }
    EXPECT_EQ(1U, log.take("functions are ignored").size()); // once per file

    putPart(file, topPart, R"({"groupName":"bad","language":"C","settings":[]})");
    readSettingsFile(file, FileUse::imported);
    EXPECT_EQ(0U, log.take("functions are ignored").size()); // a group's language alone is our own writer's
}

/// What the reader would refuse is refused before the file is touched.
TEST_F(BadFiles, NothingIsWrittenThatCouldNotBeRead) {
    const FileTree tree(folder.path());
    define(tree);
    const Handle group = tree.root->getChild("bad");
    const Handle added = group->addSetting("mine", Array::scalar(1.0), true, false, "user");
    std::string before = bytesOf(file);
    const auto expectRefused = [&](const char* why) {
        EXPECT_EQ(SaveOutcome::failed, tree.status("bad").saved) << why;
        EXPECT_NE("", tree.status("bad").saveMessage);
        EXPECT_TRUE(tree.status("bad").isMarked);
        EXPECT_EQ(before, bytesOf(file));
    };
    varnek::json::Value nested = 1;
    for (int depth = 0; depth < 70; ++depth)
        nested = varnek::json::Array{std::move(nested)};
    SettingsAccess::node(*added)->setAttributes({{"deep", std::move(nested)}});
    group->set("s", 4.0, "user");
    expectRefused("too deep");
    SettingsAccess::node(*added)->setAttributes({});
    const std::u16string half(std::size_t{40} << 20, u'x'); // one alone fits
    group->set("mine", half, "user");
    before = bytesOf(file);
    group->set("s", half, "user");
    expectRefused("too large");
    group->set("s", 5.0, "user");
    EXPECT_EQ(SaveOutcome::saved, tree.status("bad").saved);
    EXPECT_FALSE(tree.status("bad").isMarked);
}

/// Names that are no names, and files that are no groups', stay what they are.
TEST_F(BadFiles, OnlyRegularFilesOfGroupsAreLookedAt) {
    const auto user = folder / "user";
    writeBytes(user / "notes.txt", "x");
    writeBytes(user / "old.settings", "x");
    writeBytes(user / "a.b.vksettings", "x"); // would be "a%2Eb.vksettings"
    std::filesystem::create_directory(user / "dir.vksettings");
    const FileTree tree(folder.path());
    define(tree);
    EXPECT_TRUE(tree.keeper->loadAddedGroups(tree.rootNode, LevelIndex::user).empty());
    EXPECT_EQ(4U, tree.keeper->allStatuses().size()); // two groups on two levels
    writeBytes(user / "broken.vksettings", "x");
    EXPECT_TRUE(tree.keeper->loadAddedGroups(tree.rootNode, LevelIndex::user).empty());
    EXPECT_EQ(LoadOutcome::damaged, tree.status("broken").loaded);
    EXPECT_EQ("x", bytesOf(user / "broken.vksettings"));
}

} // namespace
