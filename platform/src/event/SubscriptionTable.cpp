#include "event/SubscriptionTable.hpp"

#include "varnek/log/Channel.hpp"

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <iterator>
#include <utility>

namespace varnek::event::detail {
namespace {

log::Channel channel("varnek::event::EventManager");

void report(const Event& event, const char* cause) {
    VARNEK_LOG(channel, error) << "Listener of " << event.typeInfo()->qualifiedName()
                               << " threw an exception: " << cause;
}

} // namespace

/// Counts itself among the running calls, and among those of its thread.
class Subscription::Call {
  public:
    explicit Call(Subscription& subscription) noexcept : subscription_(subscription), outer_(innermost_) {
        subscription_.calls_.fetch_add(1);
        innermost_ = this;
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    ~Call();

    static const Call* innermost() noexcept { return innermost_; }
    /// How many calls of the subscription a thread is inside of whose innermost call is `call`.
    static int count(const Call* call, const Subscription& subscription) noexcept {
        int found = 0;
        for (; call != nullptr; call = call->outer_)
            found += &call->subscription_ == &subscription ? 1 : 0;
        return found;
    }

  private:
    static thread_local const Call* innermost_;
    Subscription& subscription_;
    const Call* outer_;
};

thread_local const Subscription::Call* Subscription::Call::innermost_ = nullptr;

/// The threads that wait for the end of calls, so that those inside of each other's listeners do not wait for
/// ever. Links of a list on the stacks of the waiting threads.
class Subscription::Waiting {
  public:
    Waiting(const Subscription& awaited, const Call* innermost) noexcept
        : awaited_(awaited), innermost_(innermost) {}

    /// Returns when no call is left but those of this thread and of threads that wait for it.
    void wait() noexcept {
        std::unique_lock lock(shared().mutex);
        next_ = shared().first;
        shared().first = this;
        shared().count.fetch_add(1); // before the calls are counted: whoever ends one later sees it
        shared().changed.notify_all();
        while (awaited_.calls_.load() > callsNotAwaited())
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
    /// Never destroyed: listeners may run until the process ends.
    static Shared& shared() noexcept {
        static auto* const made = new Shared;
        return *made;
    }

    bool isInsideOf(const Subscription& subscription) const noexcept {
        return Call::count(innermost_, subscription) > 0;
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
                    if (ours->waitsForUs_ && ours->isInsideOf(other->awaited_))
                        more = other->waitsForUs_ = true;
        }
        int calls = 0;
        for (const Waiting* other = shared().first; other != nullptr; other = other->next_)
            calls += other->waitsForUs_ ? Call::count(other->innermost_, awaited_) : 0;
        return calls;
    }

    const Subscription& awaited_;
    const Call* innermost_;
    Waiting* next_ = nullptr;
    bool waitsForUs_ = false;
};

Subscription::Call::~Call() {
    innermost_ = outer_;
    subscription_.calls_.fetch_sub(1);
    Waiting::callEnded();
}

Subscription::Subscription(std::uint64_t order, std::vector<std::u16string> types, Listener listener,
                           std::weak_ptr<SubscriptionTable> table)
    : order_(order), types_(std::move(types)), listener_(std::move(listener)), table_(std::move(table)) {}

void Subscription::deliver(const EventHandle& event) noexcept {
    const Call call(*this); // before the test: who disconnects then waits for us
    if (!connected())
        return;
    try {
        listener_(event);
    } catch (const std::exception& failure) {
        report(*event, failure.what());
    } catch (...) {
        report(*event, "not a standard exception");
    }
}

void Subscription::waitForCalls() const noexcept {
    Waiting(*this, Call::innermost()).wait();
}

SubscriptionHandle SubscriptionTable::add(std::vector<std::u16string> types, Listener listener) {
    std::sort(types.begin(), types.end());
    types.erase(std::unique(types.begin(), types.end()), types.end());
    const auto added = std::make_shared<Subscription>(nextOrder_.fetch_add(1), std::move(types),
                                                      std::move(listener), weak_from_this());
    std::vector<List> lists; // new ones first, then those that they replace, freed after the lock
    lists.reserve(added->types().size());
    const std::lock_guard lock(mutex_);
    for (const std::u16string& type : added->types()) {
        const List& old = lists_[type];
        auto next = old ? std::make_shared<std::vector<SubscriptionHandle>>(*old)
                        : std::make_shared<std::vector<SubscriptionHandle>>();
        next->push_back(added);
        lists.push_back(std::move(next));
    }
    for (std::size_t i = 0; i < lists.size(); ++i)
        lists[i].swap(lists_.find(added->types()[i])->second);
    size_.fetch_add(1, std::memory_order_release);
    return added;
}

void SubscriptionTable::remove(const SubscriptionHandle& subscription) noexcept {
    size_.fetch_sub(1, std::memory_order_release);
    std::vector<List> replaced; // freed after the lock: listeners may be destroyed with them
    try {
        replaced.reserve(subscription->types().size());
        const std::lock_guard lock(mutex_);
        for (const std::u16string& type : subscription->types()) {
            const auto found = lists_.find(type);
            if (found == lists_.end() || !found->second)
                continue;
            auto next = std::make_shared<std::vector<SubscriptionHandle>>();
            std::copy_if(found->second->begin(), found->second->end(), std::back_inserter(*next),
                         [](const SubscriptionHandle& other) { return other->connected(); });
            replaced.push_back(std::exchange(found->second, std::move(next)));
            if (found->second->empty())
                lists_.erase(found);
        }
    } catch (...) {
        // Out of memory: it stays in the lists and is passed over until the next change of them.
    }
}

void SubscriptionTable::clear() noexcept {
    std::unordered_map<std::u16string, List> lists;
    {
        const std::lock_guard lock(mutex_);
        lists.swap(lists_);
        size_ = 0;
    }
    for (const auto& [type, list] : lists)
        if (list)
            for (const SubscriptionHandle& subscription : *list)
                subscription->endCalls();
}

std::vector<SubscriptionHandle> SubscriptionTable::listenersOf(const Event& event) const {
    std::vector<SubscriptionHandle> found;
    if (empty())
        return found;
    {
        const std::lock_guard lock(mutex_);
        for (const auto* types : {&event.eventTypes(), &event.typeInfo()->eventTypes()})
            for (const std::u16string& type : *types)
                if (const auto list = lists_.find(type); list != lists_.end() && list->second)
                    found.insert(found.end(), list->second->begin(), list->second->end());
    }
    std::sort(found.begin(), found.end(),
              [](const auto& a, const auto& b) { return a->order() < b->order(); });
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

} // namespace varnek::event::detail
