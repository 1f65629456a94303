// Work that is done one after the other, when the system has no thread for it.

#include "spf/SerialThread.hpp"

#include <gtest/gtest.h>

#include <pthread.h>

#include <future>
#include <system_error>

namespace varnek::spf::test {
namespace {

/// While it lives, the system has no memory for the stacks of new threads.
class WithoutNewThreads {
  public:
    WithoutNewThreads() {
        EXPECT_EQ(0, ::pthread_getattr_default_np(&before_));
        pthread_attr_t huge;
        ::pthread_attr_init(&huge);
        EXPECT_EQ(0, ::pthread_attr_setstacksize(&huge, std::size_t{1} << 60));
        EXPECT_EQ(0, ::pthread_setattr_default_np(&huge));
        ::pthread_attr_destroy(&huge);
    }
    WithoutNewThreads(const WithoutNewThreads&) = delete;
    WithoutNewThreads& operator=(const WithoutNewThreads&) = delete;
    ~WithoutNewThreads() {
        EXPECT_EQ(0, ::pthread_setattr_default_np(&before_));
        ::pthread_attr_destroy(&before_);
    }

  private:
    pthread_attr_t before_{};
};

TEST(SerialThreads, WhatCannotBePostedIsNotDone) {
    auto& thread = *new SerialThread("test-serial"); // its thread stays
    bool isDone = false;
    {
        const WithoutNewThreads none;
        EXPECT_THROW(thread.post([&] { isDone = true; }), std::system_error);
    }
    std::promise<void> next;
    thread.post([&] { next.set_value(); });
    next.get_future().wait();
    EXPECT_FALSE(isDone);
}

} // namespace
} // namespace varnek::spf::test
