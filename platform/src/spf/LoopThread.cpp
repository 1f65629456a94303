#include "spf/LoopThread.hpp"

#include "spf/Background.hpp"
#include "spf/Engine.hpp"
#include "spf/Journal.hpp"

#include <kj/async-unix.h>
#include <kj/exception.h>

#include <signal.h>
#include <sys/eventfd.h>

#include <system_error>

namespace varnek::spf {
namespace {

constexpr int tasksAtOnce = 64;
constexpr unsigned turnsAtOnce = 64; // of the event loop, then it looks at all descriptors and timers

/// What the library of the event loop would print, and nothing about where in the code it was.
class QuietCallback : public kj::ExceptionCallback {
  public:
    void logMessage(kj::LogSeverity, const char*, int, int, kj::String&& text) override {
        note(log::Severity::debug, text.cStr());
    }
    StackTraceMode stackTraceMode() override { return StackTraceMode::NONE; }
};

/// The event loop takes two signals for itself, once in a process. They are the host's: it blocks them on its
/// own thread, and does without the one that it would be woken by.
class SignalsKept {
  public:
    SignalsKept() noexcept {
        ::sigaction(SIGPIPE, nullptr, &pipe_);
        ::sigaction(SIGUSR1, nullptr, &user_);
    }
    SignalsKept(const SignalsKept&) = delete;
    SignalsKept& operator=(const SignalsKept&) = delete;
    ~SignalsKept() {
        ::sigaction(SIGPIPE, &pipe_, nullptr);
        ::sigaction(SIGUSR1, &user_, nullptr);
    }

  private:
    struct sigaction pipe_ {};
    struct sigaction user_ {};
};

kj::AsyncIoContext makeIo() {
    const SignalsKept kept;
    return kj::setupAsyncIo();
}

} // namespace

void LoopThread::start(Core& core) {
    wake_ = Descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!wake_)
        throw std::system_error(errno, std::generic_category(), "eventfd");
    std::promise<void> started;
    auto result = started.get_future();
    thread_ = startThread("varnek-spf-loop", [this, &core, &started] { run(core, started); });
    try {
        result.get();
    } catch (...) {
        thread_.join();
        throw;
    }
}

bool LoopThread::post(Task task) {
    bool isFirst = false;
    {
        const std::lock_guard lock(mutex_);
        if (isEnding_)
            return false;
        isFirst = tasks_.empty();
        tasks_.push_back(kj::mv(task));
    }
    if (isFirst)
        ::eventfd_write(wake_.get(), 1);
    return true;
}

void LoopThread::end() {
    {
        const std::lock_guard lock(mutex_);
        if (isEnding_)
            return;
        isEnding_ = true;
    }
    ::eventfd_write(wake_.get(), 1);
    if (thread_.get_id() != std::this_thread::get_id())
        thread_.join();
}

void LoopThread::run(Core& core, std::promise<void>& started) {
    const QuietCallback quiet;
    try {
        serve(core, started);
    } catch (const kj::Exception& failure) {
        note(log::Severity::error, "The event loop has ended: ", failure.getDescription().cStr());
    } catch (const std::exception& failure) {
        note(log::Severity::error, "The event loop has ended: ", failure.what());
    }
    std::vector<Task> dropped; // destroyed without the lock: calls that fail
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
    dropped.swap(tasks_);
}

void LoopThread::serve(Core& core, std::promise<void>& started) {
    std::unique_ptr<kj::AsyncIoContext> io;
    std::unique_ptr<Engine> engine;
    kj::Own<kj::UnixEventPort::FdObserver> observer;
    try {
        io = std::make_unique<kj::AsyncIoContext>(makeIo());
        io->waitScope.setBusyPollInterval(turnsAtOnce); // else one sender keeps it from ever looking
        observer = kj::heap<kj::UnixEventPort::FdObserver>(io->unixEventPort, wake_.get(),
                                                           kj::UnixEventPort::FdObserver::OBSERVE_READ);
        engine = std::make_unique<Engine>(core, *io);
        const std::lock_guard lock(mutex_);
        isEnding_ = false;
    } catch (const kj::Exception& failure) {
        started.set_exception(std::make_exception_ptr(std::runtime_error(failure.getDescription().cStr())));
        return;
    } catch (...) {
        started.set_exception(std::current_exception());
        return;
    }
    started.set_value();
    std::deque<Task> tasks;
    while (takeTasks(tasks)) {
        if (!tasks.empty())
            runTasks(tasks, *engine);
        if (tasks.empty())
            observer->whenBecomesReadable().wait(io->waitScope);
        else
            engine->timer.afterDelay(0 * kj::NANOSECONDS).wait(io->waitScope); // others have their turn
    }
}

/// False when the loop is to end.
bool LoopThread::takeTasks(std::deque<Task>& tasks) {
    eventfd_t ignored;
    ::eventfd_read(wake_.get(), &ignored); // whoever posts after this wakes the loop again
    std::vector<Task> fresh;
    {
        const std::lock_guard lock(mutex_);
        if (isEnding_)
            return false;
        fresh.swap(tasks_);
    }
    for (Task& task : fresh)
        tasks.push_back(kj::mv(task));
    return true;
}

void LoopThread::runTasks(std::deque<Task>& tasks, Engine& engine) {
    for (int count = 0; count < tasksAtOnce && !tasks.empty(); ++count) {
        Task task = kj::mv(tasks.front());
        tasks.pop_front();
        try {
            task(engine);
        } catch (const kj::Exception& failure) {
            note(log::Severity::error, "Exception caught: ", failure.getDescription().cStr());
        } catch (const std::exception& failure) {
            note(log::Severity::error, "Exception caught: ", failure.what());
        } catch (...) {
            note(log::Severity::error, "Exception caught: Unknown");
        }
    }
}

} // namespace varnek::spf
