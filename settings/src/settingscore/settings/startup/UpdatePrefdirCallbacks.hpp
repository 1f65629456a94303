/// What is ready, and who wants to know.
///
/// Thread-safe. While callbacks run, or the preferences directory changes, others wait (rank "readiness", no
/// mutex). What defines settings waits for the latter only, for a callback may need what it defines; the
/// thread that starts the library leaves its callbacks to the one that runs some, which may wait for it.
/// record_ (rank "readiness record") guards all members; neither callbacks nor the disk are used under it.
#pragma once

#include "settingscore/startup/Readiness.hpp"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
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

    /// Who runs callbacks that are due while another thread runs some.
    enum class Calling { here, byWhoeverCalls };
    /// Sets the flag and runs the callbacks that are registered by then. Inside a callback on this thread,
    /// and byWhoeverCalls while another thread runs some: they run when those that are running are through.
    void prefdirIsReady(Calling calling = Calling::here);
    void settingsTreeIsReady(Calling calling = Calling::here);

    /// The start has found the directory: prefdirIsReady(byWhoeverCalls), unless it is ready already.
    void prefdirIsFound();
    /// A change was refused: runs the callbacks, and what the flag says stays.
    void prefdirIsAsBefore();

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
    };
    /// Why a change cannot begin here: std::logic_error inside a callback and in what defines settings.
    static void requireMayChange(const char* operation);

  private:
    using Lock = std::unique_lock<std::mutex>;
    using Callbacks = std::vector<std::shared_ptr<const ReadinessCallback>>;
    struct Subject {
        const char* name;    // in the log
        const char* closing; // how the log calls its callbacks in the end
        bool isReady = false;
        Callbacks callbacks{};
        std::optional<Callbacks> due{}; // of a subject that has become ready
    };

    Lock quietLock(const char* operation);
    bool add(Subject& subject, ReadinessCallback callback, const char* operation);
    bool isReady(const Subject& subject, const char* operation);
    enum class News { ready, readyAtFirst, asBefore };
    void tell(Subject& subject, News news, Calling calling);
    void run(Subject& subject, Lock& lock);

    std::mutex record_;
    std::condition_variable ended_; // what others wait for
    bool isRunning_ = false;        // callbacks
    bool isChanging_ = false;       // the directory
    Subject prefdir_{"prefdir ready", "prefdir location change"};
    Subject tree_{"settings tree ready", "settings tree ready"};
};

} // namespace settings::core::detail
