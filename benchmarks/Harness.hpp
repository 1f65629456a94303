/// Times the rows of the benchmark and prints them as ratios. Each row runs all its contestants in turn,
/// several rounds in one process, so that a machine that changes its speed changes it for all; the medians
/// are compared.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bench {

/// Runs the measured work `rounds` times over its data and returns how many operations that were.
using Work = std::function<std::uint64_t()>;

struct Contestant {
    std::string name;
    Work work;
};

struct Row {
    std::string title;
    std::string target;                  ///< in words: "<= 3x floor"
    std::vector<Contestant> contestants; ///< ours first, the floor second
};

struct Measurement {
    std::string name;
    double nanoseconds = 0; ///< median over the rounds, per operation
    double allocations = 0; ///< per operation
};

struct Result {
    std::string title;
    std::string target;
    std::vector<Measurement> measurements;
};

Result measure(const Row& row);

/// A table in Markdown, and the same on standard output.
std::string report(const std::vector<Result>& results);

/// Keeps the compiler from removing a computation.
template <class T>
inline void keep(const T& value) {
    asm volatile("" : : "g"(&value) : "memory");
}

} // namespace bench
