/// How long and how often tests of threads and processes go on.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <thread>

namespace settings::test {

/// How often something is tried: in a soak, and usually.
inline int times(int soak, int usual) {
    return std::getenv("VKSETTINGS_SOAK") != nullptr ? soak : usual;
}

/// Waits until `condition` holds, for as long as a slow machine may need.
inline void waitUntil(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    bool holds = condition(); // it may not do so for long
    while (!holds && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
        holds = condition();
    }
    ASSERT_TRUE(holds);
}

} // namespace settings::test
