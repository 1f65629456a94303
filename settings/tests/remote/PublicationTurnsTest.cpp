// Groups that are published, withdrawn and attached at once, by several threads and from listeners.

#include "remote/SharedPlace.hpp"

#include "settingscore/SettingsSaving.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "support/AtLine.hpp"
#include "support/WatchedThread.hpp"
#include "varnek/event/EventManager.hpp"

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

#include <unistd.h>

namespace {

using namespace settings::core;
using namespace settings::test;

struct PublicationTurns : SharedPlace {
    static constexpr char channel[] = "settings::core::spf";

    /// With the group of another process attached, does something once when that gives way to the own one,
    /// which happens in the middle of publishing it.
    struct WhenItGivesWay {
        explicit WhenItGivesWay(std::function<void()> action)
            : listening(varnek::event::EventManager::instance().subscribe(
                  u"settings::core::SettingsRemoveNodeEvent", [mine = std::move(action), this](const auto&) {
                      if (!std::exchange(isDone, true))
                          mine();
                  })) {}
        ~WhenItGivesWay() { listening.disconnectAndWait(); }
        bool isDone = false;
        const varnek::event::Connection listening;
    };

    /// In a process to which that of another one is attached, with nobody at work on events.
    void withAttached(const std::function<void()>& body) const {
        OtherProcess other(publisher("other"), steps());
        inAnotherProcess([&] {
            start("client");
            ::alarm(100); // rather than wait for itself for ever
            root();
            RecordedEvents events;
            ASSERT_EQ("", other.started());
            attached();
            std::size_t told = 0;
            waitUntil([&] { return (told += events.take().size()) >= 2; });
            waitUntil([] { return areEventsHandedOnHere(); });
            body();
        });
    }

    /// Raises an event; false while another thread hands it on.
    static bool areEventsHandedOnHere() {
        static double value = 0;
        std::atomic<bool> isHere{false};
        const auto look = [&, here = std::this_thread::get_id()](const auto&) {
            isHere = std::this_thread::get_id() == here;
        };
        const varnek::event::Connection listening = varnek::event::EventManager::instance().subscribe(
            u"settings::core::SettingsValueChangeEvent", look);
        root()->getChild("shell")->set("x", ++value, "session");
        listening.disconnectAndWait();
        return isHere;
    }

    static std::string publishing(std::chrono::milliseconds limit = std::chrono::seconds(30)) {
        try {
            publishTopLevelGroups({"editor"}, limit);
        } catch (const std::exception& failure) {
            return classOf(failure);
        }
        return isPublished() ? "" : "not published";
    }
    static bool isPublished() { return !getPublishedTopLevelGroups().empty(); }
};

TEST_F(PublicationTurns, WhatIsPublishedBeforeTheTrackerFollowsTheTreeIsNotReplaced) {
    OtherProcess other(publisher("other", {"editor", "shell"}), steps());
    ASSERT_EQ("", other.started());
    inAnotherProcess([&] {
        start("client");
        attachRemoteGroups();
        std::unique_ptr<WatchedThread> waiting;
        bool isShellThere = false;
        {
            const AtLine between(channel, "Create the remote top-level nodes tracker", [&] {
                std::thread([] { publishTopLevelGroups({"editor"}); }).join();
                waiting = std::make_unique<WatchedThread>(
                    [&] { isShellThere = awaitRemoteGroups({"shell"}, std::chrono::seconds(60)); });
                waiting->settle();
            });
            root();
        }
        waiting.reset();
        EXPECT_TRUE(isShellThere);
        waitUntil([] { return getRemotePublishers().size() == 2; });
        EXPECT_EQ("editor", getRemotePublishers()[0].group);
        EXPECT_FALSE(getRemotePublishers()[0].isAttached);
        EXPECT_FALSE(isRemoteNow());
        withdrawTopLevelGroups({"editor"});
        EXPECT_TRUE(isRemoteNow());
    });
}

TEST_F(PublicationTurns, AWithdrawalDuringPublishingWaitsForItsTurn) {
    withAttached([] {
        std::unique_ptr<WatchedThread> withdrawing;
        const WhenItGivesWay meanwhile([&] {
            withdrawing = std::make_unique<WatchedThread>([] { withdrawTopLevelGroups({"editor"}); });
            withdrawing->settle();
        });
        publishTopLevelGroups({"editor"});
        withdrawing.reset();
        EXPECT_FALSE(isPublished());
        EXPECT_TRUE(isRemoteNow());
    });
}

TEST_F(PublicationTurns, ASecondPublishingIsOverWhenTheGroupIsPublished) {
    withAttached([] {
        std::string second;
        std::unique_ptr<WatchedThread> publishingToo;
        const WhenItGivesWay meanwhile([&] {
            publishingToo = std::make_unique<WatchedThread>([&] { second = publishing(); });
            publishingToo->settle();
        });
        EXPECT_EQ("ServicePublishTimeout", publishing(std::chrono::milliseconds(0)));
        publishingToo.reset();
        EXPECT_EQ("", second);
        EXPECT_TRUE(isPublished());
        EXPECT_FALSE(isRemoteNow());
    });
}

// Whoever is called in the middle of it must not wait for the end.
TEST_F(PublicationTurns, AListenerWithdrawsWhatIsBeingPublished) {
    withAttached([] {
        const WhenItGivesWay meanwhile([] { withdrawTopLevelGroups({"editor"}); });
        EXPECT_EQ("FailedToPublishException", publishing());
        EXPECT_FALSE(isPublished());
        EXPECT_TRUE(isRemoteNow());
    });
}

TEST_F(PublicationTurns, AListenerPublishesWhatIsBeingPublished) {
    withAttached([] {
        std::string second;
        const WhenItGivesWay meanwhile([&] { second = publishing(); });
        EXPECT_EQ("", publishing());
        EXPECT_EQ("FailedToPublishException", second);
        EXPECT_TRUE(isPublished());
    });
}

TEST_F(PublicationTurns, OfAPublishedGroupNoOtherIsEverAttached) {
    withAttached([] {
        for (int round = 0; round < times(2000, 100) && !HasFailure(); ++round) {
            std::thread publishing([] {
                try {
                    publishTopLevelGroups({"editor"});
                } catch (const exception::SettingsException& failure) {
                    ADD_FAILURE() << failure.what();
                }
            });
            std::thread withdrawing([round] {
                for (int i = 0; i < round * 37 % 300; ++i)
                    std::this_thread::yield();
                withdrawTopLevelGroups({"editor"});
            });
            publishing.join();
            withdrawing.join();
            EXPECT_NE(isPublished(), isRemoteNow()) << "round " << round;
            withdrawTopLevelGroups({"editor"});
            EXPECT_TRUE(isRemoteNow());
        }
    });
}

// A withdrawal waits for the saves of the group, so that nobody who saves may wait for the withdrawal.
TEST_F(PublicationTurns, WhoeverSavesDoesNotWaitForAWithdrawal) {
    for (const bool isWriterThere : {true, false})
        inAnotherProcess([&] {
            start(isWriterThere ? "client" : "ending");
            ::alarm(60); // rather than wait for itself for ever
            const Handle editor = root()->getChild("editor");
            publishTopLevelGroups({"editor"});
            if (!isWriterThere)
                endSettingsWriter();
            std::unique_ptr<WatchedThread> withdrawing;
            std::string again;
            {
                const AtLine inTheSave("settings::core::settingsFile", "Save settings file: ", [&] {
                    withdrawing = std::make_unique<WatchedThread>([] { withdrawTopLevelGroups({"editor"}); });
                    waitUntil([] { return !isPublished(); });
                    withdrawing->settle();
                    withdrawTopLevelGroups({"editor"});
                    again = publishing();
                });
                editor->set("size", 20.0, "user");
                waitForSettingsSaves();
            }
            withdrawing.reset();
            EXPECT_EQ("FailedToPublishException", again);
            EXPECT_FALSE(isPublished());
            EXPECT_EQ("", publishing());
        });
}

// Who was told meanwhile that a group is published relies on it; who asked for it twice does not.
TEST_F(PublicationTurns, AFailedPublishingTakesBackWhatOnlyItHasPublished) {
    inAnotherProcess([&] {
        start("client");
        const auto publishThatFails = [](const std::vector<std::string>& groups,
                                         const std::function<void()>& meanwhile) {
            root()->addGroup("extra", true, false, "session");
            const AtLine between(channel, "Successfully registered SPF service editor", [&] {
                root()->removeNode("extra");
                meanwhile();
            });
            EXPECT_THROW(publishTopLevelGroups(groups), exception::SettingsException);
        };
        publishThatFails({"editor", "editor", "extra"}, [] {});
        EXPECT_FALSE(isPublished());
        publishThatFails({"editor", "extra"}, [] { publishTopLevelGroups({"editor"}); });
        EXPECT_EQ(std::vector<std::string>{"editor"}, getPublishedTopLevelGroups());
        withdrawTopLevelGroups({"editor"});
        publishThatFails({"editor", "extra"}, [] {
            withdrawTopLevelGroups({"editor"});
            publishTopLevelGroups({"editor"});
        });
        EXPECT_EQ(std::vector<std::string>{"editor"}, getPublishedTopLevelGroups());
    });
}

TEST_F(PublicationTurns, LogSinksMayUseTheGroups) {
    OtherProcess other(publisher("other"), steps());
    inAnotherProcess([&] {
        start("client");
        ::alarm(60); // rather than wait for itself for ever
        ASSERT_EQ("", other.started());
        std::atomic<int> asked{0};
        varnek::log::setLevel(channel, varnek::log::Severity::info);
        varnek::log::setSink([&](std::string_view from, varnek::log::Severity, std::string_view) {
            if (from != channel)
                return;
            getRemotePublishers();
            isRemoteNow();
            ++asked;
        });
        attached();
        other.kill();
        waitUntil([] { return !isRemoteNow(); });
        waitUntil([&] { return asked >= 7; }); // the last line says that it is gone
        varnek::log::setSink({});
    });
}

} // namespace
