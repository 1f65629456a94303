#include "spf/Background.hpp"

#include <pthread.h>
#include <signal.h>

#include <utility>

namespace varnek::spf {
namespace {

/// New threads inherit the mask.
class SignalsBlocked {
  public:
    SignalsBlocked() noexcept {
        sigset_t all;
        sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;
    ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

  private:
    sigset_t before_{};
};

} // namespace

std::thread startThread(const char* name, std::function<void()> work) {
    const SignalsBlocked blocked;
    std::thread thread(std::move(work));
    ::pthread_setname_np(thread.native_handle(), name);
    return thread;
}

} // namespace varnek::spf
