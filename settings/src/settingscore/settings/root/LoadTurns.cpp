#include "settingscore/settings/root/LoadTurns.hpp"

#include <stdexcept>

namespace settings::core::detail {

LoadTurns& LoadTurns::instance() {
    static auto* const turns = new LoadTurns;
    return *turns;
}

bool LoadTurns::wouldWaitForItself(const void* group) const {
    for (;;) {
        const auto owner = loading_.find(group);
        if (owner == loading_.end())
            return false;
        const auto worker = workers_.find(owner->second);
        const std::thread::id active = worker == workers_.end() ? owner->second : worker->second;
        if (active == std::this_thread::get_id())
            return true;
        const auto next = waiting_.find(active);
        if (next == waiting_.end())
            return false;
        group = next->second;
    }
}

LoadTurns::Outcome LoadTurns::begin(const void* group) {
    const std::thread::id self = std::this_thread::get_id();
    std::unique_lock lock(mutex_);
    const auto [owner, isMine] = loading_.try_emplace(group, self);
    if (isMine)
        return Outcome::mine;
    if (wouldWaitForItself(group))
        return Outcome::circular;
    waiting_[self] = group;
    // The next turn of the same group may have begun by then: it is another thread's.
    turnEnded_.wait(lock, [&, loader = owner->second] {
        const auto now = loading_.find(group);
        return now == loading_.end() || now->second != loader;
    });
    waiting_.erase(self);
    return Outcome::ended;
}

void LoadTurns::worksFor(std::thread::id waiter, bool isWaiting) {
    {
        const std::lock_guard lock(mutex_);
        if (isWaiting)
            workers_[waiter] = std::this_thread::get_id();
        else
            workers_.erase(waiter);
    }
    isWaiting ? DefinesHere::begin() : DefinesHere::end();
}

void LoadTurns::end(const void* group) {
    {
        const std::lock_guard lock(mutex_);
        loading_.erase(group);
    }
    turnEnded_.notify_all();
}

LoadTurn::LoadTurn(const void* group) : group_(group) {
    for (;;)
        switch (LoadTurns::instance().begin(group)) {
        case LoadTurns::Outcome::mine:
            return;
        case LoadTurns::Outcome::circular:
            throw std::logic_error("the definitions of a group cannot be replaced while they are made");
        case LoadTurns::Outcome::ended:
            break;
        }
}

} // namespace settings::core::detail
