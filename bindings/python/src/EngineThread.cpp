#include "EngineThread.hpp"

#include <utility>

namespace settings::python {

EngineThread::EngineThread(Job begin, Job end)
    : thread_([this, begin = std::move(begin), end = std::move(end)] { work(begin, end); }) {}

bool EngineThread::post(Job job) {
    {
        const std::lock_guard lock(mutex_);
        if (isStopping_)
            return false;
        jobs_.push_back(std::move(job));
    }
    changed_.notify_one();
    return true;
}

bool EngineThread::postWhenIdle(Job job) {
    {
        const std::lock_guard lock(mutex_);
        if (isStopping_ || isWorking_ || !jobs_.empty())
            return false;
        jobs_.push_back(std::move(job));
    }
    changed_.notify_one();
    return true;
}

void EngineThread::work(const Job& begin, const Job& end) {
    begin();
    while (true) {
        Job job;
        {
            std::unique_lock lock(mutex_);
            isWorking_ = false;
            changed_.wait(lock, [this] { return isStopping_ || !jobs_.empty(); });
            if (isStopping_)
                break;
            job = std::move(jobs_.front());
            jobs_.pop_front();
            isWorking_ = true;
        }
        job();
    }
    end();
}

void EngineThread::stop() {
    std::deque<Job> dropped;
    {
        const std::lock_guard lock(mutex_);
        isStopping_ = true;
        dropped.swap(jobs_);
    }
    changed_.notify_one();
    if (thread_.joinable())
        thread_.join();
}

} // namespace settings::python
