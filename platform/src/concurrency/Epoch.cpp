#include "varnek/concurrency/Epoch.hpp"

#include <deque>
#include <mutex>
#include <thread>

namespace varnek::concurrency {

namespace {

using detail::ReaderRecord;

// A batch is large enough to make the scan of all readers rare, small enough to keep little garbage.
constexpr std::size_t retiredBeforeScan = 64;

struct Retired {
    const void* object;
    void (*deleter)(const void*);
    std::uint64_t epoch;
};

/// Lives to the end of the process: threads may leave sections during static destruction.
struct Domain {
    std::atomic<std::uint64_t> epoch{1};
    std::atomic<ReaderRecord*> readers{nullptr};
    std::mutex mutex; // guards retired
    std::deque<Retired> retired;
    std::atomic<std::size_t> retiredSinceScan{0};
};

Domain& domain() noexcept {
    static Domain* const instance = new Domain;
    return *instance;
}

ReaderRecord* acquireRecord() {
    auto& readers = domain().readers;
    for (ReaderRecord* record = readers.load(std::memory_order_acquire); record != nullptr; record = record->next) {
        bool free = false;
        if (!record->inUse.load(std::memory_order_relaxed) &&
            record->inUse.compare_exchange_strong(free, true, std::memory_order_acquire))
            return record;
    }
    auto* record = new ReaderRecord;
    record->next = readers.load(std::memory_order_relaxed);
    while (!readers.compare_exchange_weak(record->next, record, std::memory_order_release)) {
    }
    return record;
}

thread_local ReaderRecord* current __attribute__((tls_model("initial-exec"))) = nullptr;

/// Gives the record back when the thread ends.
struct RecordOwner {
    ~RecordOwner() {
        if (current != nullptr)
            current->inUse.store(false, std::memory_order_release);
        current = nullptr;
    }
};

__attribute__((noinline)) ReaderRecord* firstUse() {
    thread_local RecordOwner owner;
    static_cast<void>(owner);
    current = acquireRecord();
    return current;
}

/// The oldest epoch that an open section may still be looking at.
std::uint64_t oldestReader() noexcept {
    std::uint64_t oldest = UINT64_MAX;
    for (ReaderRecord* record = domain().readers.load(std::memory_order_acquire); record != nullptr;
         record = record->next) {
        const std::uint64_t epoch = record->epoch.load(std::memory_order_seq_cst);
        if (epoch != 0 && epoch < oldest)
            oldest = epoch;
    }
    return oldest;
}

/// Moves what no reader can see any more out of the list. Entries are in order of their epoch.
std::deque<Retired> takeUnreachable() noexcept {
    std::deque<Retired> unreachable;
    Domain& all = domain();
    const std::lock_guard lock(all.mutex);
    const std::uint64_t oldest = oldestReader();
    if (all.retired.empty() || all.retired.front().epoch >= oldest)
        return unreachable;
    if (all.retired.back().epoch < oldest) {
        unreachable.swap(all.retired);
        return unreachable;
    }
    try {
        while (all.retired.front().epoch < oldest) {
            unreachable.push_back(all.retired.front());
            all.retired.pop_front();
        }
    } catch (const std::bad_alloc&) {
        // What did not fit stays for a later call.
    }
    return unreachable;
}

void waitForReaders(std::uint64_t epoch) noexcept {
    while (oldestReader() <= epoch)
        std::this_thread::yield();
}

} // namespace

detail::ReaderRecord* detail::enter() noexcept {
    ReaderRecord* record = current;
    if (record == nullptr) [[unlikely]]
        record = firstUse();
    if (record->depth++ == 0)
        record->epoch.store(domain().epoch.load(std::memory_order_acquire), std::memory_order_seq_cst);
    return record;
}

void retire(const void* object, void (*deleter)(const void*)) noexcept {
    Domain& all = domain();
    std::uint64_t epoch = 0;
    try {
        const std::lock_guard lock(all.mutex);
        epoch = all.epoch.fetch_add(1, std::memory_order_seq_cst);
        all.retired.push_back({object, deleter, epoch});
        all.retiredSinceScan.fetch_add(1, std::memory_order_relaxed);
    } catch (const std::bad_alloc&) {
        // No memory for the note: wait for the readers here, unless this thread is one of them.
        if (current == nullptr || current->depth == 0) {
            waitForReaders(epoch);
            deleter(object);
        }
    }
}

void reclaimIfDue() noexcept {
    if (domain().retiredSinceScan.load(std::memory_order_relaxed) >= retiredBeforeScan)
        reclaim();
}

void reclaim() noexcept {
    domain().retiredSinceScan.store(0, std::memory_order_relaxed);
    for (const Retired& retired : takeUnreachable())
        retired.deleter(retired.object);
}

void synchronize() noexcept {
    waitForReaders(domain().epoch.fetch_add(1, std::memory_order_seq_cst));
    reclaim();
}

} // namespace varnek::concurrency
