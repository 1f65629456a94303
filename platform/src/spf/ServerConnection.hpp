// One client of this process.
#pragma once

#include "spf/Descriptors.hpp"
#include "spf/LimitedStream.hpp"
#include "spf/Link.hpp"
#include "spf/MessageGate.hpp"
#include "spf/Words.hpp"

#include <capnp/rpc-twoparty.h>
#include <kj/async-io.h>
#include <spf/Remote.capnp.h>

#include <sys/types.h>

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace varnek::spf {

class Engine;
class PublicationState;

/// Confined to the thread of the event loop.
class ServerConnection final : private kj::TaskSet::ErrorHandler {
  public:
    ServerConnection(Engine& engine, std::uint64_t number, GuardedDescriptor socket, pid_t process);
    ServerConnection(const ServerConnection&) = delete;
    ServerConnection& operator=(const ServerConnection&) = delete;
    ~ServerConnection();

    /// What is told of a publication is how it stands then.
    void offer(std::uint64_t publication);
    void withdraw(std::uint64_t publication);
    void announce(std::uint64_t publication, const std::string& topic,
                  const std::shared_ptr<const Words>& announcement);
    void reply(std::uint64_t call, Words reply);

  private:
    using AnswerContext = capnp::CallContext<wire::Endpoint::CallParams, wire::Endpoint::CallResults>;
    class EndpointServer;
    class Request;
    struct Requested;
    class SubscriptionServer;
    struct Waiting {
        kj::Own<kj::PromiseFulfiller<Words>> answer;
        std::size_t bytes = 0; // of the answer, from when it is there
    };
    struct Subscribed {
        std::shared_ptr<PublicationState> publication;
        std::string topic;
        wire::Listener::Client listener;
    };
    struct Announcement {
        std::uint64_t subscription;
        std::shared_ptr<const Words> words;
    };

    void follow(wire::Follower::Client follower);
    kj::Promise<void> call(AnswerContext context);
    kj::Promise<void> carryOut(AnswerContext context, std::shared_ptr<PublicationState> publication,
                               std::shared_ptr<Request> request);
    wire::Subscription::Client listen(wire::Endpoint::ListenParams::Reader params);
    void endSubscription(std::uint64_t subscription);
    void tellChanges();
    void tellOffer(wire::Follower::Client& follower, std::uint64_t publication, const Words& service);
    void tellWithdrawal(wire::Follower::Client& follower, std::uint64_t publication);
    bool makeRoomFor(std::size_t bytes, std::uint64_t publication);
    std::uint64_t heaviestOr(std::uint64_t publication) const;
    void forgetEnded();
    void renew(std::uint64_t publication);
    void await(kj::Promise<void> told, std::size_t bytes);
    void changeTaken(std::size_t bytes);
    void tell();
    void taken(std::size_t bytes);
    void drop(const char* why);
    void taskFailed(kj::Exception&& failure) override;

    Engine& engine_;
    const std::uint64_t number_;
    const pid_t process_;
    Link<ServerConnection> link_{*this};
    bool isDropped_ = false;
    std::shared_ptr<Requested> requested_;
    std::map<std::uint64_t, Waiting> calls_; // that have no answer yet
    std::size_t answeredBytes_ = 0;          // of replies that are not in the network's queue yet
    std::map<std::uint64_t, Subscribed> subscriptions_;
    std::deque<Announcement> announcements_; // that were not sent
    std::size_t untaken_ = 0;                // that were sent and not answered
    std::size_t sentBytes_ = 0;              // of those
    std::size_t untakenBytes_ = 0;           // of both
    kj::Maybe<wire::Follower::Client> follower_;
    std::set<std::uint64_t> changes_;    // publications that the follower is to be told about
    std::set<std::uint64_t> offered_;    // that it was told about and not withdrawn
    std::set<std::uint64_t> renewed_;    // of those, the ones that are to be withdrawn and offered again
    std::size_t untakenChanges_ = 0;     // that were sent and not answered
    std::size_t untakenChangeBytes_ = 0; // of those
    Line line_;
    MessageGate gate_;
    LimitedStream messages_;
    capnp::TwoPartyVatNetwork network_;
    capnp::RpcSystem<capnp::rpc::twoparty::VatId> rpc_;
    kj::TaskSet tasks_;
};

} // namespace varnek::spf
