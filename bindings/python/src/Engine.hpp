/// The engine of the application's language, when that is Python: a thread on which its functions run.
///
/// There is one for the process, in the module `vksettings`, whether a Python program imports the module or a
/// program embeds Python to use it.
#pragma once

#include "EngineThread.hpp"

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

namespace settings::python {

/// Thread-safe; never destroyed. Every call may be made with and without the interpreter lock, unless it says
/// otherwise.
class Engine {
  public:
    static Engine& instance();

    /// Starts the thread and registers it and the functions that call Python with the settings library. To be
    /// called with the interpreter lock. std::runtime_error when the process has another engine.
    void start();

    /// Jobs that have not begun are dropped, the thread ends, and no more functions are called. Without the
    /// interpreter lock, which the thread needs to end. Does nothing when there is no thread.
    void stop();

    /// Has the thread do something. False when there is none. What `job` throws ends the process.
    /// `owner` only names it for waitFor, and may be null.
    bool post(EngineThread::Job job, const void* owner = nullptr);
    /// Waits while the engine is doing a job of that owner; not on the engine's thread. Without the
    /// interpreter lock.
    void waitFor(const void* owner);
    /// The same, and waits for it; what it throws is thrown here. On the engine's thread it is called at
    /// once. Without the interpreter lock. std::runtime_error when there is no thread, or it stops before.
    void run(const std::function<void()>& job);

    /// As run(), but false, and nothing is called, when the thread is at work for somebody else.
    bool runUnlessBusy(const std::function<void()>& job);

    /// Around the forking of the process, with the interpreter lock. The child gets an engine of its own.
    void beforeFork();
    void afterForkInParent();
    void afterForkInChild();

  private:
    Engine() = default;
    using Post = std::function<bool(EngineThread::Job)>;
    static bool runThrough(const Post& post, const std::function<void()>& job);
    void startThread();
    std::shared_ptr<EngineThread> current() const;
    void setOwner(const void* owner);

    mutable std::mutex mutex_;
    std::shared_ptr<EngineThread> thread_;           // guarded by mutex_
    const void* owner_ = nullptr;                    // of the job at work; guarded by mutex_
    std::unique_ptr<std::condition_variable> ended_; // a job of an owner; guarded by mutex_
};

} // namespace settings::python
