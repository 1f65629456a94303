// Services of other processes, as any thread sees them.
#pragma once

#include "spf/ServiceRuntime.hpp"
#include "varnek/concurrency/RunningCalls.hpp"

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace varnek::spf {

struct Core;

/// The connection to a process. `isOpen` is set by the event loop; the rest does not change.
struct RemoteProcess {
    RemoteProcess(Core& itsCore, std::string itsName, std::uint64_t itsConnection, pid_t itsId)
        : core(itsCore), name(std::move(itsName)), connection(itsConnection), id(itsId) {}

    Core& core;
    const std::string name; // "spf.process"
    const std::uint64_t connection;
    const pid_t id;
    std::atomic<bool> isOpen{true};
    std::atomic<bool> hasTold{false}; // what it published when it was asked; that is registered
};

/// One service at the other end. `isOffered` is set by the event loop.
struct RemotePublication {
    RemotePublication(std::shared_ptr<const RemoteProcess> itsProcess, std::uint64_t itsNumber,
                      std::string itsName)
        : process(std::move(itsProcess)), number(itsNumber), name(std::move(itsName)) {}

    bool isAlive() const noexcept { return isOffered && process->isOpen; }

    const std::shared_ptr<const RemoteProcess> process;
    const std::uint64_t number;
    const std::string name; // "spf.servicename"
    std::atomic<bool> isOffered{true};
};

/// A listener and its calls. Thread-safe.
class ListenerState {
  public:
    explicit ListenerState(Invokable::Listener listener)
        : listener_(std::make_shared<const Invokable::Listener>(std::move(listener))) {}

    /// Throws what the listener throws.
    void call(const Value::List& announcement);
    /// No call begins any more; waits for one that is running on another thread.
    void end() noexcept;

  private:
    std::mutex mutex_; // guards listener_
    concurrency::RunningCalls calls_;
    std::shared_ptr<const Invokable::Listener> listener_; // null at the end
};

class RemoteInvokable final : public Invokable {
  public:
    explicit RemoteInvokable(std::shared_ptr<const RemotePublication> publication)
        : publication_(std::move(publication)) {}

    std::future<Value> invoke(const std::string& method, Value::List arguments,
                              std::chrono::milliseconds limit) override;
    bool isAlive() const noexcept override { return publication_->isAlive(); }
    Subscription listen(const std::string& topic, Listener listener) override;

  private:
    const std::shared_ptr<const RemotePublication> publication_;
};

class RegisteredService final : public RemoteService {
  public:
    explicit RegisteredService(std::shared_ptr<const RemotePublication> publication)
        : publication_(std::move(publication)) {}

    std::shared_ptr<Invokable> invokable() const override;

  private:
    const std::shared_ptr<const RemotePublication> publication_;
};

} // namespace varnek::spf
