#include "varnek/concurrency/RunningCalls.hpp"

#include <condition_variable>
#include <mutex>

namespace varnek::concurrency {
namespace {

thread_local const RunningCalls::Call* innermostCall = nullptr;

} // namespace

/// The threads that wait: links of a list on their stacks.
class RunningCalls::Waiting {
  public:
    explicit Waiting(const RunningCalls& awaited) noexcept : awaited_(awaited), innermost_(innermostCall) {}

    void wait() noexcept {
        std::unique_lock lock(shared().mutex);
        next_ = shared().first;
        shared().first = this;
        shared().count.fetch_add(1); // before the calls are counted: whoever ends one later sees it
        shared().changed.notify_all();
        while (awaited_.running_.load() > callsNotAwaited())
            shared().changed.wait(lock);
        shared().count.fetch_sub(1);
        Waiting** link = &shared().first;
        while (*link != this)
            link = &(*link)->next_;
        *link = next_;
    }

    static void callEnded() noexcept {
        if (shared().count.load() == 0)
            return;
        { const std::lock_guard lock(shared().mutex); }
        shared().changed.notify_all();
    }

  private:
    struct Shared {
        std::atomic<int> count{0};
        std::mutex mutex; // guards the rest; taken by threads that wait, and where a call ends meanwhile
        std::condition_variable changed;
        Waiting* first = nullptr;
    };
    /// Never destroyed: calls may run until the process ends.
    static Shared& shared() noexcept {
        static auto* const made = new Shared;
        return *made;
    }

    /// How many of these calls the waiting thread is inside of.
    int callsInside(const RunningCalls& calls) const noexcept {
        int found = 0;
        for (const Call* call = innermost_; call != nullptr; call = call->outer_)
            found += &call->calls_ == &calls ? 1 : 0;
        return found;
    }

    /// Under the mutex. Marks the threads that wait for this one, directly or through others.
    int callsNotAwaited() noexcept {
        for (Waiting* other = shared().first; other != nullptr; other = other->next_)
            other->waitsForUs_ = other == this;
        for (bool more = true; more;) {
            more = false;
            for (Waiting* other = shared().first; other != nullptr; other = other->next_)
                for (const Waiting* ours = shared().first; ours != nullptr && !other->waitsForUs_;
                     ours = ours->next_)
                    if (ours->waitsForUs_ && ours->callsInside(other->awaited_) > 0)
                        more = other->waitsForUs_ = true;
        }
        int calls = 0;
        for (const Waiting* other = shared().first; other != nullptr; other = other->next_)
            calls += other->waitsForUs_ ? other->callsInside(awaited_) : 0;
        return calls;
    }

    const RunningCalls& awaited_;
    const Call* innermost_;
    Waiting* next_ = nullptr;
    bool waitsForUs_ = false;
};

RunningCalls::Call::Call(RunningCalls& calls) noexcept : calls_(calls), outer_(innermostCall) {
    calls_.running_.fetch_add(1);
    innermostCall = this;
}

RunningCalls::Call::~Call() {
    innermostCall = outer_;
    calls_.running_.fetch_sub(1);
    Waiting::callEnded();
}

void RunningCalls::wait() const noexcept {
    Waiting(*this).wait();
}

} // namespace varnek::concurrency
