// How long to wait before something that failed is tried again.
#pragma once

#include <kj/time.h>

#include <algorithm>

namespace varnek::spf {

/// 100 ms after the first failure in a row, doubled with each one up to 6.4 s.
inline kj::Duration pauseAfter(unsigned failuresBefore) {
    constexpr unsigned mostDoublings = 6;
    return (100 * kj::MILLISECONDS) * (1U << std::min(failuresBefore, mostDoublings));
}

} // namespace varnek::spf
