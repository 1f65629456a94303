#include "support/AllocationCount.hpp"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t count = 0;

} // namespace

namespace settings::test {

std::size_t allocationCount() noexcept {
    return count;
}

} // namespace settings::test

// The array, nothrow and sized forms of the standard library lead to these.
void* operator new(std::size_t size) {
    ++count;
    if (void* memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
