/// The engine of the application's language, when that is Python: a thread on which its functions run.
///
/// There is one for the process, in the module `vksettings`, whether a Python program imports the module or a
/// program embeds Python to use it.
#pragma once

#include "EngineThread.hpp"

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

    /// No more functions are called, jobs that have not begun are dropped, and the thread ends. Without the
    /// interpreter lock, which the thread needs to end. Does nothing when there is no thread.
    void stop();

    /// Has the thread do something. False when there is none. What `job` throws ends the process.
    bool post(EngineThread::Job job);
    /// The same, and waits for it; what it throws is thrown here. On the engine's thread it is called at
    /// once. Without the interpreter lock. std::runtime_error when there is no thread, or it stops before.
    void run(const std::function<void()>& job);

    /// Around the forking of the process, with the interpreter lock. The child gets an engine of its own.
    void beforeFork();
    void afterForkInParent();
    void afterForkInChild();

  private:
    Engine() = default;
    std::shared_ptr<EngineThread> current() const;

    mutable std::mutex mutex_;
    std::shared_ptr<EngineThread> thread_; // guarded by mutex_
};

} // namespace settings::python
