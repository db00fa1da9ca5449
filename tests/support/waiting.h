// Bounded waiting: a condition is polled, never a fixed time slept.
#pragma once

#include <chrono>
#include <functional>

namespace quon::test {

// Generous enough for a busy machine with sanitizers; a test that passes never waits that long.
inline constexpr std::chrono::milliseconds kLongEnough{20000};

// Polls every millisecond. True as soon as the predicate holds, false when the bound has passed.
bool wait_until(const std::function<bool()>& predicate,
                std::chrono::milliseconds bound = kLongEnough);

}  // namespace quon::test
