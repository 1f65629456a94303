// Groups of other processes come and go below the root of this one.

#include "remote/SharedPlace.hpp"

#include "settingscore/MSettings.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/plugin/ServiceFramework.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/root/RootStates.hpp"
#include "settingscore/spf/SpfSettingsServiceProvider.hpp"
#include "settingscore/spf/TopLevelNodeClientTracker.hpp"
#include "spf/ServiceRuntime.hpp"
#include "support/LogLines.hpp"
#include "varnek/files/PathText.hpp"
#include "varnek/log/Channel.hpp"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>

namespace {

using namespace settings::core;
using namespace settings::test;
namespace spf = settings::spf;
using Lines = std::vector<std::string>;

std::string step(const std::function<void()>& work) {
    work();
    return "";
}

const OtherProcess::Steps& steps() {
    static const OtherProcess::Steps all = {
        {"withdraw", [] { return step([] {
                              withdrawTopLevelGroups({"editor", "no such group"});
                          }); }},
        {"publish", [] { return step([] { publishTopLevelGroups({"editor"}); }); }},
        {"size 50",
         [] { return step([] { SharedPlace::root()->getChild("editor")->set("size", 50.0, "session"); }); }},
    };
    return all;
}

Array size() {
    return SharedPlace::root()->getChild("editor")->get("size");
}

bool isRemoteNow() {
    return isRemote(*SharedPlace::root()->getChild("editor"));
}

/// What the two channels of attaching say, from any thread.
class SharingLog {
  public:
    SharingLog() {
        for (const char* channel : channels)
            varnek::log::setLevel(channel, varnek::log::Severity::info);
        varnek::log::setSink([this](std::string_view from, varnek::log::Severity, std::string_view text) {
            const std::lock_guard lock(mutex_);
            if (from == channels[0] || from == channels[1])
                lines_.emplace_back(text);
        });
    }
    SharingLog(const SharingLog&) = delete;
    SharingLog& operator=(const SharingLog&) = delete;
    ~SharingLog() { varnek::log::setSink({}); }

    /// The lines that begin with one of these.
    Lines among(const Lines& beginnings) const {
        const std::lock_guard lock(mutex_);
        Lines found;
        for (const std::string& line : lines_)
            if (std::any_of(beginnings.begin(), beginnings.end(),
                            [&](const std::string& beginning) { return line.starts_with(beginning); }))
                found.push_back(line);
        return found;
    }

  private:
    static constexpr const char* channels[] = {"settings::core::spf", "settings::core::settingsImplRoot"};
    mutable std::mutex mutex_;
    Lines lines_;
};

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

TEST_F(Attach, AProcessDoesNotAttachWhatItPublishesItself) {
    OtherProcess other(publisher("other"), steps());
    inAnotherProcess([&] {
        start("client");
        SharingLog log;
        publishTopLevelGroups({"editor", "shell"});
        EXPECT_EQ((Lines{"Successfully registered SPF service editor",
                         "Successfully registered SPF service shell"}),
                  log.among({"Successfully"}));
        EXPECT_EQ((Lines{"editor", "shell"}), getPublishedTopLevelGroups());
        attachRemoteGroups();
        ASSERT_EQ("", other.started());
        ASSERT_EQ("", other.run("size 50"));
        waitUntil([] { return getRemotePublishers().size() == 1; });
        EXPECT_FALSE(getRemotePublishers()[0].isAttached);
        EXPECT_FALSE(isRemoteNow());
        withdrawTopLevelGroups({"editor"});
        waitUntil([] { return isRemoteNow(); });
        EXPECT_EQ(Array::scalar(50.0), size());
        publishTopLevelGroups({"editor"}); // its own group, while the other one stays
        EXPECT_TRUE(isRemoteNow());
        EXPECT_EQ((Lines{"editor", "shell"}), getPublishedTopLevelGroups());
        withdrawTopLevelGroups(getPublishedTopLevelGroups());
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

TEST_F(Attach, PublishingFailsInWords) {
    inAnotherProcess([&] {
        start("client");
        const auto failing = [](const Lines& groups, std::chrono::milliseconds limit) {
            try {
                publishTopLevelGroups(groups, limit);
            } catch (const std::exception& failure) {
                return classOf(failure) + ": " + failure.what();
            }
            return std::string("nothing");
        };
        SharingLog log;
        EXPECT_EQ("NoSuchNode: The sub Settings node does not exist.",
                  failing({"editor", "nothing"}, std::chrono::seconds(5)));
        EXPECT_TRUE(getPublishedTopLevelGroups().empty());
        EXPECT_EQ("ServicePublishTimeout: Timeout publishing services",
                  failing({"editor"}, std::chrono::milliseconds(0)));
        EXPECT_EQ(Lines{"Failed to register service editor"}, log.among({"Failed"}));
        EXPECT_TRUE(getPublishedTopLevelGroups().empty());
    });
    inAnotherProcess([&] {
        start("client");
        ::setenv("XDG_RUNTIME_DIR", (base / "blocked").c_str(), 1);
        std::filesystem::create_directory(base / "blocked");
        std::filesystem::permissions(base / "blocked", std::filesystem::perms::owner_all);
        writeBytes(base / "blocked/varnek-spf", "in the way");
        SharingLog log;
        try {
            publishTopLevelGroups({"shell", "editor"});
            ADD_FAILURE();
        } catch (const exception::SettingsException& failure) {
            EXPECT_TRUE(std::string(failure.what()).starts_with("Failed to publish service: "))
                << failure.what();
        }
        EXPECT_EQ(Lines{"Failed to register service shell"}, log.among({"Failed"}));
    });
}

/// A service that is none of ours, or is broken.
struct SilentProvider : varnek::spf::ServiceProvider {
    varnek::spf::Value invoke(const std::string& method, const varnek::spf::Value::List&) override {
        throw varnek::spf::RemoteError(varnek::spf::RemoteErrorKind::unknownMethod, method);
    }
};

std::function<void()> publishing(const SharedPlace& place,
                                 const std::map<std::string, std::string>& properties) {
    return [&place, properties] {
        place.start("provider");
        varnek::spf::ServiceDescription description;
        description.name = "odd";
        description.serviceProperties = properties;
        static std::vector<std::unique_ptr<varnek::spf::Publication>> publications;
        publications.push_back(varnek::spf::ServiceRuntime::instance().publish(
            serviceContext(),
            varnek::spf::SPFConfiguration::Builder()
                .addServicePublisher("rpcservicepublisher", {"localServiceOnly"})
                .build(),
            spf::publisherId, description, std::make_shared<SilentProvider>()));
    };
}

TEST_F(Attach, AServiceWithoutTheNameOfAGroupIsLeftAlone) {
    OtherProcess odd(publishing(*this, {{"another", "property"}}), {});
    OtherProcess provider(publisher("provider"), steps());
    inAnotherProcess([&] {
        start("client");
        root();
        SharingLog log;
        ASSERT_EQ("", odd.started());
        ASSERT_EQ("", provider.started());
        attached();
        waitUntil([&] { return !log.among({"Exception caught"}).empty(); });
        EXPECT_EQ(Lines{"Exception caught: Missing property: spf.serviceproperty.toplevelnode"},
                  log.among({"Exception caught"}));
    });
}

struct NobodyThere : varnek::spf::RemoteService {
    std::shared_ptr<varnek::spf::Invokable> invokable() const override { return nullptr; }
};

TEST_F(Attach, TheTrackerIsMadeOnceAndTakesWhatCanBeCalled) {
    inAnotherProcess([&] {
        start("client");
        SharingLog log;
        root();
        MSettings::reset();
        EXPECT_EQ(Lines{"Create the remote top-level nodes tracker"}, log.among({"Create the remote"}));
        const auto offer = [&] {
            cppmicroservices::ServiceProperties properties;
            properties[varnek::spf::property::serviceName] = std::string(spf::publisherId);
            properties[varnek::spf::property::process] = std::string("another one");
            properties[std::string(varnek::spf::property::serviceProperty) + spf::groupProperty] =
                std::string("editor");
            serviceContext().RegisterService<varnek::spf::RemoteService>(std::make_shared<NobodyThere>(),
                                                                         properties);
        };
        offer();
        EXPECT_EQ(Lines{"Exception caught: Missing invokable: editor"}, log.among({"Exception"}));
        EXPECT_TRUE(getRemotePublishers().empty());
        EXPECT_FALSE(isRemoteNow());
    });
}

TEST_F(Attach, ANameThatDiffersByCaseOnlyIsLeftAlone) {
    const auto addTop = [](const char* name) { root()->addGroup(name, true, false, "session"); };
    OtherProcess provider(publisher("provider", {"notes", "editor"}, [&] { addTop("notes"); }), steps());
    inAnotherProcess([&] {
        start("client");
        addTop("Notes");
        ASSERT_EQ("", provider.started());
        SharingLog log;
        attached("editor");
        waitUntil([] { return getRemotePublishers().size() == 2; });
        EXPECT_EQ(
            Lines{"Exception caught: The product name has already existed. Product name cannot only vary "
                  "by case."},
            log.among({"Exception"}));
        EXPECT_EQ(nullptr, root()->getChild("notes"));
        EXPECT_FALSE(isRemote(*root()->getChild("Notes")));
    });
}

TEST_F(Attach, AProcessThatServesNothingOrTellsNothing) {
    OtherProcess odd(publishing(*this, {{"toplevelnode", "editor"}}), {});
    inAnotherProcess([&] {
        start("client");
        ASSERT_EQ("", odd.started());
        const Handle editor = attached();
        const auto failing = [](const std::function<void()>& operation) {
            try {
                operation();
            } catch (const std::exception& failure) {
                return classOf(failure);
            }
            return std::string("nothing");
        };
        const auto node = detail::SettingsAccess::mutableNode(*editor);
        EXPECT_EQ("RemoteCallFailed", failing([&] { editor->get("size"); }));
        EXPECT_EQ("LoadingUserSettingsRemotelyIsNotSupported",
                  failing([&] { node->loadUserSettingsOncePerPrefdir(); }));
        EXPECT_EQ("RemoteNodesDoNotSynchronizeWithVCOSTree", failing([&] { node->needsSyncWithVCOSTree(); }));
        EXPECT_EQ("RemoteNodesDoNotSynchronizeWithVCOSTree",
                  failing([&] { node->setSyncWithVCOSTree(true); }));
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
