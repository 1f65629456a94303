// Threads that carry out the calls of other processes.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>

namespace varnek::spf {

/// Jobs belong to lanes, one for each client. A lane may always have one job running; beyond that, all lanes
/// share limits::sharedWorkers, in turns. So what one client keeps waiting holds up no other. Threads come
/// when there is no idle one, and go when they were idle for a while.
///
/// Thread-safe. Never destroyed once a thread has begun. Jobs run without locks and do not throw.
class WorkerPool {
  public:
    using Lane = std::uint64_t;
    using Job = std::function<void()>;

    WorkerPool() = default;
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    /// Throws std::bad_alloc, and std::system_error when there is no thread at all; then nothing was added.
    void submit(Lane lane, Job job);
    /// Forgets the jobs of a lane that have not begun.
    void clear(Lane lane);
    /// No job begins any more. Waits for those that are running, but for the caller's own.
    void end(std::chrono::milliseconds patience);

  private:
    struct LaneState {
        std::deque<Job> waiting;
        std::size_t running = 0;
    };
    using Lanes = std::map<Lane, LaneState>;

    Lanes::iterator next();
    bool mayStart(const LaneState& lane) const;
    void run() noexcept;
    void runJob(Lanes::iterator lane, std::unique_lock<std::mutex>& lock);

    std::mutex mutex_; // guards the rest
    std::condition_variable changed_;
    Lanes lanes_; // those that have anything to do, or that did
    Lane last_ = 0;
    std::size_t shared_ = 0; // jobs that run beyond the first of their lanes
    std::size_t running_ = 0;
    std::size_t idle_ = 0; // threads that wait and have not been called
    std::size_t called_ = 0;
    std::size_t threads_ = 0;
    bool isEnding_ = false;
};

} // namespace varnek::spf
