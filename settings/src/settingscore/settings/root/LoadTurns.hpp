/// Who loads which group at the moment. One thread loads a group; others that need it wait for that thread,
/// unless they would wait for each other.
///
/// Thread-safe. The lock of this class (rank "load turns") is not held while anything is loaded.
#pragma once

#include "settingscore/settings/root/DefinesHere.hpp"

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

namespace settings::core::detail {

class LoadTurns {
  public:
    static LoadTurns& instance(); // never destroyed

    enum class Outcome {
        mine,     // the caller loads the group, and calls end()
        ended,    // another thread has done so, or has failed
        circular, // whoever loads the group waits for what this thread loads, or is this thread
    };

    /// Waits while another thread has the turn. `group` is only a name for it.
    Outcome begin(const void* group);
    void end(const void* group);

    /// From here on `waiter` waits for work on this thread that it needs for its turns; `isWaiting` false:
    /// no more.
    void worksFor(std::thread::id waiter, bool isWaiting);

  private:
    LoadTurns() = default;
    bool wouldWaitForItself(const void* group) const; // mutex_ is held

    std::mutex mutex_;
    std::condition_variable turnEnded_;
    std::map<const void*, std::thread::id> loading_;
    std::map<std::thread::id, const void*> waiting_;
    std::map<std::thread::id, std::thread::id> workers_; // of those that wait for work elsewhere
};

/// Has the turn of a group to the end of the scope. std::logic_error where that would wait for ever.
class LoadTurn {
  public:
    explicit LoadTurn(const void* group);
    LoadTurn(const LoadTurn&) = delete;
    LoadTurn& operator=(const LoadTurn&) = delete;
    ~LoadTurn() { LoadTurns::instance().end(group_); }

  private:
    const void* const group_;
    const DefinesHere definesHere_;
};

} // namespace settings::core::detail
