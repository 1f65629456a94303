// Every failure class: its text, what its accessors give back, and its way to another thread.
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/file/FileFault.hpp"
#include "support/FailureCatalogue.hpp"
#include "json/ConversionError.hpp"
#include "json/ParseError.hpp"

#include <boost/any.hpp>
#include <boost/core/demangle.hpp>
#include <boost/make_shared.hpp>
#include <boost/weak_ptr.hpp>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <set>
#include <thread>

namespace {

using namespace settings::test;

// Handles to nothing: they are compared, never followed.
template <class T>
boost::shared_ptr<T> handle(int& owner) {
    static const auto alive = boost::make_shared<int>();
    return boost::shared_ptr<T>(alive, reinterpret_cast<T*>(&owner));
}
int ownerA, ownerB;

void useHandles() {
    A = handle<Settings>(ownerA);
    B = handle<Settings>(ownerB);
    C = handle<Settings>(ownerA);
}

// Raised by `raise` on a thread of its own and carried back to this one.
std::exception_ptr fromAnotherThread(const std::function<void()>& raise) {
    std::exception_ptr carried;
    std::thread([&] {
        try {
            raise();
        } catch (...) {
            carried = std::current_exception();
        }
    }).join();
    return carried;
}

std::set<std::string> seen;

// `fields` reads the accessors; `values` is what they must give, for the object and for each kind of copy.
template <class E, class Fields>
void expectFailure(const E& failure, const std::string& text, const std::string& values, Fields fields) {
    static_assert(std::derived_from<E, settings::core::exception::SettingsException>);
    static_assert(std::is_nothrow_copy_constructible_v<E>);
    const std::string name = boost::core::demangle(typeid(E).name());
    SCOPED_TRACE(name);
    seen.insert(name);

    EXPECT_EQ(failure.what(), text);
    EXPECT_EQ(fields(failure), values);
    if constexpr (std::derived_from<E, ValidationException>) {
        EXPECT_EQ(show(failure.getErrorMsg()), "u:" + text);
    }

    std::unique_ptr<varnek::exception::Exception> copy;
    {
        const auto original = std::make_unique<const E>(failure); // gone before its clone is looked at
        copy = original->clone();
    }
    const varnek::exception::Exception& cloned = *copy;
    ASSERT_EQ(typeid(cloned), typeid(E));
    EXPECT_EQ(copy->what(), text);
    try {
        std::rethrow_exception(fromAnotherThread([&] { copy->rethrow(); }));
    } catch (const settings::core::exception::SettingsException& caught) {
        ASSERT_EQ(typeid(caught), typeid(E));
        EXPECT_EQ(caught.what(), text);
        EXPECT_EQ(fields(dynamic_cast<const E&>(caught)), values);
    }
}

// A refusal that a front end adds.
class OwnRefusal : public Cloneable<OwnRefusal, ValidationException> {
  public:
    OwnRefusal() : Cloneable(A, B, ValidationErrorCode::valueMustBeString, u"own") {}
    const char* what() const noexcept override { return "own"; }
};

TEST(ExceptionCatalogue, EveryClassSaysItsTextAndTravels) {
    useHandles();
    seen.clear();
    const auto expect = [](const auto&... failure) { expectFailure(failure...); };
    FailureCatalogue catalogue(expect);
    catalogue.walk();
    expectFailure(OwnRefusal(), "own", "A B 8", [](const ValidationException& e) {
        return shown(e.getCausingObject(), e.getCausingObjectParent(), e.getErrorCode());
    });
    EXPECT_EQ(seen.size(), 81u); // OwnRefusal stands for the abstract ValidationException
    catalogue.walkOwn();
}

TEST(ExceptionCatalogue, ValidationFunctionFailureTakesAGenericValue) {
    useHandles();
    const std::pair<boost::any, std::string> table[] = {
        {std::u16string(u"v"), "u:v"},
        {boost::any(), "void"},
        {std::string("narrow texts are no values"), "void"},
    };
    for (const auto& [value, shownValue] : table)
        expectFailure(
            ExceptionFromValidationFunction::createFromAny(A, B, "pkg", "fcn", "key", value, u"cause"),
            "Exception thrown by the validation function.", "A B 6 pkg fcn key " + shownValue + " u:cause",
            [](const auto& e) {
                return shown(e.getCausingObject(), e.getCausingObjectParent(), e.getErrorCode(),
                             e.getPackageName(), e.getFunctionName(), e.getKeyName(), e.getValue(),
                             e.getCause());
            });
}

TEST(ExceptionCatalogue, ErrorOfAPlugInPassesUnchanged) {
    const settings::core::SettingsException error("VARNEK:Settings:own", "The message", "key");
    static_assert(
        !std::derived_from<settings::core::SettingsException, settings::core::exception::SettingsException>);
    static_assert(std::is_nothrow_copy_constructible_v<settings::core::SettingsException>);
    const auto copy = error.clone();
    try {
        std::rethrow_exception(fromAnotherThread([&] { copy->rethrow(); }));
        FAIL();
    } catch (const settings::core::SettingsException& caught) {
        EXPECT_EQ(caught.msgId(), "VARNEK:Settings:own");
        EXPECT_STREQ(caught.what(), "The message");
        EXPECT_EQ(caught.exceptionKey(), "key");
    }
}

// A path may hold bytes that are no UTF-8. In UTF-16 they are lone surrogates, in what() the bytes again;
// what no path can hold shows as U+FFFD, and nothing behind it is lost.
TEST(ExceptionCatalogue, TextsKeepWhatIsNoUtf8) {
    const std::u16string path{u'/', 0xDCE9, u'b', u'a', u'd', 0xD800, u'x'};
    const std::string bytes = "/\xE9"
                              "bad\uFFFDx";
    EXPECT_EQ(ErrorReadingSettingsData(ErrorReadingSettingsData::ErrorCode::type, path).what(),
              "Value of settings could not be read. Error code: -11. More details: " + bytes);
    EXPECT_EQ(PackageCannotBeOpened(u"f", path).what(), "Failed to open OPC Package; Error: " + bytes);
    EXPECT_EQ(SettingsFileNotWritten(u"f", path).what(), "Failed to write settings file; Error: " + bytes);
    EXPECT_EQ(RelativePreferencePathNotSupported(path).getErrorMessage(),
              "Unable to start VARNEK. Relative path for preferences directory ('" + bytes +
                  "') is not supported");
    EXPECT_EQ(ErrorAddingTopLevelNode("/\xE9"
                                      "bad")
                  .getExistingProductName(),
              path.substr(0, 5));
}

TEST(ExceptionCatalogue, ReadErrorsNameTheirFile) {
    const std::filesystem::path file = "/files/\xE9\x1B[2Jbad.vksettings";
    try {
        settings::core::detail::FilePlace{file, "/a.json"}.refuse(settings::core::detail::ReadError::type,
                                                                  "$.x", "wrong");
        FAIL();
    } catch (const ErrorReadingSettingsData& failure) {
        EXPECT_STREQ(failure.what(), "Value of settings could not be read. Error code: -11. More details: "
                                     "\"/files/\xE9\\x1B[2Jbad.vksettings\", part \"/a.json\": $.x: wrong");
    }
}

// The page tells other programs what the numbers mean.
TEST(ExceptionCatalogue, ThePageOfTheFileFormatListsEveryErrorCode) {
    const auto found = [](const std::filesystem::path& file, const std::regex& pattern) {
        std::ifstream stream(std::filesystem::path(EXAMPLES_FOLDER) / ".." / file);
        std::map<int, std::string> codes;
        for (std::string line; std::getline(stream, line);)
            if (std::smatch match; std::regex_search(line, match, pattern))
                codes[std::abs(std::stoi(match.str(1).empty() ? match.str(3) : match.str(1)))] = match.str(2);
        return codes;
    };
    const auto inHeader = found("settings/include/settingscore/exception/FileFailures.hpp",
                                std::regex(R"(^ +()(\w+) = (-\d+),)"));
    const auto onPage = found("docs/file-format.md", std::regex(R"(^\| (-\d+) \| `(\w+)` \| \S)"));
    EXPECT_EQ(inHeader, onPage);
    EXPECT_GE(onPage.size(), 19u);
    // Those of the readers below carry their numbers into it.
    using varnek::json::ConversionFailure;
    using varnek::json::ParseFailure;
    for (const auto& [code, name] :
         {std::pair(static_cast<int>(ParseFailure::duplicateKey), "duplicateKey"),
          std::pair(static_cast<int>(ParseFailure::objectStart), "objectStart"),
          std::pair(static_cast<int>(ParseFailure::memberSeparator), "memberSeparator"),
          std::pair(static_cast<int>(ParseFailure::earlyEnd), "earlyEnd"),
          std::pair(static_cast<int>(ParseFailure::trailingText), "trailingText"),
          std::pair(static_cast<int>(ConversionFailure::className), "className"),
          std::pair(static_cast<int>(ConversionFailure::elementKind), "elementKind"),
          std::pair(static_cast<int>(ConversionFailure::shape), "shape")})
        EXPECT_EQ(onPage.count(-code) == 0 ? "missing" : onPage.at(-code), name);
}

// A copy on another thread keeps the node alive.
TEST(ExceptionCatalogue, CopiesShareTheirHandles) {
    auto owner = boost::make_shared<int>();
    std::unique_ptr<varnek::exception::Exception> copy =
        NoSuchNode(ObjectHandle(owner, reinterpret_cast<const Settings*>(owner.get())), "x").clone();
    const boost::weak_ptr<int> alive = owner;
    owner.reset();
    EXPECT_FALSE(alive.expired());
    copy.reset();
    EXPECT_TRUE(alive.expired());
}

} // namespace
