// Providers that tell their clients more than these can take.

#include "spf/HostilePeers.hpp"
#include "spf/Limits.hpp"
#include "spf/Messages.hpp"

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
    bool call(std::uint32_t target, std::uint64_t interface, Fill fill) {
        return connection.send(frame([&](auto message) {
            auto call = message.initCall();
            call.setQuestionId(question_++);
            call.initTarget().setImportedCap(target);
            call.setInterfaceId(interface);
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

} // namespace
} // namespace varnek::spf::test
