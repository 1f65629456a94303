#include "varnek/concurrency/Epoch.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

using varnek::concurrency::ReadSection;
using varnek::concurrency::Snapshot;
using varnek::concurrency::synchronize;

std::atomic<int> live{0};

struct Pair {
    explicit Pair(long n) : first(n), second(-n) { ++live; }
    ~Pair() {
        first = second = 1; // a reader that still looks would notice
        --live;
    }
    long first, second;
};

TEST(Epoch, WhatAReaderSeesStaysUntilItsSectionEnds) {
    synchronize();
    ASSERT_EQ(0, live);
    {
        Snapshot<Pair> snapshot(std::make_unique<const Pair>(1));
        {
            ReadSection outer;
            const Pair* seen = snapshot.read();
            std::thread writer([&] {
                for (long n = 2; n < 500; ++n)
                    snapshot.publish(std::make_unique<const Pair>(n));
            });
            writer.join();
            {
                ReadSection inner; // leaving a nested section ends nothing
            }
            varnek::concurrency::reclaim();
            EXPECT_EQ(1, seen->first);
            EXPECT_EQ(499, snapshot.read()->first);
            EXPECT_EQ(499, live);
        }
        synchronize();
        EXPECT_EQ(1, live);
    }
    EXPECT_EQ(0, live);
}

TEST(Epoch, ReadersNeverSeeAReplacedObjectAndNothingLeaks) {
    synchronize();
    {
        Snapshot<Pair> snapshot(std::make_unique<const Pair>(0));
        std::atomic<bool> stop{false};
        std::atomic<long> torn{0}, reads{0};
        std::vector<std::thread> readers;
        for (int i = 0; i < 3; ++i)
            readers.emplace_back([&] {
                while (!stop) {
                    ReadSection section;
                    const Pair* pair = snapshot.read();
                    if (pair->first != -pair->second)
                        ++torn;
                    ++reads;
                }
            });
        while (reads < 100)
            std::this_thread::yield();
        bool reclaimed = false; // a reader that the system has stopped inside its section may hold things up
        for (long n = 1; n < 20'000 || (!reclaimed && n < 20'000'000); ++n) {
            snapshot.publish(std::make_unique<const Pair>(n));
            varnek::concurrency::reclaimIfDue();
            reclaimed = reclaimed || live < n / 2;
        }
        stop = true;
        for (auto& reader : readers)
            reader.join();
        EXPECT_EQ(0, torn);
        EXPECT_TRUE(reclaimed);
    }
    synchronize();
    EXPECT_EQ(0, live);
}

TEST(Epoch, ThreadsThatEndGiveTheirRecordBack) {
    Snapshot<Pair> snapshot(std::make_unique<const Pair>(1));
    for (int i = 0; i < 50; ++i)
        std::thread([&] {
            ReadSection section;
            EXPECT_EQ(1, snapshot.read()->first);
        }).join();
    snapshot.publish(std::make_unique<const Pair>(2));
    synchronize(); // would wait for ever for a record left inside its section
    EXPECT_EQ(1, live);
}

TEST(Epoch, DestructorsOfAnEndingThreadMayReadAndDeletersMayDropMore) {
    static Snapshot<Pair> snapshot;
    snapshot.publish(std::make_unique<const Pair>(7));
    struct ReadsAtTheEnd {
        ~ReadsAtTheEnd() {
            const ReadSection section;
            EXPECT_EQ(7, snapshot.read()->first);
        }
    };
    std::thread([] {
        thread_local ReadsAtTheEnd late; // made first, so destroyed after this thread's record
        static_cast<void>(late);
        const ReadSection section;
        EXPECT_EQ(7, snapshot.read()->first);
    }).join();
    struct Chain {
        Snapshot<Chain> next;
        ~Chain() {
            next.publish(nullptr);
            varnek::concurrency::reclaim();
        }
    };
    {
        Snapshot<Chain> chain;
        auto inner = std::make_unique<Chain>();
        auto outer = std::make_unique<Chain>();
        outer->next.publish(std::move(inner));
        chain.publish(std::move(outer));
        chain.publish(nullptr);
        synchronize();
    }
    snapshot.publish(nullptr);
    synchronize();
    EXPECT_EQ(0, live);
}

} // namespace
