// Filters as every implementation of the framework reads them.
#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/LDAPFilter.h"
#include "cppmicroservices/LDAPProp.h"

#include <gtest/gtest.h>

#include <list>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace cppmicroservices;

AnyMap properties() {
    AnyMap map(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    map["s"] = std::string("Some Text");
    map["literal"] = std::string("chars");
    map["b"] = true;
    map["i"] = 12;
    map["d"] = 2.5;
    map["f"] = 0.5f;
    map["list"] = std::vector<std::string>{"one", "two"};
    map["slow"] = std::list<std::string>{"three"};
    map["mixed"] = std::vector<Any>{1, std::string("one")};
    map["ints"] = std::vector<int>{1};
    return map;
}

TEST(LDAPFilterContract, Matches) {
    const std::pair<const char*, bool> table[] = {
        {"(s=Some Text)", true},
        {"(s =Some Text)", true},
        {"(s= Some Text)", false},
        {"(s=some text)", false},
        {"(s~=sometext)", true},
        {"(s~=some)", false},
        {"(s=*)", true},
        {"(s=Some*)", true},
        {"(s=*Text)", true},
        {"(s=*e*e*)", true},
        {"(s=*e*e*e*)", false},
        {"(s<=T)", true},
        {"(s>=T)", false},
        {"(s>=Some Text)", true},
        {"(literal=chars)", true},
        {"(b=TRUE)", true},
        {"(b<=true)", false},
        {"(i=12)", true},
        {"(i=12abc)", true},
        {"(i=12.0)", true},
        {"(i=13)", false},
        {"(i=abc)", false},
        {"(i>=-5)", true},
        {"(i<=-5)", false},
        {"(i<=12)", true},
        {"(d=2.5)", true},
        {"(d>=2.4)", true},
        {"(d<=2.4)", false},
        {"(d=x)", false},
        {"(f=0.5)", true},
        {"(list=two)", true},
        {"(list=t*)", true},
        {"(list=three)", false},
        {"(slow=three)", true},
        {"(mixed=one)", true},
        {"(mixed=1)", true},
        {"(ints=1)", false},
        {"(ints=*)", true},
        {"(absent=*)", false},
        {"(!(absent=1))", true},
        {"(&(i=12)(b=true))", true},
        {" ( & (i=12) (b=false) ) ", false},
        {"(|(i=13)(b=true))", true},
        {"(!(&(i=12)(!(b=false))))", false},
    };
    const AnyMap map = properties();
    for (const auto& [text, expected] : table)
        EXPECT_EQ(expected, LDAPFilter(text).Match(map)) << text;
}

TEST(LDAPFilterContract, KnowsTheCaseOfNamesAndTheEmptyFilter) {
    AnyMap map(any_map::ORDERED_MAP);
    map["Name"] = 1;
    EXPECT_TRUE(LDAPFilter("(name=1)").Match(map));
    EXPECT_FALSE(LDAPFilter("(name=1)").MatchCase(map));
    EXPECT_TRUE(LDAPFilter("(Name=1)").MatchCase(map));
    const LDAPFilter none;
    EXPECT_FALSE(none || none.Match(map));
}

TEST(LDAPFilterContract, RefusesMalformedTexts) {
    for (const char* text : {"", "a=1", "()", "(&)", "(a<1)", "(a", "(a=1", "(&(a=1)", "(a=1)x"})
        EXPECT_THROW(LDAPFilter{std::string(text)}, std::invalid_argument) << text;
}

TEST(LDAPFilterContract, IsWrittenAsAnExpression) {
    const LDAPFilter filter(LDAPProp("a") == "x" && !(LDAPProp("n") >= 3));
    EXPECT_TRUE(filter);
    EXPECT_EQ(LDAPFilter("(&(a=x)(!(n>=3)))"), filter);
}

} // namespace
