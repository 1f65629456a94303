/// The system calls of a process that ran under "strace -qq -f -o FILE".
#pragma once

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace settings::test {

/// What a traced process asks for with access(2), so that the calls in between can be told.
constexpr auto beginMarker = "/settings-test-begin", endMarker = "/settings-test-end";

/// A sanitizer makes calls of its own, which must not fail.
#ifdef __SANITIZE_ADDRESS__
constexpr bool callsAreOurs = false;
#else
constexpr bool callsAreOurs = true;
#endif

struct TracedCall {
    std::string name;
    int number = 0; // among the calls of that name in the whole process
};

/// The calls between the markers.
inline std::vector<TracedCall> callsBetweenMarkers(const std::filesystem::path& trace) {
    std::vector<TracedCall> calls;
    std::map<std::string, int> counts;
    std::ifstream lines(trace);
    bool isInside = false;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t begin = line.find_first_not_of("0123456789 "), end = line.find('(');
        if (end == std::string::npos || begin > end)
            continue;
        const std::string name = line.substr(begin, end - begin);
        const int number = ++counts[name];
        if (line.find(beginMarker) != std::string::npos)
            isInside = true;
        else if (line.find(endMarker) != std::string::npos)
            break;
        else if (isInside)
            calls.push_back({name, number});
    }
    return calls;
}

/// The calls that threads make between the markers which another thread sets: each name with its numbers
/// among the calls of that name in one thread, as strace counts them.
inline std::set<std::pair<std::string, int>> callsOfOtherThreads(const std::filesystem::path& trace) {
    std::set<std::pair<std::string, int>> calls;
    std::map<std::pair<std::string, std::string>, int> counts;
    std::string main;
    std::ifstream lines(trace);
    for (std::string line; std::getline(lines, line);) {
        const std::string thread = line.substr(0, line.find(' '));
        const std::size_t begin = line.find_first_not_of("0123456789 "), end = line.find('(');
        if (end == std::string::npos || begin > end)
            continue;
        const std::string name = line.substr(begin, end - begin);
        const int number = ++counts[{thread, name}];
        if (line.find(beginMarker) != std::string::npos)
            main = thread;
        else if (line.find(endMarker) != std::string::npos)
            break;
        else if (!main.empty() && thread != main)
            calls.emplace(name, number);
    }
    return calls;
}

} // namespace settings::test
