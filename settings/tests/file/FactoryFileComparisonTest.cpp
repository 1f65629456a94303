// What a factory file breaks for users of the one before it.

#include "settingscore/factoryfile/FactoryFileCheck.hpp"

#include "support/BuiltFactoryFiles.hpp"

namespace {

using namespace settings::test;
using FactoryFileComparisons = BuiltFactoryFiles;

TEST_F(FactoryFileComparisons, DefinitionsOfTwoReleases) {
    const auto rules = [](const std::string& members) { return ", \"settingValueValidator\": " + members; };
    const std::string number = R"({"MustBeNumeric": true, "isVector": false, "MinValue": 0, "MaxValue": 9})";
    const std::string choice = R"({"MustBeString": true, "ValidStringValues": ["a", "b"]})";
    const auto text = [](const std::string& type) {
        return R"(, "value": {"qfdata": "x", "qftype": ")" + type + "\"}";
    };
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
        {text("char"), text("string"),
         "- type e.s: the default was of class char, it is of class string now, which holds all values of "
         "the "
         "other\n- defaultValue e.s: the default was \"x\", it is \"x\" now\n"},
        {text("string"), text("char"),
         "! type e.s: the default was of class string, it is of class char now\n"
         "- defaultValue e.s: the default was \"x\", it is \"x\" now\n"},
        {", \"value\": true", ", \"value\": 1",
         "- type e.s: the default was of class logical, it is of class double now, which holds all values of "
         "the other\n- defaultValue e.s: the default was true, it is 1 now\n"},
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
TEST_F(FactoryFileComparisons, RangesThatGrow) {
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

TEST_F(FactoryFileComparisons, WhatGoesAndComes) {
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

std::string move(const std::string& from, const std::string& to) {
    return R"({"Operation": "move", "Inputs": [")" + from + R"("], "Outputs": [")" + to + "\"]}";
}
std::string remove(const std::string& path) {
    return R"({"Operation": "remove", "Inputs": [")" + path + "\"]}";
}
std::string setting(const std::string& name, const std::string& value = "1") {
    return R"({"name": ")" + name + R"(", "value": )" + value + "}";
}
std::string aliasTo(const std::string& name, const std::string& target) {
    return R"({"name": ")" + name + R"(", "attributes": {"aliasName": ")" + target + "\"}}";
}
std::string group(const std::string& name, const std::string& settings, const std::string& rest = "") {
    return R"({"groupName": ")" + name + R"(", "settings": [)" + settings + "]" + rest + "}";
}

struct Releases {
    std::string oldSettings, oldGroups, changes, settings, groups, expected;
};

struct Comparing : BuiltFactoryFiles {
    /// What the new release breaks or changes, without the line that its upgrader is new.
    std::string found(const Releases& each) const {
        const auto rest = [](const std::string& groups, const std::string& changes) {
            return ", \"groups\": [" + groups + "]" +
                   (changes.empty() ? "" : ", \"upgraders\": [" + upgrader("R2025a", changes) + "]");
        };
        std::string text =
            lines(compareFactoryFiles(built("old", each.oldSettings, rest(each.oldGroups, "")),
                                      built("new", each.settings, rest(each.groups, each.changes))));
        const std::string last = "- upgrader upgrader R2025a: is new\n";
        if (text.ends_with(last))
            text.resize(text.size() - last.size());
        return text;
    }
};

TEST_F(Comparing, MovesThatCollide) {
    const std::string ab = setting("a") + "," + setting("b"), abc = ab + "," + setting("c");
    const auto collision = [](const char* moved, const char* to, const char* others) {
        return std::string("! moved ") + moved + ": cannot come to \"" + to + "\" for users who have set " +
               others + ": their values of it stay behind, unseen\n";
    };
    const std::string aToC = "- moved e.a: comes to \"e.c\"\n", bToC = "- moved e.b: comes to \"e.c\"\n";
    const Releases cases[] = {
        {ab, "", move("e.a", "e.c") + "," + move("e.b", "e.c"), setting("c"), "",
         aToC + bToC + collision("e.b", "e.c", "\"e.a\"")},
        {abc, "", move("e.a", "e.c"), setting("b") + "," + setting("c"), "",
         aToC + collision("e.a", "e.c", "\"e.c\"")},
        // The place has been left before, or what is there is no value.
        {abc, "", remove("e.c") + "," + move("e.a", "e.c"), setting("b") + "," + setting("c"), "",
         aToC + "- removed e.c: is removed by an upgrader, with its personal values\n"
                "- added e.c: is defined anew, without the personal values it had\n"},
        {ab, "", move("e.a", "e.t") + "," + move("e.b", "e.a") + "," + move("e.t", "e.b"), ab, "",
         "- moved e.a: comes to \"e.b\"\n"
         "- added e.a: is defined anew, without the personal values it had\n"
         "- moved e.b: comes to \"e.a\"\n"
         "- added e.b: is defined anew, without the personal values it had\n"},
        {setting("a") + "," + aliasTo("b", "e.a"), "", move("e.a", "e.b"),
         setting("b") + "," + aliasTo("a", "e.b"), "",
         "- moved e.a: comes to \"e.b\"\n"
         "- alias e.b: stood for \"e.a\" and is a setting of its own now\n"},
        // Groups: what is in the way of one may be called otherwise.
        {"", group("g", setting("x")) + "," + group("h", setting("y") + "," + setting("z")),
         move("e.g", "e.h"), "", group("h", setting("x") + "," + setting("y") + "," + setting("z")),
         "- moved e.g.x: comes to \"e.h.x\"\n" + collision("e.g", "e.h", "\"e.h.y\" or one other")},
        {setting("a"), group("g", setting("x")), move("e.g", "e.a.g"), setting("a"), "",
         "- moved e.g.x: comes to \"e.a.g.x\"\n"
         "! removed e.g.x: comes to \"e.a.g.x\", which is not defined\n" +
             collision("e.g", "e.a.g", "\"e.a\"")},
        {setting("a"), "", move("e.a", "e.a.s"), "", group("a", setting("s")),
         "- moved e.a: comes to \"e.a.s\"\n"},
    };
    for (const Releases& each : cases)
        EXPECT_EQ(each.expected, found(each)) << each.changes;
}

TEST_F(Comparing, NamesThatMeanSomethingElse) {
    const std::string text = "\"x\"";
    const auto otherClass = [](const char* name) {
        return std::string("! type ") + name +
               ": the default was of class double, it is of class char now\n- defaultValue " + name +
               ": the default was 1, it is \"x\" now\n";
    };
    const Releases cases[] = {
        // Without their personal values.
        {setting("a"), "", remove("e.a"), setting("a", text), "",
         "- removed e.a: is removed by an upgrader, with its personal values\n"
         "- added e.a: is defined anew, without the personal values it had\n" +
             otherClass("e.a")},
        {setting("a"), "", move("e.a", "e.b"), setting("a", text) + "," + setting("b"), "",
         "- moved e.a: comes to \"e.b\"\n- added e.a: is defined anew, without the personal values it had\n" +
             otherClass("e.a")},
        {setting("a"), "", move("e.a", "e.b"), aliasTo("a", "e.b") + "," + setting("b"), "",
         "- moved e.a: comes to \"e.b\"\n"},
        {setting("a"), "", move("e.a", "e.b"),
         aliasTo("a", "e.c") + "," + setting("b") + "," + setting("c", text), "",
         "- moved e.a: comes to \"e.b\"\n- added e.a: is defined anew, without the personal values it had\n" +
             otherClass("e.a") + "- added e.c: is new\n"},
        // Aliases.
        {setting("a") + "," + setting("b", text) + "," + aliasTo("l", "e.a"), "", "",
         setting("a") + "," + setting("b", text) + "," + aliasTo("l", "e.b"), "",
         "- alias e.l: stands for \"e.b\", no longer for \"e.a\"\n" + otherClass("e.l")},
        {setting("a") + "," + aliasTo("l", "e.a"), "", "", setting("a") + "," + setting("l", text), "",
         "- alias e.l: stood for \"e.a\" and is a setting of its own now\n" + otherClass("e.l")},
        {setting("a") + "," + setting("b", text), "", "", aliasTo("a", "e.b") + "," + setting("b", text), "",
         "! alias e.a: stands for \"e.b\" now, and no upgrader moves its personal values there\n" +
             otherClass("e.a")},
        {setting("a") + "," + aliasTo("l", "e.a"), "", move("e.a", "e.b"),
         setting("b") + "," + aliasTo("l", "e.b"), "",
         "- moved e.a: comes to \"e.b\"\n- alias e.l: stands for \"e.b\", no longer for \"e.a\"\n"},
        {aliasTo("l", "other.a"), "", "", aliasTo("l", "other.b"), "",
         "- alias e.l: stands for \"other.b\", no longer for \"other.a\"\n"},
    };
    for (const Releases& each : cases)
        EXPECT_EQ(each.expected, found(each)) << each.settings;
}

TEST_F(Comparing, FlagsOfGroups) {
    const std::string s = setting("s"), fixed = ", \"readonly\": true", hidden = ", \"visible\": false";
    const auto around = [&](const std::string& name, const std::string& flag, const std::string& below) {
        return R"({"groupName": ")" + name + "\"" + flag + R"(, "groups": [)" + below + "]}";
    };
    const Releases cases[] = {
        {"", group("g", s), "", "", group("g", s, fixed + hidden),
         "! readOnly e.g: could be changed and is read-only\n- visible e.g: was shown and is hidden\n"},
        {"", group("g", s), move("e.g", "e.h"), "", group("h", s, fixed + hidden),
         "- moved e.g.s: comes to \"e.h.s\"\n"
         "! readOnly e.h: could be changed and is read-only\n- visible e.h: was shown and is hidden\n"},
        // What is inherited is told where it comes from, or where a group has come below it.
        {"", around("o", "", group("g", s)), "", "", around("o", fixed, group("g", s)),
         "! readOnly e.o: could be changed and is read-only\n"},
        {"", around("o", fixed, "") + "," + group("g", s), move("e.g", "e.o.g"), "",
         around("o", fixed, group("g", s)),
         "- moved e.g.s: comes to \"e.o.g.s\"\n! readOnly e.o.g: could be changed and is read-only\n"},
        {"", around("o", fixed, group("g", s)), "", "",
         around("o", fixed, group("g", s, ", \"readonly\": false")),
         "- readOnly e.o.g: was read-only and can be changed\n"},
        {"", around("o", fixed, group("g", s)), "", "", around("o", fixed, group("g", s, fixed)), ""},
    };
    for (const Releases& each : cases)
        EXPECT_EQ(each.expected, found(each)) << each.groups;
}

} // namespace
