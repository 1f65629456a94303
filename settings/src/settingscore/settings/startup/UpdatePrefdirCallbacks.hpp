/// What is ready, and who wants to know.
///
/// Thread-safe. mutex_ (rank "readiness") is held while callbacks run and while the preferences directory
/// changes: whoever waits for either waits for it. What defines settings waits for the latter only, for a
/// callback may need what it defines. record_ (rank "readiness record") guards the flags and the lists.
#pragma once

#include "settingscore/startup/Readiness.hpp"

#include <condition_variable>
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

    /// Waits for callbacks that run and for a change. std::logic_error inside a callback, naming `operation`.
    void wait(const char* operation);

    /// A change of the directory, to the end of the scope.
    class Change {
      public:
        Change(UpdatePrefdirCallbacks& callbacks, const char* operation);
        Change(const Change&) = delete;
        Change& operator=(const Change&) = delete;
        ~Change();

      private:
        UpdatePrefdirCallbacks& callbacks_;
        const std::unique_lock<std::mutex> lock_;
    };
    /// Why a change cannot begin here: std::logic_error inside a callback and in what defines settings.
    static void requireMayChange(const char* operation);

  private:
    using Callbacks = std::vector<std::shared_ptr<const ReadinessCallback>>;
    struct Subject {
        const char* name;    // in the log
        const char* closing; // how the log calls its callbacks in the end
        bool isReady = false;
        bool isDue = false; // it became ready inside a callback
        Callbacks callbacks{};
    };

    std::unique_lock<std::mutex> lock(const char* operation);
    bool add(Subject& subject, ReadinessCallback callback, const char* operation);
    bool isReady(const Subject& subject, const char* operation);
    void setReady(Subject& subject);
    void setChanging(bool isChanging);
    void makeReady(Subject& subject);
    void run(Subject& subject);

    std::mutex mutex_, record_;
    std::condition_variable changed_;
    bool isChanging_ = false;
    Subject prefdir_{"prefdir ready", "prefdir location change"};
    Subject tree_{"settings tree ready", "settings tree ready"};
};

} // namespace settings::core::detail
