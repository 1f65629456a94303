#include "settingscore/settings/file/prefdirWriter.hpp"

#include "settingscore/SettingsSaving.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "settingscore/settings/file/SaveHook.hpp"

#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <mutex>

namespace settings::core {

namespace detail {

namespace {

std::once_flag started;
std::atomic<PrefdirFileWriterQueue*> writer{
    nullptr}; // never destroyed: threads may save while the process ends

void endWriter() noexcept {
    PrefdirFileWriterQueue* const queue = writer;
    if (queue == nullptr)
        return;
    try {
        queue->terminate(true);
    } catch (const std::exception&) { // somebody has begun to: what is pending is written before this returns
        queue->waitForEnd();
    }
}

/// The thread that ends the process may be the writer's, or in the middle of a pass of its own.
void endWriterWithTheProcess() noexcept {
    endWriter();
    if (PrefdirFileWriterQueue* const queue = writer)
        queue->endHere();
}

/// A pass may be waiting for what this thread is in the middle of: then it is not held, which a child that
/// goes on from there would not be helped by either.
PrefdirFileWriterQueue* queueToHold() noexcept {
    return isReplacingFiles() ? nullptr : writer.load();
}

void beforeFork() {
    if (PrefdirFileWriterQueue* const queue = queueToHold())
        queue->holdPasses();
}

void afterForkHere() {
    if (PrefdirFileWriterQueue* const queue = queueToHold())
        queue->releasePasses();
}

void start() {
    writer = new PrefdirFileWriterQueue;
    std::atexit(endWriterWithTheProcess);
    ::pthread_atfork(beforeFork, afterForkHere, [] { writer = nullptr; }); // the child has no such thread
}

} // namespace

PrefdirFileWriterQueue* prefdirWriter() {
    std::call_once(started, start);
    return writer;
}

} // namespace detail

void waitForSettingsSaves() {
    if (detail::PrefdirFileWriterQueue* const queue = detail::writer)
        queue->waitForAll();
}

void endSettingsWriter() {
    detail::prefdirWriter(); // so that none is started later
    detail::endWriter();
}

} // namespace settings::core
