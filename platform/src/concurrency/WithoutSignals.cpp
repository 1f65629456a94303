#include "varnek/concurrency/WithoutSignals.hpp"

#include <initializer_list>

namespace varnek::concurrency {

WithoutSignals::WithoutSignals() noexcept {
    sigset_t all;
    ::sigfillset(&all);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT})
        ::sigdelset(&all, fault);
    ::pthread_sigmask(SIG_SETMASK, &all, &before_);
}

WithoutSignals::~WithoutSignals() {
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

} // namespace varnek::concurrency
