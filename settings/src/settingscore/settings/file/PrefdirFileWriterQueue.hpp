/// The one thread that writes and removes the files of the levels, "PrefdirWriter".
///
/// Requests for a file that arrive while another one waits take its place, so that a burst of changes costs
/// one write; a pass waits for a moment before it begins, so that it finds the whole burst, unless somebody
/// waits for it. A pass runs what is pending in the order of levels and paths, folder by folder: the files of
/// the folder's operations are nobody else's meanwhile, and other processes are kept out of the folder. Where
/// the default save hook writes, they wait for the disk together.
///
/// Thread-safe. Two locks: passMutex_ (rank "file writer pass", recursive) is held while operations run, so
/// that one pass runs at a time, whoever runs it; mutex_ (rank "file writer") guards the pending operations.
/// Events are told under neither. A request does not wait for the disk while there is a thread.
#pragma once

#include "settingscore/settings/file/FileOperation.hpp"
#include "settingscore/settings/file/OrderedWorkQueue.hpp"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace settings::core::detail {

class PrefdirFileWriterQueue {
  public:
    static constexpr std::chrono::milliseconds usualDelay{50};

    /// `delay`: how long a pass waits for more of the same burst.
    explicit PrefdirFileWriterQueue(std::chrono::milliseconds delay = usualDelay);
    /// Terminates and waits, unless that has happened.
    ~PrefdirFileWriterQueue();

    /// The file is to be written. Once the queue has been terminated, or when no thread can be had, the
    /// caller runs what is pending itself.
    void requestFileUpdate(std::unique_ptr<FileOperation> operation);
    /// The file is to go.
    void requestDeleteFile(std::unique_ptr<FileOperation> operation);
    /// Writes the log lines of a request that an operation meets which is pending already.
    static void logFileUpdate(const std::filesystem::path& file);

    /// The pass that waits begins at once. Does not wait for it.
    void hurry();
    /// Returns when everything has been tried that was requested before; at once when the worker itself asks.
    void waitForAll();
    /// The worker runs `work` when everything has been tried that was requested before. Does not wait for it.
    /// As OrderedWorkQueue::push.
    void whenAllIsTried(std::function<void()> work);
    /// No thread from now on; with `wait` everything requested before has been tried when this returns,
    /// unless the worker itself calls. As OrderedWorkQueue::terminate.
    void terminate(bool wait);
    /// After somebody has called terminate(): waits until the thread has ended and nothing is pending. At
    /// once for the worker.
    void waitForEnd();
    /// After terminate(), when the process ends on this thread: tries what is pending, and what the passes
    /// leave that the thread is in the middle of. Their callers never come back to it.
    void endHere() noexcept;
    /// Whether there is a thread to hand work to.
    bool isRunning() const noexcept { return isRunning_; }
    /// Whether the calling thread is the worker.
    bool isWorker() const noexcept { return queue_.isWorker(); }

    /// Between these no operation runs, for a fork: the child inherits none that is half done. On the worker
    /// they do nothing.
    void holdPasses();
    void releasePasses();

  private:
    /// By path and owner: what a tree has asked for that was replaced runs before what its successor asks
    /// for.
    using Files = std::map<std::pair<std::string, std::uint64_t>, std::unique_ptr<FileOperation>>;
    using Levels = std::map<std::string, Files, std::less<>>;
    using Operations = std::vector<std::unique_ptr<FileOperation>>;
    struct Pass;

    void request(std::unique_ptr<FileOperation> operation);
    void wakeUp();
    void waitForTheBurst();
    /// Whether the pass is the one that `isWoken_` stands for.
    enum class Pending { woken, besides };
    void processFileIo(Pending pending) noexcept;
    void processWhatIsLeft(Pending pending) noexcept;
    /// Runs some of the files, on one folder; none when there is no memory for several.
    Operations runSome(Files& files, bool mayShare) noexcept;
    /// Runs all and tells their events, or leaves those with `untold` when there is one.
    void runLevels(Levels& levels, Operations* untold) noexcept;
    Levels takePending(Pending pending) noexcept;
    void runAlone(FileOperation& operation) noexcept;
    void endPassOfCaller() noexcept;
    void waitForCallers() noexcept;

    const std::chrono::milliseconds delay_;
    std::recursive_mutex passMutex_;
    std::mutex mutex_;
    std::condition_variable hurried_;
    std::condition_variable passEnded_;
    Levels pending_;
    bool isWoken_ = false;            // a pass waits in the queue, or is about to be put there
    bool isHurried_ = false;          // and is not to wait for more
    int waiting_ = 0;                 // threads for which none is to wait
    std::size_t passesOfCallers_ = 0; // that are at work, where there is no thread for them
    std::atomic<bool> isRunning_{true};
    OrderedWorkQueueImpl queue_; // last: its thread uses the members above
};

} // namespace settings::core::detail
