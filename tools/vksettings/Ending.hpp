/// The end of a command that runs until somebody has had enough.
#pragma once

#include "Descriptor.hpp"

#include <csignal>

namespace vksettings {

/// To be made before any other thread, so that the signals reach no other one.
class Ending {
  public:
    Ending();

    /// From any thread.
    void request() const;
    enum class Output { ignored, watched };
    /// Returns on Ctrl-C and SIGTERM, when it is requested, and, where the output is watched, when nobody
    /// reads it any more. Throws std::system_error when a watched output was never there.
    void wait(Output output) const;

  private:
    const sigset_t* block();

    sigset_t mask_{};
    const Descriptor signals_;
    const Descriptor request_;
};

} // namespace vksettings
