/// One thread that runs work items in the order in which they were pushed.
///
/// The queue is bounded: who pushes faster than the thread works is held up, in the order of arrival, so that
/// memory does not grow. The worker itself is never held up by its own queue, or it would wait for itself.
///
/// Thread-safe. One mutex guards the queue; it is not held while an item runs. What an item raises is in its
/// future and nowhere else.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <thread>

namespace settings::core::detail {

class OrderedWorkQueue {
  public:
    using Work = std::function<void()>;

    virtual ~OrderedWorkQueue() = default;

    /// The future becomes ready when the item has run. Blocks while the queue is full.
    /// std::invalid_argument "work must be executable" for an empty item; std::runtime_error
    /// "OrderedWorkQueue already terminated" once terminate() has been called, also for a push that was held
    /// up by then.
    virtual std::future<void> push(Work work) = 0;

    /// No more pushes; the items in the queue still run. With `wait` it returns when they have, unless the
    /// caller is the worker, which cannot wait for itself. std::runtime_error "OrderedWorkQueue already being
    /// terminated" the second time.
    virtual void terminate(bool wait) = 0;
};

/// The thread starts with the first push.
class OrderedWorkQueueImpl final : public OrderedWorkQueue {
  public:
    /// `threadName`: at most 15 bytes. `capacity`: items that may wait, at least 1.
    OrderedWorkQueueImpl(std::string threadName, std::size_t capacity);
    /// Terminates and waits, unless that has happened; not to be called by the worker.
    ~OrderedWorkQueueImpl() override;

    std::future<void> push(Work work) override;
    void terminate(bool wait) override;

    /// After terminate(): waits until the thread has ended. Not for the worker.
    void waitForEnd();
    /// Whether the calling thread is the worker.
    bool isWorker() const noexcept { return workerId_ == std::this_thread::get_id(); }

  private:
    using Task = std::packaged_task<void()>;

    void start();
    void takeTurn(std::unique_lock<std::mutex>& lock);
    void store(Task task);
    void run();

    const std::string threadName_;
    const std::size_t capacity_;

    std::atomic<bool> isTerminated_{false};
    std::atomic<std::size_t> pushesInProgress_{0};

    std::mutex mutex_;
    std::condition_variable itemStored_;
    std::condition_variable itemTaken_;
    std::condition_variable ended_;
    bool isStarted_ = false;
    bool isEnded_ = false;
    std::deque<Task> items_; // an invalid task ends the thread
    std::uint64_t nextTicket_ = 0;
    std::uint64_t servedTickets_ = 0;
    std::thread worker_;
    std::atomic<std::thread::id> workerId_{};
};

} // namespace settings::core::detail
