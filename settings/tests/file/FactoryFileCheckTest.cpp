// Faults of factory files.

#include "settingscore/factoryfile/FactoryFileCheck.hpp"

#include "support/BuiltFactoryFiles.hpp"

#include "settingscore/SettingsFileManager.hpp"
#include "settingscore/exception/Exceptions.hpp"

namespace {

using namespace settings::test;

using FactoryFileChecks = BuiltFactoryFiles;

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
        {R"({"name": "a.b"}, {"name": "s", "attributes": {"aliasName": "e.a.b"}})",
         "- name e.a.b: \"a.b\" is no name in the application's language: a letter, then letters, digits and "
         "\"_\"\n"
         "! alias e.s: stands for \"e.a.b\", where a name has a dot: no alias leads there\n"},
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
        {upgrader("R2025a", change("move", "\"e.a\"", "\"e.a\"")),
         "! upgrader upgrader R2025a, change 1: \"e.a\" is moved to itself\n"},
        {upgrader("R2025a", change("move", "\"e.a\"", "\"e.a.b\"")),
         "! upgrader upgrader R2025a, change 1: \"e.a\" comes to \"e.a.b\", which is not defined\n"},
        {upgrader("R2025a", change("move", "\"e.g\"", "\"e.g.s\"")), ""}, // a setting makes room for a group
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
        EXPECT_EQ(expected, check(R"({"name": "s"})", "[" + upgraders + "]",
                                  R"({"groupName": "g", "settings": [{"name": "s"}]})"))
            << upgraders;
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

} // namespace
