/// The one thread that writes and removes the files of the levels, "PrefdirWriter".
///
/// Requests for a file that arrive while another one waits take its place, so that a burst of changes costs
/// one write; a pass waits for a moment before it begins, so that it finds the whole burst, unless somebody
/// waits for it. A pass runs what is pending in the order of levels and paths. Where the default save hook
/// writes, the operations on one folder wait for the disk together; else each runs from beginning to end.
///
/// Thread-safe. The mutex (rank "file writer") guards the pending operations; nothing runs while it is held.
/// A request never waits for the disk: at most one pass is queued besides the one that runs.
#pragma once

#include "settingscore/settings/file/FileOperation.hpp"
#include "settingscore/settings/file/OrderedWorkQueue.hpp"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

namespace settings::core::detail {

class PrefdirFileWriterQueue {
  public:
    static constexpr std::chrono::milliseconds usualDelay{50};

    /// `delay`: how long a pass waits for more of the same burst.
    explicit PrefdirFileWriterQueue(std::chrono::milliseconds delay = usualDelay);
    /// Terminates and waits, unless that has happened.
    ~PrefdirFileWriterQueue();

    /// The file is to be written. Once the queue has been terminated the caller runs the operation itself,
    /// with what else is pending.
    void requestFileUpdate(std::unique_ptr<FileOperation> operation);
    /// The file is to go.
    void requestDeleteFile(std::unique_ptr<FileOperation> operation);
    /// Writes the log lines of a request that an operation meets which is pending already.
    static void logFileUpdate(const std::filesystem::path& file);

    /// The pass that waits begins at once. Does not wait for it.
    void hurry();
    /// Returns when the passes have run that were requested before; at once when the worker itself asks.
    void waitForAll();
    /// No thread from now on; with `wait` everything requested before is written when this returns, unless
    /// the worker itself calls. As OrderedWorkQueue::terminate.
    void terminate(bool wait);
    /// Whether there is a thread to hand work to.
    bool isRunning() const noexcept { return isRunning_; }

  private:
    using Operations = std::vector<std::unique_ptr<FileOperation>>;

    void request(std::unique_ptr<FileOperation> operation);
    void wakeUp();
    void waitForTheBurst();
    void processFileIo();
    Operations takePending();
    static void run(Operations& operations);

    const std::chrono::milliseconds delay_;
    std::mutex mutex_;
    std::condition_variable hurried_;
    std::map<std::string, std::map<std::string, std::unique_ptr<FileOperation>>, std::less<>> pending_;
    bool isWoken_ = false;   // a pass waits in the queue
    bool isHurried_ = false; // and is not to wait for more
    std::atomic<bool> isRunning_{true};
    OrderedWorkQueueImpl queue_; // last: its thread uses the members above
};

} // namespace settings::core::detail
