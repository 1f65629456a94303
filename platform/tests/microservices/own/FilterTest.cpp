#include "cppmicroservices/LDAPFilter.h"
#include "cppmicroservices/LDAPProp.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <chrono>
#include <cstdint>
#include <list>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace cppmicroservices;

AnyMap properties() {
    return {any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS,
            {{"s", std::string("Some Text")},
             {"literal", "chars"},
             {"c", 'x'},
             {"b", true},
             {"i", 12},
             {"u8", static_cast<unsigned char>(200)},
             {"zero", std::int16_t(0)},
             {"huge", UINT64_MAX},
             {"least", INT64_MIN},
             {"d", 2.5},
             {"f", 0.5f},
             {"list", std::vector<std::string>{"one", "two"}},
             {"slow", std::list<std::string>{"three"}},
             {"mixed", std::vector<Any>{1, std::string("one")}},
             {"ints", std::vector<int>{1}},
             {"dotted.name", std::string("(a*b)")},
             {"none", Any()}}};
}

TEST(LDAPFilter, Matches) {
    const std::pair<const char*, bool> table[] = {
        {"(S=Some Text)", true},
        {"(s~= SOME  TEXT )", true},
        {"(s=Some Text*Text)", false},
        {"(s=S**t)", true},
        {"(c=x)", true},
        {"(c=xx)", false},
        {"(b=true)", true},
        {"(b~= true)", true},
        {"(b=t)", false},
        {"(b=truest)", false},
        {"(i=)", false},
        {"(i>=99999999999999999999)", false},
        {"(i<=99999999999999999999)", true},
        {"(i>=-99999999999999999999)", true},
        {"(u8=200)", true},
        {"(zero=65536)", false},
        {"(huge=18446744073709551615)", true},
        {"(huge>=9223372036854775808)", true},
        {"(huge=-1)", false},
        {"(least=-9223372036854775808)", true},
        {"(none=*)", true},
        {"(none=)", false},
        {"(dotted.name=(a\\*b))", true},
        {"(dotted.name=\\(a\\*b\\))", true},
        {"(dotted.name=(a*b))", true},
    };
    const AnyMap map = properties();
    for (const auto& [text, expected] : table) {
        const LDAPFilter filter(text);
        EXPECT_EQ(expected, filter.Match(map)) << text;
        EXPECT_EQ(expected, LDAPFilter(filter.ToString()).Match(map)) << filter.ToString();
    }
}

TEST(LDAPFilter, CaseOfNamesAndTheEmptyFilter) {
    const AnyMap exact(any_map::ORDERED_MAP, {{"Name", 1}});
    EXPECT_TRUE(LDAPFilter("(name=1)").Match(exact));
    EXPECT_FALSE(LDAPFilter("(name=1)").MatchCase(exact));
    EXPECT_TRUE(LDAPFilter("(Name=1)").MatchCase(exact));
    const LDAPFilter none;
    EXPECT_FALSE(none || none.Match(exact) || none.MatchCase(exact));
    EXPECT_EQ("", none.ToString());
    EXPECT_EQ(LDAPFilter("( a=1 )"), LDAPFilter("(a=1 ) "));
    EXPECT_FALSE(LDAPFilter("(a=1)") == LDAPFilter("(a=2)"));
}

TEST(LDAPFilter, RefusesMalformedTexts) {
    const std::string deep = std::string(128, '(') + "a=1)";
    std::string nested = "(a=1)";
    for (int i = 0; i < 63; ++i)
        nested.insert(0, "(!").append(")");
    EXPECT_TRUE(LDAPFilter(nested));
    std::string tooDeep;
    for (int i = 0; i < 200'000; ++i)
        tooDeep += "(!";
    const std::pair<std::string, const char*> table[] = {
        {"", "Null query"},
        {"  ", "Null query"},
        {"a=1", "Malformed query"},
        {"()", "Malformed query"},
        {"(=1)", "Malformed query"},
        {"(&)", "Malformed query"},
        {"(!(a=1)(b=1))", "Malformed query"},
        {deep, "Malformed query"},
        {"(!" + nested + ")", "Malformed query"},
        {tooDeep, "Malformed query"},
        {"(a<1)", "Undefined operator"},
        {"(a~1)", "Undefined operator"},
        {"(a)", "Undefined operator"},
        {"(a", "Unexpected end of query"},
        {"(a=1", "Unexpected end of query"},
        {"(a=1\\", "Unexpected end of query"},
        {"(a=(1)", "Unexpected end of query"},
        {"(&(a=1)", "Unexpected end of query"},
        {"(a=1)x", "Trailing garbage: 'x': x"},
    };
    for (const auto& [text, cause] : table)
        try {
            const LDAPFilter filter(text);
            ADD_FAILURE() << text << " was read as " << filter.ToString();
        } catch (const std::invalid_argument& failure) {
            EXPECT_EQ(0u, std::string(failure.what()).find(cause)) << text << ": " << failure.what();
        }
}

TEST(LDAPFilter, ManyWildcardsCostNoTime) {
    const AnyMap map(any_map::ORDERED_MAP, {{"s", std::string(20'000, 'a')}});
    std::string pattern;
    for (int i = 0; i < 200; ++i)
        pattern += "*a";
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(LDAPFilter("(s=" + pattern + "*b)").Match(map));
    EXPECT_LT(std::chrono::steady_clock::now() - begin,
              std::chrono::seconds(5)); // backtracking would take years
}

RC_GTEST_PROP(LDAPFilterProperty, AnyTextIsMatchedByItself, (const std::string& text)) {
    std::string escaped;
    for (const char c : text)
        (escaped += '\\') += c;
    const LDAPFilter filter("(x=" + escaped + ")");
    RC_ASSERT(filter.Match(AnyMap(any_map::ORDERED_MAP, {{"x", text}})));
    RC_ASSERT(!filter.Match(AnyMap(any_map::ORDERED_MAP, {{"x", text + "."}})));
    RC_ASSERT(LDAPFilter(filter.ToString()) == filter);
}

RC_GTEST_PROP(LDAPFilterProperty, NoTextDoesMoreThanThrow, ()) {
    const auto text = *rc::gen::container<std::string>(
        rc::gen::element('(', ')', '&', '|', '!', '=', '<', '~', '*', '\\', 'a', ' '));
    try {
        const LDAPFilter filter("(" + text);
        RC_ASSERT(LDAPFilter(filter.ToString()).ToString() == filter.ToString());
    } catch (const std::invalid_argument&) {
    }
}

TEST(LDAPProp, WritesFilters) {
    const LDAPFilter filter = LDAPProp("a") == "x" && !(LDAPProp("n") >= 3);
    EXPECT_EQ("(&(a=x)(!(n>=3)))", filter.ToString());
    const std::string text =
        LDAPProp("b") || LDAPProp("c") != true || LDAPProp("d").Approx("y") || LDAPProp("e") <= 1.5;
    EXPECT_EQ("(|(|(|(b=*)(!(c=true)))(d~=y))(e<=1.5))", text);
}

} // namespace
