// The parts of the runtime that any thread may use. Never destroyed once it is made.
#pragma once

#include "spf/Discovery.hpp"
#include "spf/LoopThread.hpp"
#include "spf/SerialThread.hpp"
#include "spf/WorkerPool.hpp"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>

namespace varnek::spf {

/// What callers may wait: no clock overflows.
inline constexpr std::chrono::milliseconds longestLimit = std::chrono::hours(24 * 365);

struct Core {
    std::string processName;
    std::filesystem::path folder; // of the endpoints; set before the loop begins

    LoopThread loop;
    WorkerPool workers;
    SerialThread services{"varnek-spf-disc"};      // registers what others publish
    SerialThread announcements{"varnek-spf-tell"}; // calls the listeners of announcements
    Discovery discovery;                           // confined to `services`
    std::atomic<std::uint64_t> lastNumber{0};      // of connections, publications, subscriptions

    std::uint64_t newNumber() noexcept { return lastNumber.fetch_add(1) + 1; }
};

} // namespace varnek::spf
