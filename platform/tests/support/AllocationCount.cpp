#include "support/AllocationCount.hpp"

#include <cstdlib>
#include <new>
#include <utility>

namespace {

thread_local std::size_t count = 0;
thread_local bool isNextToFail = false;

} // namespace

namespace varnek::test {

std::size_t allocationCount() noexcept {
    return count;
}

void failNextAllocation() noexcept {
    isNextToFail = true;
}

} // namespace varnek::test

// The array and sized forms of the standard library lead to these.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    ++count;
    if (std::exchange(isNextToFail, false))
        return nullptr;
    return std::malloc(size == 0 ? 1 : size);
}

void* operator new(std::size_t size) {
    if (void* memory = ::operator new(size, std::nothrow))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
