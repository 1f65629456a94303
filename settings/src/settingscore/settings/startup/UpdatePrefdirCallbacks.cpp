#include "settingscore/settings/startup/UpdatePrefdirCallbacks.hpp"

#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/startup/StartupLog.hpp"

#include <stdexcept>
#include <string>

namespace settings::core::detail {

varnek::log::Channel startupLog("settings::core::startup");

namespace {

thread_local bool isInsideCallback = false;

} // namespace

std::shared_ptr<UpdatePrefdirCallbacks> UpdatePrefdirCallbacks::instance() {
    static const auto& record = *new auto(std::make_shared<UpdatePrefdirCallbacks>());
    return record;
}

std::unique_lock<std::mutex> UpdatePrefdirCallbacks::lock(const char* operation) {
    if (isInsideCallback)
        throw std::logic_error(std::string(operation) + " must not be called from a readiness callback");
    return std::unique_lock(mutex_);
}

bool UpdatePrefdirCallbacks::add(Subject& subject, ReadinessCallback callback, const char* operation) {
    if (!callback)
        throw std::invalid_argument("no callback");
    const auto held = lock(operation);
    subject.callbacks.push_back(std::move(callback));
    return subject.isReady;
}

bool UpdatePrefdirCallbacks::addPrefdirReady(ReadinessCallback callback) {
    return add(prefdir_, std::move(callback), "isPrefdirReady");
}

bool UpdatePrefdirCallbacks::addSettingsTreeReady(ReadinessCallback callback) {
    return add(tree_, std::move(callback), "isSettingsTreeReady");
}

bool UpdatePrefdirCallbacks::isPrefdirReady() {
    const auto held = lock("isPrefdirReady");
    return prefdir_.isReady;
}

bool UpdatePrefdirCallbacks::isSettingsTreeReady() {
    const auto held = lock("isSettingsTreeReady");
    return tree_.isReady;
}

void UpdatePrefdirCallbacks::prefdirIsReady() {
    makeReady(prefdir_);
}

void UpdatePrefdirCallbacks::settingsTreeIsReady() {
    makeReady(tree_);
}

void UpdatePrefdirCallbacks::makeReady(Subject& subject) {
    if (isInsideCallback) { // this thread has the lock
        subject.isReady = true;
        subject.isDue = true;
        return;
    }
    const std::lock_guard held(mutex_);
    subject.isReady = true;
    run(subject);
    while (prefdir_.isDue || tree_.isDue)
        run(prefdir_.isDue ? prefdir_ : tree_);
}

/// mutex_ is held.
void UpdatePrefdirCallbacks::run(Subject& subject) {
    subject.isDue = false;
    VARNEK_LOG(startupLog, info) << "Executing " << subject.callbacks.size() << " callbacks on "
                                 << subject.name;
    isInsideCallback = true;
    for (const ReadinessCallback& callback : subject.callbacks)
        try {
            callback();
        } catch (...) {
            VARNEK_LOG(startupLog, error) << "Exception caught: " << causeOfCurrentException();
        }
    isInsideCallback = false;
    VARNEK_LOG(startupLog, info) << "Finished executing \"" << subject.closing << "\" callbacks";
}

// ---- the public functions ----

bool isPrefdirReady(ReadinessCallback callback) {
    return UpdatePrefdirCallbacks::instance()->addPrefdirReady(std::move(callback));
}

bool isSettingsTreeReady(ReadinessCallback callback) {
    return UpdatePrefdirCallbacks::instance()->addSettingsTreeReady(std::move(callback));
}

bool isSettingsTreeReady() {
    return UpdatePrefdirCallbacks::instance()->isSettingsTreeReady();
}

void waitForUpdatePrefdir() {
    VARNEK_LOG(startupLog, info) << "Acquiring mutex to pause prefdir and settings services.";
    UpdatePrefdirCallbacks::instance()->lock("waitForUpdatePrefdir").unlock();
    VARNEK_LOG(startupLog, info) << "Releasing mutex after pausing prefdir and settings services.";
}

} // namespace settings::core::detail
