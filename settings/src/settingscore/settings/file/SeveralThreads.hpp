/// Work that several threads do at once for one that waits.
#pragma once

#include <cstddef>
#include <functional>

namespace settings::core::detail {

/// Calls `work` once for each number below `count`, on at most `threads` threads, the caller's among them.
/// They take the numbers in order. `work` raises nothing. Where the system has fewer threads to give, fewer
/// do it.
void bySeveralThreads(std::size_t count, std::size_t threads, const std::function<void(std::size_t)>& work);

} // namespace settings::core::detail
