// Shared by the measuring programs: the clock and the statistics of many times.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

namespace quon::bench {

using Clock = std::chrono::steady_clock;
using Times = std::vector<Clock::duration>;

inline double microseconds(Clock::duration time) {
    return std::chrono::duration<double, std::micro>(time).count();
}

// Of sorted times, in microseconds; `share` is 0 to 1. There must be at least one time.
inline double percentile(const Times& sorted, double share) {
    const auto at = static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1));
    return microseconds(sorted[at]);
}

inline double median(Times times) {
    std::ranges::sort(times);
    return percentile(times, 0.5);
}

// How long a function takes.
template <typename Function>
Clock::duration time_of(const Function& function) {
    const Clock::time_point start = Clock::now();
    function();
    return Clock::now() - start;
}

}  // namespace quon::bench
