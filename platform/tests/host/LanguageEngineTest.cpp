#include "varnek/host/LanguageEngine.hpp"

#include <gtest/gtest.h>

#include <thread>

namespace {

using namespace varnek::host;

TEST(LanguageEngine, IsOneAndKnowsItsThread) {
    const auto mine = std::this_thread::get_id();
    EXPECT_FALSE(isLanguageEngineReady());
    EXPECT_FALSE(isLanguageEngineThread());
    EXPECT_FALSE(registerLanguageEngine({}));
    EXPECT_FALSE(unregisterLanguageEngine({}));
    ASSERT_TRUE(registerLanguageEngine(mine));
    EXPECT_TRUE(isLanguageEngineReady());
    EXPECT_TRUE(isLanguageEngineThread());
    std::thread([] {
        EXPECT_TRUE(isLanguageEngineReady());
        EXPECT_FALSE(isLanguageEngineThread());
        EXPECT_FALSE(registerLanguageEngine(std::this_thread::get_id()));
        EXPECT_FALSE(unregisterLanguageEngine(std::this_thread::get_id()));
    }).join();
    EXPECT_TRUE(isLanguageEngineThread());
    EXPECT_TRUE(unregisterLanguageEngine(mine));
    EXPECT_FALSE(isLanguageEngineReady());
    EXPECT_FALSE(isLanguageEngineThread());
}

} // namespace
