#include "spf/PendingCall.hpp"

namespace varnek::spf {

void PendingCall::settle(Value value) noexcept {
    if (!isSettled_.exchange(true))
        promise_.set_value(std::move(value));
}

void PendingCall::fail(std::exception_ptr failure) noexcept {
    if (!isSettled_.exchange(true))
        promise_.set_exception(std::move(failure));
}

void PendingCall::fail(RemoteErrorKind kind, const std::string& what) noexcept {
    if (isSettled_.load())
        return;
    try {
        fail(std::make_exception_ptr(RemoteError(kind, label_ + ": " + what)));
    } catch (...) {
        fail(std::current_exception());
    }
}

} // namespace varnek::spf
