#include "settingscore/settings/file/PrefdirFileWriterQueue.hpp"

#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "settingscore/settings/file/SaveHook.hpp"
#include "settingscore/settings/file/SeveralThreads.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/FileReplacement.hpp"
#include "varnek/files/Folder.hpp"
#include "varnek/files/FolderLock.hpp"

#include <sys/resource.h>

#include <algorithm>
#include <iterator>
#include <system_error>
#include <thread>

namespace settings::core::detail {

namespace {

constexpr char threadName[] = "PrefdirWriter";
constexpr std::size_t queueCapacity = 64;
/// Files that wait for the disk together.
constexpr std::size_t filesAtOnce = 128;
/// Each of them holds two descriptors meanwhile; most of those of the process are left to others.
constexpr std::size_t descriptorsPerFile = 2;
/// Threads that wait for the disk at the same time.
constexpr std::size_t waitsAtOnce = 32;

using Operation = std::unique_ptr<FileOperation>;

std::size_t mostAtOnce() noexcept {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return 1;
    const auto allowed = static_cast<std::size_t>(limit.rlim_cur) / (4 * descriptorsPerFile);
    return std::clamp<std::size_t>(allowed, 1, filesAtOnce);
}

/// Threads that make contents at the same time, one for each processor.
std::size_t writesAtOnce() noexcept {
    return std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, 8);
}

/// Runs one step; nothing that it raises keeps the others from running.
template <class Step>
void guarded(const std::filesystem::path& place, Step&& step) noexcept {
    try {
        step();
    } catch (...) {
        logCaught(causeOfCurrentException(), place);
    }
}

/// The same for a step of one operation.
template <class Step>
void guarded(FileOperation& operation, Step&& step) noexcept {
    guarded(operation.path(), [&] { step(operation); });
}

void flush(const std::filesystem::path& folder) {
    try {
        varnek::files::flushFolder(folder);
    } catch (const varnek::files::FileError& failure) { // the files are in place all the same
        VARNEK_LOG(fileLog, warning) << failure.what();
    }
}

/// One after the other each would wait for the disk by itself; those that wait at the same time share it. The
/// file system has the least to do when all contents are on their way before anybody waits.
void writeTogether(std::span<const Operation> operations) {
    bySeveralThreads(operations.size(), writesAtOnce(), [&](std::size_t i) { operations[i]->write(); });
    bySeveralThreads(operations.size(), waitsAtOnce, [&](std::size_t i) { operations[i]->flush(); });
}

void runTogether(const std::filesystem::path& folder, std::span<const Operation> operations,
                 FolderTurn turn) {
    varnek::files::ReplacementFolder together(folder);
    turn.together = &together;
    for (const Operation& operation : operations)
        guarded(*operation, [&](FileOperation& each) { each.prepare(turn); });
    writeTogether(operations);
    bool isToBeFlushed = false;
    for (const Operation& operation : operations)
        guarded(*operation, [&](FileOperation& each) { isToBeFlushed = each.execute() || isToBeFlushed; });
    together.removeTemporaryDirectory();
    if (isToBeFlushed)
        flush(folder);
}

void runOnFolder(const std::filesystem::path& folder, std::span<const Operation> operations, bool mayShare) {
    for (const Operation& operation : operations)
        guarded(*operation, [](FileOperation& each) { each.begin(); });
    guarded(folder, [&] {
        std::error_code ignored;
        const varnek::files::FolderLock othersOut(folder);
        const bool isThere = std::filesystem::is_directory(folder, ignored);
        const FolderTurn turn{.isLocked = isThere && othersOut.isHeld(), .isWaitedFor = !othersOut.isHeld()};
        if (mayShare && isThere && operations.size() > 1)
            return runTogether(folder, operations, turn);
        for (const Operation& operation : operations) {
            guarded(*operation, [&](FileOperation& each) { each.prepare(turn); });
            guarded(*operation, [](FileOperation& each) { each.execute(); });
        }
    });
    for (const Operation& operation : operations) // also of those that did not get that far
        guarded(*operation, [](FileOperation& each) { each.finish(); });
}

void tell(std::span<const Operation> operations) noexcept {
    for (const Operation& operation : operations)
        guarded(*operation, [](FileOperation& each) { each.tell(); });
}

/// At once when there is no memory to keep them.
void tellLater(std::span<Operation> operations, std::vector<Operation>& untold) noexcept {
    try {
        untold.reserve(untold.size() + operations.size());
        std::move(operations.begin(), operations.end(), std::back_inserter(untold));
    } catch (const std::exception&) {
        tell(operations);
    }
}

} // namespace

void PrefdirFileWriterQueue::runAlone(FileOperation& operation) noexcept {
    {
        const std::lock_guard lock(passMutex_);
        guarded(operation, [](FileOperation& each) { each.begin(); });
        guarded(operation, [](FileOperation& each) { each.prepare({}); });
        guarded(operation, [](FileOperation& each) { each.execute(); });
        guarded(operation, [](FileOperation& each) { each.finish(); });
    }
    guarded(operation, [](FileOperation& each) { each.tell(); });
}

PrefdirFileWriterQueue::PrefdirFileWriterQueue(std::chrono::milliseconds delay)
    : delay_(delay), queue_(threadName, queueCapacity) {}

PrefdirFileWriterQueue::~PrefdirFileWriterQueue() {
    if (isRunning_)
        terminate(true);
}

// ---- requests ----

void PrefdirFileWriterQueue::logFileUpdate(const std::filesystem::path& file) {
    VARNEK_LOG(fileLog, info) << "Request file update: " << file.string();
    VARNEK_LOG(fileLog, info) << "Wake up the file I/O thread.";
}

void PrefdirFileWriterQueue::requestFileUpdate(std::unique_ptr<FileOperation> operation) {
    logFileUpdate(operation->path());
    request(std::move(operation));
}

void PrefdirFileWriterQueue::requestDeleteFile(std::unique_ptr<FileOperation> operation) {
    VARNEK_LOG(fileLog, info) << "Request delete file: " << operation->path().string();
    VARNEK_LOG(fileLog, info) << "Wake up the file I/O thread.";
    request(std::move(operation));
}

void PrefdirFileWriterQueue::request(std::unique_ptr<FileOperation> operation) {
    bool isToBeWoken = false;
    {
        const std::lock_guard lock(mutex_);
        auto& pending = pending_[std::string(levelName(operation->level()))]
                                [{operation->path().native(), operation->owner()}];
        std::swap(pending, operation); // the one before is let go without the lock
        isToBeWoken = !std::exchange(isWoken_, true);
    }
    if (isToBeWoken)
        wakeUp();
}

void PrefdirFileWriterQueue::wakeUp() {
    try {
        queue_.push([this] {
            waitForTheBurst();
            processFileIo(Pending::woken);
        });
    } catch (const std::exception&) { // terminated, or the system has no thread or memory to give
        processFileIo(Pending::woken);
    }
}

// ---- passes ----

void PrefdirFileWriterQueue::waitForTheBurst() {
    std::unique_lock lock(mutex_);
    hurried_.wait_for(lock, delay_, [this] { return isHurried_ || waiting_ > 0 || !isRunning_; });
}

/// What a thread still has to run; a listener or a hook may end the process in the middle of it.
struct PrefdirFileWriterQueue::Pass {
    Pass(PrefdirFileWriterQueue& owner, Levels taken) noexcept
        : queue(owner), levels(std::move(taken)), outer(std::exchange(innermostHere, this)) {}
    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;
    ~Pass() { innermostHere = outer; }

    static inline thread_local Pass* innermostHere = nullptr;

    PrefdirFileWriterQueue& queue;
    Levels levels;
    Pass* const outer;
};

PrefdirFileWriterQueue::Levels PrefdirFileWriterQueue::takePending(Pending pending) noexcept {
    const std::lock_guard lock(mutex_);
    if (pending == Pending::woken) // else the pass is still to come, and no other is needed
        isWoken_ = isHurried_ = false;
    if (!isWorker())
        ++passesOfCallers_;
    return std::exchange(pending_, {});
}

void PrefdirFileWriterQueue::processFileIo(Pending pending) noexcept {
    VARNEK_LOG(fileLog, info) << "Process the File I/O";
    if (isWorker()) {
        Pass pass(*this, takePending(pending));
        return runLevels(pass.levels, nullptr);
    }
    Operations untold; // others wait for what is written, not for listeners
    {
        Pass pass(*this, takePending(pending));
        runLevels(pass.levels, &untold);
    }
    endPassOfCaller();
    tell(untold);
}

void PrefdirFileWriterQueue::endPassOfCaller() noexcept {
    {
        const std::lock_guard lock(mutex_);
        --passesOfCallers_;
    }
    passEnded_.notify_all();
}

/// What this thread has asked for may be in the hands of another one. From inside a pass it does not wait:
/// the other one may be waiting for that.
void PrefdirFileWriterQueue::waitForCallers() noexcept {
    for (const Pass* pass = Pass::innermostHere; pass != nullptr; pass = pass->outer)
        if (&pass->queue == this)
            return;
    std::unique_lock lock(mutex_);
    passEnded_.wait(lock, [this] { return passesOfCallers_ == 0; });
}

void PrefdirFileWriterQueue::runLevels(Levels& levels, Operations* untold) noexcept {
    const bool mayShare = defaultHookWrites();
    for (auto& level : levels) {
        Files& files = level.second;
        while (!files.empty()) {
            Operations operations = runSome(files, mayShare);
            if (operations.empty()) {
                runAlone(*files.extract(files.begin()).mapped());
                continue;
            }
            if (untold == nullptr)
                tell(operations);
            bySeveralThreads(operations.size(), waitsAtOnce, [&](std::size_t i) { operations[i]->letGo(); });
            if (untold != nullptr)
                tellLater(operations, *untold);
        }
    }
}

PrefdirFileWriterQueue::Operations PrefdirFileWriterQueue::runSome(Files& files, bool mayShare) noexcept {
    Operations operations; // each on a file of its own
    guarded(files.begin()->second->path(), [&] {
        const std::filesystem::path folder = files.begin()->second->path().parent_path();
        const auto belongs = [&](const FileOperation& operation) {
            return operation.path().parent_path() == folder &&
                   (operations.empty() || operations.back()->path() != operation.path());
        };
        const std::size_t most = mostAtOnce();
        operations.reserve(most);
        while (!files.empty() && operations.size() < most && belongs(*files.begin()->second))
            operations.push_back(std::move(files.extract(files.begin()).mapped()));
        const std::lock_guard lock(passMutex_);
        runOnFolder(folder, operations, mayShare);
    });
    return operations;
}

void PrefdirFileWriterQueue::processWhatIsLeft(Pending pending) noexcept {
    {
        const std::lock_guard lock(mutex_);
        if (pending_.empty())
            return;
    }
    processFileIo(pending);
}

/// All is written before anybody is told: a listener may end the process once more.
void PrefdirFileWriterQueue::endHere() noexcept {
    Operations untold;
    for (Pass* pass = Pass::innermostHere; pass != nullptr; pass = pass->outer)
        if (&pass->queue == this) {
            runLevels(pass->levels, &untold);
            if (!isWorker()) // nobody comes back to it
                endPassOfCaller();
        }
    {
        Pass last(*this, takePending(Pending::woken));
        runLevels(last.levels, &untold);
    }
    if (!isWorker())
        endPassOfCaller();
    waitForCallers();
    tell(untold);
}

// ---- waiting ----

void PrefdirFileWriterQueue::hurry() {
    {
        const std::lock_guard lock(mutex_);
        if (!isWoken_)
            return;
        isHurried_ = true;
    }
    hurried_.notify_all();
}

void PrefdirFileWriterQueue::waitForAll() {
    if (isWorker())
        return;
    {
        const std::lock_guard lock(mutex_);
        ++waiting_;
    }
    hurried_.notify_all();
    try {
        // A pass, not a mere mark: whoever made the last request may not have pushed his yet.
        queue_.push([this] { processWhatIsLeft(Pending::besides); }).wait();
    } catch (const std::exception&) {
        if (isRunning_) // there was no memory
            processWhatIsLeft(Pending::besides);
        else
            waitForEnd();
    }
    waitForCallers();
    const std::lock_guard lock(mutex_);
    --waiting_;
}

void PrefdirFileWriterQueue::whenAllIsTried(std::function<void()> work) {
    queue_.push([this, mine = std::move(work)] {
        processWhatIsLeft(Pending::besides);
        mine();
    });
}

void PrefdirFileWriterQueue::waitForEnd() {
    if (isWorker())
        return;
    queue_.waitForEnd();
    processWhatIsLeft(Pending::woken); // of a request that found the queue closed in between
    waitForCallers();
}

void PrefdirFileWriterQueue::terminate(bool wait) {
    {
        const std::lock_guard lock(mutex_);
        isRunning_ = false;
    }
    hurried_.notify_all();
    queue_.terminate(wait);
    if (wait)
        waitForEnd();
}

void PrefdirFileWriterQueue::holdPasses() {
    if (!isWorker())
        passMutex_.lock();
}

void PrefdirFileWriterQueue::releasePasses() {
    if (!isWorker())
        passMutex_.unlock();
}

} // namespace settings::core::detail
