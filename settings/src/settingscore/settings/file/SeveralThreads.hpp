/// Work that several threads do at once for one that waits, and threads that take no signals.
#pragma once

#include <csignal>
#include <cstddef>
#include <functional>

namespace settings::core::detail {

/// Threads that are started while it lives take no signals: those of the process belong to the application's
/// threads. Faults of a thread itself it cannot refuse. On the thread that made it.
class WithoutSignals {
  public:
    WithoutSignals() noexcept;
    WithoutSignals(const WithoutSignals&) = delete;
    WithoutSignals& operator=(const WithoutSignals&) = delete;
    ~WithoutSignals();

  private:
    sigset_t before_;
};

/// Calls `work` once for each number below `count`, on at most `threads` threads, the caller's among them.
/// They take the numbers in order. `work` raises nothing. Where the system has fewer threads to give, fewer
/// do it.
void bySeveralThreads(std::size_t count, std::size_t threads, const std::function<void(std::size_t)>& work);

} // namespace settings::core::detail
