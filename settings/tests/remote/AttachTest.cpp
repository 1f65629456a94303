// Groups of other processes come and go below the root of this one.

#include "remote/SharedPlace.hpp"
#include "remote/SharingLog.hpp"

#include "settingscore/MSettings.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/ValueCheck.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/level/LevelFolders.hpp"
#include "varnek/event/EventManager.hpp"
#include "varnek/files/FileStamp.hpp"
#include "varnek/files/PathText.hpp"

#include <atomic>
#include <mutex>
#include <thread>

#include <unistd.h>

namespace {

using namespace settings::core;
using namespace settings::test;

struct Attach : SharedPlace {};

TEST_F(Attach, TheGroupOfAnotherProcessReplacesTheOwnOneUntilThatEnds) {
    OtherProcess provider(publisher("provider"), steps());
    inAnotherProcess([&] {
        start("client");
        const Handle own = root()->getChild("editor");
        own->set("size", 20.0, "user");
        ASSERT_EQ("", provider.started());
        RecordedEvents events;
        SharingLog log;
        const Handle editor = attached();
        EXPECT_EQ(Array::scalar(12.0), editor->get("size"));
        EXPECT_EQ(Array::scalar(20.0), own->get("size")); // whoever holds it
        EXPECT_FALSE(own->isConnectedToTheSettingsTree());
        EXPECT_EQ((Lines{"removed editor from ", "added editor to "}), events.take());
        EXPECT_EQ((Lines{"TopLevelNodeClientTracker::AddingService",
                         "Received remote notification for editor", "Create RemoteImpl for editor",
                         "Remove real node editor", "Attach RemoteNodeImpl editor"}),
                  log.among({"TopLevel", "Received", "Create", "Remove", "Attach"}));
        std::string names;
        for (const Handle& group : root()->getChildren())
            names += group->getName() + (isRemote(*group) ? " remote, " : ", ");
        EXPECT_EQ("editor remote, shell, ", names);

        provider.kill();
        waitUntil([] { return !isRemoteNow(); });
        waitUntil([&] { return own->isConnectedToTheSettingsTree(); });
        EXPECT_TRUE(Settings::equal(own, root()->getChild("editor")));
        EXPECT_EQ(Array::scalar(20.0), size());
        EXPECT_TRUE(getRemotePublishers().empty());
        Lines told;
        waitUntil([&] {
            const Lines more = events.take();
            told.insert(told.end(), more.begin(), more.end());
            return told.size() >= 2;
        });
        EXPECT_EQ((Lines{"removed editor from ", "added editor to "}), told);
    });
}

// What was set just before is in the file, and so is what was set on a handle meanwhile once the group is
// back; what other processes have written comes in.
TEST_F(Attach, AReplacedGroupLosesNothing) {
    OtherProcess provider(publisher("provider"), steps());
    inAnotherProcess([&] {
        start("client");
        const Handle own = root()->getChild("editor");
        own->set("size", 20.0, "user");
        ASSERT_EQ("", provider.started());
        attached();
        EXPECT_TRUE(std::filesystem::exists(base / "user-client/editor.vksettings"));
        own->set("title", std::u16string(u"changed meanwhile"), "user");
        ASSERT_EQ("", provider.run("withdraw"));
        waitUntil([] { return !isRemoteNow(); });
        waitUntil([&] {
            waitForSettingsSaves();
            const Handle stored = Settings::importAsStandaloneObject(
                varnek::files::utf16FromPath(base / "user-client/editor.vksettings"), "user");
            return stored->getChild("title") != nullptr;
        });
        EXPECT_EQ(Array::scalar(20.0), size());
    });
}

// Whoever checks all values is not stopped by a group that cannot be checked here.
TEST_F(Attach, ChecksOfStoredValuesLeaveTheGroupsOfOthersOut) {
    OtherProcess provider(publisher("provider"), steps());
    inAnotherProcess([&] {
        start("client");
        ASSERT_EQ("", provider.started());
        const auto refused = [](const RefusedLevelValue& value) { ADD_FAILURE() << value.level; };
        const std::size_t own = checkStoredValues(*root()->getChild("editor"), refused);
        const std::size_t all = checkStoredValues(*root(), refused);
        EXPECT_LT(0U, own);
        EXPECT_EQ(0U, checkStoredValues(*attached(), refused));
        EXPECT_EQ(all - own, checkStoredValues(*root(), refused));
    });
}

// The file holds nothing else, so that it goes.
TEST_F(Attach, WhatIsUnsetInAReplacedGroupIsUnset) {
    OtherProcess provider(publisher("provider"), steps());
    inAnotherProcess([&] {
        start("client");
        const auto file = base / "user-client/editor.vksettings";
        const Handle own = root()->getChild("editor");
        own->set("size", 20.0, "user");
        ASSERT_EQ("", provider.started());
        attached();
        EXPECT_TRUE(std::filesystem::exists(file));
        own->unset("size", "user");
        ASSERT_EQ("", provider.run("withdraw"));
        waitUntil([&] { return !std::filesystem::exists(file); });
        EXPECT_FALSE(root()->getChild("editor")->isSet("size", "user"));
    });
}

TEST_F(Attach, FilesOfAReplacedGroupThatDidNotChangeAreLeftAlone) {
    OtherProcess provider(publisher("provider"), steps());
    inAnotherProcess([&] {
        start("client");
        std::filesystem::create_directory(base / "installation");
        ::setenv("SETTINGS_INSTALLATIONDIR", (base / "installation").c_str(), 1);
        detail::forgetLevelFolders();
        root()->getChild("editor")->set("size", 17.0, "installation");
        root()->getChild("editor")->set("title", std::u16string(u"mine"), "user");
        ASSERT_EQ("", provider.started());
        attached();
        const auto stamps = [&] {
            std::vector<varnek::files::FileStamp> all;
            for (const char* file : {"installation/editor.vksettings", "user-client/editor.vksettings"})
                all.push_back(varnek::files::FileStamp::of(base / file));
            return all;
        };
        const auto before = stamps();
        SharingLog log;
        EXPECT_TRUE(before[0].exists && before[1].exists);
        ASSERT_EQ("", provider.run("withdraw"));
        waitUntil([] { return !isRemoteNow(); });
        ASSERT_EQ("", provider.run("publish"));
        waitUntil([] { return isRemoteNow(); }); // what was to be saved of the own group is saved by now
        EXPECT_EQ(Lines{}, log.among({"Save settings file: ", "Delete settings file: "}));
        EXPECT_EQ(before, stamps());
    });
}

TEST_F(Attach, TheFirstOfTwoPublishersStaysAndTheSecondTakesOver) {
    OtherProcess first(publisher("first"), steps());
    OtherProcess second(publisher("second"), steps());
    inAnotherProcess([&] {
        start("client");
        root();
        attachRemoteGroups();
        ASSERT_EQ("", first.started());
        ASSERT_EQ("", first.run("size 50"));
        ASSERT_EQ("", second.started());
        waitUntil([] { return getRemotePublishers().size() == 2; });
        auto publishers = getRemotePublishers();
        EXPECT_EQ("editor editor", publishers[0].group + " " + publishers[1].group);
        EXPECT_NE(publishers[0].process, publishers[1].process);
        EXPECT_TRUE(publishers[0].isAttached);
        EXPECT_FALSE(publishers[1].isAttached);
        const bool firstIsFirst = size() == Array::scalar(50.0);
        const Handle before = root()->getChild("editor");
        (firstIsFirst ? first : second).kill();
        waitUntil([&] { return getRemotePublishers().size() == 1 && getRemotePublishers()[0].isAttached; });
        waitUntil([&] { return isRemoteNow() && !Settings::equal(before, root()->getChild("editor")); });
        EXPECT_EQ(Array::scalar(firstIsFirst ? 12.0 : 50.0), size());
        (firstIsFirst ? second : first).kill();
        waitUntil([] { return !isRemoteNow(); });
        EXPECT_EQ(Array::scalar(12.0), size());
    });
}

TEST_F(Attach, OfThoseThatWaitTheOneThatCameFirstTakesOver) {
    const auto waiting = [this](const std::string& who, double value) {
        return [=, this] {
            start(who);
            root()->getChild("editor")->set("size", value, "session");
        };
    };
    OtherProcess third(waiting("third", 53.0), steps());
    OtherProcess first(waiting("first", 51.0), steps());
    OtherProcess second(waiting("second", 52.0), steps());
    OtherProcess fourth(waiting("fourth", 54.0), steps());
    inAnotherProcess([&] {
        start("client");
        root();
        attachRemoteGroups();
        std::size_t count = 0;
        for (OtherProcess* const each : {&first, &second, &third, &fourth}) {
            ASSERT_EQ("", each->started());
            ASSERT_EQ("", each->run("publish"));
            ++count;
            waitUntil([&] { return getRemotePublishers().size() == count; });
        }
        EXPECT_EQ(Array::scalar(51.0), size());
        const auto isGone = [&](OtherProcess& process) {
            process.kill();
            --count;
            waitUntil([&] { return getRemotePublishers().size() == count; });
            waitUntil([&] { return isRemoteNow() == (count > 0); });
        };
        isGone(third);
        EXPECT_EQ(Array::scalar(51.0), size());
        isGone(first);
        EXPECT_EQ(Array::scalar(52.0), size());
        isGone(second);
        EXPECT_EQ(Array::scalar(54.0), size());
        isGone(fourth);
        EXPECT_EQ(Array::scalar(12.0), size());
    });
}

// It goes and comes, with the own group in between; another group of the same process stays.
TEST_F(Attach, AGroupWhoseListenersStayBehindComesAnew) {
    const auto change = [] {
        return step([] {
            const Handle editor = root()->getChild("editor");
            for (int i = 0; i < 25; ++i) // what is announced is the value before
                editor->set("size", Array::row(std::vector<double>(100'000, i)), "session");
            editor->set("size", 77.0, "session");
            root()->getChild("shell")->set("x", 8.0, "session");
        });
    };
    OtherProcess provider(publisher("provider", {"editor", "shell"}), {{"change", change}});
    inAnotherProcess([&] {
        start("client");
        ::alarm(100); // rather than wait for ever
        root();
        ASSERT_EQ("", provider.started());
        const Handle before = attached();
        const Handle shell = attached("shell");
        EXPECT_EQ(Array::scalar(12.0), before->get("size")); // now the provider knows who listens
        EXPECT_EQ(Array::scalar(7.0), shell->get("x"));
        std::mutex gate;
        std::unique_lock closed(gate);
        const varnek::event::Connection stuck = varnek::event::EventManager::instance().subscribe(
            u"settings::core::SettingsValueChangeEvent",
            [&](const auto&) { const std::lock_guard wait(gate); });
        RecordedEvents events;
        ASSERT_EQ("", provider.run("change"));
        waitUntil([&] { return isRemoteNow() && !Settings::equal(before, root()->getChild("editor")); });
        EXPECT_EQ(Array::scalar(77.0), size());
        closed.unlock();
        EXPECT_THROW(before->get("size"), exception::RemoteCallFailed);
        EXPECT_TRUE(Settings::equal(shell, root()->getChild("shell")));
        EXPECT_EQ(Array::scalar(8.0), shell->get("x"));
        Lines moves;
        waitUntil([&] {
            for (const std::string& line : events.take())
                if (line.find(" editor ") != std::string::npos)
                    moves.push_back(line);
            return moves.size() >= 4;
        });
        const Lines each{"removed editor from ", "added editor to "};
        EXPECT_EQ(each, Lines(moves.end() - 4, moves.end() - 2));
        EXPECT_EQ(each, Lines(moves.end() - 2, moves.end()));
        stuck.disconnectAndWait();
    });
}

TEST_F(Attach, APublicationThatComesAgain) {
    OtherProcess provider(publisher("provider"), steps());
    inAnotherProcess([&] {
        start("client");
        ASSERT_EQ("", provider.started());
        const Handle editor = attached();
        std::vector<std::size_t> held;
        for (int round = 0; round < times(200, 5); ++round) {
            ASSERT_EQ("", provider.run("withdraw"));
            waitUntil([] { return !isRemoteNow(); });
            ASSERT_EQ("", provider.run("publish"));
            waitUntil([] { return isRemoteNow(); });
            EXPECT_EQ(Array::scalar(12.0), size());
            held.push_back(namesIn("/proc/self/fd").size() + namesIn("/proc/self/task").size());
        }
        EXPECT_EQ(held[1], held.back()); // neither files nor threads
        EXPECT_THROW(editor->get("size"), exception::RemoteCallFailed);
    });
}

// The groups of others stand in the tree that takes the place of this one, too.
TEST_F(Attach, AnotherTreeHasTheGroupsAsWell) {
    OtherProcess provider(publisher("provider"), steps());
    inAnotherProcess([&] {
        start("client");
        ASSERT_EQ("", provider.started());
        attached();
        const auto fresh = MSettings::reset();
        EXPECT_TRUE(isRemote(*fresh->getChild("editor")));
        EXPECT_EQ(Array::scalar(12.0), fresh->getChild("editor")->get("size"));
        provider.kill();
        waitUntil([] { return !isRemoteNow(); });
        EXPECT_EQ(Array::scalar(12.0), size());
    });
}

// The new tree reads what is in the files: what was set on the own group meanwhile is there by then.
TEST_F(Attach, AnotherTreeHasWhatWasSetInAReplacedGroup) {
    OtherProcess provider(publisher("provider"), steps());
    inAnotherProcess([&] {
        start("client");
        const Handle own = root()->getChild("editor");
        own->set("size", 20.0, "user");
        ASSERT_EQ("", provider.started());
        attached();
        own->set("size", 41.0, "user");
        MSettings::reset();
        EXPECT_TRUE(isRemoteNow());
        provider.kill();
        waitUntil([] { return !isRemoteNow(); });
        EXPECT_EQ(Array::scalar(41.0), size());
    });
}

TEST_F(Attach, ATreeThatCannotBeReplacedKeepsTheGroups) {
    OtherProcess provider(publisher("provider"), steps());
    inAnotherProcess([&] {
        start("client");
        const Handle own = root()->getChild("editor");
        ASSERT_EQ("", provider.started());
        attached();
        own->set("size", 41.0, "user");
        writeBytes(locationFileOf(base / "factory"), "no JSON");
        EXPECT_THROW(MSettings::reset(), MalformedLocationFile);
        EXPECT_TRUE(isRemoteNow());
        EXPECT_EQ(Array::scalar(12.0), size());
        provider.kill();
        waitUntil([] { return !isRemoteNow(); });
        EXPECT_TRUE(Settings::equal(own, root()->getChild("editor")));
        EXPECT_EQ(Array::scalar(41.0), size());
    });
}

// Its endpoint stays; whoever looks for groups does not wait for it.
TEST_F(Attach, AProcessThatPublishesNothingAnyMoreIsNotWaitedFor) {
    OtherProcess former(publisher("former"), steps());
    OtherProcess provider(publisher("provider", {"shell"}), steps());
    inAnotherProcess([&] {
        start("client");
        ASSERT_EQ("", former.started());
        ASSERT_EQ("", former.run("withdraw"));
        ASSERT_EQ("", provider.started());
        root();
        attachRemoteGroups();
        constexpr std::chrono::seconds limit(20);
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_TRUE(awaitRemoteGroups({}, limit));
        EXPECT_TRUE(isRemote(*root()->getChild("shell")));
        EXPECT_GT(limit, std::chrono::steady_clock::now() - begin);
        EXPECT_TRUE(getUnusablePublishers().empty());
    });
}

// Readers look the group up while it comes and goes.
TEST_F(Attach, LookUpsFindAGroupAtAnyMoment) {
    OtherProcess provider(publisher("provider"), steps());
    inAnotherProcess([&] {
        start("client");
        ASSERT_EQ("", provider.started());
        attached();
        std::atomic<bool> isOver{false};
        std::atomic<int> missing{0}, read{0};
        std::vector<std::thread> readers;
        for (int i = 0; i < 2; ++i)
            readers.emplace_back([&] {
                while (!isOver) {
                    const Handle editor = root()->getChild("editor");
                    if (editor == nullptr) {
                        ++missing;
                        continue;
                    }
                    try {
                        EXPECT_EQ(Array::scalar(12.0), editor->get("size"));
                        ++read;
                    } catch (const exception::RemoteCallFailed&) { // it went meanwhile
                    }
                }
            });
        for (int round = 0; round < times(500, 10); ++round) {
            EXPECT_EQ("", provider.run("withdraw"));
            waitUntil([] { return !isRemoteNow(); });
            EXPECT_EQ("", provider.run("publish"));
            waitUntil([] { return isRemoteNow(); });
        }
        isOver = true;
        for (std::thread& reader : readers)
            reader.join();
        EXPECT_EQ(0, missing);
        EXPECT_GT(read, 0);
    });
}

// A process that dies in the middle of calls costs its callers an error each.
TEST_F(Attach, AProcessThatDiesDuringCalls) {
    const auto call = [] {
        const Handle editor = root()->getChild("editor");
        if (!isRemote(*editor))
            return std::string(); // it died before the first call
        try {
            for (;;)
                if (editor->get("size") != Array::scalar(12.0))
                    return std::string("another value");
        } catch (const exception::RemoteCallFailed& failure) {
            if (failure.getFault() != exception::RemoteCallFailed::Fault::disconnected)
                return std::string(failure.what());
        }
        waitUntil([] { return !isRemoteNow(); });
        return std::string(isRemoteNow() ? "still there" : "");
    };
    const auto attach = [this] { return attached() == nullptr || !isRemoteNow() ? "not attached" : ""; };
    OtherProcess client([this] { start("client"); }, {{"attach", attach}, {"call", call}});
    ASSERT_EQ("", client.started());
    for (int round = 0; round < times(1000, 3) && !HasFailure(); ++round) {
        OtherProcess provider(publisher("provider"), steps());
        ASSERT_EQ("", provider.started());
        ASSERT_EQ("", client.run("attach"));
        client.begin("call");
        for (int i = 0; i < round * 37 % 1000; ++i)
            std::this_thread::yield();
        provider.kill();
        EXPECT_EQ("", client.result());
    }
}

} // namespace
