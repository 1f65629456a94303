// Work that is done one after the other, on a thread of its own.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <limits>
#include <mutex>
#include <thread>

namespace varnek::spf {

/// Thread-safe. The thread begins with the first task. Never destroyed once it has begun: the thread stays to
/// the end of the process. Tasks run without locks; what they throw is logged.
class SerialThread {
  public:
    using Task = std::function<void()>;

    /// Tasks beyond `mostWaiting` are dropped.
    explicit SerialThread(const char* name,
                          std::size_t mostWaiting = std::numeric_limits<std::size_t>::max());
    SerialThread(const SerialThread&) = delete;
    SerialThread& operator=(const SerialThread&) = delete;

    /// std::bad_alloc, and std::system_error when there is no thread; then the task is not done.
    void post(Task task);
    /// No task begins any more. Waits for the one that is running, unless that is the caller.
    void end(std::chrono::milliseconds patience);

  private:
    void run() noexcept;

    const char* const name_;
    const std::size_t mostWaiting_;
    std::mutex mutex_; // guards the rest
    std::condition_variable changed_;
    std::deque<Task> waiting_;
    std::thread::id thread_;
    bool hasThread_ = false;
    bool isRunning_ = false;
    bool isEnding_ = false;
};

} // namespace varnek::spf
