#include "settingscore/settings/file/PrefdirFileWriterQueue.hpp"

#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "settingscore/settings/file/SaveHook.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/Folder.hpp"
#include "varnek/files/FolderLock.hpp"

#include <algorithm>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace settings::core::detail {

namespace {

constexpr char threadName[] = "PrefdirWriter";
constexpr std::size_t queueCapacity = 64;
/// Files that wait for the disk together; each holds three descriptors meanwhile.
constexpr std::size_t filesAtOnce = 128;
/// Threads that wait for the disk at the same time.
constexpr std::size_t flushesAtOnce = 16;

/// Runs one step; nothing that it raises keeps the others from running.
template <class Step>
void guarded(Step&& step) {
    try {
        step();
    } catch (...) {
        VARNEK_LOG(fileLog, error) << "Exception caught: " << causeOfCurrentException();
    }
}

void runAlone(FileOperation& operation) {
    guarded([&] { operation.prepare(false); });
    guarded([&] { operation.execute(); });
    guarded([&] { operation.finish(); });
}

void flush(const std::filesystem::path& folder) {
    try {
        varnek::files::flushFolder(folder);
    } catch (const varnek::files::FileError& failure) { // the files are in place all the same
        VARNEK_LOG(fileLog, warning) << failure.what();
    }
}

/// One after the other each would wait for the disk by itself; those that wait at the same time share it.
void flushTogether(std::span<const std::unique_ptr<FileOperation>> operations) {
    std::atomic<std::size_t> next{0};
    const auto work = [&] {
        for (std::size_t i = next++; i < operations.size(); i = next++)
            operations[i]->flush();
    };
    std::vector<std::jthread> helpers;
    try {
        while (helpers.size() + 1 < std::min(operations.size(), flushesAtOnce))
            helpers.emplace_back(work);
    } catch (const std::system_error&) { // fewer do as well
    }
    work();
}

void runTogether(const std::filesystem::path& folder,
                 std::span<const std::unique_ptr<FileOperation>> operations) {
    {
        const varnek::files::FolderLock othersOut(folder);
        for (const auto& operation : operations)
            guarded([&] { operation->prepare(true); });
        flushTogether(operations);
        bool isToBeFlushed = false;
        for (const auto& operation : operations)
            guarded([&] { isToBeFlushed = operation->execute() || isToBeFlushed; });
        if (isToBeFlushed)
            flush(folder);
    }
    for (const auto& operation : operations)
        guarded([&] { operation->finish(); });
}

} // namespace

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
        auto& pending = pending_[std::string(levelName(operation->level()))][operation->path().native()];
        if (pending != nullptr && pending->owner() != operation->owner())
            operation->runAfter(std::move(pending));
        std::swap(pending, operation); // the one before is let go without the lock
        isToBeWoken = !std::exchange(isWoken_, true);
    }
    if (isToBeWoken)
        wakeUp();
}

void PrefdirFileWriterQueue::wakeUp() {
    try {
        queue_.push([this] { processFileIo(); });
    } catch (const std::runtime_error&) { // terminated, or the system has no thread to give
        processFileIo();
    }
}

// ---- passes ----

void PrefdirFileWriterQueue::waitForTheBurst() {
    std::unique_lock lock(mutex_);
    hurried_.wait_for(lock, delay_, [this] { return isHurried_ || !isRunning_; });
}

PrefdirFileWriterQueue::Operations PrefdirFileWriterQueue::takePending() {
    Operations operations;
    const std::lock_guard lock(mutex_);
    isWoken_ = false;
    isHurried_ = false;
    for (auto& [level, files] : pending_)
        for (auto& [path, operation] : files) {
            const std::size_t first = operations.size();
            for (; operation != nullptr; operation = operations.back()->takeBefore())
                operations.push_back(std::move(operation));
            std::reverse(operations.begin() + static_cast<std::ptrdiff_t>(first), operations.end());
        }
    pending_.clear();
    return operations;
}

void PrefdirFileWriterQueue::processFileIo() {
    waitForTheBurst();
    VARNEK_LOG(fileLog, info) << "Process the File I/O";
    Operations operations = takePending();
    run(operations);
}

void PrefdirFileWriterQueue::run(Operations& operations) {
    const bool mayShare = defaultHookWrites();
    auto first = operations.begin();
    while (first != operations.end()) {
        const std::filesystem::path folder = (*first)->path().parent_path();
        const auto isElsewhere = [&, previous = static_cast<FileOperation*>(nullptr)](
                                     const std::unique_ptr<FileOperation>& operation) mutable {
            const bool isSameFile = previous != nullptr && previous->path() == operation->path();
            previous = operation.get();
            return isSameFile || operation->path().parent_path() != folder;
        };
        const auto most = first + std::min<std::ptrdiff_t>(operations.end() - first, filesAtOnce);
        const auto last = std::find_if(first, most, isElsewhere);
        std::error_code ignored;
        if (mayShare && last - first > 1 && std::filesystem::is_directory(folder, ignored))
            runTogether(folder, {first, last});
        else
            std::for_each(first, last, [](const auto& operation) { runAlone(*operation); });
        std::for_each(first, last, [](auto& operation) { operation.reset(); });
        first = last;
    }
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
    if (queue_.isWorker())
        return;
    hurry();
    try {
        queue_.push([] {}).wait();
    } catch (const std::runtime_error&) { // terminated: whoever did it waits, and requests run in the caller
    }
}

void PrefdirFileWriterQueue::terminate(bool wait) {
    const bool isWorker = queue_.isWorker();
    {
        const std::lock_guard lock(mutex_);
        isRunning_ = false;
    }
    hurried_.notify_all();
    queue_.terminate(wait);
    if (wait && !isWorker)
        processFileIo(); // of a request that found the queue closed in between
}

} // namespace settings::core::detail
