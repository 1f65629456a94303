#include "varnek/host/LanguageEngine.hpp"

#include <atomic>

namespace varnek::host {

namespace {

std::atomic<std::thread::id> engineThread; // no thread: there is no engine
static_assert(std::atomic<std::thread::id>::is_always_lock_free);

} // namespace

bool registerLanguageEngine(std::thread::id thread) noexcept {
    std::thread::id none;
    return thread != none && engineThread.compare_exchange_strong(none, thread);
}

bool unregisterLanguageEngine(std::thread::id thread) noexcept {
    return thread != std::thread::id() && engineThread.compare_exchange_strong(thread, std::thread::id());
}

bool isLanguageEngineReady() noexcept {
    return engineThread.load() != std::thread::id();
}

bool isLanguageEngineThread() noexcept {
    return engineThread.load() == std::this_thread::get_id();
}

} // namespace varnek::host
