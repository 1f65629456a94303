#include "spf/Limits.hpp"
#include "spf/PeerProcess.hpp"

#include <condition_variable>
#include <map>
#include <mutex>

namespace varnek::spf::test {
namespace {

using data::Array;
using namespace std::chrono_literals;

class RemoteCalls : public RemoteServices {
  protected:
    PeerProcess peer{home.folder()};

    std::shared_ptr<Invokable> published(const std::string& name) {
        EXPECT_EQ("ok", peer.ask("publish " + name));
        return find(name);
    }
};

TEST_F(RemoteCalls, CarryValuesBothWays) {
    const auto remote = published("values");
    const Value::List arguments{Value(),
                                true,
                                -1,
                                std::int64_t{1} << 62,
                                "text \xC3\xA9",
                                Array::row<double>({1.5, -0.0}),
                                Value::List{Value::List{}, Array::text(u"\xD800")}};
    EXPECT_EQ(Value(arguments), remote->invoke("echo", arguments).get());
    EXPECT_EQ(7, remote->call<int>("echo", {7}, [](const Value& value) {
        return static_cast<int>(value.asList().at(0).asInteger());
    }));
}

TEST_F(RemoteCalls, FailuresOfTheProviderArriveAsTheyAre) {
    const auto remote = published("failures");
    try {
        remote->invoke("fail", {}).get();
        FAIL();
    } catch (const ProviderFailure& failure) {
        EXPECT_EQ("test::Failure", failure.type());
        EXPECT_STREQ("it failed", failure.what());
        EXPECT_EQ((Value::List{Value("field"), Value(7)}), failure.fields());
    }
    try {
        remote->invoke("throw", {}).get();
        FAIL();
    } catch (const ProviderFailure& failure) {
        EXPECT_EQ("", failure.type());
        EXPECT_STREQ("something else", failure.what());
    }
    EXPECT_EQ("failure ", outcome(remote->invoke("odd", {})));
    EXPECT_EQ("malformed", outcome(remote->invoke("failRemote", {})));
    EXPECT_EQ("unknownMethod", outcome(remote->invoke("nonsense", {})));
    struct Polymorphic {
        virtual ~Polymorphic() = default;
    };
    try {
        remote->call<Polymorphic>("echo", {}, [](const Value&) { return Polymorphic(); });
        FAIL();
    } catch (const std::logic_error& failure) {
        EXPECT_STREQ("Polymorphic types are not supported with futures", failure.what());
    }
}

TEST_F(RemoteCalls, SizesEndAtTheirLimits) {
    const auto remote = published("sizes");
    const auto bytes = [](std::size_t count) { return Array::row(std::vector<std::uint8_t>(count)); };
    constexpr std::size_t around = 256; // what describes the bytes
    EXPECT_EQ("value", outcome(remote->invoke("echo", {bytes(limits::requestBytes - around)})));
    const auto over = remote->invoke("echo", {bytes(limits::requestBytes)});
    EXPECT_EQ(std::future_status::ready, over.wait_for(0s));
    EXPECT_EQ("tooLarge", outcome(remote->invoke("echo", {bytes(limits::requestBytes)})));
    const auto size = [&](std::size_t count) {
        return outcome(remote->invoke("size", {static_cast<std::int64_t>(count)}, patience));
    };
    EXPECT_EQ("value", size(limits::replyBytes - around));
    EXPECT_EQ("tooLarge", size(limits::replyBytes));
    Value deep;
    for (std::size_t i = 0; i <= limits::depth; ++i)
        deep = Value::List{deep};
    EXPECT_EQ("tooLarge", outcome(remote->invoke("echo", {deep})));
    EXPECT_EQ("value", outcome(remote->invoke("echo", {}))); // on the same connection
}

/// One client keeps all workers that it can get; neither its first call nor another client waits for them.
TEST_F(RemoteCalls, SlowCallsHoldUpNobody) {
    const auto remote = published("slow");
    std::vector<std::future<Value>> slow;
    slow.push_back(remote->invoke("block", {}, patience));
    EXPECT_EQ("value", outcome(remote->invoke("echo", {})));
    while (slow.size() < limits::sharedWorkers + 8)
        slow.push_back(remote->invoke("block", {}, patience));
    PeerProcess other(home.folder());
    EXPECT_EQ("ok", other.ask("discover"));
    ASSERT_TRUE(comesTrue([&] { return other.ask("found slow") == "yes"; }));
    EXPECT_EQ("ok", other.ask("call slow echo"));
    EXPECT_TRUE(comesTrue([&] { // those that wait for a worker are released after the others
        return other.ask("call slow release") == "ok" &&
               std::all_of(slow.begin(), slow.end(),
                           [](const auto& call) { return call.wait_for(0s) == std::future_status::ready; });
    }));
    for (auto& call : slow)
        EXPECT_EQ("value", outcome(std::move(call)));
}

/// Many calls and announcements at once, and the end of all of them.
TEST_F(RemoteCalls, BurstsAreBounded) {
    const auto remote = published("burst");
    std::map<std::string, std::size_t> ends;
    std::vector<std::future<Value>> calls;
    for (std::size_t i = 0; i < 20 * limits::callsOfConnection; ++i)
        calls.push_back(remote->invoke("block", {}, patience));
    peer.kill(SIGKILL);
    for (auto& call : calls)
        ++ends[outcome(std::move(call))];
    EXPECT_EQ(calls.size(), ends["refused"] + ends["disconnected"]);
    EXPECT_LE(limits::callsOfConnection, ends["disconnected"]);
}

TEST_F(RemoteCalls, EndWithTheirTime) {
    const auto remote = published("stopped");
    EXPECT_EQ("timedOut", outcome(remote->invoke("block", {}, 20ms)));
    EXPECT_EQ("timedOut", outcome(remote->invoke("echo", {}, 0ms)));
    peer.kill(SIGSTOP);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ("timedOut", outcome(remote->invoke("echo", {}, 100ms)));
    EXPECT_LE(100ms, std::chrono::steady_clock::now() - begin);
    EXPECT_TRUE(remote->isAlive());
    peer.kill(SIGCONT);
    EXPECT_EQ("value", outcome(remote->invoke("echo", {}, patience)));
}

TEST_F(RemoteCalls, ServicesComeAndGoWithTheirProperties) {
    const auto first = published("first");
    const auto second = published("second");
    const auto reference = services("first").at(0);
    const auto text = [&](const char* key) {
        return cppmicroservices::any_cast<std::string>(reference.GetProperty(key));
    };
    EXPECT_EQ("first", text("spf.servicename"));
    EXPECT_EQ("first", text("spf.serviceproperty.group"));
    EXPECT_EQ("peer", text("spf.serviceproperty.host"));
    EXPECT_EQ(peer.ask("process"), text("spf.process"));
    EXPECT_NE(ServiceRuntime::instance().processName(), text("spf.process"));
    EXPECT_EQ(
        R"({"dependencies":[],"description":"","extension":"","name":"first","serviceinterfaces":[],)"
        R"("serviceproperty":{"group":"first"},"spfruntime":"","version":{"major":1,"minor":0,"patch":0}})",
        text("spf.description"));
    EXPECT_EQ("ok", peer.ask("withdraw first"));
    EXPECT_TRUE(comesTrue([&] { return services("first").empty(); }));
    EXPECT_FALSE(first->isAlive());
    EXPECT_EQ("disconnected", outcome(first->invoke("echo", {})));
    EXPECT_EQ("value", outcome(second->invoke("echo", {})));
    peer.tell("exit");
    EXPECT_EQ(3, peer.wait());
    EXPECT_TRUE(comesTrue([&] { return services("second").empty(); }));
    EXPECT_EQ("disconnected", outcome(second->invoke("echo", {})));
}

/// A process finds its own publication by its provider, not by a remote service.
// Who has answered is known, whether or not there is anything to be found.
TEST_F(RemoteCalls, AnAnswerMayBeThatNothingIsPublished) {
    constexpr int several = 50;
    const auto name = [](int i) { return "service" + std::to_string(i); };
    for (int i = 0; i < several; ++i)
        ASSERT_EQ("ok", peer.ask("publish " + name(i)));
    {
        PeerProcess client(home.folder());
        EXPECT_EQ("ok", client.ask("discover"));
        EXPECT_EQ("1 50", client.ask("answering"));
    }
    for (int i = 0; i < several; ++i)
        ASSERT_EQ("ok", peer.ask("withdraw " + name(i)));
    PeerProcess client(home.folder());
    EXPECT_EQ("ok", client.ask("discover"));
    EXPECT_EQ("1 0", client.ask("answering"));
    EXPECT_EQ("none", client.ask("unusable"));
}

TEST_F(RemoteCalls, PublishesToItsOwnFrameworkToo) {
    struct Nothing final : ServiceProvider {
        Value invoke(const std::string&, const Value::List&) override { return {}; }
    };
    const auto configuration =
        SPFConfiguration::Builder().addServicePublisher("rpcservicepublisher", {"localServiceOnly"}).build();
    auto& runtime = ServiceRuntime::instance();
    auto publication =
        runtime.publish(home.context, configuration, "own", {"own"}, std::make_shared<Nothing>());
    const auto own = home.context.GetServiceReferences<ServiceProvider>("(spf.servicename=own)");
    ASSERT_EQ(1u, own.size());
    EXPECT_EQ(runtime.processName(),
              cppmicroservices::any_cast<std::string>(own[0].GetProperty(property::process)));
    EXPECT_EQ("ok", peer.ask("discover"));
    EXPECT_TRUE(comesTrue([&] { return peer.ask("found own") == "yes"; }));
    EXPECT_EQ("ok", peer.ask("call own anything"));
    EXPECT_TRUE(services("own").empty());
    publication.reset();
    EXPECT_TRUE(home.context.GetServiceReferences<ServiceProvider>("(spf.servicename=own)").empty());
    EXPECT_TRUE(comesTrue([&] { return peer.ask("found own") == "no"; }));
    EXPECT_THROW(
        runtime.publish(home.context, configuration, "late", {"late"}, std::make_shared<Nothing>(), 0ms),
        PublicationTimeout);
    EXPECT_THROW(runtime.publish(home.context, configuration, "none", {"none"}, nullptr),
                 std::invalid_argument);
    EXPECT_THROW(runtime.publish({}, configuration, "no context", {"x"}, std::make_shared<Nothing>()),
                 std::exception);
}

TEST_F(RemoteCalls, ConfigurationsNameTheKnownPublisher) {
    EXPECT_THROW(SPFConfiguration::Builder().build(), std::invalid_argument);
    EXPECT_THROW(SPFConfiguration::Builder().addServicePublisher("other", {"localServiceOnly"}).build(),
                 std::invalid_argument);
    EXPECT_THROW(SPFConfiguration::Builder().addServicePublisher("rpcservicepublisher", {}).build(),
                 std::invalid_argument);
}

/// Clients would not enter them.
TEST_F(RemoteCalls, ServicesBeyondTheLimitAreRefused) {
    for (std::size_t i = 0; i < limits::services; ++i)
        ASSERT_EQ("ok", peer.ask("publish many" + std::to_string(i)));
    EXPECT_EQ("RemoteError 3", peer.ask("publish beyond"));
    EXPECT_EQ("ok", peer.ask("withdraw many0"));
    EXPECT_NE(nullptr, published("beyond"));
    EXPECT_NE(nullptr, find("many" + std::to_string(limits::services - 1)));
}

TEST_F(RemoteCalls, TopicsHaveShortNames) {
    const auto remote = published("topics");
    const auto listen = [&](std::size_t size) { return remote->listen(std::string(size, 'x'), {}); };
    EXPECT_THROW(listen(limits::topicBytes + 1), RemoteError);
    listen(limits::topicBytes);
    EXPECT_EQ("value", outcome(remote->invoke("echo", {})));
}

/// Announcements that a listener has heard.
struct Heard {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::int64_t> numbers;

    Invokable::Listener listener() {
        return [this](const Value::List& announcement) {
            const std::lock_guard lock(mutex);
            numbers.push_back(announcement.at(0).asInteger());
            changed.notify_all();
        };
    }
    bool reaches(std::size_t count) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, patience, [&] { return numbers.size() >= count; });
    }
};

TEST_F(RemoteCalls, AnnouncementsComeInOrderUntilTheSubscriptionEnds) {
    const auto remote = published("teller");
    Heard heard, others;
    auto subscription = remote->listen("topic", heard.listener());
    const auto other = remote->listen("another", others.listener());
    EXPECT_EQ("value", outcome(remote->invoke("echo", {}))); // so the provider knows of the listeners
    EXPECT_EQ("ok", peer.ask("announce teller topic 5000"));
    ASSERT_TRUE(heard.reaches(5000));
    for (std::int64_t i = 0; i < 5000; ++i)
        ASSERT_EQ(i, heard.numbers[static_cast<std::size_t>(i)]);
    subscription = Subscription();
    EXPECT_EQ("ok", peer.ask("announce teller topic 10"));
    EXPECT_EQ("ok", peer.ask("announce teller another 1"));
    ASSERT_TRUE(others.reaches(1));
    EXPECT_EQ(5000u, heard.numbers.size());
}

/// It is told nothing more, and the service comes anew. The connection and what else goes over it stays.
TEST_F(RemoteCalls, AListenerThatStaysBehindLosesItsServiceOnly) {
    const auto remote = published("flood");
    const auto other = published("calm");
    auto call = other->invoke("block", {}, patience);
    std::mutex gate;
    std::unique_lock closed(gate);
    const auto subscription =
        remote->listen("topic", [&](const Value::List&) { const std::lock_guard wait(gate); });
    EXPECT_EQ("value", outcome(remote->invoke("echo", {})));
    EXPECT_EQ("ok", peer.ask("announce flood topic " +
                             std::to_string(limits::announcementBytes / limits::announcementLeast + 1)));
    EXPECT_TRUE(comesTrue([&] { return !remote->isAlive(); }));
    const auto again = find("flood");
    ASSERT_NE(nullptr, again);
    EXPECT_EQ("value", outcome(again->invoke("echo", {})));
    EXPECT_TRUE(other->isAlive());
    EXPECT_EQ("value", outcome(other->invoke("release", {})));
    EXPECT_EQ("value", outcome(std::move(call)));
    closed.unlock();
}

/// However large they are: what is on its way already does not go with the service.
TEST_F(RemoteCalls, TheServiceOfWhichMostWaitsIsTheOneThatIsLost) {
    for (const std::size_t bytes : {std::size_t{0}, std::size_t{100'000}}) {
        const std::size_t each = std::max(bytes + 100, limits::announcementLeast);
        const auto text = std::to_string(limits::announcementBytes / each - 10);
        const auto loud = published("loud");
        const auto quiet = published("quiet");
        std::mutex gate;
        std::unique_lock closed(gate);
        const auto stuck =
            loud->listen("topic", [&](const Value::List&) { const std::lock_guard wait(gate); });
        Heard heard;
        const auto subscription = quiet->listen("topic", heard.listener());
        EXPECT_EQ("value", outcome(quiet->invoke("echo", {})));
        EXPECT_EQ("ok", peer.ask("announce loud topic " + text + " " + std::to_string(bytes)));
        EXPECT_EQ("ok", peer.ask("announce quiet topic 20 " + std::to_string(bytes)));
        EXPECT_TRUE(comesTrue([&] { return !loud->isAlive() || !quiet->isAlive(); }));
        EXPECT_TRUE(quiet->isAlive());
        closed.unlock();
        EXPECT_TRUE(heard.reaches(20));
        EXPECT_TRUE(quiet->isAlive());
        EXPECT_FALSE(loud->isAlive());
        for (const char* name : {"loud", "quiet"}) {
            EXPECT_EQ("ok", peer.ask(std::string("withdraw ") + name));
            EXPECT_TRUE(comesTrue([&] { return services(name).empty(); }));
        }
    }
}

} // namespace
} // namespace varnek::spf::test
