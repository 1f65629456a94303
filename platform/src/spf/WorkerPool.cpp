#include "spf/WorkerPool.hpp"

#include "spf/Background.hpp"
#include "spf/Limits.hpp"

#include <system_error>
#include <utility>

namespace varnek::spf {
namespace {

constexpr std::chrono::seconds idleTime{2};

thread_local bool isWorker = false;

} // namespace

void WorkerPool::submit(Lane lane, Job job) {
    std::unique_lock lock(mutex_);
    if (isEnding_)
        return;
    const auto place = lanes_.try_emplace(lane).first;
    place->second.waiting.push_back(std::move(job));
    if (!mayStart(place->second))
        return; // whoever ends a job of it goes on
    if (idle_ > called_) {
        ++called_;
        changed_.notify_one();
        return;
    }
    ++threads_;
    lock.unlock();
    try {
        startThread("varnek-spf-work", [this] { run(); }).detach();
    } catch (...) {
        lock.lock();
        if (--threads_ != 0)
            return; // the job waits for one of them
        lanes_.erase(lane);
        throw;
    }
}

void WorkerPool::clear(Lane lane) {
    std::deque<Job> forgotten; // destroyed without the lock
    const std::lock_guard lock(mutex_);
    const auto place = lanes_.find(lane);
    if (place == lanes_.end())
        return;
    forgotten.swap(place->second.waiting);
    if (place->second.running == 0)
        lanes_.erase(place);
}

void WorkerPool::end(std::chrono::milliseconds patience) {
    std::unique_lock lock(mutex_);
    isEnding_ = true;
    changed_.notify_all();
    const std::size_t own = isWorker ? 1 : 0;
    changed_.wait_for(lock, patience, [&] { return running_ <= own; });
}

bool WorkerPool::mayStart(const LaneState& lane) const {
    return !lane.waiting.empty() && (lane.running == 0 || shared_ < limits::sharedWorkers);
}

/// The lanes take turns.
WorkerPool::Lanes::iterator WorkerPool::next() {
    for (auto lane = lanes_.upper_bound(last_); lane != lanes_.end(); ++lane)
        if (mayStart(lane->second))
            return lane;
    for (auto lane = lanes_.begin(); lane != lanes_.end() && lane->first <= last_; ++lane)
        if (mayStart(lane->second))
            return lane;
    return lanes_.end();
}

void WorkerPool::run() noexcept {
    isWorker = true;
    std::unique_lock lock(mutex_);
    while (!isEnding_) {
        if (const auto lane = next(); lane != lanes_.end()) {
            runJob(lane, lock);
            continue;
        }
        ++idle_;
        const bool isCalled = changed_.wait_for(lock, idleTime, [this] { return called_ > 0 || isEnding_; });
        --idle_;
        if (!isCalled)
            break;
        if (called_ > 0)
            --called_;
    }
    --threads_;
}

void WorkerPool::runJob(Lanes::iterator lane, std::unique_lock<std::mutex>& lock) {
    shared_ += lane->second.running > 0 ? 1 : 0; // so it stays the sum of what runs beyond the first ones
    last_ = lane->first;
    ++lane->second.running;
    ++running_;
    {
        const Job job = std::move(lane->second.waiting.front());
        lane->second.waiting.pop_front();
        lock.unlock();
        job();
    }
    lock.lock();
    --running_;
    // The first of the lane may have ended before those that came later: then one of them is the first now.
    if (--lane->second.running > 0)
        --shared_;
    else if (lane->second.waiting.empty())
        lanes_.erase(lane);
    if (isEnding_)
        changed_.notify_all();
}

} // namespace varnek::spf
