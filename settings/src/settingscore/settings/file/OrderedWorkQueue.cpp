#include "settingscore/settings/file/OrderedWorkQueue.hpp"

#include "varnek/concurrency/WithoutSignals.hpp"

#include <pthread.h>

#include <stdexcept>
#include <utility>

namespace settings::core::detail {

namespace {

constexpr char alreadyTerminated[] = "OrderedWorkQueue already terminated";
constexpr char alreadyTerminating[] = "OrderedWorkQueue already being terminated";
constexpr char notExecutable[] = "work must be executable";

struct CountedIn {
    explicit CountedIn(std::atomic<std::size_t>& counter) : count(counter) { ++count; }
    CountedIn(const CountedIn&) = delete;
    CountedIn& operator=(const CountedIn&) = delete;
    ~CountedIn() { --count; }
    std::atomic<std::size_t>& count;
};

} // namespace

OrderedWorkQueueImpl::OrderedWorkQueueImpl(std::string threadName, std::size_t capacity)
    : threadName_(std::move(threadName)), capacity_(capacity) {}

OrderedWorkQueueImpl::~OrderedWorkQueueImpl() {
    if (!isTerminated_)
        terminate(true);
    if (worker_.joinable())
        worker_.join(); // terminated without waiting
}

void OrderedWorkQueueImpl::start() {
    const varnek::concurrency::WithoutSignals inTheWorker;
    worker_ = std::thread([this] { run(); });
    isStarted_ = true;
}

/// Waits for room, in the order of arrival.
void OrderedWorkQueueImpl::takeTurn(std::unique_lock<std::mutex>& lock) {
    const std::uint64_t ticket = nextTicket_++;
    itemTaken_.wait(lock,
                    [&] { return isTerminated_ || (ticket == servedTickets_ && items_.size() < capacity_); });
    ++servedTickets_;
    itemTaken_.notify_all(); // the next ticket may have room as well
    if (isTerminated_)
        throw std::runtime_error(alreadyTerminated);
}

void OrderedWorkQueueImpl::store(Task task) {
    items_.push_back(std::move(task));
    itemStored_.notify_one();
}

std::future<void> OrderedWorkQueueImpl::push(Work work) {
    if (!work)
        throw std::invalid_argument(notExecutable);
    const CountedIn counted(pushesInProgress_);
    if (isTerminated_)
        throw std::runtime_error(alreadyTerminated);
    Task task(std::move(work));
    std::future<void> done = task.get_future();
    std::unique_lock lock(mutex_);
    if (!isStarted_)
        start();
    if (!isWorker())
        takeTurn(lock);
    store(std::move(task));
    return done;
}

void OrderedWorkQueueImpl::terminate(bool wait) {
    if (isTerminated_.exchange(true))
        throw std::runtime_error(alreadyTerminating);
    {
        const std::lock_guard lock(mutex_); // nobody is between its test and its wait
        itemTaken_.notify_all();            // whoever is held up gives up: the worker may be the caller
    }
    while (pushesInProgress_ != 0)
        std::this_thread::yield();
    bool isToBeJoined = false;
    {
        const std::lock_guard lock(mutex_);
        if (!worker_.joinable())
            return;
        store(Task());
        isToBeJoined = wait && !isWorker();
    }
    if (isToBeJoined)
        worker_.join();
}

void OrderedWorkQueueImpl::run() {
    workerId_ = std::this_thread::get_id();
    ::pthread_setname_np(::pthread_self(), threadName_.c_str());
    for (;;) {
        Task task;
        {
            std::unique_lock lock(mutex_);
            itemStored_.wait(lock, [this] { return !items_.empty(); });
            task = std::move(items_.front());
            items_.pop_front();
            itemTaken_.notify_all();
        }
        if (!task.valid())
            break;
        task();
    }
    workerId_ = std::thread::id(); // another thread may get this one's
    const std::lock_guard lock(mutex_);
    isEnded_ = true;
    ended_.notify_all();
}

void OrderedWorkQueueImpl::waitForEnd() {
    while (pushesInProgress_ != 0) // the end waits for them as well
        std::this_thread::yield();
    std::unique_lock lock(mutex_);
    ended_.wait(lock, [this] { return !isStarted_ || isEnded_; });
}

} // namespace settings::core::detail
