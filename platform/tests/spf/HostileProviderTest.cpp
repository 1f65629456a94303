// Providers that tell their clients more than these can take.

#include "spf/HostilePeers.hpp"
#include "spf/Limits.hpp"
#include "spf/Messages.hpp"

#include <atomic>
#include <mutex>

namespace varnek::spf::test {
namespace {

/// A connection to a client that has asked for the endpoint and follows what it offers.
class ProviderSide {
  public:
    explicit ProviderSide(HostileProvider& provider) : connection(provider.accept()) {
        connection.send(accepted);
        connection.send(endpointAnswer([](auto results) { results.initCapTable(1)[0].setSenderHosted(0); }));
        follower_ = capabilityOfCall(0);
    }

    bool offer(std::uint64_t publication, const std::string& name, std::size_t bytes) {
        const Words service = encodeMessage(name, {std::string(bytes, 'x'), Value::List()}, 2 * bytes + 1024);
        return call(follower_, capnp::typeId<wire::Follower>(), [&](auto content) {
            auto params = content.template initAs<wire::Follower::OfferParams>();
            params.setPublication(publication);
            params.setService(service.asBytes());
        });
    }
    bool withdraw(std::uint64_t publication) {
        return call(
            follower_, capnp::typeId<wire::Follower>(),
            [&](auto content) {
                content.template initAs<wire::Follower::WithdrawParams>().setPublication(publication);
            },
            1);
    }
    bool announce(std::uint32_t listener, std::size_t bytes) {
        const Words words = encodeMessage("t", {std::string(bytes, 'x')}, 2 * bytes + 1024);
        return call(listener, capnp::typeId<wire::Listener>(), [&](auto content) {
            content.template initAs<wire::Listener::AnnounceParams>().setAnnouncement(words.asBytes());
        });
    }
    /// What the next call of a method of the endpoint passes.
    std::uint32_t capabilityOfCall(std::uint16_t method) {
        std::optional<std::uint32_t> capability;
        const auto see = [&](capnp::rpc::Message::Reader message) {
            if (message.isCall() && message.getCall().getMethodId() == method)
                capability = message.getCall().getParams().getCapTable()[0].getSenderHosted();
        };
        while (!capability && nextMessage(connection, see)) {
        }
        EXPECT_TRUE(capability);
        return capability.value_or(0);
    }

    RawConnection connection;

  private:
    template <class Fill>
    bool call(std::uint32_t target, std::uint64_t interface, Fill fill, std::uint16_t method = 0) {
        return connection.send(frame([&](auto message) {
            auto call = message.initCall();
            call.setQuestionId(question_++);
            call.initTarget().setImportedCap(target);
            call.setInterfaceId(interface);
            call.setMethodId(method);
            fill(call.initParams().getContent());
        }));
    }

    std::uint32_t question_ = 0;
    std::uint32_t follower_ = 0;
};

TEST_F(HostilePeers, ServicesOfHugeDescriptionsAreNotEntered) {
    PeerProcess client(folder);
    EXPECT_EQ("ok", client.ask("discover"));
    ASSERT_TRUE(comesTrue([&] { return client.ask("found victim") == "yes"; }));
    HostileProvider provider(folder);
    ProviderSide side(provider);
    const auto before = statusOf(client.pid(), "VmRSS:");
    const auto offers = static_cast<std::uint32_t>(times(1000, 200));
    for (std::uint32_t i = 0; i < offers; ++i)
        ASSERT_TRUE(side.offer(i, "huge", 1'000'000));
    std::size_t answered = 0;
    const auto see = [&](capnp::rpc::Message::Reader message) { answered += message.isReturn() ? 1 : 0; };
    while (answered < offers && nextMessage(side.connection, see)) {
    }
    EXPECT_EQ(offers, answered);
    EXPECT_GT(before + mayGrowBy(100 * 1024), statusOf(client.pid(), "VmRSS:"));
    EXPECT_EQ("ok", client.ask("call victim echo"));
    // A call that is larger than a request can be.
    side.offer(offers, "huge", 2 * limits::requestBytes);
    EXPECT_TRUE(side.connection.isClosed());
}

TEST_F(HostilePeers, AnnouncementsThatNobodyWaitsForEndTheirConnection) {
    HostileProvider provider(home.folder());
    ProviderSide side(provider);
    ASSERT_TRUE(side.offer(1, "loud", 10));
    const auto remote = find("loud");
    ASSERT_NE(nullptr, remote);
    std::mutex gate;
    std::unique_lock closed(gate);
    const auto subscription =
        remote->listen("t", [&](const Value::List&) { const std::lock_guard wait(gate); });
    const std::uint32_t listener = side.capabilityOfCall(2);
    bool isTaken = true;
    for (int i = 0; isTaken && i < 200; ++i)
        isTaken = side.announce(listener, 500'000);
    EXPECT_FALSE(isTaken);
    EXPECT_TRUE(comesTrue([&] { return !remote->isAlive(); }));
    closed.unlock();
}

/// What came over a connection that has ended is still to be taken.
TEST_F(HostilePeers, AProviderThatConnectsAgainMayNotTellAsMuchAgain) {
    HostileProvider provider(home.folder());
    std::mutex gate;
    std::unique_lock closed(gate);
    std::vector<Subscription> subscriptions;
    const auto announcedUntilTheEnd = [&](const std::string& name) {
        ProviderSide side(provider);
        EXPECT_TRUE(side.offer(1, name, 10));
        const auto remote = find(name);
        EXPECT_NE(nullptr, remote);
        subscriptions.push_back(
            remote->listen("t", [&](const Value::List&) { const std::lock_guard wait(gate); }));
        const std::uint32_t listener = side.capabilityOfCall(2);
        int count = 0;
        while (count < 200 && side.announce(listener, 500'000))
            ++count;
        EXPECT_TRUE(comesTrue([&] { return !remote->isAlive(); }));
        return count;
    };
    EXPECT_LT(60, announcedUntilTheEnd("first"));
    EXPECT_GT(10, announcedUntilTheEnd("second")); // of which some are on their way
    closed.unlock();
    subscriptions.clear();
    ProviderSide side(provider);
    ASSERT_TRUE(side.offer(1, "third", 10));
    const auto remote = find("third");
    ASSERT_NE(nullptr, remote);
    std::atomic<int> heard{0};
    const auto subscription = remote->listen("t", [&](const Value::List&) { ++heard; });
    const std::uint32_t listener = side.capabilityOfCall(2);
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(side.announce(listener, 500'000));
    EXPECT_TRUE(comesTrue([&] { return heard == 3; }));
    EXPECT_TRUE(remote->isAlive());
}

/// Each time it comes and goes, the trackers are to be told.
TEST_F(HostilePeers, ServicesThatComeAndGoWithoutWaitingEndTheirConnection) {
    static std::mutex gate; // the trackers may still be told at the end
    std::unique_lock closed(gate);
    auto token = home.context.AddServiceListener([](const auto&) { const std::lock_guard wait(gate); },
                                                 "(spf.servicename=fickle)");
    for (const std::size_t bytes : {std::size_t{10}, std::size_t{900'000}}) {
        const int pairs = bytes == 10 ? 1500 : 60;
        HostileProvider provider(home.folder());
        ProviderSide side(provider);
        for (int i = 0; i < pairs && side.offer(1, "fickle", bytes) && side.withdraw(1); ++i) {
        }
        EXPECT_TRUE(side.connection.isClosed()) << bytes;
        std::filesystem::remove(provider.place);
    }
    closed.unlock();
    home.context.RemoveListener(std::move(token));
}

/// The number of a service that has gone may be given to another one.
TEST_F(HostilePeers, AServiceThatCameAgainIsAnotherOne) {
    HostileProvider provider(home.folder());
    ProviderSide side(provider);
    ASSERT_TRUE(side.offer(1, "before", 10));
    const auto before = find("before");
    ASSERT_NE(nullptr, before);
    ASSERT_TRUE(side.withdraw(1));
    ASSERT_TRUE(side.offer(1, "after", 10));
    const auto after = find("after");
    ASSERT_NE(nullptr, after);
    EXPECT_FALSE(before->isAlive());
    EXPECT_EQ("disconnected", outcome(before->invoke("echo", {}, std::chrono::seconds(1))));
    const auto nothing = before->listen("before", [](const Value::List&) {});
    const auto subscription = after->listen("after", [](const Value::List&) {});
    std::string topic;
    while (
        topic.empty() && nextMessage(side.connection, [&](capnp::rpc::Message::Reader message) {
            if (!message.isCall() || message.getCall().getMethodId() != 2)
                return;
            const auto bytes =
                message.getCall().getParams().getContent().getAs<wire::Endpoint::ListenParams>().getTopic();
            topic.assign(reinterpret_cast<const char*>(bytes.begin()), bytes.size());
        })) {
    }
    EXPECT_EQ("after", topic);
}

TEST_F(HostilePeers, SubscriptionsBeyondTheLimitAreNotSent) {
    HostileProvider provider(home.folder());
    ProviderSide side(provider);
    ASSERT_TRUE(side.offer(1, "wanted", 10));
    const auto remote = find("wanted");
    ASSERT_NE(nullptr, remote);
    std::vector<Subscription> subscriptions;
    for (std::size_t i = 0; i < limits::callsOfConnection + 10; ++i)
        subscriptions.push_back(remote->listen("t", [](const Value::List&) {}));
    const auto last = remote->invoke("echo", {});
    std::size_t listening = 0;
    bool isCalled = false;
    const auto see = [&](capnp::rpc::Message::Reader message) {
        listening += message.isCall() && message.getCall().getMethodId() == 2 ? 1 : 0;
        isCalled = message.isCall() && message.getCall().getMethodId() == 1;
    };
    while (!isCalled && nextMessage(side.connection, see)) {
    }
    EXPECT_TRUE(isCalled);
    EXPECT_EQ(limits::callsOfConnection, listening);
}

} // namespace
} // namespace varnek::spf::test
