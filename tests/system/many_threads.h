// The same work on several threads at once.
#pragma once

#include <cstddef>
#include <functional>

namespace quon::test {

// Runs `work` with the numbers from 0 to count - 1, each on a thread of its own, and waits for all.
// An exception fails the test.
void on_threads(std::size_t count, const std::function<void(std::size_t)>& work);

}  // namespace quon::test
