/// Ctrl-C and requests to end, while commands must not be cut short: they wait until somebody asks.
#pragma once

#include "Descriptor.hpp"

#include <csignal>

namespace vksettings {

/// SIGINT, SIGTERM and SIGHUP interrupt nothing from the making of the object to the end of the process. To
/// be made while the process has one thread, so that no other one is interrupted either.
class SessionSignals {
  public:
    SessionSignals();

    /// Readable while a signal waits.
    int descriptor() const noexcept { return signals_.get(); }
    /// Takes what waits. Whether there was a SIGINT.
    bool takeInterrupts();
    /// Whether there was a SIGTERM or SIGHUP, now or before.
    bool isEnding();

  private:
    static const sigset_t* block(sigset_t& mask);
    void take();

    sigset_t mask_{};
    const Descriptor signals_;
    bool isInterrupted_ = false;
    bool isEnding_ = false;
};

} // namespace vksettings
