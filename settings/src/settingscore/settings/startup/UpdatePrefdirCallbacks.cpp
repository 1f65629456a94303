#include "settingscore/settings/startup/UpdatePrefdirCallbacks.hpp"

#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/root/DefinesHere.hpp"
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

void UpdatePrefdirCallbacks::requireMayChange(const char* operation) {
    if (isInsideCallback)
        throw std::logic_error(std::string(operation) + " must not be called from a readiness callback");
    if (DefinesHere::isSo())
        throw std::logic_error(std::string(operation) + " must not be called by what defines settings");
}

/// Holds nothing for what defines settings.
std::unique_lock<std::mutex> UpdatePrefdirCallbacks::lock(const char* operation) {
    if (DefinesHere::isSo()) {
        std::unique_lock record(record_);
        changed_.wait(record, [this] { return !isChanging_; });
        return {};
    }
    requireMayChange(operation);
    return std::unique_lock(mutex_);
}

void UpdatePrefdirCallbacks::wait(const char* operation) {
    lock(operation);
}

UpdatePrefdirCallbacks::Change::Change(UpdatePrefdirCallbacks& callbacks, const char* operation)
    : callbacks_(callbacks), lock_((requireMayChange(operation), callbacks.mutex_)) {
    callbacks_.setChanging(true);
}

UpdatePrefdirCallbacks::Change::~Change() {
    callbacks_.setChanging(false);
}

void UpdatePrefdirCallbacks::setChanging(bool isChanging) {
    {
        const std::lock_guard record(record_);
        isChanging_ = isChanging;
    }
    changed_.notify_all();
}

bool UpdatePrefdirCallbacks::add(Subject& subject, ReadinessCallback callback, const char* operation) {
    if (!callback)
        throw std::invalid_argument("no callback");
    auto entry = std::make_shared<const ReadinessCallback>(std::move(callback));
    const auto held = lock(operation);
    const std::lock_guard record(record_);
    subject.callbacks.push_back(std::move(entry));
    return subject.isReady;
}

bool UpdatePrefdirCallbacks::isReady(const Subject& subject, const char* operation) {
    const auto held = lock(operation);
    const std::lock_guard record(record_);
    return subject.isReady;
}

bool UpdatePrefdirCallbacks::addPrefdirReady(ReadinessCallback callback) {
    return add(prefdir_, std::move(callback), "isPrefdirReady");
}

bool UpdatePrefdirCallbacks::addSettingsTreeReady(ReadinessCallback callback) {
    return add(tree_, std::move(callback), "isSettingsTreeReady");
}

bool UpdatePrefdirCallbacks::isPrefdirReady() {
    return isReady(prefdir_, "isPrefdirReady");
}

bool UpdatePrefdirCallbacks::isSettingsTreeReady() {
    return isReady(tree_, "isSettingsTreeReady");
}

void UpdatePrefdirCallbacks::prefdirIsReady() {
    makeReady(prefdir_);
}

void UpdatePrefdirCallbacks::settingsTreeIsReady() {
    makeReady(tree_);
}

void UpdatePrefdirCallbacks::setReady(Subject& subject) {
    const std::lock_guard record(record_);
    subject.isReady = true;
}

void UpdatePrefdirCallbacks::makeReady(Subject& subject) {
    if (isInsideCallback) { // this thread has the lock
        setReady(subject);
        subject.isDue = true;
        return;
    }
    const std::lock_guard held(mutex_);
    setReady(subject);
    run(subject);
    while (prefdir_.isDue || tree_.isDue)
        run(prefdir_.isDue ? prefdir_ : tree_);
}

/// mutex_ is held.
void UpdatePrefdirCallbacks::run(Subject& subject) {
    subject.isDue = false;
    Callbacks callbacks; // those that come meanwhile wait for the next time
    {
        const std::lock_guard record(record_);
        callbacks = subject.callbacks;
    }
    VARNEK_LOG(startupLog, info) << "Executing " << callbacks.size() << " callbacks on " << subject.name;
    isInsideCallback = true;
    for (const auto& callback : callbacks)
        try {
            (*callback)();
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
    UpdatePrefdirCallbacks::instance()->wait("waitForUpdatePrefdir");
    VARNEK_LOG(startupLog, info) << "Releasing mutex after pausing prefdir and settings services.";
}

} // namespace settings::core::detail
