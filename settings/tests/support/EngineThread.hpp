/// A thread that stands for the engine of the interpreted language: it runs what it is given, one after the
/// other.
#pragma once

#include "varnek/host/LanguageEngine.hpp"

#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace settings::test {

class EngineThread {
  public:
    /// Ready when it is made.
    EngineThread() : thread_([this] { serve(); }) {
        if (!varnek::host::registerLanguageEngine(thread_.get_id()))
            throw std::logic_error("there is an engine already");
    }
    EngineThread(const EngineThread&) = delete;
    EngineThread& operator=(const EngineThread&) = delete;
    ~EngineThread() {
        varnek::host::unregisterLanguageEngine(thread_.get_id());
        post({});
        thread_.join();
    }

    /// Runs `work` on the thread and waits; what it throws comes out here.
    template <class Work>
    void run(Work work) {
        std::packaged_task<void()> task(std::move(work));
        auto done = task.get_future();
        post([&task] { task(); });
        done.get();
    }

  private:
    void post(std::function<void()> job) {
        {
            const std::lock_guard lock(mutex_);
            jobs_.push_back(std::move(job));
        }
        arrived_.notify_one();
    }
    void serve() {
        for (;;) {
            std::unique_lock lock(mutex_);
            arrived_.wait(lock, [this] { return !jobs_.empty(); });
            const std::function<void()> job = std::move(jobs_.front());
            jobs_.pop_front();
            lock.unlock();
            if (!job) // the end
                return;
            job();
        }
    }

    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<std::function<void()>> jobs_;
    std::thread thread_; // last: uses the others
};

} // namespace settings::test
