/// A thread that does work in the order in which it is handed in.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace settings::python {

/// Thread-safe, except for what says otherwise.
class EngineThread {
  public:
    using Job = std::function<void()>;

    /// `begin` and `end` run on the thread, before and after all jobs. What a job throws ends the process.
    EngineThread(Job begin, Job end);
    EngineThread(const EngineThread&) = delete;
    EngineThread& operator=(const EngineThread&) = delete;
    /// Only after stop().
    ~EngineThread() = default;

    /// False, and the job is destroyed, when the thread takes no more.
    bool post(Job job);
    /// The same, also when a job is running or waits.
    bool postWhenIdle(Job job);
    std::thread::id id() const noexcept { return thread_.get_id(); }

    /// Takes no more jobs, destroys those that have not begun, and waits for the one that is running. Not to
    /// be called by a job.
    void stop();

    /// Around the forking of the process, so that the queue is whole in the child. The child has no such
    /// thread, and no use for the object.
    void lockForFork() { mutex_.lock(); }
    void unlockAfterFork() { mutex_.unlock(); }

  private:
    void work(const Job& begin, const Job& end);

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Job> jobs_;    // guarded by mutex_
    bool isWorking_ = false;  // on a job; guarded by mutex_
    bool isStopping_ = false; // guarded by mutex_
    std::thread thread_;
};

} // namespace settings::python
