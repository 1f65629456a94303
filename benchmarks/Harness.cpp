#include "Harness.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::uint64_t> allocated{0};
thread_local std::uint64_t allocatedHere = 0;

void* counted(std::size_t size) {
    ++allocatedHere;
    if (void* memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t size) {
    return counted(size);
}
void* operator new[](std::size_t size) {
    return counted(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;
constexpr int rounds = 11;

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

std::string number(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

} // namespace

Result measure(const Row& row) {
    std::vector<std::vector<double>> times(row.contestants.size());
    std::vector<double> allocations(row.contestants.size());
    for (const Contestant& contestant : row.contestants)
        contestant.work(); // warm-up
    for (int round = 0; round < rounds; ++round)
        for (std::size_t i = 0; i < row.contestants.size(); ++i) {
            const std::uint64_t before = allocatedHere;
            const auto start = Clock::now();
            const std::uint64_t operations = row.contestants[i].work();
            const std::chrono::duration<double, std::nano> took = Clock::now() - start;
            times[i].push_back(took.count() / double(operations));
            allocations[i] = double(allocatedHere - before) / double(operations);
        }
    Result result{row.title, row.target, {}};
    for (std::size_t i = 0; i < row.contestants.size(); ++i)
        result.measurements.push_back({row.contestants[i].name, median(times[i]), allocations[i]});
    return result;
}

std::string report(const std::vector<Result>& results) {
    std::string text =
        "| work | contestant | ns | x floor | allocations | target |\n|---|---|---:|---:|---:|---|\n";
    for (const Result& result : results) {
        const double floor = result.measurements.size() > 1 ? result.measurements[1].nanoseconds : 0;
        for (std::size_t i = 0; i < result.measurements.size(); ++i) {
            const Measurement& m = result.measurements[i];
            text += "| " + (i == 0 ? result.title : "") + " | " + m.name + " | " +
                    number("%.1f", m.nanoseconds) + " | " +
                    (floor > 0 ? number("%.2f", m.nanoseconds / floor) : "") + " | " +
                    number("%.2f", m.allocations) + " | " + (i == 0 ? result.target : "") + " |\n";
        }
    }
    std::fputs(text.c_str(), stdout);
    return text;
}

} // namespace bench
