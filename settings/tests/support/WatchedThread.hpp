/// A thread of a test that can be seen to wait.
#pragma once

#include "support/Waiting.hpp"

#include <atomic>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include <unistd.h>

namespace settings::test {

class WatchedThread {
  public:
    explicit WatchedThread(std::function<void()> work)
        : thread_([this, mine = std::move(work)] {
              id_ = ::gettid();
              mine();
              isDone_ = true;
          }) {}
    WatchedThread(const WatchedThread&) = delete;
    WatchedThread& operator=(const WatchedThread&) = delete;
    ~WatchedThread() { thread_.join(); }

    /// Until the work is done or the thread sleeps.
    void settle() const {
        waitUntil([this] { return isDone_ || (id_ != 0 && isAsleep()); });
    }

  private:
    bool isAsleep() const {
        std::ifstream file("/proc/self/task/" + std::to_string(id_) + "/stat");
        std::string line;
        std::getline(file, line);
        const std::size_t name = line.rfind(')');
        return name != std::string::npos && line.substr(name, 3) == ") S";
    }

    std::atomic<pid_t> id_{0};
    std::atomic<bool> isDone_{false};
    std::thread thread_; // the last: it uses the others
};

} // namespace settings::test
