// Bounded waiting: polls a condition, never sleeps for a fixed time.
#pragma once

#include <chrono>
#include <functional>

namespace quon::test {

// Long enough for a busy machine with sanitizers; a passing test never waits that long.
inline constexpr std::chrono::milliseconds kLongEnough{20000};

// Polls every millisecond. True once the predicate is true, false after the time limit.
bool wait_until(const std::function<bool()>& predicate,
                std::chrono::milliseconds bound = kLongEnough);

}  // namespace quon::test
