/// Epoch-based reclamation: readers look at shared immutable objects without a lock and without a reference
/// count; what a writer replaces is deleted once no reader can still see it, by whichever writer comes along
/// next.
///
/// Readers mark themselves in a record of their own thread, so that reading threads share no cache line that
/// any of them writes. The scheme is that of K. Fraser, "Practical lock-freedom" (2004), with one global
/// counter.
///
///     ReadSection section;                       // cheap, may nest
///     const Table* table = snapshot.read();      // valid until the section ends
///
/// Rules: never block for long inside a section (nothing retired meanwhile can be freed); never keep a raw
/// pointer beyond it. Retired objects are deleted on some writer's thread, outside every lock of this
/// library.
#pragma once

#include "varnek/Export.hpp"

#include <atomic>
#include <cstdint>
#include <memory>

namespace varnek::concurrency {

namespace detail {
struct alignas(64) ReaderRecord {
    std::atomic<std::uint64_t> epoch{0}; // 0: outside any section
    std::uint32_t depth = 0;             // of the owning thread only
    bool giveBackOnLeaving = false;      // of the owning thread only: the thread is ending
    std::atomic<bool> inUse{true};
    ReaderRecord* next = nullptr;
};
/// The calling thread's record, entered once more. Ends the process when there is no memory for a thread's
/// record.
VARNEK_EXPORT ReaderRecord* enter() noexcept;
VARNEK_EXPORT void giveBack(ReaderRecord* record) noexcept;
} // namespace detail

/// Thread-confined: ends on the thread that made it.
class ReadSection {
  public:
    ReadSection() noexcept : record_(detail::enter()) {}
    ReadSection(const ReadSection&) = delete;
    ReadSection& operator=(const ReadSection&) = delete;
    ~ReadSection() {
        if (--record_->depth != 0)
            return;
        record_->epoch.store(0, std::memory_order_release);
        if (record_->giveBackOnLeaving) [[unlikely]]
            detail::giveBack(record_);
    }

  private:
    detail::ReaderRecord* record_;
};

/// Notes that `object` is to be deleted through `deleter` when every section that is open now has ended. The
/// object must already be out of reach for new readers. Deletes nothing itself, so that it may be called
/// under a lock; without memory for the note the object is never deleted.
VARNEK_EXPORT void retire(const void* object, void (*deleter)(const void*)) noexcept;

/// Deletes what can be deleted when enough has been retired to make that worth while. Writers call it after
/// they have released their locks, since a deleter may run foreign destructors.
VARNEK_EXPORT void reclaimIfDue() noexcept;

/// Waits until every section that is open now has ended and deletes all that was retired before the call.
/// Must not be called from inside a section.
VARNEK_EXPORT void synchronize() noexcept;

/// Deletes what can be deleted now, without waiting.
VARNEK_EXPORT void reclaim() noexcept;

/// One published pointer to an immutable object. Readers call read() inside a ReadSection; writers serialise
/// among themselves and publish() a successor. Null until first published.
template <class T>
class Snapshot {
  public:
    Snapshot() = default;
    explicit Snapshot(std::unique_ptr<const T> first) noexcept : current_(first.release()) {}
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;
    /// No reader may be left: the owner of a Snapshot is itself reached through sections or shared handles.
    ~Snapshot() { delete current_.load(std::memory_order_relaxed); }

    /// Sequentially consistent, so that it cannot be ordered before the entry into the section.
    const T* read() const noexcept { return current_.load(std::memory_order_seq_cst); }

    void publish(std::unique_ptr<const T> next) noexcept {
        const T* previous = current_.exchange(next.release(), std::memory_order_seq_cst);
        if (previous != nullptr)
            retire(previous, [](const void* object) { delete static_cast<const T*>(object); });
    }

  private:
    std::atomic<const T*> current_{nullptr};
};

} // namespace varnek::concurrency
