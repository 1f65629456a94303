// Threads of the room.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace varnek::spf {

/// Signals stay with the other threads of the process. `name` has up to 15 characters. Throws
/// std::system_error when the system has no thread to give.
std::thread startThread(const char* name, std::function<void()> work);

/// How long the end of the process waits for foreign code that is running on such threads.
inline constexpr std::chrono::milliseconds patienceAtExit{2000};

} // namespace varnek::spf
