// What a process publishes, what it takes of others, and what it leaves alone.

#include "remote/SharedPlace.hpp"
#include "remote/SharingLog.hpp"

#include "settingscore/MSettings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/plugin/ServiceFramework.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/root/SettingsImplRoot.hpp"
#include "settingscore/spf/SettingsRemoteImpl.hpp"
#include "settingscore/spf/TopLevelNodeClientTracker.hpp"
#include "spf/ServiceRuntime.hpp"
#include "json/Parser.hpp"
#include "json/Writer.hpp"

#include <map>
#include <memory>

namespace {

using namespace settings::core;
using namespace settings::test;
namespace spf = settings::spf;

struct Publishing : SharedPlace {};

TEST_F(Publishing, AProcessDoesNotAttachWhatItPublishesItself) {
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
        RecordedEvents events;
        publishTopLevelGroups({"editor"}); // its own group, which is back for that
        EXPECT_FALSE(isRemoteNow());
        EXPECT_FALSE(getRemotePublishers()[0].isAttached);
        EXPECT_EQ(Array::scalar(12.0), size());
        EXPECT_EQ((Lines{"removed editor from ", "added editor to "}), events.take());
        EXPECT_EQ((Lines{"editor", "shell"}), getPublishedTopLevelGroups());
        withdrawTopLevelGroups(getPublishedTopLevelGroups());
    });
}

TEST_F(Publishing, PublishingFailsInWords) {
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

/// Replies with what nobody has asked for.
struct OddProvider : varnek::spf::ServiceProvider {
    using Value = varnek::spf::Value;
    Value invoke(const std::string& method, const Value::List&) override {
        if (method == "getChildrenNames")
            return Value::List{"a name without flags"};
        return Value::List{Value::List{}};
    }
};

template <class Provider = SilentProvider>
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
            spf::publisherId, description, std::make_shared<Provider>()));
    };
}

TEST_F(Publishing, AServiceWithoutTheNameOfAGroupIsLeftAlone) {
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

TEST_F(Publishing, TheTrackerIsMadeOnceAndTakesWhatCanBeCalled) {
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

TEST_F(Publishing, ANameThatDiffersByCaseOnlyIsLeftAlone) {
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

TEST_F(Publishing, AProcessThatRepliesWithSomethingElse) {
    OtherProcess odd(publishing<OddProvider>(*this, {{"toplevelnode", "editor"}}), {});
    inAnotherProcess([&] {
        start("client");
        ASSERT_EQ("", odd.started());
        const Handle editor = attached();
        const auto node = detail::SettingsAccess::mutableNode(*editor);
        const auto& remote = dynamic_cast<const spf::SettingsRemoteImpl&>(*node);
        for (const auto& operation : std::vector<std::function<void()>>{
                 [&] { editor->get("size"); }, [&] { editor->isSet("size", "user"); },
                 [&] { editor->getChild("font"); }, [&] { editor->getChildren(); },
                 [&] { editor->isVisible(); }, [&] { editor->isReadOnly(); }, [&] { editor->isLeafNode(); },
                 [&] { editor->isRoot(); }, [&] { remote.getParentFullName(); },
                 [&] { node->needsSyncWithVCOSTree(); }})
            try {
                operation();
                ADD_FAILURE();
            } catch (const exception::RemoteCallFailed& failure) {
                EXPECT_EQ(exception::RemoteCallFailed::Fault::malformed, failure.getFault())
                    << failure.what();
            }
    });
}

TEST_F(Publishing, TheServiceSaysWhatItIs) {
    inAnotherProcess([&] {
        start("client");
        publishTopLevelGroups({"editor"});
        const auto& rootNode = dynamic_cast<const detail::SettingsImplRoot&>(
            *detail::SettingsAccess::mutableNode(*root())->unwrap());
        const auto configuration = rootNode.serviceConfiguration();
        ASSERT_NE(nullptr, configuration);
        EXPECT_EQ((std::vector<varnek::spf::ServicePublisher>{{"rpcservicepublisher", {"localServiceOnly"}}}),
                  configuration->publishers());
        const auto services = serviceContext().GetServiceReferences<varnek::spf::ServiceProvider>();
        ASSERT_EQ(1U, services.size());
        const auto text = [&](const std::string& key) { return services[0].GetProperty(key).ToString(); };
        EXPECT_EQ("QUILLFERN_SETTINGS_PUBLISHER_ID", text("spf.servicename"));
        EXPECT_EQ("editor", text("spf.serviceproperty.toplevelnode"));
        EXPECT_EQ("settingscore", text("spf.serviceproperty.runtime"));
        const auto description = varnek::json::parseObject(text("spf.description"));
        EXPECT_EQ("editor", description.find("name")->asString());
        EXPECT_EQ("A service provider for a top-level settings node",
                  description.find("description")->asString());
        EXPECT_EQ(R"(["settings::spf::SpfSettingsServiceProvider"])",
                  varnek::json::write(*description.find("serviceinterfaces")));
        withdrawTopLevelGroups({"editor"});
        EXPECT_TRUE(serviceContext().GetServiceReferences<varnek::spf::ServiceProvider>().empty());
    });
}

TEST_F(Publishing, AProcessThatServesNothingOrTellsNothing) {
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

} // namespace
