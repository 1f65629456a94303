#include "varnek/log/Channel.hpp"

#include "log/LevelTable.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <iomanip>
#include <locale>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace {

using varnek::log::Channel;
using varnek::log::setLevel;
using varnek::log::setSink;
using varnek::log::Severity;

using Line = std::tuple<std::string, Severity, std::string>;

/// Collects the lines of one test and turns its channel off again.
class Logging : public testing::Test {
  protected:
    Logging() {
        setSink([this](std::string_view name, Severity severity, std::string_view shown) {
            lines.emplace_back(name, severity, shown);
        });
    }
    ~Logging() override {
        setSink({});
        setLevel("test::log", Severity::off);
    }

    std::string text() {
        const std::string last = lines.empty() ? "" : std::get<2>(lines.back());
        lines.clear();
        return last;
    }

    Channel channel{"test::log"};
    std::vector<Line> lines;
};

TEST_F(Logging, LevelsApplyToAllChannelsOfANameAlsoBeforeTheyExist) {
    int evaluated = 0;
    VARNEK_LOG(channel, error) << ++evaluated;
    EXPECT_EQ(0, evaluated);

    setLevel("test::log", Severity::warning);
    const Channel twin("test::log");
    VARNEK_LOG(channel, info) << ++evaluated;
    VARNEK_LOG(channel, warning) << ++evaluated;
    VARNEK_LOG(twin, error) << ++evaluated;
    EXPECT_EQ((std::vector<Line>{{"test::log", Severity::warning, "1"}, {"test::log", Severity::error, "2"}}),
              lines);

    setLevel("test::log::later", Severity::debug);
    EXPECT_TRUE(Channel("test::log::later").enabled(Severity::debug));
    EXPECT_FALSE(Channel("test::log::other").enabled(Severity::error));
}

TEST_F(Logging, AStatementStandsInAnyBranch) {
    setLevel("test::log", Severity::info);
    for (const bool first : {true, false})
        if (first)
            VARNEK_LOG(channel, info) << "then";
        else
            VARNEK_LOG(channel, info) << "else";
    VARNEK_LOG(channel, info);
    ASSERT_EQ(3u, lines.size());
    EXPECT_EQ("then", std::get<2>(lines[0]));
    EXPECT_EQ("else", std::get<2>(lines[1]));
    EXPECT_EQ("", std::get<2>(lines[2]));
}

struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST_F(Logging, ValuesAreShownTheSameEverywhere) {
    setLevel("test::log", Severity::info);
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Grouping));
    VARNEK_LOG(channel, info) << 1234567 << ' ' << true << ' ' << std::hex << 255u << ' ' << 1.5;
    std::locale::global(before);
    EXPECT_EQ("1234567 true ff 1.5", text());

    VARNEK_LOG(channel, info) << std::u16string(u"\u00e4\u20ac\U0001F600") << u"-"
                              << std::u16string(1, u'\xd800');
    EXPECT_EQ("\u00e4\u20ac\U0001F600-\\ud800", text());

    const char* none = nullptr;
    VARNEK_LOG(channel, info) << none << ", " << std::string("and on");
    EXPECT_EQ("(null), and on", text());
}

TEST_F(Logging, WhatATerminalMightObeyIsEscaped) {
    setLevel("test::log", Severity::info);
    const std::pair<std::string, std::string> table[] = {
        {"a\nb\r\tc", "a\\nb\\r\\tc"},
        {std::string("x\0y", 3), "x\\x00y"},
        {"\x1b[31m", "\\x1b[31m"},
        {"\x7f", "\\x7f"},
        {"\xc2\x9b"
         "31m",
         "\\u009b31m"},
        {"\xc2\xa0\xc3\xa4", "\xc2\xa0\xc3\xa4"},
        {"\x9b", "\\x9b"},
        {"\xc0\xaf", "\\xc0\\xaf"},
        {"\xed\xa0\x80", "\\xed\\xa0\\x80"},
        {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},
        {"\xe2\x82", "\\xe2\\x82"},
        {"\xf0\x9f\x98\x80", "\xf0\x9f\x98\x80"},
    };
    for (const auto& [given, shown] : table) {
        channel.write(Severity::info, given);
        EXPECT_EQ(shown, text());
    }
}

TEST_F(Logging, ASinkMayFailLogAndReplaceItself) {
    setLevel("test::log", Severity::info);
    int calls = 0;
    setSink([&](std::string_view, Severity, std::string_view) {
        ++calls;
        VARNEK_LOG(channel, info) << "from the sink";
        setSink({});
        throw std::runtime_error("sink");
    });
    VARNEK_LOG(channel, info) << "once";
    EXPECT_EQ(1, calls);
    EXPECT_FALSE(setSink({})) << "the sink had put back the default";
}

TEST_F(Logging, ThreadsLogWhileLevelsAndSinksChange) {
    std::atomic<int> received{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&] {
            const Channel own("test::log");
            for (int n = 0; n < 500; ++n)
                VARNEK_LOG(own, info) << n;
        });
    for (int n = 0; n < 200; ++n) {
        setSink([&](std::string_view, Severity, std::string_view) { ++received; });
        setLevel("test::log", n % 2 == 0 ? Severity::info : Severity::off);
    }
    for (auto& thread : threads)
        thread.join();
    setLevel("test::log", Severity::info);
    VARNEK_LOG(channel, info) << "last";
    EXPECT_GE(received, 1);
}

TEST(LevelSettings, Text) {
    const auto settings = varnek::log::parseLevels(
        " settings::core::settingsFile:info , "
        "settings::core::root:off,,*:error,settings::core:loud,plain,:info,b:info,b:debug");
    const std::map<std::string, Severity, std::less<>> expected = {
        {"settings::core::settingsFile", Severity::info},
        {"settings::core::root", Severity::off},
        {"*", Severity::error},
        {"b", Severity::debug}};
    EXPECT_EQ(expected, settings.levels);
    EXPECT_EQ((std::vector<std::string>{"settings::core:loud", "plain", ":info"}), settings.faults);
}

TEST(LevelSettings, AChannelOfItsOwnBeatsTheStarUntilTheStarIsSetAgain) {
    varnek::log::LevelTable table(varnek::log::parseLevels("a::b:off,*:warning"));
    const auto level = [&](const char* name) {
        return static_cast<Severity>(table.state(name).level.load());
    };
    EXPECT_EQ(Severity::off, level("a::b"));
    EXPECT_EQ(Severity::warning, level("new"));
    table.set("*", Severity::debug);
    EXPECT_EQ(Severity::debug, level("a::b"));
    EXPECT_EQ(Severity::debug, level("new"));
    EXPECT_EQ(Severity::debug, level("newer"));
}

/// Its destructor runs after everything that the first log line makes is gone.
struct LogsAtTheEnd {
    ~LogsAtTheEnd() {
        static const Channel channel("test::log::late");
        VARNEK_LOG(channel, warning) << "after the end of "
                                     << "main";
    }
};

void logOnceAndLeave() {
    static const LogsAtTheEnd last;
    static const Channel channel("test::log::env");
    VARNEK_LOG(channel, debug) << "first\nline";
    std::exit(0);
}

// Each runs in a process of its own, started anew, so that the environment is read there.
TEST(LoggingProcessDeathTest, EnvironmentDefaultSinkAndEndOfProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    ::setenv("VKSETTINGS_LOG", "test::log::env:debug,test::log::late:warning,bad\x1b", 1);
    EXPECT_EXIT(logOnceAndLeave(), testing::ExitedWithCode(0),
                "VKSETTINGS_LOG: \"bad.x1b\" is not channel:level [^\n]*\n"
                "[0-9-]+T[0-9:]+[.][0-9][0-9][0-9]Z .debug. test::log::env: first.nline\n"
                "[0-9-]+T[0-9:.]+Z .warning. test::log::late: after the end of main\n");
    ::unsetenv("VKSETTINGS_LOG");
    EXPECT_EXIT(logOnceAndLeave(), testing::ExitedWithCode(0), "^$");
}

} // namespace
