// Faults of factory files, and what one breaks for users of the one before it.

#include "settingscore/factoryfile/FactoryFileCheck.hpp"

#include "support/FileTree.hpp"
#include "support/TempFolder.hpp"

#include "settingscore/SettingsFileManager.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/factoryfile/FactoryFileGenerator.hpp"

#include <gtest/gtest.h>

namespace {

using settings::test::bytesOf;
using settings::test::failureOf;
using settings::test::putPart;
using settings::test::TempFolder;
using settings::test::topPart;
using settings::test::writeBytes;
using varnek::settings::compareFactoryFiles;
using varnek::settings::FactoryFileFinding;
using varnek::settings::FactoryFileGenerator;

std::string lines(const std::vector<FactoryFileFinding>& findings) {
    std::string text;
    for (const FactoryFileFinding& finding : findings)
        text += std::string(finding.isFailure ? "! " : "- ") + std::string(nameOf(finding.kind)) + " " +
                finding.name + ": " + finding.message + "\n";
    return text;
}

struct FactoryFileChecks : testing::Test {
    /// A definition document of "e"; `rest` are members beside the settings.
    std::filesystem::path built(const std::string& name, const std::string& settings,
                                const std::string& rest = "") const {
        const auto file = folder / name;
        std::filesystem::remove(file);
        FactoryFileGenerator::fromText("{\"groupName\": \"e\", \"settings\": [" + settings + "]" + rest + "}",
                                       name)
            .write(file);
        return file;
    }
    /// As no generator writes it.
    std::string check(const std::string& settings, const std::string& upgraders = "[]") const {
        const auto file = built("checked", "");
        putPart(file, topPart, "{\"groupName\": \"e\", \"settings\": [" + settings + "]}");
        putPart(file, "/upgraders.json", upgraders);
        return lines(varnek::settings::checkFactoryFile(file));
    }
    /// `old` and `now`: the members of the setting "s" but its name.
    std::string compare(const std::string& old, const std::string& now) const {
        return lines(compareFactoryFiles(built("old", "{\"name\": \"s\"" + old + "}"),
                                         built("new", "{\"name\": \"s\"" + now + "}")));
    }

    TempFolder folder;
};

TEST_F(FactoryFileChecks, ASoundFile) {
    EXPECT_EQ(
        "",
        check(R"({"name": "a", "value": 7, "settingValueValidator": {"MustBeNumeric": true, "MaxValue": 9}},
                           {"name": "old", "attributes": {"aliasName": "e.a"}})",
              R"([{"VersionLabel": {"qfdata": "R2024b", "qftype": "char"}, "VersionChanges": [
                            {"Operation": "move", "Inputs": ["e.old"], "Outputs": ["e.older"]}]},
                           {"VersionLabel": {"qfdata": "R2025a", "qftype": "char"}, "VersionChanges": [
                            {"Operation": "move", "Inputs": ["e.older"], "Outputs": ["e.a"]},
                            {"Operation": "remove", "Inputs": ["e.gone"]}]}])"));
}

TEST_F(FactoryFileChecks, FaultsOfSettings) {
    const std::pair<const char*, const char*> cases[] = {
        {R"({"name": "s", "value": 80, "settingValueValidator": {"MustBeNumeric": true, "MinValue": 6, "MaxValue": 72}})",
         "! value e.s: must be from 6 to 72, 80 is not\n"},
        {R"({"name": "s", "value": "x", "settingValueValidator": [{"MustBeNumeric": true}, {"MustBeLogical": true}]})",
         "! value e.s: must be a number; or must be logical\n"},
        {R"({"name": "s", "settingValueValidator": {"MustBeNumeric": true, "MinValue": 9, "MaxValue": 6}})",
         "! validator e.s: MinValue is greater than \"MaxValue\"\n"},
        {R"({"name": "s", "attributes": {"aliasName": "e.s"}})", "! alias e.s: stands for itself\n"},
        {R"({"name": "s", "attributes": {"aliasName": "e.none"}})",
         "! alias e.s: stands for \"e.none\", which is not defined\n"},
        {R"({"name": "s", "attributes": {"aliasName": "e"}})",
         "! alias e.s: stands for \"e\", which is a group\n"},
        {R"({"name": "s", "attributes": {"aliasName": "other.s"}})",
         "- alias e.s: stands for \"other.s\", which another factory file has to define\n"},
        {R"({"name": "a"}, {"name": "b", "attributes": {"aliasName": "e.a"}}, {"name": "c", "attributes": {"aliasName": "e.b"}})",
         "! alias e.c: stands for \"e.b\", which is an alias itself: only one step is followed\n"},
        {R"({"name": "two words"})", "- name e.two words: \"two words\" is no name in the application's "
                                     "language: a letter, then letters, "
                                     "digits and \"_\"\n"},
        {"{\"name\": \"\\udce9\"}", "! name e.\xE9: is not valid UTF-8\n"},
        {R"({"name": "s", "value": 1, "language": "C", "packageName": "p", "validationFcn": "f", "runtimeDefaultFcn": "g"})",
         "- function e.s: has a validation function, which was not called\n"
         "- function e.s: has a run-time default that is never asked for, since there is a value\n"},
        {R"({"name": "a", "value": "b", "settingValueValidator": {"MustBeNumeric": true}}, {"name": "c", "value": "d", "settingValueValidator": {"MustBeNumeric": true}})",
         "! value e.a: must be a number\n! value e.c: must be a number\n"},
    };
    for (const auto& [settings, expected] : cases)
        EXPECT_EQ(expected, check(settings)) << settings;
}

TEST_F(FactoryFileChecks, FaultsOfUpgraders) {
    const auto upgrader = [](const std::string& label, const std::string& changes) {
        return R"({"VersionLabel": {"qfdata": ")" + label + R"(", "qftype": "char"}, "VersionChanges": [)" +
               changes + "]}";
    };
    const auto change = [](const std::string& operation, const std::string& inputs,
                           const std::string& outputs) {
        return R"({"Operation": ")" + operation + R"(", "Inputs": [)" + inputs + R"(], "Outputs": [)" +
               outputs + "]}";
    };
    const std::pair<std::string, const char*> cases[] = {
        {upgrader("", change("remove", "\"e.a\"", "")),
         "! upgrader upgrader 1: its label is none of a release, such as \"R2025a\"\n"},
        {upgrader("2025", ""),
         "! upgrader upgrader 2025: its label is none of a release, such as \"R2025a\"\n"
         "- upgrader upgrader 2025: has no changes\n"},
        {upgrader("R2025a", change("remove", "\"e.a\"", "")) + "," +
             upgrader("R2024b", change("remove", "\"e.b\"", "")),
         "! upgrader upgrader R2024b: stands behind that of the later release R2025a\n"},
        {upgrader("R2025a", change("copy", "\"e.a\"", "")),
         "! upgrader upgrader R2025a, change 1: the operation is \"move\" or \"remove\", not \"copy\"\n"},
        {upgrader("R2025a", change("move", "\"e.a\"", "")),
         "! upgrader upgrader R2025a, change 1: a move has one input and one output\n"},
        {upgrader("R2025a", change("remove", "\"e.a\", \"e.b\"", "")),
         "! upgrader upgrader R2025a, change 1: a removal has one input only\n"},
        {upgrader("R2025a", change("remove", "\"other.a\"", "")),
         "! upgrader upgrader R2025a, change 1: \"other.a\" is not the full name of something below \"e\"\n"},
        {upgrader("R2025a", change("remove", "\"e..a\"", "")),
         "! upgrader upgrader R2025a, change 1: \"e..a\" is not the full name of something below \"e\"\n"},
        {upgrader("R2025a", change("move", "\"e.a\"", "\"e.none\"")),
         "! upgrader upgrader R2025a, change 1: \"e.a\" comes to \"e.none\", which is not defined\n"},
        {upgrader("R2025a", change("move", "\"e.a\"", "\"e.a.b\"")),
         "! upgrader upgrader R2025a, change 1: \"e.a\" is moved to itself or into itself\n"},
        {upgrader("R2025a", change("move", "\"e.a\"", "\"other.a\"")),
         "- upgrader upgrader R2025a, change 1: \"e.a\" comes to \"other.a\", which another factory file has "
         "to "
         "define\n"},
        {upgrader("R2025a", change("move", "\"e.a\"", "\"e.x\"") + "," + change("remove", "\"e.x\"", "")),
         ""},
        {upgrader("R2025a", change("remove", "\"e.s\"", "")),
         "- upgrader upgrader R2025a, change 1: \"e.s\" is still defined\n"},
    };
    for (const auto& [upgraders, expected] : cases)
        EXPECT_EQ(expected, check(R"({"name": "s"})", "[" + upgraders + "]")) << upgraders;
}

TEST_F(FactoryFileChecks, WhatIsNoFactoryFile) {
    using settings::core::SettingsFileManager;
    SettingsFileManager::create(folder / "values", "user", false, "e").save();
    writeBytes(folder / "text", "text");
    const auto good = built("good", "");
    const std::pair<const char*, const char*> cases[] = {{"missing", "FileDoesNotExist"},
                                                         {"text", "PackageCannotBeOpened"},
                                                         {"values", "ErrorReadingSettingsData"}};
    for (const auto& [name, failure] : cases) {
        const auto file = folder / name;
        EXPECT_EQ(failure, failureOf([&] { varnek::settings::checkFactoryFile(file); }));
        EXPECT_EQ(failure, failureOf([&] { compareFactoryFiles(good, file); }));
        EXPECT_EQ(failure, failureOf([&] { compareFactoryFiles(file, good); }));
    }
}

// ---- two releases ----

TEST_F(FactoryFileChecks, DefinitionsOfTwoReleases) {
    const auto rules = [](const std::string& members) { return ", \"settingValueValidator\": " + members; };
    const std::string number = R"({"MustBeNumeric": true, "isVector": false, "MinValue": 0, "MaxValue": 9})";
    const std::string choice = R"({"MustBeString": true, "ValidStringValues": ["a", "b"]})";
    struct Case {
        std::string before, now, expected;
    };
    const Case cases[] = {
        {"", "", ""},
        {", \"value\": 1", ", \"value\": 2", "- defaultValue e.s: the default was 1, it is 2 now\n"},
        {"", ", \"value\": 2", "- defaultValue e.s: the default was nothing, it is 2 now\n"},
        {", \"value\": 1", "", "! defaultValue e.s: the default was 1, there is none now\n"},
        {R"(, "language": "C", "packageName": "p", "runtimeDefaultFcn": "g")", "",
         "! defaultValue e.s: the default was computed, there is none now\n"
         "- function e.s: has another run-time default\n"},
        {", \"value\": 1", ", \"value\": \"x\"",
         "! type e.s: the default was of class double, it is of class char now\n"
         "- defaultValue e.s: the default was 1, it is \"x\" now\n"},
        {R"(, "value": {"qfdata": 1, "qftype": "int8"})", R"(, "value": {"qfdata": 1, "qftype": "int16"})",
         "- type e.s: the default was of class int8, it is of class int16 now, which holds all values of the "
         "other\n- defaultValue e.s: the default was 1, it is 1 now\n"},
        {R"(, "value": {"qfdata": 1, "qftype": "int64"})", ", \"value\": 1",
         "! type e.s: the default was of class int64, it is of class double now\n"
         "- defaultValue e.s: the default was 1, it is 1 now\n"},
        {R"(, "value": {"qfdata": 1, "qftype": "uint8"})", R"(, "value": {"qfdata": 1, "qftype": "int8"})",
         "! type e.s: the default was of class uint8, it is of class int8 now\n"
         "- defaultValue e.s: the default was 1, it is 1 now\n"},
        {", \"value\": 1", ", \"value\": [1]",
         "! shape e.s: the default was one value, it is a vector now\n"},
        {"", ", \"readonly\": true", "! readOnly e.s: could be changed and is read-only\n"},
        {", \"readonly\": true", "", "- readOnly e.s: was read-only and can be changed\n"},
        {"", ", \"visible\": false", "- visible e.s: was shown and is hidden\n"},
        {"", ", \"attributes\": {\"aliasName\": \"e.t\"}",
         "! alias e.s: stands for \"e.t\" now, and no upgrader moves its personal values there\n"},
        {"", R"(, "language": "C", "packageName": "p", "validationFcn": "f")",
         "- function e.s: has another validation function\n"},
        {"", rules(number), "! range e.s: accepted any value, accepts numeric scalar, from 0 to 9 now\n"},
        {rules(number), "", "- range e.s: accepted numeric scalar, from 0 to 9, accepts any value now\n"},
        {rules(number), rules("[" + number + ", " + choice + "]"),
         "- range e.s: accepted numeric scalar, from 0 to 9, accepts numeric scalar, from 0 to 9; or text of "
         "any "
         "shape, one of \"a\", \"b\" now\n"},
        {rules("[" + number + ", " + choice + "]"), rules(number),
         "! range e.s: accepted numeric scalar, from 0 to 9; or text of any shape, one of \"a\", \"b\", "
         "accepts "
         "numeric scalar, from 0 to 9 now\n"},
    };
    for (const Case& each : cases)
        EXPECT_EQ(each.expected, compare(each.before, each.now)) << each.before << " -> " << each.now;
}

/// Each of the validators accepts everything that the one before it accepts, and more.
TEST_F(FactoryFileChecks, RangesThatGrow) {
    const std::vector<std::vector<const char*>> chains = {
        {R"({"MustBeInteger": true, "isVector": false, "MinValue": 1, "MaxValue": 5})",
         R"({"MustBeInteger": true, "isVector": false, "MinValue": 0.5, "MaxValue": 6.5})",
         R"({"MustBeNumeric": true, "isVector": false, "MinValue": 0.5, "MaxValue": 6.5})",
         R"({"MustBeNumeric": true, "isVector": false, "MaxValue": 6.5})",
         R"({"MustBeNumeric": true, "isVector": false})", R"({"MustBeNumeric": true, "isVector": true})",
         R"({"MustBeNumeric": true})"},
        {R"({"MustBeNumeric": true, "isVector": true, "MinVectorSize": 2, "MaxVectorSize": 3})",
         R"({"MustBeNumeric": true, "isVector": true, "MinVectorSize": 2})",
         R"({"MustBeNumeric": true, "isVector": true})"},
        {R"({"MustBeString": true, "ValidStringValues": ["on"]})",
         R"({"MustBeString": true, "ValidStringValues": ["on", "off"]})",
         R"({"MustBeString": true, "MaxStringSize": 3})", R"({"MustBeString": true, "MaxStringSize": 4})",
         R"({"MustBeString": true})"},
        {R"({"MustBeLogical": true, "isVector": false})", R"({"MustBeLogical": true})"},
    };
    const auto isNarrower = [&](const char* from, const char* to) {
        const std::string member = ", \"settingValueValidator\": ";
        const std::string found = compare(member + from, member + to);
        EXPECT_NE("", found);
        return found.starts_with("!");
    };
    for (const auto& chain : chains)
        for (std::size_t i = 0; i < chain.size(); ++i)
            for (std::size_t j = i + 1; j < chain.size(); ++j) {
                EXPECT_FALSE(isNarrower(chain[i], chain[j])) << chain[i] << " -> " << chain[j];
                EXPECT_TRUE(isNarrower(chain[j], chain[i])) << chain[j] << " -> " << chain[i];
            }
    const auto kindOf = [](std::string_view rules) { // "MustBeInteger" is of the kind of numbers
        const std::string_view kind = rules.substr(8, 3);
        return kind == "Int" ? "Num" : kind;
    };
    for (const auto& one : chains) // kinds do not cover each other
        for (const auto& other : chains) {
            if (kindOf(one.front()) != kindOf(other.front())) {
                EXPECT_TRUE(isNarrower(one.front(), other.back())) << one.front() << " -> " << other.back();
            }
        }
}

std::string upgrader(const std::string& label, const std::string& changes) {
    return "{\"VersionLabel\": \"" + label + "\", \"VersionChanges\": [" + changes + "]}";
}

const std::string removeA = R"({"Operation": "remove", "Inputs": ["e.a"]})";
const std::string removeB = R"({"Operation": "remove", "Inputs": ["e.b"]})";
const std::string moveAToGB = R"({"Operation": "move", "Inputs": ["e.a"], "Outputs": ["e.g.b"]})";

TEST_F(FactoryFileChecks, WhatGoesAndComes) {
    const auto with = [](const std::string& upgraders) { return ", \"upgraders\": [" + upgraders + "]"; };
    const std::string group = R"(, "groups": [{"groupName": "g", "settings": [{"name": "b", "value": 1}]}])";
    const auto old = built("old", R"({"name": "a", "value": 1})", with(upgrader("R2024a", removeB)));
    struct Case {
        std::string settings, rest, expected;
    };
    const std::string last = upgrader("R2024a", removeB);
    const Case cases[] = {
        {"", with(last), "! removed e.a: is gone, and no upgrader moves or removes its personal values\n"},
        {"", with(last + "," + upgrader("R2025a", removeA)),
         "- removed e.a: is removed by an upgrader, with its personal values\n- upgrader upgrader R2025a: is "
         "new\n"},
        {"", group + with(last + "," + upgrader("R2025a", moveAToGB)),
         "- moved e.a: comes to \"e.g.b\"\n- upgrader upgrader R2025a: is new\n"},
        {"", with(last + "," + upgrader("R2025a", moveAToGB)),
         "- moved e.a: comes to \"e.g.b\"\n! removed e.a: comes to \"e.g.b\", which is not defined\n"
         "- upgrader upgrader R2025a: is new\n"},
        {"",
         R"(, "groups": [{"groupName": "g", "settings": [{"name": "b", "value": true}]}])" +
             with(last + "," + upgrader("R2025a", moveAToGB)),
         "- moved e.a: comes to \"e.g.b\"\n! type e.g.b: the default was of class double, it is of class "
         "logical "
         "now\n- defaultValue e.g.b: the default was 1, it is true now\n- upgrader upgrader R2025a: is "
         "new\n"},
        {R"({"name": "a", "value": 1}, {"name": "c"})", with(last), "- added e.c: is new\n"},
        {"", R"(, "groups": [{"groupName": "a", "settings": [{"name": "x"}]}])" + with(last),
         "! nodeKind e.a: was a setting and is a group\n- added e.a.x: is new\n"},
        // What was released is neither changed nor taken out, and nothing is added to it.
        {R"({"name": "a", "value": 1})", "",
         "! upgrader upgrader R2024a: is gone; released upgraders are never taken out\n"},
        {R"({"name": "a", "value": 1})", with(upgrader("R2023b", removeB)),
         "! upgrader upgrader R2024a: has upgrader R2023b in its place; released ones keep their places\n"},
        {R"({"name": "a", "value": 1})",
         with(upgrader("R2024a", R"({"Operation": "remove", "Inputs": ["e.z"]})")),
         "! upgrader upgrader R2024a, change 1: is another one now; released changes are never changed\n"},
        {R"({"name": "a", "value": 1})", with(upgrader("R2024a", "")),
         "! upgrader upgrader R2024a, change 1: is gone; released changes are never taken out\n"},
        {"", with(upgrader("R2024a", removeB + "," + removeA)),
         "! removed e.a: is gone, and no upgrader moves or removes its personal values\n"
         "! upgrader upgrader R2024a: was released with 1 change and has 2 now: personal files that have "
         "been "
         "through it never see the others; they belong into a new upgrader\n"},
    };
    for (const Case& each : cases)
        EXPECT_EQ(each.expected, lines(compareFactoryFiles(old, built("new", each.settings, each.rest))))
            << each.settings << each.rest;
    EXPECT_EQ("", lines(compareFactoryFiles(old, old)));

    FactoryFileGenerator::fromText("{\"groupName\": \"f\"}", "f").write(folder / "other");
    EXPECT_EQ("! group e: is called \"f\" now\n", lines(compareFactoryFiles(old, folder / "other")));
    const auto nested =
        built("nested", "", R"(, "groups": [{"groupName": "g", "settings": [{"name": "b"}]}])");
    EXPECT_EQ("! removed e.g.b: is gone, and no upgrader moves or removes its personal values\n"
              "! nodeKind e.g: was a group and is a setting\n",
              lines(compareFactoryFiles(nested, built("new", R"({"name": "g"})"))));
    EXPECT_EQ("- removed e.g: is gone; it was empty\n",
              lines(compareFactoryFiles(built("old", "", R"(, "groups": [{"groupName": "g"}])"),
                                        built("new", ""))));
}

} // namespace
