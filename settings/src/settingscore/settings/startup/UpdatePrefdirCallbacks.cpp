#include "settingscore/settings/startup/UpdatePrefdirCallbacks.hpp"

#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/root/DefinesHere.hpp"
#include "settingscore/settings/startup/StartupLog.hpp"

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

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

/// Until nothing is under way that the calling thread has to wait for: what defines settings waits for a
/// change only.
UpdatePrefdirCallbacks::Lock UpdatePrefdirCallbacks::quietLock(const char* operation) {
    const bool definesHere = DefinesHere::isSo();
    if (!definesHere)
        requireMayChange(operation);
    Lock lock(record_);
    ended_.wait(lock, [&] { return !isChanging_ && (definesHere || !isRunning_); });
    return lock;
}

void UpdatePrefdirCallbacks::wait(const char* operation) {
    quietLock(operation);
}

UpdatePrefdirCallbacks::Change::Change(UpdatePrefdirCallbacks& callbacks, const char* operation)
    : callbacks_(callbacks) {
    requireMayChange(operation);
    const Lock lock = callbacks_.quietLock(operation);
    callbacks_.isChanging_ = true;
}

UpdatePrefdirCallbacks::Change::~Change() {
    {
        const Lock lock(callbacks_.record_);
        callbacks_.isChanging_ = false;
    }
    callbacks_.ended_.notify_all();
}

bool UpdatePrefdirCallbacks::add(Subject& subject, ReadinessCallback callback, const char* operation) {
    if (!callback)
        throw std::invalid_argument("no callback");
    auto entry = std::make_shared<const ReadinessCallback>(std::move(callback));
    const Lock lock = quietLock(operation);
    subject.callbacks.push_back(std::move(entry));
    return subject.isReady;
}

bool UpdatePrefdirCallbacks::isReady(const Subject& subject, const char* operation) {
    const Lock lock = quietLock(operation);
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

void UpdatePrefdirCallbacks::prefdirIsReady(Calling calling) {
    tell(prefdir_, News::ready, calling);
}

void UpdatePrefdirCallbacks::prefdirIsFound() {
    tell(prefdir_, News::readyAtFirst, Calling::byWhoeverCalls);
}

void UpdatePrefdirCallbacks::prefdirIsAsBefore() {
    tell(prefdir_, News::asBefore, Calling::here);
}

void UpdatePrefdirCallbacks::settingsTreeIsReady(Calling calling) {
    tell(tree_, News::ready, calling);
}

/// The callbacks that are there now are due: whoever registers one afterwards hears that it is ready.
void UpdatePrefdirCallbacks::tell(Subject& subject, News news, Calling calling) {
    Lock lock(record_);
    const auto isKnown = [&] { return news == News::readyAtFirst && subject.isReady; };
    const bool mayLeave = isInsideCallback || calling == Calling::byWhoeverCalls;
    const auto isFree = [this] { return !isRunning_ && !isChanging_; };
    ended_.wait(lock, [&] { return isKnown() || isFree() || (mayLeave && isRunning_); });
    if (isKnown())
        return; // whoever said so runs them, before those that become due from now on
    subject.due = subject.callbacks;
    subject.isReady = subject.isReady || news != News::asBefore;
    if (isRunning_)
        return;
    isRunning_ = true;
    const auto end = [&](void*) { // also when memory runs out
        isInsideCallback = false;
        if (!lock.owns_lock())
            lock.lock();
        isRunning_ = false;
        lock.unlock();
        ended_.notify_all();
    };
    const std::unique_ptr<void, decltype(end)> running(this, end);
    run(subject, lock);
    while (prefdir_.due || tree_.due)
        run(prefdir_.due ? prefdir_ : tree_, lock);
}

/// `lock`: of record_; not held while the callbacks run.
void UpdatePrefdirCallbacks::run(Subject& subject, Lock& lock) {
    const Callbacks callbacks = *std::exchange(subject.due, std::nullopt);
    lock.unlock();
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
    lock.lock();
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
