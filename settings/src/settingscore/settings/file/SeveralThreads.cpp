#include "settingscore/settings/file/SeveralThreads.hpp"

#include "settingscore/settings/file/FileLog.hpp"
#include "varnek/concurrency/WithoutSignals.hpp"

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

namespace settings::core::detail {

void bySeveralThreads(std::size_t count, std::size_t threads, const std::function<void(std::size_t)>& work) {
    std::atomic<std::size_t> next{0};
    const auto workOn = [&] {
        for (std::size_t i = next++; i < count; i = next++)
            work(i);
    };
    std::vector<std::jthread> helpers;
    try {
        const varnek::concurrency::WithoutSignals inHelpers;
        while (helpers.size() + 1 < std::min(count, threads))
            helpers.emplace_back(workOn);
    } catch (const std::exception& failure) { // fewer do as well
        VARNEK_LOG(fileLog, debug) << failure.what();
    }
    workOn();
}

} // namespace settings::core::detail
