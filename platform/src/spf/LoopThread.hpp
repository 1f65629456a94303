// The thread that moves the bytes of all connections of the process.
#pragma once

#include "spf/Descriptors.hpp"

#include <kj/async-io.h>
#include <kj/function.h>

#include <deque>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

namespace varnek::spf {

struct Core;
class Engine;

/// Tasks run one after the other on the thread, between the turns of its event loop; they do not block and
/// call nothing foreign. Thread-safe. Never destroyed once it has begun.
class LoopThread {
  public:
    using Task = kj::Function<void(Engine&)>;

    LoopThread() = default;
    LoopThread(const LoopThread&) = delete;
    LoopThread& operator=(const LoopThread&) = delete;

    /// Begins the thread, once. Throws std::system_error and what the event loop cannot do without.
    void start(Core& core);
    /// False when the loop has ended; then the task is destroyed. Throws nothing but std::bad_alloc.
    bool post(Task task);
    /// Closes all connections and waits for the end of the thread.
    void end();

  private:
    void run(Core& core, std::promise<void>& started);
    void serve(Core& core, std::promise<void>& started);
    bool takeTasks(std::deque<Task>& tasks);
    static void runTasks(std::deque<Task>& tasks, Engine& engine);

    std::thread thread_;
    std::mutex mutex_; // guards tasks_ and isEnding_
    std::vector<Task> tasks_;
    bool isEnding_ = true; // before the beginning, too
    Descriptor wake_;      // an eventfd
};

} // namespace varnek::spf
