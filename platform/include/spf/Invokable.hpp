/// Both ends of a remote service: what serves calls, and what makes them.
#pragma once

#include "cppmicroservices/ServiceInterface.h"
#include "spf/Limits.hpp"
#include "spf/RemoteError.hpp"
#include "spf/Value.hpp"
#include "varnek/Export.hpp"

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

namespace varnek::spf {

/// Serves the calls of other processes. Called on worker threads, several calls at once, also those of one
/// client, without locks. A call that takes long holds up nobody else (see limits::sharedWorkers).
class VARNEK_EXPORT ServiceProvider {
  public:
    virtual ~ServiceProvider();
    /// RemoteError of kind unknownMethod for a method that is not served; RemoteError of any kind arrives at
    /// the caller as it is, ProviderFailure and other exceptions as ProviderFailure.
    virtual Value invoke(const std::string& method, const Value::List& arguments) = 0;
};

/// Ends a subscription when it goes; waits for a call of the listener that is running on another thread.
/// One object belongs to one thread.
class VARNEK_EXPORT Subscription {
  public:
    Subscription() = default;
    explicit Subscription(std::function<void()> end) : end_(std::move(end)) {}
    Subscription(Subscription&& other) noexcept : end_(std::exchange(other.end_, {})) {}
    /// Ends the one it had.
    Subscription& operator=(Subscription&& other) noexcept;
    ~Subscription();

  private:
    std::function<void()> end_; // does not throw
};

/// A service of another process. Thread-safe; the calls to one process go over one connection and do not
/// wait for each other. Keeps the connection open, but not the service alive.
class VARNEK_EXPORT Invokable {
  public:
    using Listener = std::function<void(const Value::List& announcement)>;

    virtual ~Invokable();

    /// The result of a call, or what went wrong: RemoteError, ProviderFailure. Does not block, and throws
    /// nothing but std::bad_alloc: what is refused at once (tooLarge; refused in a child of fork()) is in
    /// the future, too. The future is ready after `limit` at the latest. Dropping it does not wait.
    virtual std::future<Value> invoke(const std::string& method, Value::List arguments,
                                      std::chrono::milliseconds limit = limits::call) = 0;

    /// invoke() with the conversion of the result; waits. Only for results that are plain values:
    /// std::logic_error, "Polymorphic types are not supported with futures".
    template <class Result, class Convert>
    Result call(const std::string& method, Value::List arguments, Convert convert,
                std::chrono::milliseconds limit = limits::call) {
        if constexpr (std::is_polymorphic_v<Result>)
            throw std::logic_error("Polymorphic types are not supported with futures");
        else
            return convert(invoke(method, std::move(arguments), limit).get());
    }

    /// False when the connection or the publication has ended; it does not come back. When the other process
    /// is still there, it is registered anew, as another service.
    virtual bool isAlive() const noexcept = 0;

    /// What the provider announces on a topic from now on; on a thread of the framework, one announcement at
    /// a time, in their order. The provider's announcements that follow the answer of a call made after
    /// listen() are heard. Nothing from a provider that announces nothing, or once the service has ended.
    /// RemoteError (tooLarge) for a topic of more than limits::topicBytes.
    /// When the listeners of one process stay behind by limits::announcementBytes, those of the service of
    /// which most waits hear no more: it ends for this process and is registered anew. What a listener
    /// throws is logged.
    virtual Subscription listen(const std::string& topic, Listener listener) = 0;
};

} // namespace varnek::spf

CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(varnek::spf::ServiceProvider, "varnek::spf::ServiceProvider")
