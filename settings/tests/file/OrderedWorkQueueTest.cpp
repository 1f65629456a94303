// The queue of work of the file-writer thread, and work that several threads do at once.

#include "support/Waiting.hpp"

#include "settingscore/settings/file/OrderedWorkQueue.hpp"
#include "settingscore/settings/file/SeveralThreads.hpp"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <latch>
#include <mutex>

namespace {

using namespace settings::test;
using namespace settings::core::detail;
using namespace std::chrono_literals;

std::string textOf(const std::function<void()>& call) {
    try {
        call();
        return {};
    } catch (const std::exception& failure) {
        return failure.what();
    }
}

TEST(OrderedWorkQueue, RunsItemsInOrderOnItsThreadAndEndsOnce) {
    OrderedWorkQueueImpl queue("PrefdirWriter", 2);
    std::vector<int> ran;
    std::string name;
    std::vector<std::future<void>> done;
    for (int i = 0; i < 100; ++i)
        done.push_back(queue.push([&, i] { ran.push_back(i); }));
    done.push_back(queue.push([&] {
        char buffer[16] = {};
        ::pthread_getname_np(::pthread_self(), buffer, sizeof buffer);
        name = buffer;
    }));
    auto failed = queue.push([] { throw std::runtime_error("cause"); });
    EXPECT_EQ("work must be executable", textOf([&] { queue.push({}); }));
    EXPECT_EQ("cause", textOf([&] { failed.get(); })); // and nothing else comes of it
    auto last = queue.push([&] { ran.push_back(100); });
    queue.terminate(true);
    for (auto& future : done)
        future.get();
    EXPECT_EQ(std::future_status::ready, last.wait_for(0s));
    EXPECT_EQ("PrefdirWriter", name);
    ASSERT_EQ(101U, ran.size());
    EXPECT_TRUE(std::is_sorted(ran.begin(), ran.end()));
    EXPECT_EQ("OrderedWorkQueue already terminated", textOf([&] { queue.push([] {}); }));
    EXPECT_EQ("OrderedWorkQueue already being terminated", textOf([&] { queue.terminate(true); }));
}

TEST(OrderedWorkQueue, WithoutAThreadThereIsNothingToWaitFor) {
    OrderedWorkQueueImpl queue("w", 1);
    queue.terminate(true);
    EXPECT_EQ("OrderedWorkQueue already terminated", textOf([&] { queue.push([] {}); }));
}

TEST(OrderedWorkQueue, HoldsProducersUpWhenItIsFullButNotItsWorker) {
    OrderedWorkQueueImpl queue("w", 2);
    std::latch mayGoOn(1);
    std::atomic<int> pushed = 0;
    std::vector<std::future<void>> own;
    std::latch isBusy(1);
    auto busy = queue.push([&] {
        isBusy.count_down();
        mayGoOn.wait();
        for (int i = 0; i < 10; ++i) // into its own full queue
            own.push_back(queue.push([] {}));
    });
    isBusy.wait();
    std::thread producer([&] {
        for (int i = 0; i < 5; ++i) {
            queue.push([] {});
            ++pushed;
        }
    });
    waitUntil([&] { return pushed == 2; });
    for (int i = 0; i < 1000; ++i)
        std::this_thread::yield();
    EXPECT_EQ(2, pushed); // the third waits for the worker
    mayGoOn.count_down();
    producer.join();
    busy.get();
    for (auto& future : own)
        future.get();
    EXPECT_EQ(5, pushed);
}

/// Ends a queue from its own thread while a producer is held up by the full queue.
TEST(OrderedWorkQueue, EndsFromItsOwnThread) {
    OrderedWorkQueueImpl queue("w", 1);
    std::latch isBusy(1);
    std::latch mayEnd(1);
    std::atomic<bool> ranLater = false;
    auto ends = queue.push([&] {
        isBusy.count_down();
        mayEnd.wait();
        queue.terminate(true);
    });
    isBusy.wait();
    auto first = queue.push([&] { ranLater = true; });
    std::string text;
    std::atomic<bool> isAtIt = false;
    std::thread producer([&] {
        isAtIt = true;
        text = textOf([&] { queue.push([] {}); });
    });
    waitUntil([&] { return isAtIt.load(); });
    for (int i = 0; i < 1000; ++i) // so that it is most likely held up by now
        std::this_thread::yield();
    mayEnd.count_down();
    ends.get();
    producer.join();
    first.get();
    EXPECT_TRUE(ranLater); // what was pushed before runs
    EXPECT_EQ("OrderedWorkQueue already terminated", text);
}

TEST(OrderedWorkQueue, APushThatRacesTheEndRunsOrFails) {
    const int rounds = times(10'000, 300);
    int refusals = 0;
    for (int round = 0; round < rounds; ++round) {
        OrderedWorkQueueImpl queue("w", 1 + static_cast<std::size_t>(round % 3));
        std::atomic<int> ran = 0;
        std::latch together(3);
        int accepted = 0;
        bool isRefused = false;
        std::thread producer([&] {
            std::vector<std::future<void>> futures;
            together.arrive_and_wait();
            for (int i = 0; i < 20 && !isRefused; ++i) {
                const std::string text = textOf([&] { futures.push_back(queue.push([&] { ++ran; })); });
                isRefused = !text.empty();
                EXPECT_EQ(isRefused ? "OrderedWorkQueue already terminated" : "", text);
            }
            for (auto& future : futures)
                future.get();
            accepted = static_cast<int>(futures.size());
        });
        std::thread ender([&] {
            together.arrive_and_wait();
            for (int i = 0; i < round % 7; ++i)
                std::this_thread::yield();
            queue.terminate(true);
        });
        together.arrive_and_wait();
        ender.join();
        producer.join();
        ASSERT_EQ(accepted, ran);
        refusals += isRefused ? 1 : 0;
    }
    EXPECT_LT(0, refusals); // or the race was not one
}

/// Waits until the thread sleeps.
void waitUntilAsleep(pid_t thread) {
    waitUntil([&] {
        std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        const auto name = text.rfind(')');
        return name != std::string::npos && text.substr(name, 3) == ") S";
    });
}

TEST(OrderedWorkQueue, WhoIsHeldUpGoesOnInTheOrderOfArrival) {
    constexpr int producers = 8;
    OrderedWorkQueueImpl queue("w", 1);
    std::latch isBusy(1);
    std::latch mayGoOn(1);
    queue.push([&] {
        isBusy.count_down();
        mayGoOn.wait();
    });
    isBusy.wait();
    queue.push([] {}); // full
    std::vector<int> ran;
    std::vector<int> expected;
    std::vector<std::jthread> threads;
    for (int i = 0; i < producers; ++i) {
        std::atomic<pid_t> id = 0;
        threads.emplace_back([&, i] {
            id = ::gettid();
            queue.push([&ran, i] { ran.push_back(i); });
        });
        expected.push_back(i);
        waitUntil([&] { return id != 0; });
        waitUntilAsleep(id); // held up
    }
    mayGoOn.count_down();
    threads.clear();
    queue.terminate(true);
    EXPECT_EQ(expected, ran);
}

// ---- signals ----

/// Those that the calling thread does not take, of some that applications use and of the faults of a thread.
std::vector<int> refusedSignals() {
    sigset_t mask;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    std::vector<int> refused;
    for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGALRM, SIGCHLD, SIGUSR1, SIGUSR2, SIGPROF, SIGWINCH,
                             SIGRTMIN, SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT})
        if (::sigismember(&mask, signal) == 1)
            refused.push_back(signal);
    return refused;
}

const std::vector<int> signalsOfTheApplication = {SIGHUP,  SIGINT,  SIGTERM, SIGALRM,  SIGCHLD,
                                                  SIGUSR1, SIGUSR2, SIGPROF, SIGWINCH, SIGRTMIN};

TEST(ThreadsOfTheWriter, TakeNoSignals) {
    const auto before = refusedSignals();
    OrderedWorkQueueImpl queue("w", 1);
    std::vector<int> ofWorker;
    queue.push([&] { ofWorker = refusedSignals(); }).get();
    EXPECT_EQ(signalsOfTheApplication, ofWorker);

    constexpr std::size_t threads = 4;
    std::latch together(threads); // so that each does one
    std::mutex mutex;
    std::vector<std::vector<int>> ofHelpers;
    const auto caller = std::this_thread::get_id();
    bySeveralThreads(threads, threads, [&](std::size_t) {
        together.arrive_and_wait();
        const std::lock_guard lock(mutex);
        if (std::this_thread::get_id() != caller)
            ofHelpers.push_back(refusedSignals());
    });
    EXPECT_EQ(std::vector(threads - 1, signalsOfTheApplication), ofHelpers);
    EXPECT_EQ(before, refusedSignals());
}

TEST(ThreadsOfTheWriter, DoEveryPieceOfWorkOnce) {
    for (const std::size_t count : {0U, 1U, 2U, 1000U}) {
        std::vector<std::atomic<int>> done(count);
        bySeveralThreads(count, 8, [&](std::size_t i) { ++done[i]; });
        EXPECT_TRUE(std::all_of(done.begin(), done.end(), [](const auto& each) { return each == 1; }));
    }
}

} // namespace
