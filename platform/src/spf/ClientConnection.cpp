#include "spf/ClientConnection.hpp"

#include "spf/Engine.hpp"
#include "spf/Journal.hpp"
#include "spf/Limits.hpp"
#include "spf/Messages.hpp"

#include <capnp/message.h>
#include <kj/time.h>

#include <algorithm>

namespace varnek::spf {
namespace {

/// Larger replies are decoded by a worker, so that others need not wait for them.
constexpr std::size_t decodedHereBytes = 256 * 1024;
constexpr WorkerPool::Lane decodingLane = 0;

/// Of announcements, and of changes of the services, of one process. Sound providers tell no more at half of
/// it.
constexpr std::size_t mostUntakenBytes = 2 * limits::announcementBytes;
constexpr std::size_t mostUntakenChanges = 2 * limits::changesAtOnce;

constexpr capnp::MessageSize roomFor(std::size_t words) {
    return {words + 16, 1};
}

wire::Endpoint::Client endpointOf(capnp::RpcSystem<capnp::rpc::twoparty::VatId>& rpc) {
    capnp::MallocMessageBuilder message(4);
    auto server = message.initRoot<capnp::rpc::twoparty::VatId>();
    server.setSide(capnp::rpc::twoparty::Side::SERVER);
    return rpc.bootstrap(server).castAs<wire::Endpoint>();
}

RemoteErrorKind kindOf(const kj::Exception& failure) {
    switch (failure.getType()) {
    case kj::Exception::Type::DISCONNECTED:
        return RemoteErrorKind::disconnected;
    case kj::Exception::Type::OVERLOADED:
        return RemoteErrorKind::refused;
    default:
        return RemoteErrorKind::malformed;
    }
}

} // namespace

class ClientConnection::FollowerServer final : public wire::Follower::Server {
  public:
    explicit FollowerServer(Link<ClientConnection> connection) : connection_(std::move(connection)) {}

    kj::Promise<void> offer(OfferContext context) override {
        const auto params = context.getParams();
        auto taken = (*connection_).offered(params.getPublication(), params.getService());
        context.releaseParams();
        return taken;
    }
    kj::Promise<void> withdraw(WithdrawContext context) override {
        return (*connection_).withdrawn(context.getParams().getPublication());
    }

  private:
    const Link<ClientConnection> connection_;
};

class ClientConnection::ListenerServer final : public wire::Listener::Server {
  public:
    ListenerServer(Link<ClientConnection> connection, std::shared_ptr<ListenerState> state)
        : connection_(std::move(connection)), state_(std::move(state)) {}

    kj::Promise<void> announce(AnnounceContext context) override {
        auto taken = (*connection_).announced(state_, context.getParams().getAnnouncement());
        context.releaseParams();
        return taken;
    }

  private:
    const Link<ClientConnection> connection_;
    const std::shared_ptr<ListenerState> state_;
};

ClientConnection::ClientConnection(Engine& engine, std::shared_ptr<RemoteProcess> process,
                                   std::shared_ptr<UntakenLoad> untaken, Line line)
    : engine_(engine), process_(std::move(process)), load_(std::move(untaken)), line_(std::move(line)),
      messages_(
          *line_.stream, limits::replyBytes + envelopeBytes,
          [this](capnp::MessageReader& message) { gate_.check(message, network_.getCurrentQueueCount()); },
          [this](const kj::Exception* fault) {
              drop(fault != nullptr ? fault->getDescription().cStr() : nullptr);
          }),
      network_(messages_, 0, capnp::rpc::twoparty::Side::CLIENT, networkOptions()),
      rpc_(capnp::makeRpcClient(network_)), endpoint_(endpointOf(rpc_)), tasks_(*this) {
    tasks_.add(network_.onDisconnect().then([this] { drop(nullptr); }));
    auto request = endpoint_.followRequest();
    request.setFollower(kj::heap<FollowerServer>(link_));
    tasks_.add(request.send().ignoreResult().then([this] {
        return kj::evalLast([this] { // behind the services that came before the answer
            engine_.core.services.post([process = process_] { process->hasTold = true; });
        });
    }));
}

ClientConnection::~ClientConnection() {
    link_.cut();
    process_->isOpen = false;
    for (const auto& [number, service] : services_) {
        service.publication->isOffered = false;
        try {
            engine_.core.services.post(leaving(number));
        } catch (const std::exception& failure) {
            note(log::Severity::error, "Exception caught: ", failure.what());
        }
    }
}

void ClientConnection::drop(const char* why) {
    if (std::exchange(isDropped_, true))
        return;
    note(why != nullptr ? log::Severity::warning : log::Severity::info, "The connection to process ",
         process_->id, " has ended", why != nullptr ? ": " : "", why != nullptr ? why : "");
    engine_.client.drop(process_->name, process_->connection);
}

void ClientConnection::taskFailed(kj::Exception&& failure) {
    note(log::Severity::debug, "Process ", process_->id, ": ", failure.getDescription().cStr());
}

/// Runs a task on another thread. What it is about is answered when it has run, so that the other process
/// waits for whoever is told.
template <class Task>
kj::Promise<void> ClientConnection::whenTaken(SerialThread& thread, UntakenLoad::Part UntakenLoad::*part,
                                              std::size_t bytes, Task task) {
    const std::uint64_t number = engine_.core.newNumber();
    auto taken = kj::newPromiseAndFulfiller<void>();
    thread.post([&loop = engine_.core.loop, connection = process_->connection, load = load_, part, number,
                 bytes, task] {
        const auto told = kj::defer([&] {
            loop.post([connection, load, part, number, bytes](Engine& engine) {
                --((*load).*part).count;
                ((*load).*part).bytes -= bytes;
                engine.client.taken(connection, number);
            });
        });
        task();
    });
    untaken_.emplace(number, kj::mv(taken.fulfiller));
    ++((*load_).*part).count;
    ((*load_).*part).bytes += bytes;
    return kj::mv(taken.promise);
}

void ClientConnection::taken(std::uint64_t told) {
    if (auto untaken = untaken_.extract(told); !untaken.empty())
        untaken.mapped()->fulfill();
}

void ClientConnection::requireRoomForChange(std::size_t bytes) {
    if (!isDropped_ && load_->changes.count < mostUntakenChanges &&
        load_->changes.bytes + bytes <= mostUntakenBytes)
        return;
    drop("it does not wait for those who are told of its services");
    kj::throwFatalException(KJ_EXCEPTION(OVERLOADED, "too many changes of the services"));
}

kj::Promise<void> ClientConnection::offered(std::uint64_t number, kj::ArrayPtr<const kj::byte> bytes) {
    requireRoomForChange(bytes.size());
    try {
        const Message message = decodeMessage(asWords(bytes));
        if (services_.contains(number) || services_.size() >= limits::services ||
            serviceBytes_ + bytes.size() > limits::serviceBytes)
            throw RemoteError(RemoteErrorKind::malformed, "One service too many");
        std::map<std::string, std::string> properties;
        for (const Value& property : message.values.at(1).asList())
            properties.emplace(property.asList().at(0).asText(), property.asList().at(1).asText());
        auto entered =
            serviceProperties(message.name, process_->name, properties, message.values.at(0).asText());
        const auto publication = std::make_shared<RemotePublication>(process_, number, message.name);
        const Discovery::Key key(process_->connection, number);
        auto taken = whenTaken(engine_.core.services, &UntakenLoad::changes, bytes.size(),
                               [&discovery = engine_.core.discovery, key, entered = std::move(entered),
                                service = std::make_shared<RegisteredService>(publication)] {
                                   discovery.enter(key, entered, service);
                               });
        services_.emplace(number, Service{publication, bytes.size()});
        serviceBytes_ += bytes.size();
        return taken;
    } catch (const std::exception& fault) {
        note(log::Severity::warning, "Cannot use a service of process ", process_->id, ": ", fault.what());
        return kj::READY_NOW;
    }
}

kj::Promise<void> ClientConnection::withdrawn(std::uint64_t number) {
    requireRoomForChange(0);
    const auto gone = services_.extract(number);
    if (gone.empty())
        return kj::READY_NOW;
    gone.mapped().publication->isOffered = false;
    serviceBytes_ -= gone.mapped().bytes;
    try {
        return whenTaken(engine_.core.services, &UntakenLoad::changes, 0, leaving(number));
    } catch (const std::exception& failure) {
        note(log::Severity::error, "Exception caught: ", failure.what());
        return kj::READY_NOW;
    }
}

SerialThread::Task ClientConnection::leaving(std::uint64_t number) const {
    return [&discovery = engine_.core.discovery, key = Discovery::Key(process_->connection, number)] {
        discovery.leave(key);
    };
}

void ClientConnection::call(const RemotePublication& publication, const Words& request,
                            std::shared_ptr<PendingCall> call, std::chrono::steady_clock::time_point end) {
    const auto left = end - std::chrono::steady_clock::now();
    if (left <= left.zero())
        return call->fail(RemoteErrorKind::timedOut, "No time was left for it");
    if (!publication.isOffered)
        return call->fail(RemoteErrorKind::disconnected, "The service is not published any more");
    if (calls_ >= limits::callsOfConnection)
        return call->fail(RemoteErrorKind::refused, "Too many calls have no answer yet");
    if (network_.getCurrentQueueSize() + request.bytes() > limits::unsentBytes ||
        network_.getCurrentQueueCount() > limits::unsentMessages / 2) // a call comes with its end
        return call->fail(RemoteErrorKind::refused, "Too much waits for the other process");
    auto message = endpoint_.callRequest(roomFor(request.count()));
    message.setPublication(publication.number);
    message.setRequest(request.asBytes());
    auto answered = message.send().then(
        [this, call](capnp::Response<wire::Endpoint::CallResults>&& response) {
            deliver(response.getReply(), call);
        },
        [call](kj::Exception&& failure) { call->fail(kindOf(failure), failure.getDescription().cStr()); });
    const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
    // The timer's own idea of the present is that of the loop's last look at its descriptors.
    auto late = engine_.timer.atTime(kj::systemPreciseMonotonicClock().now() + nanoseconds * kj::NANOSECONDS)
                    .then([call] { call->fail(RemoteErrorKind::timedOut, "No answer came in time"); });
    ++calls_;
    tasks_.add(answered.exclusiveJoin(kj::mv(late)).attach(kj::defer([this] { --calls_; })));
}

void ClientConnection::deliver(kj::ArrayPtr<const kj::byte> reply, const std::shared_ptr<PendingCall>& call) {
    if (reply.size() > limits::replyBytes)
        return call->fail(RemoteErrorKind::tooLarge, "The reply is too large");
    if (reply.size() <= decodedHereBytes)
        return call->settleWith([&] { return decodeReply(asWords(reply)); });
    try {
        engine_.core.workers.submit(decodingLane, [call, words = std::make_shared<const Words>(reply)] {
            call->settleWith([&] { return decodeReply(words->all()); });
        });
    } catch (...) {
        call->fail(std::current_exception());
    }
}

void ClientConnection::listen(const RemotePublication& publication, const std::string& topic,
                              std::shared_ptr<ListenerState> state, std::uint64_t number) {
    if (!publication.isOffered)
        return;
    if (listening_.size() >= limits::callsOfConnection)
        return note(log::Severity::warning, "Too many listen to services of process ", process_->id);
    auto request = endpoint_.listenRequest();
    request.setPublication(publication.number);
    request.setTopic({reinterpret_cast<const kj::byte*>(topic.data()), topic.size()});
    request.setListener(kj::heap<ListenerServer>(link_, std::move(state)));
    auto promise = request.send();
    wire::Subscription::Client subscription = promise.getSubscription();
    auto begun = promise.ignoreResult().eagerlyEvaluate(
        [this](kj::Exception&& failure) { taskFailed(kj::mv(failure)); });
    listening_.emplace(number, Listening{kj::mv(begun), kj::mv(subscription)});
}

kj::Promise<void> ClientConnection::announced(const std::shared_ptr<ListenerState>& state,
                                              kj::ArrayPtr<const kj::byte> bytes) {
    const std::size_t counted = std::max(bytes.size(), limits::announcementLeast);
    if (load_->announcements.bytes + counted > mostUntakenBytes) {
        drop("it does not wait for those who listen");
        kj::throwFatalException(KJ_EXCEPTION(OVERLOADED, "too many announcements"));
    }
    return whenTaken(engine_.core.announcements, &UntakenLoad::announcements, counted,
                     [state, words = std::make_shared<const Words>(bytes)] {
                         state->call(decodeMessage(words->all()).values);
                     });
}

} // namespace varnek::spf
