#include "event/SubscriptionTable.hpp"

#include "varnek/log/Channel.hpp"

#include <algorithm>
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

Subscription::Subscription(std::uint64_t order, std::vector<std::u16string> types, Listener listener,
                           bool counts, std::weak_ptr<SubscriptionTable> table)
    : order_(order), types_(std::move(types)), listener_(std::move(listener)), counts_(counts),
      table_(std::move(table)) {}

void Subscription::deliver(const EventHandle& event) noexcept {
    const concurrency::RunningCalls::Call call(calls_); // before the test: who disconnects then waits for us
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

SubscriptionHandle SubscriptionTable::add(std::vector<std::u16string> types, Listener listener, bool counts) {
    std::sort(types.begin(), types.end());
    types.erase(std::unique(types.begin(), types.end()), types.end());
    const auto added = std::make_shared<Subscription>(nextOrder_.fetch_add(1), std::move(types),
                                                      std::move(listener), counts, weak_from_this());
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
    size_.fetch_add(counts ? 1 : 0, std::memory_order_release);
    return added;
}

void SubscriptionTable::remove(const SubscriptionHandle& subscription) noexcept {
    size_.fetch_sub(subscription->counts() ? 1 : 0, std::memory_order_release);
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
