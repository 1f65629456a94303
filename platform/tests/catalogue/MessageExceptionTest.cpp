#include "varnek/catalogue/MessageException.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <thread>
#include <type_traits>

namespace {

using namespace varnek::catalogue;

struct MissingTag {
    static constexpr std::string_view component = "VARNEK:settings:core", key = "CFunctionNotFound";
    static constexpr std::size_t argumentCount = 2;
};
struct UserFolderTag {
    static constexpr std::string_view component = "VARNEK:settings:core",
                                      key = "SettingsUserDirectoryNotExist";
};
using Missing = MessageException<MissingTag>;
using UserFolder = MessageException<UserFolderTag>;

static_assert(std::is_nothrow_copy_constructible_v<Missing>);
static_assert(!std::is_constructible_v<UserFolder, bool> && !std::is_constructible_v<UserFolder, char>);

TEST(MessageException, CarriesItsMessage) {
    const Missing failure(u"l\u00efb", std::string("run"));
    EXPECT_EQ("VARNEK:settings:core", failure.component());
    EXPECT_EQ("CFunctionNotFound", failure.key());
    EXPECT_EQ("VARNEK:settings:core:CFunctionNotFound", failure.identifier());
    EXPECT_EQ((Arguments{"l\u00efb", "run"}), failure.arguments());
    EXPECT_STREQ("The library \"l\u00efb\" has no function \"run\".", failure.what());
    EXPECT_EQ(failure.what(), failure.text(*Catalogue::english()));
    EXPECT_STREQ("The folder of the user's settings does not exist.", UserFolder().what());
    EXPECT_STREQ("VARNEK:x:Y: 1", UntypedMessageException("VARNEK:x", "Y", {"1"}).what());
}

TEST(MessageException, ArgumentsOfEveryKind) {
    const std::pair<Argument, std::string> table[] = {
        {"text", "text"},
        {std::string_view("view"), "view"},
        {std::filesystem::path("/a b"), "/a b"},
        {std::filesystem::path("/a\xE9"), "/a\xE9"},
        {std::u16string{u'/', u'a', 0xDCE9}, "/a\xE9"}, // the same path in UTF-16
        {-5, "-5"},
        {INT64_MIN, "-9223372036854775808"},
        {UINT64_MAX, "18446744073709551615"},
        {u"\U0001F600", "\U0001F600"},
        {std::u16string{u'a', u'\xd800', u'\xd83d', u'\xde00', u'\xdc00'}, "a\uFFFD\U0001F600\uFFFD"},
    };
    for (const auto& [argument, text] : table)
        EXPECT_EQ(text, argument.text());
}

TEST(MessageException, IsCaughtByItsTypeAfterTravelling) {
    std::unique_ptr<varnek::exception::Exception> carried;
    std::thread([&] { carried = Missing("lib", "f").clone(); }).join();
    try {
        carried->rethrow();
        FAIL();
    } catch (const UserFolder&) {
        FAIL() << "another message";
    } catch (const CatalogueException& failure) {
        carried.reset();
        EXPECT_NE(nullptr, dynamic_cast<const Missing*>(&failure));
        EXPECT_STREQ("The library \"lib\" has no function \"f\".", failure.what());
    }
}

} // namespace
