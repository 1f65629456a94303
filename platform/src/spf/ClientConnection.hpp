// The connection to one process that publishes services.
#pragma once

#include "spf/Descriptors.hpp"
#include "spf/LimitedStream.hpp"
#include "spf/Link.hpp"
#include "spf/MessageGate.hpp"
#include "spf/PendingCall.hpp"
#include "spf/RemoteInvokable.hpp"
#include "spf/SerialThread.hpp"
#include "spf/Words.hpp"

#include <capnp/rpc-twoparty.h>
#include <kj/async-io.h>
#include <kj/timer.h>
#include <spf/Remote.capnp.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace varnek::spf {

class Engine;

/// What a process has told and nobody has taken yet: it is held, also when the connection has ended that it
/// came over. Confined to the thread of the event loop.
struct UntakenLoad {
    struct Part {
        std::size_t count = 0;
        std::size_t bytes = 0;
    };
    Part announcements;
    Part changes; // of the services
};

/// Confined to the thread of the event loop. The destructor withdraws all services and fails all calls.
class ClientConnection final : private kj::TaskSet::ErrorHandler {
  public:
    /// Of a socket whose greeting has been read.
    ClientConnection(Engine& engine, std::shared_ptr<RemoteProcess> process,
                     std::shared_ptr<UntakenLoad> untaken, Line line);
    ClientConnection(const ClientConnection&) = delete;
    ClientConnection& operator=(const ClientConnection&) = delete;
    ~ClientConnection();

    const RemoteProcess& process() const { return *process_; }

    /// Of a publication that has gone, calls fail and nothing is heard, whatever has its number now.
    void call(const RemotePublication& publication, const Words& request, std::shared_ptr<PendingCall> call,
              std::chrono::steady_clock::time_point end);
    void listen(const RemotePublication& publication, const std::string& topic,
                std::shared_ptr<ListenerState> state, std::uint64_t number);
    void endListening(std::uint64_t number) { listening_.erase(number); }
    /// A listener has been called, or a change of the services has been told.
    void taken(std::uint64_t told);

  private:
    class FollowerServer;
    class ListenerServer;
    struct Listening {
        kj::Promise<void> begun;
        wire::Subscription::Client subscription;
    };

    struct Service {
        std::shared_ptr<RemotePublication> publication;
        std::size_t bytes = 0; // in which it was told
    };

    kj::Promise<void> offered(std::uint64_t number, kj::ArrayPtr<const kj::byte> bytes);
    kj::Promise<void> withdrawn(std::uint64_t number);
    SerialThread::Task leaving(std::uint64_t number) const;
    void requireRoomForChange(std::size_t bytes);
    kj::Promise<void> announced(const std::shared_ptr<ListenerState>& state,
                                kj::ArrayPtr<const kj::byte> bytes);
    template <class Task>
    kj::Promise<void> whenTaken(SerialThread& thread, UntakenLoad::Part UntakenLoad::*part, std::size_t bytes,
                                Task task);
    void deliver(kj::ArrayPtr<const kj::byte> reply, const std::shared_ptr<PendingCall>& call);
    void drop(const char* why);
    void taskFailed(kj::Exception&& failure) override;

    Engine& engine_;
    const std::shared_ptr<RemoteProcess> process_;
    Link<ClientConnection> link_{*this};
    bool isDropped_ = false;
    std::size_t calls_ = 0; // that have no answer yet
    std::map<std::uint64_t, Service> services_;
    std::size_t serviceBytes_ = 0;            // of those
    const std::shared_ptr<UntakenLoad> load_; // of this connection and those before
    std::map<std::uint64_t, kj::Own<kj::PromiseFulfiller<void>>> untaken_; // of this one
    Line line_;
    MessageGate gate_;
    LimitedStream messages_;
    capnp::TwoPartyVatNetwork network_;
    capnp::RpcSystem<capnp::rpc::twoparty::VatId> rpc_;
    wire::Endpoint::Client endpoint_;
    std::map<std::uint64_t, Listening> listening_;
    kj::TaskSet tasks_;
};

} // namespace varnek::spf
