#include "cppmicroservices/Any.h"

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/BundleVersion.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace cppmicroservices;

struct Opaque {
    int value;
};

TEST(Any, HoldsCopiesAndGivesThemBackByType) {
    Any a = std::string("text");
    const Any copy = a;
    ref_any_cast<std::string>(a) += "!";
    EXPECT_EQ("text!", any_cast<std::string>(a));
    EXPECT_EQ("text", any_cast<std::string>(copy));
    EXPECT_EQ(nullptr, any_cast<int>(&a));
    EXPECT_EQ(nullptr, any_cast<int>(static_cast<Any*>(nullptr)));
    EXPECT_EQ(typeid(std::string), a.Type());

    const Any taken = std::move(a);
    EXPECT_TRUE(a.Empty()); // NOLINT: moved from is empty
    EXPECT_EQ(typeid(void), a.Type());
    a = 5;
    EXPECT_EQ(5, any_cast<int>(a));
    try {
        any_cast<long>(a);
        FAIL();
    } catch (const std::bad_cast& failure) {
        EXPECT_STREQ("cannot cast an Any of type int to type long", failure.what());
    }
}

TEST(Any, ComparesAndWritesWhatItCan) {
    EXPECT_EQ(Any(), Any());
    EXPECT_FALSE(Any(5) == Any());
    EXPECT_FALSE(Any(5) == Any(5L));
    EXPECT_EQ(Any(std::vector<Any>{5, true}), Any(std::vector<Any>{5, true}));
    EXPECT_FALSE(Any(Opaque{1}) == Any(Opaque{1}));

    EXPECT_EQ("[5,true,[a,b]]",
              Any(std::vector<Any>{5, true, std::vector<std::string>{"a", "b"}}).ToString());
    EXPECT_NE(std::string::npos, Any(Opaque{1}).ToString().find("Opaque"));
    EXPECT_THROW(Any().ToString(), std::logic_error);
}

TEST(AnyMap, KindsDifferInTheCaseOfKeys) {
    AnyMap caseless(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS, {{"Key", 1}});
    EXPECT_FALSE(caseless.emplace("KEY", 2).second);
    caseless["kEY"] = 3;
    EXPECT_EQ(1u, caseless.size());
    EXPECT_EQ("Key", caseless.begin()->first);
    EXPECT_EQ(3, any_cast<int>(caseless.at("key")));

    AnyMap exact(any_map::ordered_any_map{{"Key", 1}, {"key", 2}});
    EXPECT_EQ(2u, exact.size());
    EXPECT_THROW(exact.at("KEY"), std::out_of_range);
    AnyMap copy = exact;
    copy.erase("key");
    EXPECT_EQ(2u, exact.size());
    exact = caseless;
    EXPECT_EQ(1u, exact.count("KEY")) << "the kind goes with the content";
}

TEST(BundleVersion, ParsesAndOrders) {
    const char* const ascending[] = {"0", "0.0.1", "1", "1.0.0.alpha", "1.0.0.beta", "1.2", "1.10", "2.0.0"};
    for (std::size_t i = 1; i < std::size(ascending); ++i)
        EXPECT_LT(BundleVersion(ascending[i - 1]), BundleVersion(ascending[i])) << ascending[i];
    EXPECT_EQ(BundleVersion(1, 0, 0), BundleVersion("1"));
    EXPECT_EQ("1.2.3.a-b_4", BundleVersion("1.2.3.a-b_4").ToString());
    for (const char* wrong : {"", ".", "1.", "a", "1.-2", "1.2.3.", "1.2.3.x.y", "1 ", "99999999999", "+1"})
        EXPECT_THROW(BundleVersion{wrong}, std::invalid_argument) << wrong;
}

} // namespace
