/// Counts what a piece of code allocates, and lets memory run out. The test binary's `operator new` is
/// replaced for that.
#pragma once

#include <cstddef>

namespace varnek::test {

/// How often the calling thread has called `operator new` so far.
std::size_t allocationCount() noexcept;

/// How often `operation` calls it on this thread.
template <class Operation>
std::size_t allocationsOf(Operation operation) {
    const std::size_t before = allocationCount();
    operation();
    return allocationCount() - before;
}

/// The next `operator new` on this thread fails.
void failNextAllocation() noexcept;

} // namespace varnek::test
