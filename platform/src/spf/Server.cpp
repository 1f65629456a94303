#include "spf/Server.hpp"

#include "spf/Engine.hpp"
#include "spf/Greeting.hpp"
#include "spf/Journal.hpp"
#include "spf/Limits.hpp"
#include "spf/Pauses.hpp"
#include "spf/ServerConnection.hpp"

#include <sys/socket.h>

#include <cstring>

namespace varnek::spf {
namespace {

constexpr int mostAtOnce = 64; // then others have their turn
constexpr auto pauseWithoutDescriptors = 100 * kj::MILLISECONDS;

} // namespace

Server::Server(Engine& engine) : engine_(engine), tasks_(*this) {}

Server::~Server() = default;

void Server::publish(std::shared_ptr<PublicationState> state, Words service) {
    // What is beyond that, clients would not enter.
    const std::size_t bytes = service.bytes();
    if (publications_.size() >= limits::services || publishedBytes_ + bytes > limits::serviceBytes)
        throw RemoteError(RemoteErrorKind::refused, "This process publishes too many services");
    if (endpoint_ == nullptr)
        listen();
    const std::uint64_t number = state->number;
    publications_.emplace(number, Published{std::move(state), std::move(service)});
    publishedBytes_ += bytes;
    for (const auto& [ignored, connection] : connections_)
        connection->offer(number);
}

void Server::withdraw(std::uint64_t publication) {
    const auto gone = publications_.extract(publication);
    if (gone.empty())
        return;
    publishedBytes_ -= gone.mapped().service.bytes();
    for (const auto& [ignored, connection] : connections_)
        connection->withdraw(publication);
}

void Server::announce(std::uint64_t publication, const std::string& topic,
                      const std::shared_ptr<const Words>& announcement) {
    for (const auto& [ignored, connection] : connections_)
        connection->announce(publication, topic, announcement);
}

void Server::reply(std::uint64_t connection, std::uint64_t call, Words reply) {
    if (const auto found = connections_.find(connection); found != connections_.end())
        found->second->reply(call, std::move(reply));
}

/// While it is tried again, changes in the folder are no reason to do so earlier: an attempt makes some.
void Server::checkEndpoint() {
    if (!hasListened_ || isToCheckAgain_ || (endpoint_ != nullptr && endpoint_->isInPlace()))
        return;
    try {
        listen();
        note(log::Severity::info, "Made the endpoint anew in \"", engine_.folder.path().native(), '"');
    } catch (const std::exception& failure) {
        note(failedChecks_ == 0 ? log::Severity::error : log::Severity::debug,
             "Cannot make the endpoint anew: ", failure.what());
        isToCheckAgain_ = true;
        tasks_.add(engine_.timer.afterDelay(pauseAfter(failedChecks_++)).then([this] {
            isToCheckAgain_ = false;
            checkEndpoint();
        }));
    }
}

/// Connections stay where an endpoint is replaced.
void Server::listen() {
    const std::string& name = engine_.core.processName;
    if (!hasListened_)
        engine_.folder.removeStale();
    accepting_ = nullptr;
    observer_ = nullptr;
    endpoint_.reset();
    engine_.folder.removeStale(name); // where somebody has put a file in the place of one of ours
    auto endpoint = engine_.folder.create(name);
    observer_ = kj::heap<kj::UnixEventPort::FdObserver>(engine_.io.unixEventPort, endpoint->listener(),
                                                        kj::UnixEventPort::FdObserver::OBSERVE_READ);
    endpoint_ = std::move(endpoint);
    hasListened_ = true;
    failedChecks_ = 0;
    accepting_ = acceptAll().eagerlyEvaluate([](kj::Exception&& failure) {
        note(log::Severity::error, "No more connections are accepted: ", failure.getDescription().cStr());
    });
}

kj::Promise<void> Server::acceptAll() {
    for (int accepted = 0; accepted < mostAtOnce; ++accepted) {
        auto socket = GuardedDescriptor::open([this] {
            return ::accept4(endpoint_->listener(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        });
        if (socket) {
            try {
                welcome(std::move(socket));
            } catch (const std::exception& failure) { // it concerns this connection only
                note(log::Severity::error, "Cannot serve a connection: ", failure.what());
            }
            continue;
        }
        if (errno == EAGAIN || errno == EWOULDBLOCK)
            return observer_->whenBecomesReadable().then([this] { return acceptAll(); });
        if (errno == EINTR || errno == ECONNABORTED)
            continue;
        note(log::Severity::warning, "Cannot accept a connection: ", std::strerror(errno));
        return engine_.timer.afterDelay(pauseWithoutDescriptors).then([this] { return acceptAll(); });
    }
    return kj::evalLater([this] { return acceptAll(); });
}

void Server::welcome(GuardedDescriptor socket) {
    const Peer peer = peerOf(socket.get());
    if (!peer.isOurUser) {
        note(log::Severity::warning, "Refused a connection of process ", peer.process,
             ": it belongs to another user");
        return sendGreeting(socket.get(), Welcome::otherUser);
    }
    if (connections_.size() >= limits::connections) {
        note(log::Severity::warning, "Refused a connection of process ", peer.process, ": there are ",
             limits::connections, " already");
        return sendGreeting(socket.get(), Welcome::tooMany);
    }
    sendGreeting(socket.get(), Welcome::accepted);
    const std::uint64_t number = engine_.core.newNumber();
    connections_.emplace(
        number, std::make_unique<ServerConnection>(engine_, number, std::move(socket), peer.process));
}

void Server::drop(std::uint64_t connection) {
    tasks_.add(kj::evalLater([this, connection] { connections_.erase(connection); }));
}

void Server::taskFailed(kj::Exception&& failure) {
    note(log::Severity::error, "Exception caught: ", failure.getDescription().cStr());
}

} // namespace varnek::spf
