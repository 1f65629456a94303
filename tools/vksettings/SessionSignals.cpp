#include "SessionSignals.hpp"

#include <sys/signalfd.h>

#include <utility>

namespace vksettings {

SessionSignals::SessionSignals()
    : signals_(::signalfd(-1, block(mask_), SFD_CLOEXEC | SFD_NONBLOCK), "signalfd") {}

const sigset_t* SessionSignals::block(sigset_t& mask) {
    sigemptyset(&mask);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&mask, signal);
    ::pthread_sigmask(SIG_BLOCK, &mask, nullptr);
    return &mask;
}

void SessionSignals::take() {
    signalfd_siginfo signal{};
    while (::read(signals_.get(), &signal, sizeof signal) == static_cast<ssize_t>(sizeof signal))
        (signal.ssi_signo == SIGINT ? isInterrupted_ : isEnding_) = true;
}

bool SessionSignals::takeInterrupts() {
    take();
    return std::exchange(isInterrupted_, false);
}

bool SessionSignals::isEnding() {
    take();
    return isEnding_;
}

} // namespace vksettings
