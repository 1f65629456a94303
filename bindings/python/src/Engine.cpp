#include "Engine.hpp"

#include "FactoryDefinitions.hpp"
#include "FunctionCalls.hpp"
#include "Gil.hpp"

#include "varnek/host/LanguageEngine.hpp"

#include <exception>
#include <future>
#include <stdexcept>
#include <utility>

namespace settings::python {

namespace {

constexpr const char* hasStopped = "the engine has stopped";

/// The interpreter's state of the engine's thread lives as long as the thread, and thread-local objects with
/// it.
class ThreadOfInterpreter {
  public:
    void begin() {
        gil_ = orSleep(&PyGILState_Ensure);
        state_ = PyEval_SaveThread();
    }
    void end() {
        orSleep([this] {
            PyEval_RestoreThread(state_);
            PyGILState_Release(gil_);
        });
    }

  private:
    PyGILState_STATE gil_{};
    PyThreadState* state_ = nullptr;
};

} // namespace

Engine& Engine::instance() {
    static auto* const engine = new Engine; // outlives every thread
    return *engine;
}

std::shared_ptr<EngineThread> Engine::current() const {
    const std::lock_guard lock(mutex_);
    return thread_;
}

void Engine::start() {
    startThread();
    withoutGil([] {
        registerFunctionCalls();
        registerDefinitionRunner();
    });
}

void Engine::startThread() {
    const auto python = std::make_shared<ThreadOfInterpreter>();
    auto registration = std::make_shared<std::promise<bool>>();
    auto isRegistered = registration->get_future();
    auto thread = std::make_shared<EngineThread>(
        [python, registration] {
            python->begin();
            registration->set_value(varnek::host::registerLanguageEngine(std::this_thread::get_id()));
        },
        [python] {
            varnek::host::unregisterLanguageEngine(std::this_thread::get_id());
            python->end();
        });
    const bool isOurs = withoutGil([&] {
        const bool first = isRegistered.get();
        if (!first)
            thread->stop();
        return first;
    });
    if (!isOurs)
        throw std::runtime_error("this process has an engine of another language already");
    const std::lock_guard lock(mutex_);
    ended_ = std::make_unique<std::condition_variable>();
    thread_ = std::move(thread);
}

void Engine::stop() {
    std::shared_ptr<EngineThread> thread;
    {
        const std::lock_guard lock(mutex_);
        thread = std::exchange(thread_, nullptr);
    }
    if (thread == nullptr)
        return;
    thread->stop();
    unregisterDefinitionRunner();
    unregisterFunctionCalls(); // which waits for a function that is running
}

bool Engine::post(EngineThread::Job job, const void* owner) {
    const auto thread = current();
    if (thread == nullptr)
        return false;
    if (owner == nullptr)
        return thread->post(std::move(job));
    return thread->post([this, owner, job = std::move(job)] {
        setOwner(owner);
        job();
        setOwner(nullptr);
    });
}

void Engine::setOwner(const void* owner) {
    const std::lock_guard lock(mutex_);
    owner_ = owner;
    ended_->notify_all();
}

void Engine::waitFor(const void* owner) {
    if (varnek::host::isLanguageEngineThread())
        return;
    std::unique_lock lock(mutex_);
    if (owner_ == owner)
        ended_->wait(lock, [&] { return owner_ != owner; });
}

/// False when the job is not taken.
bool Engine::runThrough(const Post& post, const std::function<void()>& job) {
    auto done = std::make_shared<std::promise<void>>();
    auto outcome = done->get_future();
    const bool isTaken = post([&job, done] {
        try {
            job();
            done->set_value();
        } catch (...) {
            done->set_exception(std::current_exception());
        }
    });
    done.reset(); // a job that is dropped breaks the promise
    if (isTaken)
        outcome.get();
    return isTaken;
}

void Engine::run(const std::function<void()>& job) {
    if (varnek::host::isLanguageEngineThread())
        return job();
    if (!runThrough([this](EngineThread::Job posted) { return post(std::move(posted)); }, job))
        throw std::runtime_error(hasStopped);
}

bool Engine::runUnlessBusy(const std::function<void()>& job) {
    if (varnek::host::isLanguageEngineThread()) {
        job();
        return true;
    }
    const auto thread = current();
    if (thread == nullptr)
        throw std::runtime_error(hasStopped);
    return runThrough([&](EngineThread::Job posted) { return thread->postWhenIdle(std::move(posted)); }, job);
}

void Engine::beforeFork() {
    mutex_.lock();
    if (thread_ != nullptr)
        thread_->lockForFork();
}

void Engine::afterForkInParent() {
    if (thread_ != nullptr)
        thread_->unlockAfterFork();
    mutex_.unlock();
}

void Engine::afterForkInChild() {
    const auto lost = std::move(thread_);
    owner_ = nullptr;
    static_cast<void>(ended_.release()); // as the queue below
    mutex_.unlock();
    if (lost == nullptr)
        return;
    lost->unlockAfterFork();
    varnek::host::unregisterLanguageEngine(lost->id());
    // Never destroyed: its queue still counts the thread, which this process does not have, as waiting.
    new std::shared_ptr<EngineThread>(lost);
    startThread(); // the functions are registered
}

} // namespace settings::python
