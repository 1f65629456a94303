#include "varnek/concurrency/Epoch.hpp"

#include <algorithm>
#include <mutex>
#include <new>
#include <thread>
#include <utility>
#include <vector>

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
    std::vector<Retired> retired;
    std::atomic<std::size_t> retiredSinceScan{0};
};

Domain& domain() noexcept {
    static Domain* const instance = new Domain;
    return *instance;
}

ReaderRecord* acquireRecord() {
    auto& readers = domain().readers;
    for (ReaderRecord* record = readers.load(std::memory_order_acquire); record != nullptr;
         record = record->next) {
        bool free = false;
        if (!record->inUse.load(std::memory_order_relaxed) &&
            record->inUse.compare_exchange_strong(free, true, std::memory_order_acquire))
            return record;
    }
    auto* record = new ReaderRecord;
    record->next = readers.load(std::memory_order_relaxed);
    while (!readers.compare_exchange_weak(record->next, record, std::memory_order_seq_cst)) {
    }
    return record;
}

thread_local ReaderRecord* current __attribute__((tls_model("initial-exec"))) = nullptr;
thread_local bool ending __attribute__((tls_model("initial-exec"))) = false;

/// Gives the record back when the thread ends. Destructors of the thread that read after that take one for
/// each section.
struct RecordOwner {
    ~RecordOwner() {
        ending = true;
        if (ReaderRecord* record = std::exchange(current, nullptr))
            detail::giveBack(record);
    }
};

__attribute__((noinline)) ReaderRecord* firstUse() {
    if (ending) {
        current = acquireRecord();
        current->giveBackOnLeaving = true;
        return current;
    }
    thread_local RecordOwner owner;
    static_cast<void>(owner);
    return current = acquireRecord();
}

/// The oldest epoch that an open section may still be looking at.
std::uint64_t oldestReader() noexcept {
    std::uint64_t oldest = UINT64_MAX;
    for (ReaderRecord* record = domain().readers.load(std::memory_order_seq_cst); record != nullptr;
         record = record->next) {
        const std::uint64_t epoch = record->epoch.load(std::memory_order_seq_cst);
        if (epoch != 0 && epoch < oldest)
            oldest = epoch;
    }
    return oldest;
}

/// Moves what no reader can see any more out of the list. Entries are in order of their epoch.
std::vector<Retired> takeUnreachable() noexcept {
    std::vector<Retired> unreachable;
    Domain& all = domain();
    const std::lock_guard lock(all.mutex);
    const std::uint64_t oldest = oldestReader();
    if (all.retired.empty() || all.retired.front().epoch >= oldest)
        return unreachable;
    if (all.retired.back().epoch < oldest) {
        unreachable.swap(all.retired);
        return unreachable;
    }
    const auto firstKept = std::find_if(all.retired.begin(), all.retired.end(),
                                        [&](const Retired& retired) { return retired.epoch >= oldest; });
    try {
        unreachable.assign(all.retired.begin(), firstKept);
        all.retired.erase(all.retired.begin(), firstKept);
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

void detail::giveBack(ReaderRecord* record) noexcept {
    if (current == record)
        current = nullptr;
    record->giveBackOnLeaving = false;
    record->inUse.store(false, std::memory_order_release);
}

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
    try {
        const std::lock_guard lock(all.mutex);
        all.retired.push_back({object, deleter, all.epoch.fetch_add(1, std::memory_order_seq_cst)});
        all.retiredSinceScan.fetch_add(1, std::memory_order_relaxed);
    } catch (const std::bad_alloc&) {
        // Rather a leak than a wait under the caller's lock.
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
