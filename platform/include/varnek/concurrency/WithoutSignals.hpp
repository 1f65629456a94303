/// Threads that take no signals: those of the process belong to the application's own threads.
///
///     const WithoutSignals inTheThread;
///     std::thread thread(work); // it inherits the mask
#pragma once

#include "varnek/Export.hpp"

#include <csignal>

namespace varnek::concurrency {

/// Threads that are started while it lives take no signals. Faults of a thread itself (SIGSEGV and its like)
/// it cannot refuse. Ends on the thread that made it.
class WithoutSignals {
  public:
    VARNEK_EXPORT WithoutSignals() noexcept;
    WithoutSignals(const WithoutSignals&) = delete;
    WithoutSignals& operator=(const WithoutSignals&) = delete;
    VARNEK_EXPORT ~WithoutSignals();

  private:
    sigset_t before_;
};

} // namespace varnek::concurrency
