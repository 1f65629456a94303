/// Counts the calls of foreign code (a listener, a callback) that are running, so that whoever takes the
/// code's objects away can wait for their end.
///
///     void notify() { const RunningCalls::Call call(calls_); if (connected_) listener_(); }
///     void end()    { connected_ = false; calls_.wait(); }    // then the listener's objects may go
///
/// Threads that wait from inside of each other's calls do not wait for ever: what cannot end before the
/// waiting thread goes on is left out.
#pragma once

#include "varnek/Export.hpp"

#include <atomic>

namespace varnek::concurrency {

/// Thread-safe. Lives as long as each of its calls; only waiting takes a mutex, one of the process, and a
/// call that ends meanwhile.
class RunningCalls {
  public:
    /// One call, on the thread that makes it; calls of a thread nest.
    class Call {
      public:
        VARNEK_EXPORT explicit Call(RunningCalls& calls) noexcept;
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;
        VARNEK_EXPORT ~Call();

      private:
        friend class RunningCalls;
        RunningCalls& calls_;
        const Call* outer_; // of the same thread
    };

    RunningCalls() noexcept = default;
    RunningCalls(const RunningCalls&) = delete;
    RunningCalls& operator=(const RunningCalls&) = delete;

    /// Blocks until no call is running but those that this thread is inside of, and those inside which
    /// another thread waits here, directly or through others, for this one. Calls that begin meanwhile are
    /// waited for too: see to it first that none begins.
    VARNEK_EXPORT void wait() const noexcept;

  private:
    class Waiting;

    std::atomic<int> running_{0};
};

} // namespace varnek::concurrency
