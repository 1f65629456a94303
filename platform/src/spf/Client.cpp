#include "spf/Client.hpp"

#include "spf/Engine.hpp"
#include "spf/Journal.hpp"
#include "spf/Limits.hpp"
#include "spf/Pauses.hpp"

#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <set>

namespace varnek::spf {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto pauseWhileBusy = 10 * kj::MILLISECONDS;

/// What goes wrong with a connection, as an exception that promises can carry; the kind comes first.
[[noreturn]] void giveUp(RemoteErrorKind kind, const std::string& why) {
    kj::throwFatalException(kj::Exception(kj::Exception::Type::FAILED, __FILE__, __LINE__,
                                          kj::str(static_cast<char>('0' + static_cast<int>(kind)), why)));
}

RemoteError errorOf(const kj::Exception& failure) {
    const std::string text = failure.getDescription().cStr();
    const int kind = text.empty() ? -1 : text.front() - '0';
    if (kind < 0 || kind > static_cast<int>(RemoteErrorKind::unknownMethod))
        return {RemoteErrorKind::unreachable, text};
    return {static_cast<RemoteErrorKind>(kind), text.substr(1)};
}

kj::Duration timeUntil(Clock::time_point end) {
    const auto left = std::max(end - Clock::now(), Clock::duration::zero());
    return std::chrono::duration_cast<std::chrono::nanoseconds>(left).count() * kj::NANOSECONDS;
}

} // namespace

Client::Client(Engine& engine) : engine_(engine), tasks_(*this) {}

Client::~Client() = default;

void Client::discover() {
    isDiscovering_ = true;
    lookAround();
}

void Client::lookAround() {
    if (!isDiscovering_)
        return;
    std::set<std::string> names;
    try {
        for (std::string& name : engine_.folder.names())
            names.insert(std::move(name));
    } catch (const std::exception& failure) {
        note(failedLooks_ == 0 ? log::Severity::error : log::Severity::debug,
             "Services of other processes are not found: ", failure.what());
        return lookAgain();
    }
    failedLooks_ = 0;
    names.erase(engine_.core.processName);
    std::erase_if(found_, [&](const auto& found) {
        return found.second.connection == nullptr && !names.contains(found.first);
    });
    for (const std::string& name : names)
        if (const auto [place, isNew] = found_.try_emplace(name); isNew) {
            place->second.number = engine_.core.newNumber();
            tryToConnect(name, place->second.number);
        }
}

void Client::lookAgain() {
    if (std::exchange(isToLookAgain_, true))
        return;
    tasks_.add(engine_.timer.afterDelay(pauseAfter(failedLooks_++)).then([this] {
        isToLookAgain_ = false;
        lookAround();
    }));
}

/// That of an earlier connection, as long as some of it is there.
std::shared_ptr<UntakenLoad> Client::loadOf(const std::string& name) {
    std::erase_if(loads_, [](const auto& load) { return load.second.expired(); });
    std::shared_ptr<UntakenLoad> load = loads_[name].lock();
    if (load == nullptr)
        loads_[name] = load = std::make_shared<UntakenLoad>();
    return load;
}

Client::Found* Client::find(const std::string& name, std::uint64_t number) {
    const auto place = found_.find(name);
    return place != found_.end() && place->second.number == number ? &place->second : nullptr;
}

/// Whatever fails with one name is told of that name alone.
void Client::tryToConnect(const std::string& name, std::uint64_t number) {
    auto connected = kj::evalNow([&] { return connect(name, number); });
    tasks_.add(connected.catch_([this, name, number](kj::Exception&& failure) {
        Found* const found = find(name, number);
        if (found == nullptr)
            return;
        const RemoteError error = errorOf(failure);
        const bool isNew = !found->failure || found->failure->kind() != error.kind();
        note(isNew ? log::Severity::warning : log::Severity::debug, "Cannot connect to \"", name,
             "\": ", error.what());
        found->failure = error;
        tryAgain(name, number);
    }));
}

void Client::tryAgain(const std::string& name, std::uint64_t number) {
    Found* const found = find(name, number);
    if (found == nullptr)
        return;
    const auto pause = pauseAfter(found->failures++);
    tasks_.add(engine_.timer.afterDelay(pause).then([this, name, number] {
        if (find(name, number) == nullptr)
            return;
        if (engine_.folder.has(name))
            tryToConnect(name, number);
        else
            found_.erase(name);
    }));
}

kj::Promise<void> Client::connect(const std::string& name, std::uint64_t number) {
    auto socket = GuardedDescriptor::open(
        [] { return ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0); });
    if (!socket)
        giveUp(RemoteErrorKind::unreachable, std::strerror(errno));
    const auto end = Clock::now() + limits::connect;
    return connectedSocket(name, std::move(socket), end)
        .then([this, name, number, end](GuardedDescriptor&& connected) -> kj::Promise<void> {
            if (connected)
                return greet(name, number, std::move(connected), end);
            if (find(name, number) != nullptr)
                found_.erase(name); // it has gone
            return kj::READY_NOW;
        });
}

/// Nothing when the process has gone.
kj::Promise<GuardedDescriptor> Client::connectedSocket(const std::string& name, GuardedDescriptor socket,
                                                       Clock::time_point end) {
    const int error = engine_.folder.connect(socket.get(), name);
    if (error == 0)
        return socket;
    if (error == ENOENT || (error == ECONNREFUSED && engine_.folder.removeStale(name)))
        return GuardedDescriptor();
    if (error != EAGAIN)
        giveUp(RemoteErrorKind::unreachable, std::strerror(error));
    if (Clock::now() >= end)
        giveUp(RemoteErrorKind::timedOut, "It does not accept the connection");
    return engine_.timer.afterDelay(pauseWhileBusy)
        .then([this, name, end, mine = std::move(socket)]() mutable {
            return connectedSocket(name, std::move(mine), end);
        });
}

kj::Promise<void> Client::greet(const std::string& name, std::uint64_t number, GuardedDescriptor socket,
                                Clock::time_point end) {
    const Peer peer = peerOf(socket.get());
    if (!peer.isOurUser)
        giveUp(RemoteErrorKind::refused, "It belongs to another user");
    Line line(*engine_.io.lowLevelProvider, std::move(socket));
    auto greeting = kj::heap<Greeting>();
    auto read = line.stream->tryRead(greeting->data(), greeting->size(), greeting->size());
    auto late = engine_.timer.afterDelay(timeUntil(end)).then([]() -> std::size_t {
        giveUp(RemoteErrorKind::timedOut, "It does not answer");
    });
    return read.exclusiveJoin(kj::mv(late))
        .then([this, name, number, process = peer.process, greeting = kj::mv(greeting),
               mine = std::move(line)](std::size_t size) mutable {
            if (size < greeting->size())
                giveUp(RemoteErrorKind::disconnected, "It has hung up");
            welcome(name, number, *greeting, process, std::move(mine));
        });
}

void Client::welcome(const std::string& name, std::uint64_t number, const Greeting& greeting, pid_t process,
                     Line line) {
    const auto answer = welcomeIn(greeting);
    if (!answer)
        giveUp(RemoteErrorKind::malformed, "It does not speak this version");
    if (answer != Welcome::accepted)
        giveUp(RemoteErrorKind::refused,
               answer == Welcome::tooMany ? "It has too many clients" : "It belongs to another user");
    Found* const found = find(name, number);
    if (found == nullptr)
        return;
    auto remote = std::make_shared<RemoteProcess>(engine_.core, name, engine_.core.newNumber(), process);
    const std::uint64_t connection = remote->connection;
    found->connection =
        std::make_unique<ClientConnection>(engine_, std::move(remote), loadOf(name), std::move(line));
    found->failures = 0;
    found->failure.reset();
    connections_.emplace(connection, found->connection.get());
    note(log::Severity::info, "Connected to process ", process, " (\"", name, "\")");
}

std::vector<ServiceRuntime::UnusableProcess> Client::unusable() const {
    std::vector<ServiceRuntime::UnusableProcess> result;
    for (const auto& [name, found] : found_)
        if (found.failure)
            result.push_back({name, *found.failure});
    return result;
}

std::vector<std::string> Client::answering() const {
    std::vector<std::string> result;
    for (const auto& [name, found] : found_)
        if (found.connection != nullptr && found.connection->process().hasTold)
            result.push_back(name);
    return result;
}

void Client::drop(const std::string& process, std::uint64_t connection) {
    tasks_.add(kj::evalLater([this, process, connection] {
        if (connections_.erase(connection) == 0)
            return;
        Found& found = found_.at(process);
        found.connection.reset();
        tryAgain(process, found.number);
    }));
}

void Client::call(const RemotePublication& publication, const Words& request,
                  const std::shared_ptr<PendingCall>& call, Clock::time_point end) {
    if (const auto found = connections_.find(publication.process->connection); found != connections_.end())
        found->second->call(publication, request, call, end);
}

void Client::listen(const RemotePublication& publication, const std::string& topic,
                    const std::shared_ptr<ListenerState>& state, std::uint64_t number) {
    if (const auto found = connections_.find(publication.process->connection); found != connections_.end())
        found->second->listen(publication, topic, state, number);
}

void Client::endListening(std::uint64_t connection, std::uint64_t number) {
    if (const auto found = connections_.find(connection); found != connections_.end())
        found->second->endListening(number);
}

void Client::taken(std::uint64_t connection, std::uint64_t told) {
    if (const auto found = connections_.find(connection); found != connections_.end())
        found->second->taken(told);
}

void Client::taskFailed(kj::Exception&& failure) {
    note(log::Severity::error, "Exception caught: ", failure.getDescription().cStr());
}

} // namespace varnek::spf
