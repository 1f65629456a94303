// The side that is called: publications of this process, and who is connected.
#pragma once

#include "spf/Descriptors.hpp"
#include "spf/EndpointFolder.hpp"
#include "spf/PublicationState.hpp"
#include "spf/Words.hpp"

#include <kj/async-io.h>
#include <kj/async-unix.h>
#include <kj/async.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace varnek::spf {

class Engine;
class ServerConnection;

/// Confined to the thread of the event loop.
class Server final : private kj::TaskSet::ErrorHandler {
  public:
    struct Published {
        std::shared_ptr<PublicationState> state;
        Words service; // as it is told to others
    };

    explicit Server(Engine& engine);
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    ~Server();

    /// Throws files::FileError when there can be no endpoint, RemoteError (refused) when too much is
    /// published.
    void publish(std::shared_ptr<PublicationState> state, Words service);
    void withdraw(std::uint64_t publication);
    void announce(std::uint64_t publication, const std::string& topic,
                  const std::shared_ptr<const Words>& announcement);
    /// What came of a call; nobody may be waiting for it any more.
    void reply(std::uint64_t connection, std::uint64_t call, Words reply);
    /// Makes the endpoint anew where somebody has removed it; tries again after pauses that grow.
    void checkEndpoint();

    const std::map<std::uint64_t, Published>& publications() const { return publications_; }
    /// Closes a connection, soon: not inside of what it is doing now.
    void drop(std::uint64_t connection);

  private:
    void listen();
    kj::Promise<void> acceptAll();
    void welcome(GuardedDescriptor socket);
    void taskFailed(kj::Exception&& failure) override;

    Engine& engine_;
    std::map<std::uint64_t, Published> publications_;
    std::size_t publishedBytes_ = 0; // that are told of those
    std::map<std::uint64_t, std::unique_ptr<ServerConnection>> connections_;
    std::unique_ptr<Endpoint> endpoint_;
    bool hasListened_ = false;
    bool isToCheckAgain_ = false;
    unsigned failedChecks_ = 0;                       // in a row
    kj::Own<kj::UnixEventPort::FdObserver> observer_; // of the endpoint
    kj::Maybe<kj::Promise<void>> accepting_;
    kj::TaskSet tasks_;
};

} // namespace varnek::spf
