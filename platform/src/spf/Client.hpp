// The side that calls: finds the processes that publish services, and stays connected to them.
#pragma once

#include "spf/ClientConnection.hpp"
#include "spf/Greeting.hpp"

#include <kj/async.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace varnek::spf {

class Engine;

/// Confined to the thread of the event loop. An endpoint that does not answer, or whose connection ended, is
/// tried again after pauses that grow, as long as it stands in the folder; so is a folder that cannot be
/// read.
class Client final : private kj::TaskSet::ErrorHandler {
  public:
    explicit Client(Engine& engine);
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    ~Client();

    /// Begins to connect to others.
    void discover();
    /// The folder has changed.
    void lookAround();

    void call(const RemotePublication& publication, const Words& request,
              const std::shared_ptr<PendingCall>& call, std::chrono::steady_clock::time_point end);
    void listen(const RemotePublication& publication, const std::string& topic,
                const std::shared_ptr<ListenerState>& state, std::uint64_t number);
    void endListening(std::uint64_t connection, std::uint64_t number);
    void taken(std::uint64_t connection, std::uint64_t told);

    /// Those without a connection, and why.
    std::vector<ServiceRuntime::UnusableProcess> unusable() const;

    /// Those that have told what they publish.
    std::vector<std::string> answering() const;

    /// Closes a connection, soon: not inside of what it is doing now.
    void drop(const std::string& process, std::uint64_t connection);

  private:
    struct Found {
        std::uint64_t number = 0; // tells it from an earlier one of the same name
        unsigned failures = 0;
        std::optional<RemoteError> failure; // why there is no connection
        std::unique_ptr<ClientConnection> connection;
    };

    void lookAgain();
    std::shared_ptr<UntakenLoad> loadOf(const std::string& name);
    Found* find(const std::string& name, std::uint64_t number);
    void tryToConnect(const std::string& name, std::uint64_t number);
    void tryAgain(const std::string& name, std::uint64_t number);
    kj::Promise<void> connect(const std::string& name, std::uint64_t number);
    kj::Promise<GuardedDescriptor> connectedSocket(const std::string& name, GuardedDescriptor socket,
                                                   std::chrono::steady_clock::time_point end);
    kj::Promise<void> greet(const std::string& name, std::uint64_t number, GuardedDescriptor socket,
                            std::chrono::steady_clock::time_point end);
    void welcome(const std::string& name, std::uint64_t number, const Greeting& greeting, pid_t process,
                 Line line);
    void taskFailed(kj::Exception&& failure) override;

    Engine& engine_;
    bool isDiscovering_ = false;
    bool isToLookAgain_ = false;
    unsigned failedLooks_ = 0; // in a row
    std::map<std::string, Found> found_;
    std::map<std::uint64_t, ClientConnection*> connections_; // those of found_
    std::map<std::string, std::weak_ptr<UntakenLoad>> loads_;
    kj::TaskSet tasks_;
};

} // namespace varnek::spf
