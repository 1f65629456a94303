#include "settingscore/events/Notification.hpp"

#include "varnek/log/Channel.hpp"

#include <atomic>
#include <exception>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace settings::core::detail {

namespace {

varnek::log::Channel eventsLog("settings::core::events");

/// Guarded by its mutex, which is never held while a hook runs. Lives to the end of the process, since
/// threads may change settings until then.
struct Hook {
    std::mutex mutex;
    std::shared_ptr<const EventNotifyFunction> function;
    std::atomic<bool> installed = false;
};

Hook& hook() {
    static Hook& instance = *new Hook;
    return instance;
}

} // namespace

void setEventNotifyFunction(EventNotifyFunction notify) {
    std::shared_ptr<const EventNotifyFunction> replaced; // destroyed after the lock is released
    if (notify)
        replaced = std::make_shared<const EventNotifyFunction>(std::move(notify));
    const std::lock_guard lock(hook().mutex);
    hook().installed.store(replaced != nullptr, std::memory_order_release);
    hook().function.swap(replaced);
}

bool hasEventNotifyFunction() noexcept {
    return hook().installed.load(std::memory_order_acquire);
}

void logDropped(const std::exception& failure) noexcept {
    try {
        VARNEK_LOG(eventsLog, error) << "Exception caught: " << failure.what();
    } catch (...) { // then there is nobody to tell
    }
}

void notify(const boost::shared_ptr<const SettingsEvent>& event) noexcept {
    std::shared_ptr<const EventNotifyFunction> current;
    {
        const std::lock_guard lock(hook().mutex);
        current = hook().function;
    }
    if (!current)
        return;
    try {
        (*current)(event);
    } catch (const std::exception& failure) {
        logDropped(failure);
    } catch (...) {
        logDropped(std::runtime_error("Unknown Exception"));
    }
}

} // namespace settings::core::detail
