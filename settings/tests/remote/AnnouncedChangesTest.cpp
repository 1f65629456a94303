// Changes of values that nobody misses, whatever else is slow.

#include "remote/SharedPlace.hpp"

#include "cppmicroservices/BundleContext.h"
#include "settingscore/plugin/ServiceFramework.hpp"
#include "varnek/event/EventManager.hpp"

#include <algorithm>
#include <atomic>
#include <latch>
#include <thread>
#include <utility>

#include <unistd.h>

namespace {

using namespace settings::core;
using namespace settings::test;
using Lines = std::vector<std::string>;

struct AnnouncedChanges : SharedPlace {};

std::latch isFindable(1), isListenerDone(1); // of the other process

/// Publishes on a thread that comes to a listener of its own process in the middle of it.
std::string publishSlowly() {
    serviceContext().AddServiceListener([isFirst = true](const auto&) mutable {
        if (!std::exchange(isFirst, false))
            return;
        isFindable.count_down();
        isListenerDone.wait();
    });
    std::thread([] { publishTopLevelGroups({"editor"}); }).detach();
    isFindable.wait();
    return "";
}

std::string setSize(double value) {
    SharedPlace::root()->getChild("editor")->set("size", value, "session");
    return "";
}

TEST_F(AnnouncedChanges, WhileTheGroupIsStillBeingPublished) {
    OtherProcess provider([this] { start("provider"); }, {{"publish", publishSlowly},
                                                          {"13", [] { return setSize(13); }},
                                                          {"14", [] { return setSize(14); }},
                                                          {"15", [] { return setSize(15); }},
                                                          {"go on", [] {
                                                               isListenerDone.count_down();
                                                               return std::string();
                                                           }}});
    inAnotherProcess([&] {
        start("client");
        ASSERT_EQ("", provider.started());
        ASSERT_EQ("", provider.run("publish"));
        EXPECT_EQ(Array::scalar(12.0), attached()->get("size"));
        RecordedEvents events;
        ASSERT_EQ("", provider.run("13"));
        ASSERT_EQ("", provider.run("14"));
        EXPECT_EQ(Array::scalar(14.0), size());
        ASSERT_EQ("", provider.run("go on"));
        Lines told;
        const auto isTold = [&](const std::string& wanted) {
            for (const std::string& line : events.take())
                if (line.starts_with("changed"))
                    told.push_back(line);
            return std::find(told.begin(), told.end(), wanted) != told.end();
        };
        waitUntil([&] { return isTold("changed editor.size was 12"); });
        ASSERT_EQ("", provider.run("15"));
        waitUntil([&] { return isTold("changed editor.size was 14"); });
        EXPECT_EQ((Lines{"changed editor.size was 12", "changed editor.size was 14"}), told);
    });
}

/// The listener hears of a change for as long as the test likes; other processes are found meanwhile.
TEST_F(AnnouncedChanges, AListenerThatDoesNotReturnHoldsUpNoOtherProcess) {
    OtherProcess provider(publisher("provider"), steps());
    OtherProcess other(publisher("other", {"shell"}), steps());
    inAnotherProcess([&] {
        start("client");
        ::alarm(100); // rather than wait for ever
        ASSERT_EQ("", provider.started());
        ASSERT_EQ("", other.started());
        ASSERT_EQ("", other.run("withdraw shell"));
        EXPECT_EQ(Array::scalar(12.0), attached()->get("size")); // from here on it hears of changes
        std::latch isCalled(1), mayReturn(1);
        std::atomic<bool> isFirst{true};
        const varnek::event::Connection listening = varnek::event::EventManager::instance().subscribe(
            u"settings::core::SettingsValueChangeEvent", [&](const auto&) {
                if (!isFirst.exchange(false))
                    return;
                isCalled.count_down();
                mayReturn.wait();
            });
        ASSERT_EQ("", provider.run("size 50"));
        isCalled.wait();
        provider.kill();
        waitUntil([] { return !isRemoteNow(); });
        ASSERT_EQ("", other.run("publish shell"));
        EXPECT_TRUE(awaitRemoteGroups({"shell"}, std::chrono::seconds(20)));
        mayReturn.count_down();
        listening.disconnectAndWait();
    });
}

} // namespace
