#include "spf/SerialThread.hpp"

#include "spf/Background.hpp"
#include "varnek/log/Channel.hpp"

#include <exception>
#include <utility>

namespace varnek::spf {
namespace {

log::Channel threadLog("varnek::spf");

void perform(const SerialThread::Task& task) noexcept {
    try {
        task();
    } catch (const std::exception& failure) {
        VARNEK_LOG(threadLog, error) << "Exception caught: " << failure.what();
    } catch (...) {
        VARNEK_LOG(threadLog, error) << "Exception caught: Unknown";
    }
}

} // namespace

SerialThread::SerialThread(const char* name, std::size_t mostWaiting)
    : name_(name), mostWaiting_(mostWaiting) {}

void SerialThread::post(Task task) {
    const std::lock_guard lock(mutex_);
    if (isEnding_ || waiting_.size() >= mostWaiting_)
        return;
    if (!hasThread_) {
        startThread(name_, [this] { run(); }).detach();
        hasThread_ = true;
    }
    waiting_.push_back(std::move(task));
    changed_.notify_all();
}

void SerialThread::end(std::chrono::milliseconds patience) {
    std::unique_lock lock(mutex_);
    isEnding_ = true;
    changed_.notify_all();
    if (thread_ != std::this_thread::get_id())
        changed_.wait_for(lock, patience, [this] { return !isRunning_; });
}

void SerialThread::run() noexcept {
    std::unique_lock lock(mutex_);
    thread_ = std::this_thread::get_id();
    for (;;) {
        changed_.wait(lock, [this] { return isEnding_ || !waiting_.empty(); });
        if (isEnding_)
            return;
        {
            const Task task = std::move(waiting_.front());
            waiting_.pop_front();
            isRunning_ = true;
            lock.unlock();
            perform(task);
        }
        lock.lock();
        isRunning_ = false;
        if (isEnding_)
            changed_.notify_all();
    }
}

} // namespace varnek::spf
