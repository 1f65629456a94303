/// What is ready, and who wants to know.
///
/// Thread-safe. mutex_ (rank "readiness") is held while callbacks run and while the preferences directory
/// changes: whoever waits for either waits for it.
#pragma once

#include "settingscore/startup/Readiness.hpp"

#include <memory>
#include <mutex>
#include <vector>

namespace settings::core::detail {

class UpdatePrefdirCallbacks {
  public:
    /// The record of the process; kept by whoever uses it.
    static std::shared_ptr<UpdatePrefdirCallbacks> instance();

    bool addPrefdirReady(ReadinessCallback callback);
    bool addSettingsTreeReady(ReadinessCallback callback);
    bool isPrefdirReady();
    bool isSettingsTreeReady();

    /// Sets the flag and runs the callbacks. Inside a callback on this thread, where the lock is held: they
    /// run when those that are running are through.
    void prefdirIsReady();
    void settingsTreeIsReady();

    /// std::logic_error inside a callback, naming `operation`.
    std::unique_lock<std::mutex> lock(const char* operation);

  private:
    struct Subject {
        const char* name;    // in the log
        const char* closing; // how the log calls its callbacks in the end
        bool isReady = false;
        bool isDue = false; // it became ready inside a callback
        std::vector<ReadinessCallback> callbacks{};
    };

    bool add(Subject& subject, ReadinessCallback callback, const char* operation);
    void makeReady(Subject& subject);
    void run(Subject& subject);

    std::mutex mutex_;
    Subject prefdir_{"prefdir ready", "prefdir location change"};
    Subject tree_{"settings tree ready", "settings tree ready"};
};

} // namespace settings::core::detail
