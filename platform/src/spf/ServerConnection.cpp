#include "spf/ServerConnection.hpp"

#include "spf/Engine.hpp"
#include "spf/Journal.hpp"
#include "spf/Limits.hpp"
#include "spf/Messages.hpp"
#include "spf/PublicationState.hpp"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

namespace varnek::spf {
namespace {

/// Of a client that has too many replies waiting, until the next one has been taken.
constexpr auto longestWait = 30 * kj::SECONDS;

/// Replies up to here are sent however much waits: what took their place would hardly be smaller.
constexpr std::size_t smallReplyBytes = 4096;

/// Of announcements; or one, however large. What is on its way cannot be taken back.
constexpr std::size_t announcementsAtOnce = 256;
constexpr std::size_t announcementBytesAtOnce = limits::requestBytes;

std::size_t countedBytes(const Words& announcement) {
    return std::max(announcement.bytes(), limits::announcementLeast);
}

constexpr capnp::MessageSize roomFor(std::size_t words) {
    return {words + 16, 1};
}

/// Where there is no memory for that either, the call ends with its time.
void dropSoon(LoopThread& loop, std::uint64_t connection) noexcept {
    try {
        loop.post([connection](Engine& engine) { engine.server.drop(connection); });
    } catch (const std::bad_alloc&) {
    }
}

void setReply(capnp::CallContext<wire::Endpoint::CallParams, wire::Endpoint::CallResults>& context,
              const Words& reply) {
    context.getResults(roomFor(reply.count())).setReply(reply.asBytes());
}

} // namespace

class ServerConnection::EndpointServer final : public wire::Endpoint::Server {
  public:
    explicit EndpointServer(Link<ServerConnection> connection) : connection_(std::move(connection)) {}

    kj::Promise<void> follow(FollowContext context) override {
        (*connection_).follow(context.getParams().getFollower());
        return kj::READY_NOW;
    }
    kj::Promise<void> call(CallContext context) override { return (*connection_).call(context); }
    kj::Promise<void> listen(ListenContext context) override {
        context.getResults().setSubscription((*connection_).listen(context.getParams()));
        return kj::READY_NOW;
    }

  private:
    const Link<ServerConnection> connection_;
};

class ServerConnection::SubscriptionServer final : public wire::Subscription::Server {
  public:
    SubscriptionServer(Link<ServerConnection> connection, std::uint64_t number)
        : connection_(std::move(connection)), number_(number) {}
    ~SubscriptionServer() {
        if (ServerConnection* const connection = connection_.get())
            connection->endSubscription(number_);
    }

  private:
    const Link<ServerConnection> connection_;
    const std::uint64_t number_;
};

/// What the calls of a connection come to.
struct ServerConnection::Requested {
    std::atomic<std::size_t> count{0}; // until neither the client nor a worker knows of them
    std::atomic<std::size_t> bytes{0}; // that are held for them
};

/// A request that waits for a worker. Counted from its beginning to the end of both the job and the call, its
/// bytes until they are not needed.
class ServerConnection::Request {
  public:
    Request(std::shared_ptr<Requested> all, kj::ArrayPtr<const kj::byte> bytes)
        : all_(std::move(all)), words_(bytes), counted_(words_.bytes()) {
        ++all_->count;
        all_->bytes += counted_;
    }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;
    ~Request() {
        settle();
        --all_->count;
    }

    /// For the worker, once; nothing when the call is over.
    std::optional<Words> take() {
        const std::lock_guard lock(mutex_);
        isTaken_ = true;
        return isOver_ ? std::nullopt : std::optional(std::move(words_));
    }
    /// The worker does not need its bytes any more.
    void settle() noexcept { all_->bytes -= counted_.exchange(0); }
    /// The call is over: what waits holds no memory for it.
    void forget() {
        Words forgotten;
        const std::lock_guard lock(mutex_);
        isOver_ = true;
        std::swap(forgotten, words_);
        if (!isTaken_)
            settle();
    }

  private:
    const std::shared_ptr<Requested> all_;
    std::mutex mutex_; // guards words_, isTaken_ and isOver_
    Words words_;
    std::atomic<std::size_t> counted_; // of all_->bytes
    bool isTaken_ = false;
    bool isOver_ = false;
};

ServerConnection::ServerConnection(Engine& engine, std::uint64_t number, GuardedDescriptor socket,
                                   pid_t process)
    : engine_(engine), number_(number), process_(process), requested_(std::make_shared<Requested>()),
      line_(*engine.io.lowLevelProvider, std::move(socket)),
      messages_(
          *line_.stream, limits::requestBytes + envelopeBytes,
          [this](capnp::MessageReader& message) { gate_.check(message, network_.getCurrentQueueCount()); },
          [this](const kj::Exception* fault) {
              drop(fault != nullptr ? fault->getDescription().cStr() : nullptr);
          }),
      network_(messages_, 0, capnp::rpc::twoparty::Side::SERVER, networkOptions()),
      rpc_(capnp::makeRpcServer(network_, kj::heap<EndpointServer>(link_))), tasks_(*this) {
    tasks_.add(network_.onDisconnect().then([this] { drop(nullptr); }));
}

ServerConnection::~ServerConnection() {
    link_.cut();
    while (!subscriptions_.empty())
        endSubscription(subscriptions_.begin()->first);
    follower_ = nullptr; // before the system that it belongs to
    engine_.core.workers.clear(number_);
}

void ServerConnection::drop(const char* why) {
    if (std::exchange(isDropped_, true))
        return;
    if (why != nullptr)
        note(log::Severity::warning, "Close the connection of process ", process_, ": ", why);
    engine_.server.drop(number_);
}

void ServerConnection::taskFailed(kj::Exception&& failure) {
    note(log::Severity::debug, "Process ", process_, ": ", failure.getDescription().cStr());
}

void ServerConnection::follow(wire::Follower::Client follower) {
    KJ_REQUIRE(follower_ == nullptr, "it follows already");
    follower_ = kj::mv(follower);
    for (const auto& [number, ignored] : engine_.server.publications())
        changes_.insert(number);
    tellChanges();
}

void ServerConnection::offer(std::uint64_t publication) {
    if (follower_ == nullptr)
        return;
    changes_.insert(publication);
    tellChanges();
}

void ServerConnection::withdraw(std::uint64_t publication) {
    if (offered_.contains(publication))
        changes_.insert(publication);
    else
        changes_.erase(publication); // it has never heard of it
    tellChanges();
}

/// A few at a time, so that a client that takes nothing costs little: how it stands with a publication is
/// looked up when it is told.
void ServerConnection::tellChanges() {
    KJ_IF_MAYBE (follower, follower_) {
        const auto& publications = engine_.server.publications();
        while (!isDropped_ && !changes_.empty() && untakenChanges_ < limits::changesAtOnce &&
               untakenChangeBytes_ < limits::announcementBytes) {
            const std::uint64_t number = changes_.extract(changes_.begin()).value();
            const auto published = publications.find(number);
            const bool isRenewed = renewed_.erase(number) > 0;
            if (published == publications.end() || isRenewed)
                tellWithdrawal(*follower, number);
            if (published != publications.end())
                tellOffer(*follower, number, published->second.service);
        }
    }
}

void ServerConnection::tellOffer(wire::Follower::Client& follower, std::uint64_t publication,
                                 const Words& service) {
    offered_.insert(publication);
    auto request = follower.offerRequest(roomFor(service.count()));
    request.setPublication(publication);
    request.setService(service.asBytes());
    await(request.send().ignoreResult(), service.bytes());
}

void ServerConnection::tellWithdrawal(wire::Follower::Client& follower, std::uint64_t publication) {
    offered_.erase(publication);
    auto request = follower.withdrawRequest(roomFor(0));
    request.setPublication(publication);
    await(request.send().ignoreResult(), 0);
}

void ServerConnection::await(kj::Promise<void> told, std::size_t bytes) {
    ++untakenChanges_;
    untakenChangeBytes_ += bytes;
    tasks_.add(told.then([this, bytes] { changeTaken(bytes); },
                         [this, bytes](kj::Exception&& failure) {
                             taskFailed(kj::mv(failure));
                             changeTaken(bytes);
                         }));
}

void ServerConnection::changeTaken(std::size_t bytes) {
    --untakenChanges_;
    untakenChangeBytes_ -= bytes;
    tellChanges();
}

kj::Promise<void> ServerConnection::call(AnswerContext context) {
    try {
        const auto params = context.getParams();
        const auto& publications = engine_.server.publications();
        const auto published = publications.find(params.getPublication());
        const auto request = params.getRequest();
        if (request.size() > limits::requestBytes)
            throw RemoteError(RemoteErrorKind::tooLarge, "The request is too large");
        if (published == publications.end())
            throw RemoteError(RemoteErrorKind::disconnected, "The service is not published any more");
        if (requested_->count >= limits::callsOfConnection || // those that were cancelled, too
            requested_->bytes + request.size() > limits::unansweredBytes)
            throw RemoteError(RemoteErrorKind::refused, "Too many calls that have no answer yet");
        return carryOut(context, published->second.state, std::make_shared<Request>(requested_, request));
    } catch (const RemoteError& error) {
        setReply(context, encodeError(error));
        return kj::READY_NOW;
    }
}

kj::Promise<void> ServerConnection::carryOut(AnswerContext context,
                                             std::shared_ptr<PublicationState> publication,
                                             std::shared_ptr<Request> request) {
    const std::uint64_t number = engine_.core.newNumber();
    auto job = [&loop = engine_.core.loop, connection = number_, number, publication, request]() mutable {
        const std::optional<Words> words = request->take();
        if (!words)
            return;
        try {
            Words answer = publication->answer(*words);
            request->settle(); // before the client can ask for more
            request.reset();
            loop.post([connection, number, reply = std::move(answer)](Engine& engine) mutable {
                engine.server.reply(connection, number, std::move(reply));
            });
        } catch (const std::bad_alloc&) {
            dropSoon(loop, connection);
        }
    };
    try {
        engine_.core.workers.submit(number_, std::move(job));
    } catch (const std::system_error& failure) {
        throw RemoteError(RemoteErrorKind::refused, failure.what());
    }
    auto answer = kj::newPromiseAndFulfiller<Words>();
    calls_.emplace(number, Waiting{kj::mv(answer.fulfiller)});
    context.releaseParams();
    context.allowCancellation();
    return answer.promise.then([context](Words&& reply) mutable { setReply(context, reply); })
        .attach(kj::defer([link = link_, number, request] {
            if (ServerConnection* const connection = link.get())
                connection->answeredBytes_ -= connection->calls_.extract(number).mapped().bytes;
            request->forget();
        }));
}

void ServerConnection::reply(std::uint64_t call, Words reply) {
    const auto found = calls_.find(call);
    if (found == calls_.end())
        return;
    if (network_.getCurrentQueueSize() + answeredBytes_ + reply.bytes() > limits::unsentBytes) {
        if (network_.getOutgoingMessageWaitTime() > longestWait)
            return drop("it does not take its replies");
        if (reply.bytes() > smallReplyBytes)
            reply = encodeError({RemoteErrorKind::refused, "Too many replies have not been taken yet"});
    }
    found->second.bytes = reply.bytes();
    answeredBytes_ += reply.bytes();
    found->second.answer->fulfill(std::move(reply));
}

wire::Subscription::Client ServerConnection::listen(wire::Endpoint::ListenParams::Reader params) {
    const auto& publications = engine_.server.publications();
    const auto published = publications.find(params.getPublication());
    const auto topic = params.getTopic();
    KJ_REQUIRE(published != publications.end(), "the service is not published any more");
    KJ_REQUIRE(topic.size() <= limits::topicBytes, "the topic is too long");
    KJ_REQUIRE(subscriptions_.size() < limits::callsOfConnection, "too many subscriptions");
    const std::uint64_t number = engine_.core.newNumber();
    subscriptions_.emplace(number,
                           Subscribed{published->second.state,
                                      std::string(reinterpret_cast<const char*>(topic.begin()), topic.size()),
                                      params.getListener()});
    ++published->second.state->listeners;
    return kj::heap<SubscriptionServer>(link_, number);
}

void ServerConnection::endSubscription(std::uint64_t subscription) {
    const auto ended = subscriptions_.extract(subscription);
    if (!ended.empty())
        --ended.mapped().publication->listeners;
}

void ServerConnection::announce(std::uint64_t publication, const std::string& topic,
                                const std::shared_ptr<const Words>& announcement) {
    const std::size_t bytes = countedBytes(*announcement);
    for (const auto& [number, subscribed] : subscriptions_) {
        if (subscribed.publication->number != publication || subscribed.topic != topic)
            continue;
        if (!makeRoomFor(bytes, publication))
            break;
        untakenBytes_ += bytes;
        announcements_.push_back({number, announcement});
    }
    tell();
}

/// Renews the services of which most waits. False when the publication that has something to say is one.
bool ServerConnection::makeRoomFor(std::size_t bytes, std::uint64_t publication) {
    if (untakenBytes_ + bytes > limits::announcementBytes)
        forgetEnded();
    while (untakenBytes_ + bytes > limits::announcementBytes) {
        const std::uint64_t heaviest = heaviestOr(publication);
        renew(heaviest);
        if (heaviest == publication)
            return false;
    }
    return true;
}

/// Of which most waits to be sent; the given one when there is none.
std::uint64_t ServerConnection::heaviestOr(std::uint64_t publication) const {
    std::map<std::uint64_t, std::size_t> waiting;
    for (const Announcement& announcement : announcements_)
        waiting[subscriptions_.at(announcement.subscription).publication->number] +=
            countedBytes(*announcement.words);
    const auto most = std::max_element(waiting.begin(), waiting.end(), [](const auto& one, const auto& two) {
        return one.second < two.second;
    });
    return most == waiting.end() ? publication : most->first;
}

/// What waits for subscriptions that have ended.
void ServerConnection::forgetEnded() {
    std::erase_if(announcements_, [this](const Announcement& announcement) {
        const bool isOver = !subscriptions_.contains(announcement.subscription);
        untakenBytes_ -= isOver ? countedBytes(*announcement.words) : 0;
        return isOver;
    });
}

/// Its listeners miss something: they hear nothing more, and the service comes again as another one.
void ServerConnection::renew(std::uint64_t publication) {
    note(log::Severity::warning, "Process ", process_, " does not take its announcements");
    for (auto subscribed = subscriptions_.begin(); subscribed != subscriptions_.end();) {
        const std::uint64_t number = subscribed->first;
        const bool isMeant = subscribed->second.publication->number == publication;
        ++subscribed;
        if (isMeant)
            endSubscription(number);
    }
    forgetEnded();
    if (offered_.contains(publication)) {
        renewed_.insert(publication);
        changes_.insert(publication);
        tellChanges();
    }
}

/// A few at a time: what is handed to the network waits in a chain, which must not grow long.
void ServerConnection::tell() {
    while (untaken_ < announcementsAtOnce && sentBytes_ < announcementBytesAtOnce &&
           !announcements_.empty()) {
        const Announcement next = std::move(announcements_.front());
        announcements_.pop_front();
        const std::size_t bytes = countedBytes(*next.words);
        const auto subscribed = subscriptions_.find(next.subscription);
        if (subscribed == subscriptions_.end()) {
            untakenBytes_ -= bytes;
            continue;
        }
        auto request = subscribed->second.listener.announceRequest(roomFor(next.words->count()));
        request.setAnnouncement(next.words->asBytes());
        ++untaken_;
        sentBytes_ += bytes;
        tasks_.add(request.send().ignoreResult().then([this, bytes] { taken(bytes); },
                                                      [this, bytes](kj::Exception&& failure) {
                                                          taskFailed(kj::mv(failure));
                                                          taken(bytes);
                                                      }));
    }
}

void ServerConnection::taken(std::size_t bytes) {
    --untaken_;
    sentBytes_ -= bytes;
    untakenBytes_ -= bytes;
    tell();
}

} // namespace varnek::spf
