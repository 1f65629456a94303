// A call of this process that waits for its answer.
#pragma once

#include "spf/RemoteError.hpp"
#include "spf/Value.hpp"

#include <atomic>
#include <exception>
#include <future>
#include <string>
#include <utility>

namespace varnek::spf {

/// The first answer counts. When the last reference goes without any, the call has failed: whoever drops it
/// had the connection. Thread-safe.
class PendingCall {
  public:
    /// `label` says for messages what is called where.
    explicit PendingCall(std::string label) : label_(std::move(label)) {}
    PendingCall(const PendingCall&) = delete;
    PendingCall& operator=(const PendingCall&) = delete;
    ~PendingCall() { fail(RemoteErrorKind::disconnected, "The connection has ended"); }

    std::future<Value> future() { return promise_.get_future(); }

    void settle(Value value) noexcept;
    void fail(std::exception_ptr failure) noexcept;
    void fail(RemoteErrorKind kind, const std::string& what) noexcept;
    /// With what `decode` returns or throws.
    template <class Decode>
    void settleWith(Decode decode) noexcept {
        try {
            settle(decode());
        } catch (...) {
            fail(std::current_exception());
        }
    }

  private:
    const std::string label_;
    std::promise<Value> promise_;
    std::atomic<bool> isSettled_{false};
};

} // namespace varnek::spf
