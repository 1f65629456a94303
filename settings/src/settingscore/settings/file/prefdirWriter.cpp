#include "settingscore/settings/file/prefdirWriter.hpp"

#include "settingscore/SettingsSaving.hpp"
#include "settingscore/settings/file/FileLog.hpp"

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
    } catch (const std::exception& failure) { // somebody has done it already
        VARNEK_LOG(fileLog, debug) << failure.what();
    }
}

void start() {
    writer = new PrefdirFileWriterQueue;
    std::atexit(endWriter);
    ::pthread_atfork(nullptr, nullptr, [] { writer = nullptr; }); // the child has no such thread
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
    detail::endWriter();
}

} // namespace settings::core
